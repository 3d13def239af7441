// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/store/database.h"

#include <QByteArray>
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

    /// The first `limit` rows as a JSON array, and whether there are more.
    [[nodiscard]] QByteArray firstRows() const;
    [[nodiscard]] bool hasMore() const { return m_count > m_limit; }

private:
    void storeRows(Connection& connection);

    QString m_id;
    int m_limit;
    int m_count = 0;
    QByteArray m_first;
    QTemporaryFile m_file;
    QDataStream m_rows{&m_file};
};

} // namespace devserver
