// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/http/router.h"

namespace devserver {

class SignIn;

/// Where a session is used, for people to recognise it by.
struct Device {
    QString client;
    QString name;
    QByteArray tokenPrefix;
};

using DeviceOf = std::function<Device(const QJsonObject& fields)>;
using SessionReply =
    std::function<Answer(const OpenedSession& session, const QString& userId, const Device& device)>;

/// Opens a session for the user whose `email` and `password` the request's body
/// holds; `deviceOf` reads its other fields. The password and the session's
/// token are overwritten however it ends. Throws ApiError 422 for
/// fields of another type, and as `SignIn::userOf`. Not to be called in a
/// transaction.
[[nodiscard]] Answer openAccount(Request& request, SignIn& signIn, const DeviceOf& deviceOf,
                                 const SessionReply& reply);

/// `GET /v1`, `/me` and `/workspaces`, `POST /auth/login` and `/auth/logout`. `signIn` must outlive the
/// router.
void addAccountRoutes(Router& router, SignIn& signIn);

} // namespace devserver
