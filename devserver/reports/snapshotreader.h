// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/accounts/accounts.h"

#include <optional>

namespace devserver {

/// A report as it was frozen by its query: its header, and its rows from the
/// first to the last, of which only one is in memory. From the first `next` to
/// the last one the connection does nothing else.
class SnapshotReader {
public:
    /// Throws ApiError 404 unless the caller made the snapshot, of this
    /// workspace, and is still a member there.
    SnapshotReader(Connection& connection, const Caller& caller, const QString& workspaceId,
                   const QString& snapshotId);

    [[nodiscard]] qint64 createdAt() const { return m_createdAt; }
    /// A JSON object: {"kind","group_by","from_date","to_date","timezone",
    /// "workspace","language","currency","totals"}.
    [[nodiscard]] const QByteArray& header() const { return m_header; }
    /// Before the first `next`.
    [[nodiscard]] qint64 rowCount();

    /// The next row, a JSON object: {"labels","totals"}, or {"entry","totals"}
    /// in a detailed report. Nothing after the last one.
    [[nodiscard]] std::optional<QByteArray> next();

private:
    Connection& m_connection;
    QString m_id;
    qint64 m_createdAt = 0;
    QByteArray m_header;
    std::optional<QSqlQuery> m_rows; ///< once they are being read
};

} // namespace devserver
