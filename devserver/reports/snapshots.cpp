// SPDX-License-Identifier: MIT
#include "devserver/reports/snapshots.h"

#include "devserver/base/apierror.h"
#include "devserver/base/time.h"

#include <QDir>

#include <algorithm>
#include <stdexcept>

namespace devserver {
namespace {

constexpr int mostKept = 20;          // of one user
constexpr qsizetype pieceSize = 8192; // bytes of rows that are stored as one

ApiError noSnapshot() {
    return notFound(u"This report does not exist here, or is not yours; run the report again."_s);
}

void forgetOld(Connection& connection, const QString& userId) {
    const QString old = u"created_at < ? OR (user_id = ? AND id NOT IN (SELECT id FROM report_snapshots"
                        " WHERE user_id = ? ORDER BY created_at DESC, id LIMIT %1))"_s.arg(mostKept - 1);
    const QVariantList values{currentInstant() - secondsPerDay, userId, userId};
    connection.run(u"DELETE FROM report_rows WHERE snapshot_id IN"
                   " (SELECT id FROM report_snapshots WHERE %1)"_s.arg(old),
                   values);
    connection.run(u"DELETE FROM report_snapshots WHERE "_s + old, values);
}

} // namespace

void requireWritten(bool done, const QFileDevice& file) {
    if (!done) {
        throw std::runtime_error("the temporary file in " + QDir::tempPath().toStdString() + ": " +
                                 file.errorString().toStdString());
    }
}

ReportSnapshot::ReportSnapshot(int limit)
    : m_id(newId()), m_limit(limit), m_file(QDir::tempPath() + u"/timer-report.XXXXXX"_s) {
    requireWritten(m_file.open(), m_file);
}

void ReportSnapshot::add(const QByteArray& row) {
    if (m_count < m_limit) {
        m_first.json(row);
    }
    m_piece += m_piece.isEmpty() ? row : '\n' + row;
    ++m_count;
    if (m_piece.size() >= pieceSize) {
        endPiece();
    }
}

void ReportSnapshot::endPiece() {
    m_pieces << m_pieceBegin << m_piece;
    requireWritten(m_pieces.status() == QDataStream::Ok, m_file);
    ++m_pieceCount;
    m_pieceBegin = m_count;
    m_piece.clear();
}

void ReportSnapshot::store(Connection& connection, const QString& workspaceId, const QString& userId,
                           const QByteArray& header) {
    forgetOld(connection, userId);
    connection.insert(u"report_snapshots (id, workspace_id, user_id, created_at, header)"_s,
                      {m_id, workspaceId, userId, currentInstant(), QString::fromUtf8(header)});
    if (!m_piece.isEmpty()) {
        endPiece();
    }
    requireWritten(m_file.flush() && m_file.seek(0), m_file);
    connection.insert(u"report_rows (snapshot_id, position, content)"_s, m_pieceCount, [this](qsizetype) {
        int position = 0;
        QByteArray piece;
        m_pieces >> position >> piece;
        requireWritten(m_pieces.status() == QDataStream::Ok, m_file);
        return QVariantList{m_id, position, piece};
    });
}

SnapshotReader::SnapshotReader(Connection& connection, const Caller& caller, const QString& workspaceId,
                               const QString& snapshotId)
    : m_connection(connection), m_id(snapshotId) {
    if (!isId(snapshotId) || !isMember(connection, caller.userId, workspaceId)) {
        throw noSnapshot();
    }
    QSqlQuery query = connection.run(u"SELECT created_at, header FROM report_snapshots"
                                     " WHERE id = ? AND workspace_id = ? AND user_id = ?"_s,
                                     {snapshotId, workspaceId, caller.userId});
    if (!connection.next(query)) {
        throw noSnapshot();
    }
    m_createdAt = query.value(0).toLongLong();
    m_header = query.value(1).toString().toUtf8();
}

qint64 SnapshotReader::rowCount() {
    QSqlQuery last = m_connection.run(u"SELECT position, content FROM report_rows WHERE snapshot_id = ?"
                                      " ORDER BY position DESC LIMIT 1"_s,
                                      {m_id});
    return m_connection.next(last) ? last.value(0).toLongLong() + last.value(1).toByteArray().count('\n') + 1
                                   : 0;
}

void SnapshotReader::each(const std::function<void(const QByteArray&)>& use) {
    m_connection.each(u"SELECT content FROM report_rows WHERE snapshot_id = ? ORDER BY position"_s, {m_id},
                      [&use](const QSqlQuery& found) {
                          const auto rows = found.value(0).toByteArray().split('\n');
                          std::for_each(rows.begin(), rows.end(), use);
                      });
}

} // namespace devserver
