// SPDX-License-Identifier: MIT
#include "tests/support/sample.h"

#include <QUuid>

namespace sample {

namespace {

const QString id = QStringLiteral("id");
const QString workspaceId = QStringLiteral("workspace_id");
const QString userId = QStringLiteral("user_id");
const QString user = QStringLiteral("user-1");
const QString workspace = QStringLiteral("ws-1");

} // namespace

QJsonObject identity() {
    return {{id, user},
            {QStringLiteral("email"), QStringLiteral("noa@example.org")},
            {QStringLiteral("display_name"), QStringLiteral("Noa")},
            {QStringLiteral("timezone"), QStringLiteral("Europe/Berlin")}};
}

QJsonObject workspaces() {
    return {{QStringLiteral("items"),
             QJsonArray{QJsonObject{{id, workspace}, {QStringLiteral("name"), QStringLiteral("Studio")}},
                        QJsonObject{{id, QStringLiteral("ws-2")},
                                    {QStringLiteral("name"), QStringLiteral("Archive")}}}}};
}

QJsonObject entry(const QString& entryId, const QString& start, const QJsonValue& stop) {
    return {{id, entryId},
            {workspaceId, workspace},
            {userId, user},
            {QStringLiteral("description"), QStringLiteral("Entry ") + entryId},
            {QStringLiteral("project_id"), QJsonValue()},
            {QStringLiteral("tag_ids"), QJsonArray()},
            {QStringLiteral("billable"), false},
            {QStringLiteral("start_at"), start},
            {QStringLiteral("stop_at"), stop},
            {QStringLiteral("deleted_at"), QJsonValue()},
            {QStringLiteral("version"), 3},
            {QStringLiteral("duration_seconds"), 3600}};
}

QJsonObject period(const QString& status, const QString& start, const QString& end) {
    return {{workspaceId, workspace},
            {userId, user},
            {QStringLiteral("status"), status},
            {QStringLiteral("start_at"), start},
            {QStringLiteral("end_at"), end}};
}

QJsonObject snapshot(const QJsonArray& entries, const QJsonArray& periods) {
    const QJsonArray projects{
        QJsonObject{{id, QStringLiteral("project-1")}, {QStringLiteral("name"), QStringLiteral("Garden")}}};
    return {{QStringLiteral("catalog"), QJsonObject{{QStringLiteral("projects"), projects}}},
            {QStringLiteral("time_entries"), entries},
            {QStringLiteral("timesheet_periods"), periods}};
}

QJsonObject oneEntry() {
    return snapshot({entry(QStringLiteral("e1"), QStringLiteral("2024-03-01T08:00:00Z"),
                           QStringLiteral("2024-03-01T09:00:00Z"))});
}

QStringList connectionLog() {
    return {QStringLiteral("GET /v1/me"), QStringLiteral("GET /v1/workspaces"),
            QStringLiteral("GET /v1/sync/snapshot"), QStringLiteral("GET /v1/me/timer")};
}

QJsonObject session(const QString& ofUser) {
    return {{QStringLiteral("token"), QStringLiteral("a-token")}, {userId, ofUser}};
}

QJsonObject durable(const QJsonObject& snapshot, const QJsonArray& queue) {
    return {{QStringLiteral("auth"), QJsonObject()},
            {QStringLiteral("signed_out"), false},
            {QStringLiteral("me"), identity()},
            {QStringLiteral("workspaces"), workspaces().value(u"items")},
            {QStringLiteral("workspace"), workspace},
            {QStringLiteral("snapshot"), snapshot},
            {QStringLiteral("timer"), QJsonObject()},
            {QStringLiteral("queue"), queue}};
}

QJsonObject queueItem(const QString& operation, const QString& entity, const QJsonObject& payload,
                      const QString& status) {
    const QString mutationId = QUuid::createUuid().toString(QUuid::WithoutBraces);
    return {{QStringLiteral("status"), status},
            {QStringLiteral("mutation"), QJsonObject{{QStringLiteral("mutation_id"), mutationId},
                                                     {QStringLiteral("device_id"), QStringLiteral("device")},
                                                     {workspaceId, workspace},
                                                     {QStringLiteral("entity_id"), entity},
                                                     {QStringLiteral("base_version"), 3},
                                                     {QStringLiteral("operation"), operation},
                                                     {QStringLiteral("payload"), payload}}}};
}

QJsonObject result(const QJsonObject& mutation, const QString& status, const QJsonObject& canonical) {
    QJsonObject result{{QStringLiteral("mutation_id"), mutation.value(u"mutation_id")},
                       {QStringLiteral("status"), status}};
    if (!canonical.isEmpty()) {
        result.insert(u"canonical", canonical);
    }
    return result;
}

QJsonObject canonical(const QJsonObject& mutation) {
    QJsonObject entry = mutation.value(u"payload").toObject();
    entry.insert(id, mutation.value(u"entity_id"));
    entry.insert(workspaceId, mutation.value(workspaceId));
    entry.insert(userId, user);
    entry.insert(u"version", mutation.value(u"base_version").toInt() + 1);
    return entry;
}

PeerReply pushReply(const QJsonArray& results) {
    return PeerReply::json({{QStringLiteral("results"), results}});
}

QJsonObject pushed(const PeerRequest& request) {
    return request.json().value(u"mutations").toArray().first().toObject();
}

PeerReply accept(const PeerRequest& request) {
    const QJsonObject mutation = pushed(request);
    return pushReply({result(mutation, QStringLiteral("accepted"), canonical(mutation))});
}

void serve(ScriptedPeer& peer, const QJsonObject& snapshot) {
    peer.answer("GET", QStringLiteral("/v1/me"), PeerReply::json(identity()));
    peer.answer("GET", QStringLiteral("/v1/workspaces"), PeerReply::json(workspaces()));
    peer.answer("GET", QStringLiteral("/v1/sync/snapshot"), PeerReply::json(snapshot));
    peer.answer("GET", QStringLiteral("/v1/me/timer"),
                PeerReply::json({{QStringLiteral("timer"), QJsonObject()}}));
    peer.answer("POST", QStringLiteral("/v1/sync/push"), accept);
}

} // namespace sample
