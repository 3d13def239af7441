// SPDX-License-Identifier: MIT
#include "devserver/entries/entries.h"

#include "devserver/base/jsontext.h"
#include "devserver/base/timestamps.h"

#include <QVariant>

namespace devserver {
namespace {

const QString selectEntries =
    QStringLiteral("SELECT id, workspace_id, user_id, description, project_id, tag_ids,"
                   " billable, start_at, stop_at, deleted_at, version, task_id FROM time_entries");

std::optional<qint64> instantOf(const QVariant& value) {
    return value.isNull() ? std::nullopt : std::optional(value.toLongLong());
}

QVariant orNull(const std::optional<qint64>& value) {
    return value ? QVariant(*value) : QVariant(QMetaType::fromType<qint64>());
}

QVariant orNull(const std::optional<QString>& value) {
    return value ? QVariant(*value) : QVariant(QMetaType::fromType<QString>());
}

// A default QString would be bound as NULL.
QVariant textOf(const QString& text) {
    return text.isNull() ? QStringLiteral("") : text;
}

Entry entryOf(const QSqlQuery& row) {
    Entry entry;
    entry.id = row.value(0).toString();
    entry.workspaceId = row.value(1).toString();
    entry.userId = row.value(2).toString();
    entry.description = row.value(3).toString();
    if (const QVariant project = row.value(4); !project.isNull()) {
        entry.projectId = project.toString();
    }
    entry.tagIds = row.value(5).toString().toUtf8();
    entry.billable = row.value(6).toInt() != 0;
    entry.startAt = row.value(7).toLongLong();
    entry.stopAt = instantOf(row.value(8));
    entry.deletedAt = instantOf(row.value(9));
    entry.version = row.value(10).toLongLong();
    if (const QVariant task = row.value(11); !task.isNull()) {
        entry.taskId = task.toString();
    }
    return entry;
}

std::optional<Entry> findOne(Connection& connection, const QString& condition, const QString& value) {
    QSqlQuery query = connection.run(selectEntries + condition, {value});
    if (!connection.next(query)) {
        return std::nullopt;
    }
    return entryOf(query);
}

} // namespace

std::optional<Entry> findEntry(Connection& connection, const QString& id) {
    if (!isId(id)) {
        return std::nullopt;
    }
    return findOne(connection, QStringLiteral(" WHERE id = ?"), id);
}

std::optional<Entry> findRunning(Connection& connection, const QString& userId) {
    return findOne(connection,
                   QStringLiteral(" WHERE user_id = ? AND stop_at IS NULL AND deleted_at IS NULL"), userId);
}

QList<Entry> findEntries(Connection& connection, const QString& rest, const QVariantList& values) {
    QSqlQuery query = connection.run(selectEntries + rest, values);
    QList<Entry> entries;
    while (connection.next(query)) {
        entries += entryOf(query);
    }
    return entries;
}

void insertEntries(Connection& connection, const QList<Entry>& entries) {
    QSqlQuery query = connection.prepare(QStringLiteral(
        "INSERT INTO time_entries (id, workspace_id, user_id, description, project_id, task_id, tag_ids,"
        " billable, start_at, stop_at, deleted_at, version)"
        " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"));
    for (const Entry& entry : entries) {
        connection.execute(query, {entry.id, entry.workspaceId, entry.userId, textOf(entry.description),
                                   orNull(entry.projectId), orNull(entry.taskId),
                                   QString::fromUtf8(entry.tagIds), int(entry.billable), entry.startAt,
                                   orNull(entry.stopAt), orNull(entry.deletedAt), entry.version});
    }
}

void updateEntry(Connection& connection, const Entry& entry) {
    connection.run(
        QStringLiteral("UPDATE time_entries SET description = ?, project_id = ?, task_id = ?,"
                       " tag_ids = ?, billable = ?, start_at = ?, stop_at = ?, deleted_at = ?, version = ?"
                       " WHERE id = ?"),
        {textOf(entry.description), orNull(entry.projectId), orNull(entry.taskId),
         QString::fromUtf8(entry.tagIds), int(entry.billable), entry.startAt, orNull(entry.stopAt),
         orNull(entry.deletedAt), entry.version, entry.id});
}

void appendEntry(QByteArray& out, const Entry& entry) {
    out += R"({"id":)";
    appendString(out, entry.id);
    out += R"(,"workspace_id":)";
    appendString(out, entry.workspaceId);
    out += R"(,"user_id":)";
    appendString(out, entry.userId);
    out += R"(,"description":)";
    appendString(out, entry.description);
    out += R"(,"project_id":)";
    appendStringOrNull(out, entry.projectId);
    out += R"(,"tag_ids":)" + entry.tagIds;
    out += entry.billable ? R"(,"billable":true,"start_at":)" : R"(,"billable":false,"start_at":)";
    appendInstant(out, entry.startAt);
    out += R"(,"stop_at":)";
    appendInstant(out, entry.stopAt);
    out += R"(,"deleted_at":)";
    appendInstant(out, entry.deletedAt);
    out += R"(,"version":)" + QByteArray::number(entry.version);
    out += R"(,"duration_seconds":)";
    out += entry.stopAt ? QByteArray::number(*entry.stopAt - entry.startAt) : QByteArrayLiteral("null");
    out += '}';
}

void appendEntries(QByteArray& out, Connection& connection, const QString& workspaceId) {
    QSqlQuery query = connection.run(
        selectEntries + QStringLiteral(" WHERE workspace_id = ? ORDER BY start_at, id"), {workspaceId});
    out += '[';
    while (connection.next(query)) {
        appendEntry(out, entryOf(query));
        out += ',';
    }
    closeArray(out);
}

} // namespace devserver
