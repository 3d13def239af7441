// SPDX-License-Identifier: MIT
#include "devserver/entries/entries.h"

#include "devserver/base/json.h"

namespace devserver {
namespace {

const QString changing =
    u"description, project_id, task_id, tag_ids, billable, start_at, stop_at, deleted_at, version"_s;
const QString columns = u"id, workspace_id, user_id, "_s + changing;
const QString selectEntries = u"SELECT "_s + columns + u" FROM time_entries"_s;

Entry entryOf(const QSqlQuery& row) {
    Entry entry;
    entry.id = row.value(0).toString();
    entry.workspaceId = row.value(1).toString();
    entry.userId = row.value(2).toString();
    entry.description = row.value(3).toString();
    entry.projectId = textOrNull(row.value(4));
    entry.taskId = textOrNull(row.value(5));
    entry.tagIds = row.value(6).toString().toUtf8();
    entry.billable = row.value(7).toInt() != 0;
    entry.startAt = row.value(8).toLongLong();
    entry.stopAt = numberOrNull(row.value(9));
    entry.deletedAt = numberOrNull(row.value(10));
    entry.version = row.value(11).toLongLong();
    return entry;
}

QVariantList changingValues(const Entry& entry) {
    return {
        entry.description,   orNull(entry.projectId), orNull(entry.taskId), QString::fromUtf8(entry.tagIds),
        int(entry.billable), entry.startAt,           orNull(entry.stopAt), orNull(entry.deletedAt),
        entry.version};
}

std::optional<Entry> findOne(Connection& connection, const QString& condition, const QString& value) {
    const auto found = connection.all(selectEntries + condition, {value}, entryOf);
    return found.isEmpty() ? std::nullopt : std::optional(found[0]);
}

} // namespace

const QStringList& projectColors() {
    static const QStringList colors{u"#6656f0"_s, u"#e4572e"_s, u"#17bebb"_s, u"#ffc914"_s, u"#2e86ab"_s,
                                    u"#76b041"_s, u"#d1495b"_s, u"#8d6a9f"_s, u"#00798c"_s, u"#b5651d"_s};
    return colors;
}

std::optional<Entry> findEntry(Connection& connection, const QString& id) {
    return isId(id) ? findOne(connection, u" WHERE id = ?"_s, id) : std::nullopt;
}

std::optional<Entry> findRunning(Connection& connection, const QString& userId) {
    return findOne(connection, u" WHERE user_id = ? AND stop_at IS NULL AND deleted_at IS NULL"_s, userId);
}

void eachEntry(Connection& connection, const QString& rest, const QVariantList& values,
               const std::function<void(const Entry&)>& use) {
    connection.each(selectEntries + rest, values, [&use](const QSqlQuery& row) { use(entryOf(row)); });
}

void insertEntries(Connection& connection, const QList<Entry>& entries) {
    connection.insert(u"time_entries (%1)"_s.arg(columns), entries.size(), [&entries](qsizetype i) {
        const Entry& entry = entries[i];
        const QVariantList key{entry.id, entry.workspaceId, entry.userId};
        return key + changingValues(entry);
    });
}

void updateEntry(Connection& connection, const Entry& entry) {
    connection.run(u"UPDATE time_entries SET (%1) = (?, ?, ?, ?, ?, ?, ?, ?, ?) WHERE id = ?"_s.arg(changing),
                   changingValues(entry) + QVariantList{entry.id});
}

void writeFields(JsonWriter& json, const Entry& entry) {
    json.field("id", entry.id).field("workspace_id", entry.workspaceId).field("user_id", entry.userId);
    json.field("description", entry.description).field("project_id", entry.projectId);
    json.json("tag_ids", entry.tagIds).field("billable", entry.billable);
    json.instant("start_at", entry.startAt).instant("stop_at", entry.stopAt);
    json.instant("deleted_at", entry.deletedAt).field("version", entry.version);
    json.field("duration_seconds",
               entry.stopAt ? std::optional(*entry.stopAt - entry.startAt) : std::nullopt);
}

void writeEntries(JsonWriter& json, Connection& connection, const QString& workspaceId) {
    json.beginArray();
    eachEntry(connection, u" WHERE workspace_id = ? ORDER BY start_at, id"_s, {workspaceId},
              [&json](const Entry& entry) {
                  json.beginObject();
                  writeFields(json, entry);
                  json.endObject();
              });
    json.endArray();
}

} // namespace devserver
