// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/database.h"

#include <QByteArray>
#include <QSqlQuery>
#include <QStringList>

namespace devserver {

/// A report being frozen: all of its rows go to the database, a few at a time,
/// and only the first ones are kept for the reply.
class ReportSnapshot {
public:
    /// Also forgets the user's snapshots that are older than a day: a report
    /// that is on a screen longer than that is asked for again.
    ReportSnapshot(Connection& connection, const QString& workspaceId, const QString& userId, int limit);

    [[nodiscard]] const QString& id() const { return m_id; }

    /// `row` is the JSON object that the reply would show.
    void add(const QByteArray& row);

    /// After the last row. `header` is a JSON object.
    void finish(const QByteArray& header);

    /// The first `limit` rows as a JSON array, and whether there are more.
    [[nodiscard]] QByteArray firstRows() const;
    [[nodiscard]] bool hasMore() const { return m_count > m_limit; }

private:
    void store();

    Connection& m_connection;
    QString m_id;
    int m_limit;
    int m_count = 0;
    QByteArray m_first;
    QVariantList m_waiting; ///< the values of rows that are not stored yet
    QSqlQuery m_insert;     ///< for a full batch
};

} // namespace devserver
