// SPDX-License-Identifier: MIT
#include "devserver/accounts/accounts.h"

#include "devserver/base/apierror.h"
#include "devserver/base/json.h"
#include "devserver/base/time.h"
#include "devserver/base/wipe.h"
#include "devserver/store/schema.h"

#include <QCryptographicHash>

namespace devserver {
namespace {

const QByteArray bearer = "Bearer "_ba;

// A token holds 256 random bits, so a plain hash is enough to keep it out of the database.
QString tokenHash(const QByteArray& token) {
    return QString::fromLatin1(QCryptographicHash::hash(token, QCryptographicHash::Blake2b_256).toHex());
}

} // namespace

QByteArray newToken(const QByteArray& prefix) {
    QByteArray random(32, '\0');
    randombytes_buf(random.data(), static_cast<size_t>(random.size()));
    QByteArray text = random.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
    QByteArray token = prefix;
    token.append(text.constData(), text.size()); // a copy, which outlives what is wiped here
    wipe(random);
    wipe(text);
    return token;
}

QByteArray bearerToken(const QByteArray& authorization) {
    return authorization.startsWith(bearer) ? authorization.mid(bearer.size()) : QByteArray();
}

Caller authenticate(Connection& connection, const QByteArray& authorization) {
    if (authorization.isEmpty()) {
        return {developmentUser, false};
    }
    const QByteArray token = bearerToken(authorization);
    const auto user = token.startsWith(pageToken) ? std::nullopt : sessionUser(connection, token);
    if (!user) {
        throw ApiError{401, u"unauthorized"_s, u"This session is unknown or was revoked."_s};
    }
    return {*user, true};
}

QByteArray identityReply(Connection& connection, const Caller& caller) {
    QSqlQuery query =
        connection.run(u"SELECT email, display_name, timezone FROM users WHERE id = ?"_s, {caller.userId});
    if (!connection.next(query)) {
        throw DatabaseError("the caller is not among the users");
    }
    JsonWriter json;
    json.beginObject().field("id", caller.userId).field("email", query.value(0).toString());
    json.field("display_name", query.value(1).toString()).field("timezone", query.value(2).toString());
    json.field("auth_mode", caller.hasSession ? u"session"_s : u"development"_s);
    return json.endObject().take();
}

QList<Workspace> workspacesOf(Connection& connection, const QString& userId) {
    return connection.all(u"SELECT w.id, w.name FROM workspaces w JOIN members m"
                          " ON m.workspace_id = w.id WHERE m.user_id = ? ORDER BY w.created_at, w.id"_s,
                          {userId}, [](const QSqlQuery& row) {
                              return Workspace{row.value(0).toString(), row.value(1).toString()};
                          });
}

QByteArray workspacesReply(Connection& connection, const Caller& caller) {
    JsonWriter json;
    json.beginObject().key("items").beginArray();
    for (const Workspace& workspace : workspacesOf(connection, caller.userId)) {
        json.beginObject().field("id", workspace.id).field("name", workspace.name).endObject();
    }
    return json.endArray().endObject().take();
}

bool isMember(Connection& connection, const QString& userId, const QString& workspaceId) {
    return isId(workspaceId) &&
           connection.finds(u"SELECT 1 FROM members WHERE workspace_id = ? AND user_id = ?"_s,
                            {workspaceId, userId});
}

void requireMember(Connection& connection, const QString& userId, const QString& workspaceId) {
    if (!isMember(connection, userId, workspaceId)) {
        throw notFound(u"This workspace does not exist or is not yours to see."_s);
    }
}

qint64 revisionOf(Connection& connection, const QString& workspaceId) {
    return connection.value(u"SELECT revision FROM workspaces WHERE id = ?"_s, {workspaceId}).toLongLong();
}

void noteChange(Connection& connection, const QString& workspaceId) {
    connection.run(u"UPDATE workspaces SET revision = revision + 1 WHERE id = ?"_s, {workspaceId});
}

OpenedSession openSession(Connection& connection, const QString& userId, const QString& client,
                          const QString& deviceName, const QByteArray& prefix) {
    OpenedSession session{newId(), newToken(prefix), currentInstant()};
    connection.insert(u"sessions (id, user_id, token_hash, client, device_name, created_at)"_s,
                      {session.id, userId, tokenHash(session.token), client, deviceName, session.createdAt});
    return session;
}

std::optional<QString> sessionUser(Connection& connection, const QByteArray& token) {
    return textOrNull(connection.value(
        u"SELECT user_id FROM sessions WHERE token_hash = ? AND revoked_at IS NULL"_s, {tokenHash(token)}));
}

void endSession(Connection& connection, const QByteArray& token) {
    connection.run(u"UPDATE sessions SET revoked_at = ? WHERE token_hash = ? AND revoked_at IS NULL"_s,
                   {currentInstant(), tokenHash(token)});
}

int endAllSessions(Connection& connection) {
    return connection
        .run(u"UPDATE sessions SET revoked_at = ? WHERE revoked_at IS NULL"_s, {currentInstant()})
        .numRowsAffected();
}

} // namespace devserver
