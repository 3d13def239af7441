// SPDX-License-Identifier: MIT
#include "devserver/entries/sync.h"

#include "devserver/base/apierror.h"
#include "devserver/base/json.h"
#include "devserver/entries/entries.h"
#include "devserver/entries/push.h"
#include "devserver/http/router.h"
#include "devserver/timesheets/periods.h"

namespace devserver {
namespace {

// A client keeps up to 50 MiB of text, and sends again for ever what is answered with an error: what
// is too long for an entry has to be read first, to be rejected.
constexpr qsizetype largestPush = 56 * Router::usualBody;

// Archived projects are left out: nothing new can be booked on them.
void writeProjects(JsonWriter& json, Connection& connection, const QString& workspaceId) {
    const QString sql = u"SELECT p.id, p.name, p.color, p.client_id, c.name FROM projects p"
                        " LEFT JOIN clients c ON c.id = p.client_id"
                        " WHERE p.workspace_id = ? AND p.archived = 0 ORDER BY p.id"_s;
    json.beginArray();
    connection.each(sql, {workspaceId}, [&json](const QSqlQuery& row) {
        json.beginObject().field("id", row.value(0).toString()).field("name", row.value(1).toString());
        json.field("color", row.value(2).toString()).field("client_id", textOrNull(row.value(3)));
        json.field("client_name", textOrNull(row.value(4))).endObject();
    });
    json.endArray();
}

void writeClients(JsonWriter& json, Connection& connection, const QString& workspaceId) {
    const QString sql = u"SELECT id, name FROM clients WHERE workspace_id = ? ORDER BY id"_s;
    json.beginArray();
    connection.each(sql, {workspaceId}, [&json](const QSqlQuery& row) {
        json.beginObject().field("id", row.value(0).toString()).field("name", row.value(1).toString());
        json.endObject();
    });
    json.endArray();
}

void writePeriods(JsonWriter& json, Connection& connection, const QString& workspaceId) {
    json.beginArray();
    for (const Period& period : periodsOf(connection, workspaceId)) {
        json.beginObject().field("workspace_id", workspaceId).field("user_id", period.userId);
        writeFields(json, period);
        json.instant("start_at", period.startAt).instant("end_at", period.endAt).endObject();
    }
    json.endArray();
}

// A revision is one database's: whoever starts a server on another one gets other tags.
QByteArray snapshotTag(Connection& connection, const QString& workspaceId) {
    static const QByteArray run = newId().toLatin1();
    return '"' + run + '-' + QByteArray::number(revisionOf(connection, workspaceId)) + '"';
}

Answer snapshotAnswer(Request& request) {
    const QString workspace = request.parameter("workspace_id");
    if (workspace.isEmpty()) {
        throw malformed(u"The request names no workspace_id."_s);
    }
    requireMember(request.connection(), request.caller().userId, workspace);
    const QByteArray tag = snapshotTag(request.connection(), workspace);
    Answer answer;
    if (request.header("If-None-Match") == tag) {
        answer.status = 304;
    } else {
        answer.body = snapshotReply(request.connection(), workspace);
    }
    answer.headers.append({"ETag", tag});
    return answer;
}

} // namespace

QByteArray snapshotReply(Connection& connection, const QString& workspaceId) {
    JsonWriter json;
    json.beginObject().field("workspace_id", workspaceId).key("catalog").beginObject();
    writeProjects(json.key("projects"), connection, workspaceId);
    writeClients(json.key("clients"), connection, workspaceId);
    json.endObject();
    writeEntries(json.key("time_entries"), connection, workspaceId);
    writePeriods(json.key("timesheet_periods"), connection, workspaceId);
    return json.endObject().take();
}

QByteArray timerReply(Connection& connection, const Caller& caller) {
    JsonWriter json;
    json.beginObject().key("timer");
    if (const auto running = findRunning(connection, caller.userId)) {
        json.beginObject();
        writeFields(json, *running);
        json.endObject();
    } else {
        json.json("null");
    }
    return json.endObject().take();
}

void addSyncRoutes(Router& router) {
    router.get("/v1/me/timer",
               reads([](Request& request) { return timerReply(request.connection(), request.caller()); }));
    router.get("/v1/sync/snapshot", reads(snapshotAnswer));
    router.post("/v1/sync/push", writes([](Request& request) {
                    return pushReply(request.connection(), request.caller(),
                                     readPush(request.body(), request.idempotencyKey()));
                }),
                largestPush);
}

} // namespace devserver
