// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/store/database.h"

#include <QByteArray>
#include <QString>

#include <optional>

// A session is known by its token. The database holds only the token's hash,
// so that nobody can act for a user by reading it.
namespace devserver {

struct OpenedSession {
    QString id;
    QByteArray token; ///< 256 random bits, base64url without padding; exists nowhere else
    qint64 createdAt = 0;
};

/// `client` and `deviceName` are what the user knows the session by.
[[nodiscard]] OpenedSession openSession(Connection& connection, const QString& userId, const QString& client,
                                        const QString& deviceName);

/// The user whose session this is; nobody when it is unknown or has ended.
[[nodiscard]] std::optional<QString> sessionUser(Connection& connection, const QByteArray& token);

void endSession(Connection& connection, const QByteArray& token);

/// Returns how many there were.
[[nodiscard]] int endAllSessions(Connection& connection);

} // namespace devserver
