// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/base/text.h"

namespace devserver {

/// A request that is answered with an error status. `message` is one sentence
/// for the person in front of the client; `code` is for programs.
struct ApiError {
    int status = 500;
    QString code;
    QString message;
};

[[nodiscard]] ApiError malformed(const QString& message); ///< 400
[[nodiscard]] ApiError notFound(const QString& message);  ///< 404

/// The `limit` of a request, a whole number from 1 to 500; throws 422 under this code.
[[nodiscard]] int requireLimit(const QJsonObject& body, const QString& code);

/// The body of an error reply: {"error":{"code":…,"message":…}}.
[[nodiscard]] QByteArray errorBody(const ApiError& error);

/// The error for a status that the HTTP library answers by itself.
[[nodiscard]] ApiError errorForStatus(int status);

} // namespace devserver
