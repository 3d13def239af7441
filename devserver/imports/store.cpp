// SPDX-License-Identifier: MIT
#include "devserver/imports/store.h"

#include "devserver/base/time.h"

namespace devserver {
namespace {

const QString importedOf = u"SELECT fingerprint FROM imported_records WHERE user_id = ?"
                           " AND workspace_id = ? AND source_namespace = ?"_s;
constexpr qint64 patience = secondsPerDay; // how long a staged import waits, and replies are kept

void forgetStale(Connection& connection, const QString& userId) {
    const QString old = u" IN (SELECT id FROM imports WHERE user_id = ? AND created_at < ?"_s;
    const QString stale = old + u" AND (checkpoint < total OR total = 0))"_s;
    const QVariantList values{userId, currentInstant() - patience};
    connection.run(u"DELETE FROM import_replies WHERE import_id"_s + old + u')', values);
    connection.run(u"DELETE FROM import_records WHERE import_id"_s + stale, values);
    connection.run(u"DELETE FROM imports WHERE id"_s + stale, values);
}

} // namespace

QJsonObject progressOf(const StagedImport& import) {
    const QString begun = import.checkpoint == 0 ? u"previewed"_s : u"importing"_s;
    return {{u"id"_s, import.id},
            {u"checksum"_s, import.checksum},
            {u"state"_s, import.isComplete() ? u"completed"_s : begun},
            {u"checkpoint"_s, import.checkpoint},
            {u"total"_s, import.total},
            {u"has_more"_s, !import.isComplete()},
            {u"invalid"_s, import.invalid},
            {u"written"_s, import.written},
            {u"skipped"_s, import.checkpoint - import.written}};
}

QSet<QString> importedFrom(Connection& connection, const ImportSource& source) {
    QSet<QString> fingerprints;
    connection.each(importedOf, {source.userId, source.workspaceId, source.name},
                    [&](const QSqlQuery& row) { fingerprints.insert(row.value(0).toString()); });
    return fingerprints;
}

QList<ImportRow> noteImported(Connection& connection, const ImportSource& source,
                              const QList<ImportRow>& rows) {
    QVariantList values{source.userId, source.workspaceId, source.name};
    QList<QStringList> fingerprints; // of each row
    for (const ImportRow& row : rows) {
        fingerprints += fingerprintsOf(row);
        for (const QString& fingerprint : std::as_const(fingerprints.last())) {
            values += fingerprint;
        }
    }
    QSet<QString> known;
    connection.each(importedOf +
                        u" AND fingerprint IN (%1)"_s.arg(QStringList(values.size() - 3, u"?"_s).join(u',')),
                    values, [&](const QSqlQuery& row) { known.insert(row.value(0).toString()); });
    QList<ImportRow> fresh;
    QStringList noted;
    for (qsizetype i = 0; i < rows.size(); ++i) {
        if (const QSet<QString> own(fingerprints[i].begin(), fingerprints[i].end()); !known.intersects(own)) {
            fresh += rows[i];
            noted += fingerprints[i];
            known.unite(own);
        }
    }
    connection.insert(u"imported_records (user_id, workspace_id, source_namespace, fingerprint)"_s,
                      noted.size(), [&](qsizetype i) {
                          return QVariantList{source.userId, source.workspaceId, source.name, noted[i]};
                      });
    return fresh;
}

void stage(Connection& connection, const StagedImport& import, const QList<ImportRow>& rows) {
    forgetStale(connection, import.source.userId);
    connection.insert(u"imports (id, workspace_id, user_id, source_namespace, checksum, total,"
                      " invalid, written, checkpoint, created_at)"_s,
                      {import.id, import.source.workspaceId, import.source.userId, import.source.name,
                       import.checksum, import.total, import.invalid, import.written, import.checkpoint,
                       currentInstant()});
    if (import.invalid == 0) {
        connection.insert(
            u"import_records (import_id, position, file_row, content)"_s, rows.size(), [&](qsizetype i) {
                return QVariantList{import.id, i, rows[i].row, QString::fromUtf8(contentOf(rows[i]))};
            });
    }
}

std::optional<StagedImport> findImport(Connection& connection, const QString& userId, const QString& id) {
    if (!isId(id)) {
        return std::nullopt;
    }
    QSqlQuery query =
        connection.run(u"SELECT workspace_id, source_namespace, checksum, total, invalid, written, checkpoint"
                       " FROM imports WHERE id = ? AND user_id = ?"_s,
                       {id, userId});
    if (!connection.next(query)) {
        return std::nullopt;
    }
    return StagedImport{id,
                        {query.value(0).toString(), userId, query.value(1).toString()},
                        query.value(2).toString(),
                        query.value(3).toInt(),
                        query.value(4).toInt(),
                        query.value(5).toInt(),
                        query.value(6).toInt()};
}

QList<ImportRow> nextRows(Connection& connection, const StagedImport& import, int limit) {
    return connection.all(u"SELECT file_row, content FROM import_records WHERE import_id = ?"
                          " AND position >= ? AND position < ? ORDER BY position"_s,
                          {import.id, import.checkpoint, import.checkpoint + limit},
                          [](const QSqlQuery& found) {
                              return rowOf(found.value(1).toString().toUtf8(), found.value(0).toInt());
                          });
}

void saveProgress(Connection& connection, const StagedImport& import) {
    connection.run(u"UPDATE imports SET checkpoint = ?, written = ? WHERE id = ?"_s,
                   {import.checkpoint, import.written, import.id});
    if (import.isComplete()) {
        connection.run(u"DELETE FROM import_records WHERE import_id = ?"_s, {import.id});
    }
}

QByteArray earlierReply(Connection& connection, const StagedImport& import, const QString& idempotencyKey) {
    return connection
        .value(u"SELECT reply FROM import_replies WHERE import_id = ? AND idempotency_key = ?"_s,
               {import.id, idempotencyKey})
        .toString()
        .toUtf8();
}

void keepReply(Connection& connection, const StagedImport& import, const QString& idempotencyKey,
               const QByteArray& reply) {
    connection.insert(u"import_replies (import_id, idempotency_key, reply)"_s,
                      {import.id, idempotencyKey, QString::fromUtf8(reply)});
}

} // namespace devserver
