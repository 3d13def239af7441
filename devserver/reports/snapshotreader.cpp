// SPDX-License-Identifier: MIT
#include "devserver/reports/snapshotreader.h"

#include "devserver/base/apierror.h"
#include "devserver/base/jsontext.h"

namespace devserver {
namespace {

ApiError noSnapshot() {
    return {404, QStringLiteral("not_found"),
            QStringLiteral("This report does not exist here, or is not yours; run the report again.")};
}

} // namespace

SnapshotReader::SnapshotReader(Connection& connection, const Caller& caller, const QString& workspaceId,
                               const QString& snapshotId)
    : m_connection(connection), m_id(snapshotId) {
    if (!isId(snapshotId) || !isMember(connection, caller.userId, workspaceId)) {
        throw noSnapshot();
    }
    QSqlQuery query = connection.run(QStringLiteral("SELECT created_at, header FROM report_snapshots"
                                                    " WHERE id = ? AND workspace_id = ? AND user_id = ?"),
                                     {snapshotId, workspaceId, caller.userId});
    if (!connection.next(query)) {
        throw noSnapshot();
    }
    m_createdAt = query.value(0).toLongLong();
    m_header = query.value(1).toString().toUtf8();
}

qint64 SnapshotReader::rowCount() {
    QSqlQuery query =
        m_connection.run(QStringLiteral("SELECT COUNT(*) FROM report_rows WHERE snapshot_id = ?"), {m_id});
    return m_connection.next(query) ? query.value(0).toLongLong() : 0;
}

std::optional<QByteArray> SnapshotReader::next() {
    if (!m_rows) {
        m_rows = m_connection.run(
            QStringLiteral("SELECT content FROM report_rows WHERE snapshot_id = ? ORDER BY position"),
            {m_id});
    }
    if (!m_connection.next(*m_rows)) {
        return std::nullopt;
    }
    return m_rows->value(0).toString().toUtf8();
}

} // namespace devserver
