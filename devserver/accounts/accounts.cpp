// SPDX-License-Identifier: MIT
#include "devserver/accounts/accounts.h"

#include "devserver/accounts/sessions.h"
#include "devserver/base/apierror.h"
#include "devserver/base/jsontext.h"
#include "devserver/store/schema.h"

#include <QVariant>

namespace devserver {
namespace {

const QByteArray bearer = QByteArrayLiteral("Bearer ");

} // namespace

QByteArray bearerToken(const QByteArray& authorization) {
    return authorization.startsWith(bearer) ? authorization.mid(bearer.size()) : QByteArray();
}

Caller authenticate(Connection& connection, const QByteArray& authorization) {
    if (authorization.isEmpty()) {
        return {developmentUser, false};
    }
    if (const auto user = sessionUser(connection, bearerToken(authorization))) {
        return {*user, true};
    }
    throw ApiError{401, QStringLiteral("unauthorized"),
                   QStringLiteral("This session is unknown or was revoked.")};
}

QByteArray identityReply(Connection& connection, const Caller& caller) {
    QSqlQuery query = connection.run(
        QStringLiteral("SELECT email, display_name, timezone FROM users WHERE id = ?"), {caller.userId});
    if (!connection.next(query)) {
        throw DatabaseError("the caller is not among the users");
    }
    QByteArray body = R"({"id":)";
    appendString(body, caller.userId);
    body += R"(,"email":)";
    appendString(body, query.value(0).toString());
    body += R"(,"display_name":)";
    appendString(body, query.value(1).toString());
    body += R"(,"timezone":)";
    appendString(body, query.value(2).toString());
    body += caller.hasSession ? R"(,"auth_mode":"session"})" : R"(,"auth_mode":"development"})";
    return body;
}

QByteArray workspacesReply(Connection& connection, const Caller& caller) {
    QSqlQuery query = connection.run(
        QStringLiteral("SELECT w.id, w.name FROM workspaces w JOIN members m ON m.workspace_id = w.id"
                       " WHERE m.user_id = ? ORDER BY w.created_at, w.id"),
        {caller.userId});
    QByteArray body = R"({"items":[)";
    while (connection.next(query)) {
        body += R"({"id":)";
        appendString(body, query.value(0).toString());
        body += R"(,"name":)";
        appendString(body, query.value(1).toString());
        body += "},";
    }
    closeArray(body);
    return body + '}';
}

bool isMember(Connection& connection, const QString& userId, const QString& workspaceId) {
    if (!isId(workspaceId)) {
        return false;
    }
    QSqlQuery query =
        connection.run(QStringLiteral("SELECT 1 FROM members WHERE workspace_id = ? AND user_id = ?"),
                       {workspaceId, userId});
    return connection.next(query);
}

} // namespace devserver
