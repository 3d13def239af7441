// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/store/database.h"

#include <QByteArray>
#include <QString>

namespace devserver {

/// Who makes a request.
struct Caller {
    QString userId;
    bool hasSession = false; ///< false: the development user, who needs no token
};

/// The token in an `Authorization` header; empty when it holds none.
[[nodiscard]] QByteArray bearerToken(const QByteArray& authorization);

/// Reads the `Authorization` header: empty is the development user, "Bearer TOKEN"
/// the owner of that session. Throws ApiError 401 for any other text and for a
/// token that is unknown or revoked.
[[nodiscard]] Caller authenticate(Connection& connection, const QByteArray& authorization);

/// `GET /me`: {"id","email","display_name","timezone","auth_mode"}.
[[nodiscard]] QByteArray identityReply(Connection& connection, const Caller& caller);

/// `GET /workspaces`: {"items":[{"id","name"}]}, the oldest first.
[[nodiscard]] QByteArray workspacesReply(Connection& connection, const Caller& caller);

/// Text that is not an id names no workspace.
[[nodiscard]] bool isMember(Connection& connection, const QString& userId, const QString& workspaceId);

} // namespace devserver
