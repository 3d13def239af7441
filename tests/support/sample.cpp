// SPDX-License-Identifier: MIT
#include "tests/support/sample.h"

#include <QUuid>

using namespace Qt::StringLiterals;

namespace sample {

namespace {

const QString id = u"id"_s;
const QString workspaceId = u"workspace_id"_s;
const QString userId = u"user_id"_s;
const QString user = u"user-1"_s;
const QString workspace = u"ws-1"_s;

} // namespace

QJsonObject identity() {
    return {{id, user},
            {u"email"_s, u"noa@example.org"_s},
            {u"display_name"_s, u"Noa"_s},
            {u"timezone"_s, u"Europe/Berlin"_s}};
}

QJsonObject workspaces() {
    return {{u"items"_s, QJsonArray{QJsonObject{{id, workspace}, {u"name"_s, u"Studio"_s}},
                                    QJsonObject{{id, u"ws-2"_s}, {u"name"_s, u"Archive"_s}}}}};
}

QJsonObject entry(const QString& entryId, const QString& start, const QJsonValue& stop) {
    return {{id, entryId},
            {workspaceId, workspace},
            {userId, user},
            {u"description"_s, u"Entry "_s + entryId},
            {u"project_id"_s, QJsonValue()},
            {u"tag_ids"_s, QJsonArray()},
            {u"billable"_s, false},
            {u"start_at"_s, start},
            {u"stop_at"_s, stop},
            {u"deleted_at"_s, QJsonValue()},
            {u"version"_s, 3},
            {u"duration_seconds"_s, 3600}};
}

QJsonObject period(const QString& status, const QString& start, const QString& end) {
    return {{workspaceId, workspace},
            {userId, user},
            {u"status"_s, status},
            {u"start_at"_s, start},
            {u"end_at"_s, end}};
}

QJsonObject snapshot(const QJsonArray& entries, const QJsonArray& periods) {
    const QJsonArray projects{QJsonObject{{id, u"project-1"_s}, {u"name"_s, u"Garden"_s}}};
    return {{u"catalog"_s, QJsonObject{{u"projects"_s, projects}}},
            {u"time_entries"_s, entries},
            {u"timesheet_periods"_s, periods}};
}

QJsonObject oneEntry() {
    return snapshot({entry(u"e1"_s, u"2024-03-01T08:00:00Z"_s, u"2024-03-01T09:00:00Z"_s)});
}

QStringList connectionLog() {
    return {u"GET /v1/me"_s, u"GET /v1/workspaces"_s, u"GET /v1/sync/snapshot"_s, u"GET /v1/me/timer"_s};
}

QJsonObject session(const QString& ofUser) {
    return {{u"token"_s, u"a-token"_s}, {userId, ofUser}};
}

QJsonObject durable(const QJsonObject& snapshot, const QJsonArray& queue) {
    return {{u"auth"_s, QJsonObject()},  {u"signed_out"_s, false},
            {u"me"_s, identity()},       {u"workspaces"_s, workspaces().value(u"items")},
            {u"workspace"_s, workspace}, {u"snapshot"_s, snapshot},
            {u"timer"_s, QJsonObject()}, {u"queue"_s, queue}};
}

QJsonObject queueItem(const QString& operation, const QString& entity, const QJsonObject& payload,
                      const QString& status) {
    const QString mutationId = QUuid::createUuid().toString(QUuid::WithoutBraces);
    return {{u"status"_s, status},
            {u"mutation"_s, QJsonObject{{u"mutation_id"_s, mutationId},
                                        {u"device_id"_s, u"device"_s},
                                        {workspaceId, workspace},
                                        {u"entity_id"_s, entity},
                                        {u"base_version"_s, 3},
                                        {u"operation"_s, operation},
                                        {u"payload"_s, payload}}}};
}

QJsonObject result(const QJsonObject& mutation, const QString& status, const QJsonObject& canonical) {
    QJsonObject result{{u"mutation_id"_s, mutation.value(u"mutation_id")}, {u"status"_s, status}};
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
    return PeerReply::json({{u"results"_s, results}});
}

QJsonObject pushed(const PeerRequest& request) {
    return request.json().value(u"mutations").toArray().first().toObject();
}

PeerReply accept(const PeerRequest& request) {
    const QJsonObject mutation = pushed(request);
    return pushReply({result(mutation, u"accepted"_s, canonical(mutation))});
}

void serve(ScriptedPeer& peer, const QJsonObject& snapshot) {
    peer.answer("GET", u"/v1/me"_s, PeerReply::json(identity()));
    peer.answer("GET", u"/v1/workspaces"_s, PeerReply::json(workspaces()));
    peer.answer("GET", u"/v1/sync/snapshot"_s, PeerReply::json(snapshot));
    peer.answer("GET", u"/v1/me/timer"_s, PeerReply::json({{u"timer"_s, QJsonObject()}}));
    peer.answer("POST", u"/v1/sync/push"_s, accept);
}

} // namespace sample
