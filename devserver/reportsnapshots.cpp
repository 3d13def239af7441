// SPDX-License-Identifier: MIT
#include "devserver/reportsnapshots.h"

#include "devserver/jsontext.h"
#include "devserver/timestamps.h"

#include <QUuid>
#include <QVariant>

namespace devserver {
namespace {

constexpr qint64 lifetime = 86400; // seconds
constexpr qsizetype columns = 3;
constexpr qsizetype batch = 100; // one statement each: a database elsewhere costs a round trip

QString insertRows(qsizetype count) {
    return QStringLiteral("INSERT INTO report_rows (snapshot_id, position, content) VALUES ") +
           QStringList(count, QStringLiteral("(?, ?, ?)")).join(u',');
}

void forgetOld(Connection& connection, const QString& userId) {
    const QVariantList old{userId, currentInstant() - lifetime};
    connection.run(QStringLiteral("DELETE FROM report_rows WHERE snapshot_id IN"
                                  " (SELECT id FROM report_snapshots WHERE user_id = ? AND created_at < ?)"),
                   old);
    connection.run(QStringLiteral("DELETE FROM report_snapshots WHERE user_id = ? AND created_at < ?"), old);
}

} // namespace

ReportSnapshot::ReportSnapshot(Connection& connection, const QString& workspaceId, const QString& userId,
                               int limit)
    : m_connection(connection), m_id(QUuid::createUuid().toString(QUuid::WithoutBraces)), m_limit(limit),
      m_insert(connection.prepare(insertRows(batch))) {
    forgetOld(connection, userId);
    connection.run(
        QStringLiteral("INSERT INTO report_snapshots (id, workspace_id, user_id, created_at, header)"
                       " VALUES (?, ?, ?, ?, '')"),
        {m_id, workspaceId, userId, currentInstant()});
}

void ReportSnapshot::add(const QByteArray& row) {
    if (m_count < m_limit) {
        m_first += row + ',';
    }
    m_waiting << m_id << m_count++ << QString::fromUtf8(row);
    if (m_waiting.size() == batch * columns) {
        store();
    }
}

void ReportSnapshot::store() {
    if (m_waiting.size() == batch * columns) {
        m_connection.execute(m_insert, m_waiting);
    } else if (!m_waiting.isEmpty()) {
        m_connection.run(insertRows(m_waiting.size() / columns), m_waiting);
    }
    m_waiting.clear();
}

void ReportSnapshot::finish(const QByteArray& header) {
    store();
    m_connection.run(QStringLiteral("UPDATE report_snapshots SET header = ? WHERE id = ?"),
                     {QString::fromUtf8(header), m_id});
}

QByteArray ReportSnapshot::firstRows() const {
    QByteArray rows = '[' + m_first;
    closeArray(rows);
    return rows;
}

} // namespace devserver
