// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/accounts/accounts.h"
#include "devserver/base/json.h"

#include <QDataStream>
#include <QTemporaryFile>

namespace devserver {

/// A report being frozen. While it is made its rows wait in a file without a
/// name, in TMPDIR, so that they take no memory and no writer waits for them;
/// only the first ones are kept for the reply.
class ReportSnapshot {
public:
    explicit ReportSnapshot(int limit);

    [[nodiscard]] const QString& id() const { return m_id; }

    /// `row` is the JSON object that the reply would show.
    void add(const QByteArray& row);

    /// After the last row: writes them all, a few at a time. `header` is a JSON
    /// object. Inside a write transaction. Also forgets everybody's snapshots
    /// that are older than a day, and the user's own but the newest 19: a report
    /// that is on a screen longer than that is asked for again.
    void store(Connection& connection, const QString& workspaceId, const QString& userId,
               const QByteArray& header);

    /// The first `limit` rows as a JSON array, for one call, and whether there are more.
    [[nodiscard]] QByteArray firstRows() { return m_first.endArray().take(); }
    [[nodiscard]] bool hasMore() const { return m_count > m_limit; }

private:
    void endPiece();

    QString m_id;
    int m_limit;
    int m_count = 0;
    JsonWriter m_first = JsonWriter().beginArray();
    // Some rows, a line each, are stored as one at the position of the first: thousands of statements fewer.
    QByteArray m_piece;
    int m_pieceBegin = 0; ///< the number of its first row
    int m_pieceCount = 0; ///< in the file
    QTemporaryFile m_file;
    QDataStream m_pieces{&m_file};
};

/// A report as it was frozen by its query: its header, and its rows.
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
    [[nodiscard]] qint64 rowCount();

    /// Calls `use` with each row in turn, of which a few are in memory: a JSON
    /// object {"labels","totals"}, or {"entry","totals"} in a detailed report.
    /// The connection does nothing else meanwhile.
    void each(const std::function<void(const QByteArray&)>& use);

private:
    Connection& m_connection;
    QString m_id;
    qint64 m_createdAt = 0;
    QByteArray m_header;
};

/// Throws std::runtime_error that says what became of a temporary file, unless `done`.
void requireWritten(bool done, const QFileDevice& file);

} // namespace devserver
