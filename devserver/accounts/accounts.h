// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/store/database.h"

#include <QByteArray>

namespace devserver {

/// Who makes a request.
struct Caller {
    QString userId;
    bool hasSession = false; ///< false: the development user, who needs no token
};

/// Reads the `Authorization` header: empty is the development user, "Bearer TOKEN"
/// the owner of that session. Throws ApiError 401 for any other text and for a
/// token that is unknown, revoked, or a browser's.
[[nodiscard]] Caller authenticate(Connection& connection, const QByteArray& authorization);

/// The token in an `Authorization` header; empty when it holds none.
[[nodiscard]] QByteArray bearerToken(const QByteArray& authorization);

/// `GET /me`: {"id","email","display_name","timezone","auth_mode"}.
[[nodiscard]] QByteArray identityReply(Connection& connection, const Caller& caller);

struct Workspace {
    QString id;
    QString name;
};

/// Those that the user is a member of, the oldest first.
[[nodiscard]] QList<Workspace> workspacesOf(Connection& connection, const QString& userId);

/// `GET /workspaces`: {"items":[{"id","name"}]}.
[[nodiscard]] QByteArray workspacesReply(Connection& connection, const Caller& caller);

/// Text that is not an id names no workspace.
[[nodiscard]] bool isMember(Connection& connection, const QString& userId, const QString& workspaceId);

/// Throws ApiError 404 unless the user is a member of the workspace.
void requireMember(Connection& connection, const QString& userId, const QString& workspaceId);

/// A number that rises with every change of what members see in the workspace. It is told by
/// noteChange(), after the change and in its transaction.
[[nodiscard]] qint64 revisionOf(Connection& connection, const QString& workspaceId);
void noteChange(Connection& connection, const QString& workspaceId);

/// A session is known by its token. The database holds only the token's hash,
/// so that nobody can act for a user by reading it.
struct OpenedSession {
    QString id;
    QByteArray token; ///< exists nowhere else
    qint64 createdAt = 0;
};

/// The tokens of browsers begin like this. A browser hands its cookie to every
/// port of this machine, so that it must open nothing but the page.
inline const QByteArray pageToken = "account."_ba;

/// 256 random bits behind `prefix`, base64url without padding.
[[nodiscard]] QByteArray newToken(const QByteArray& prefix);

/// `client` and `deviceName` are what the user knows the session by; `prefix` begins its token.
[[nodiscard]] OpenedSession openSession(Connection& connection, const QString& userId, const QString& client,
                                        const QString& deviceName, const QByteArray& prefix);

/// The user whose session this is; nobody when it is unknown or has ended.
[[nodiscard]] std::optional<QString> sessionUser(Connection& connection, const QByteArray& token);

void endSession(Connection& connection, const QByteArray& token);

/// Returns how many there were.
[[nodiscard]] int endAllSessions(Connection& connection);

} // namespace devserver
