// SPDX-License-Identifier: MIT
#include "devserver/imports/store.h"

#include "devserver/base/jsontext.h"
#include "devserver/base/timestamps.h"

#include <QCryptographicHash>
#include <QJsonDocument>
#include <QVariant>

#include <algorithm>

namespace devserver {
namespace {

constexpr qint64 patience = 86'400; // seconds that a staged import waits, and that replies are kept

QByteArray textOf(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

void forgetStale(Connection& connection, const QString& userId) {
    const QString old = QStringLiteral(" IN (SELECT id FROM imports WHERE user_id = ? AND created_at < ?");
    const QString stale = old + QStringLiteral(" AND (checkpoint < total OR total = 0))");
    const QVariantList values{userId, currentInstant() - patience};
    connection.run(QStringLiteral("DELETE FROM import_replies WHERE import_id") + old + u')', values);
    connection.run(QStringLiteral("DELETE FROM import_records WHERE import_id") + stale, values);
    connection.run(QStringLiteral("DELETE FROM imports WHERE id") + stale, values);
}

// Many rows to a statement: one by one, 20,000 would keep every other writer waiting.
void insertRecords(Connection& connection, const QString& importId, const QList<ImportRow>& rows) {
    constexpr qsizetype batch = 200;
    QSqlQuery query;
    qsizetype prepared = 0;
    for (qsizetype from = 0; from < rows.size(); from += batch) {
        const qsizetype size = std::min(batch, rows.size() - from);
        if (size != prepared) {
            const QStringList places(size, QStringLiteral("(?, ?, ?, ?)"));
            query = connection.prepare(
                QStringLiteral(
                    "INSERT INTO import_records (import_id, position, file_row, content) VALUES ") +
                places.join(u','));
            prepared = size;
        }
        QVariantList values;
        values.reserve(size * 4);
        for (qsizetype i = from; i < from + size; ++i) {
            values << importId << i << rows[i].row << QString::fromUtf8(textOf(contentOf(rows[i])));
        }
        connection.execute(query, values);
    }
}

} // namespace

QString fingerprintOf(const ImportRow& row) {
    const QByteArray text = textOf(identityOf(row));
    return QString::fromLatin1(QCryptographicHash::hash(text, QCryptographicHash::Sha256).toHex());
}

QSet<QString> importedFrom(Connection& connection, const ImportSource& source) {
    QSqlQuery query =
        connection.run(QStringLiteral("SELECT fingerprint FROM imported_records WHERE user_id = ?"
                                      " AND workspace_id = ? AND source_namespace = ?"),
                       {source.userId, source.workspaceId, source.name});
    QSet<QString> fingerprints;
    while (connection.next(query)) {
        fingerprints.insert(query.value(0).toString());
    }
    return fingerprints;
}

bool noteImported(Connection& connection, const ImportSource& source, const QString& fingerprint) {
    const QSqlQuery query = connection.run(
        QStringLiteral("INSERT INTO imported_records (user_id, workspace_id, source_namespace, fingerprint)"
                       " VALUES (?, ?, ?, ?) ON CONFLICT DO NOTHING"),
        {source.userId, source.workspaceId, source.name, fingerprint});
    return query.numRowsAffected() == 1;
}

void stage(Connection& connection, const StagedImport& import, const QList<ImportRow>& rows) {
    forgetStale(connection, import.source.userId);
    connection.run(
        QStringLiteral("INSERT INTO imports (id, workspace_id, user_id, source_namespace, checksum, total,"
                       " invalid, written, checkpoint, created_at) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"),
        {import.id, import.source.workspaceId, import.source.userId, import.source.name, import.checksum,
         import.total, import.invalid, import.written, import.checkpoint, currentInstant()});
    if (import.invalid == 0) {
        insertRecords(connection, import.id, rows);
    }
}

std::optional<StagedImport> findImport(Connection& connection, const QString& userId, const QString& id) {
    if (!isId(id)) {
        return std::nullopt;
    }
    QSqlQuery query = connection.run(
        QStringLiteral("SELECT workspace_id, source_namespace, checksum, total, invalid, written, checkpoint"
                       " FROM imports WHERE id = ? AND user_id = ?"),
        {id, userId});
    if (!connection.next(query)) {
        return std::nullopt;
    }
    StagedImport import;
    import.id = id;
    import.source = {query.value(0).toString(), userId, query.value(1).toString()};
    import.checksum = query.value(2).toString();
    import.total = query.value(3).toInt();
    import.invalid = query.value(4).toInt();
    import.written = query.value(5).toInt();
    import.checkpoint = query.value(6).toInt();
    return import;
}

QList<StagedRecord> nextRecords(Connection& connection, const StagedImport& import, int limit) {
    QSqlQuery query =
        connection.run(QStringLiteral("SELECT file_row, content FROM import_records WHERE import_id = ?"
                                      " AND position >= ? AND position < ? ORDER BY position"),
                       {import.id, import.checkpoint, import.checkpoint + limit});
    QList<StagedRecord> records;
    while (connection.next(query)) {
        const QByteArray content = query.value(1).toString().toUtf8();
        const ImportRow row = rowOf(QJsonDocument::fromJson(content).object(), query.value(0).toInt());
        records += {row, fingerprintOf(row)};
    }
    return records;
}

void saveProgress(Connection& connection, const StagedImport& import) {
    connection.run(QStringLiteral("UPDATE imports SET checkpoint = ?, written = ? WHERE id = ?"),
                   {import.checkpoint, import.written, import.id});
    if (import.isComplete()) {
        connection.run(QStringLiteral("DELETE FROM import_records WHERE import_id = ?"), {import.id});
    }
}

QByteArray earlierReply(Connection& connection, const StagedImport& import, const QString& idempotencyKey) {
    QSqlQuery query = connection.run(
        QStringLiteral("SELECT reply FROM import_replies WHERE import_id = ? AND idempotency_key = ?"),
        {import.id, idempotencyKey});
    return connection.next(query) ? query.value(0).toString().toUtf8() : QByteArray();
}

void keepReply(Connection& connection, const StagedImport& import, const QString& idempotencyKey,
               const QByteArray& reply) {
    connection.run(
        QStringLiteral("INSERT INTO import_replies (import_id, idempotency_key, reply) VALUES (?, ?, ?)"),
        {import.id, idempotencyKey, QString::fromUtf8(reply)});
}

} // namespace devserver
