// SPDX-License-Identifier: MIT
#include "devserver/entries/snapshot.h"

#include "devserver/base/apierror.h"
#include "devserver/base/jsontext.h"
#include "devserver/base/timestamps.h"
#include "devserver/entries/entries.h"

#include <QVariant>

namespace devserver {
namespace {

std::optional<QString> textOrNull(const QVariant& value) {
    return value.isNull() ? std::nullopt : std::optional(value.toString());
}

// Archived projects are left out: nothing new can be booked on them.
void appendProjects(QByteArray& out, Connection& connection, const QString& workspaceId) {
    QSqlQuery query =
        connection.run(QStringLiteral("SELECT p.id, p.name, p.color, p.client_id, c.name FROM projects p"
                                      " LEFT JOIN clients c ON c.id = p.client_id"
                                      " WHERE p.workspace_id = ? AND p.archived = 0 ORDER BY p.id"),
                       {workspaceId});
    out += '[';
    while (connection.next(query)) {
        out += R"({"id":)";
        appendString(out, query.value(0).toString());
        out += R"(,"name":)";
        appendString(out, query.value(1).toString());
        out += R"(,"color":)";
        appendString(out, query.value(2).toString());
        out += R"(,"client_id":)";
        appendStringOrNull(out, textOrNull(query.value(3)));
        out += R"(,"client_name":)";
        appendStringOrNull(out, textOrNull(query.value(4)));
        out += "},";
    }
    closeArray(out);
}

void appendClients(QByteArray& out, Connection& connection, const QString& workspaceId) {
    QSqlQuery query = connection.run(
        QStringLiteral("SELECT id, name FROM clients WHERE workspace_id = ? ORDER BY id"), {workspaceId});
    out += '[';
    while (connection.next(query)) {
        out += R"({"id":)";
        appendString(out, query.value(0).toString());
        out += R"(,"name":)";
        appendString(out, query.value(1).toString());
        out += "},";
    }
    closeArray(out);
}

void appendPeriods(QByteArray& out, Connection& connection, const QString& workspaceId) {
    QSqlQuery query = connection.run(
        QStringLiteral("SELECT id, user_id, status, from_date, to_date, timezone, start_at, end_at, version,"
                       " last_reason FROM timesheet_periods WHERE workspace_id = ? ORDER BY start_at, id"),
        {workspaceId});
    out += '[';
    while (connection.next(query)) {
        out += R"({"id":)";
        appendString(out, query.value(0).toString());
        out += R"(,"workspace_id":)";
        appendString(out, workspaceId);
        out += R"(,"user_id":)";
        appendString(out, query.value(1).toString());
        out += R"(,"status":)";
        appendString(out, query.value(2).toString());
        out += R"(,"from_date":)";
        appendString(out, query.value(3).toString());
        out += R"(,"to_date":)";
        appendString(out, query.value(4).toString());
        out += R"(,"timezone":)";
        appendString(out, query.value(5).toString());
        out += R"(,"start_at":)";
        appendInstant(out, query.value(6).toLongLong());
        out += R"(,"end_at":)";
        appendInstant(out, query.value(7).toLongLong());
        out += R"(,"version":)" + QByteArray::number(query.value(8).toLongLong());
        out += R"(,"last_reason":)";
        appendStringOrNull(out, textOrNull(query.value(9)));
        out += "},";
    }
    closeArray(out);
}

} // namespace

QByteArray snapshotReply(Connection& connection, const Caller& caller, const QString& workspaceId) {
    if (!isMember(connection, caller.userId, workspaceId)) {
        throw ApiError{404, QStringLiteral("not_found"),
                       QStringLiteral("This workspace does not exist or is not yours to see.")};
    }
    QByteArray body = R"({"workspace_id":)";
    appendString(body, workspaceId);
    body += R"(,"catalog":{"projects":)";
    appendProjects(body, connection, workspaceId);
    body += R"(,"clients":)";
    appendClients(body, connection, workspaceId);
    body += R"(},"time_entries":)";
    appendEntries(body, connection, workspaceId);
    body += R"(,"timesheet_periods":)";
    appendPeriods(body, connection, workspaceId);
    return body + '}';
}

QByteArray timerReply(Connection& connection, const Caller& caller) {
    const auto running = findRunning(connection, caller.userId);
    if (!running) {
        return QByteArrayLiteral(R"({"timer":null})");
    }
    QByteArray body = R"({"timer":)";
    appendEntry(body, *running);
    return body + '}';
}

} // namespace devserver
