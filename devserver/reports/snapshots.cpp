// SPDX-License-Identifier: MIT
#include "devserver/reports/snapshots.h"

#include "devserver/base/jsontext.h"
#include "devserver/base/timestamps.h"

#include <QDir>
#include <QUuid>
#include <QVariant>

#include <algorithm>
#include <stdexcept>

namespace devserver {
namespace {

constexpr qint64 lifetime = 86400; // seconds
constexpr int mostKept = 20;       // of one user
constexpr int batch = 100;         // one statement each: a database elsewhere costs a round trip

void require(bool done, const QFileDevice& file) {
    if (!done) {
        throw std::runtime_error("the temporary file in " + QDir::tempPath().toStdString() + ": " +
                                 file.errorString().toStdString());
    }
}

QString insertRows(qsizetype count) {
    return QStringLiteral("INSERT INTO report_rows (snapshot_id, position, content) VALUES ") +
           QStringList(count, QStringLiteral("(?, ?, ?)")).join(u',');
}

void forgetOld(Connection& connection, const QString& userId) {
    const QString old =
        QStringLiteral("created_at < ? OR (user_id = ? AND id NOT IN (SELECT id FROM report_snapshots"
                       " WHERE user_id = ? ORDER BY created_at DESC, id LIMIT %1))")
            .arg(mostKept - 1);
    const QVariantList values{currentInstant() - lifetime, userId, userId};
    connection.run(QStringLiteral("DELETE FROM report_rows WHERE snapshot_id IN"
                                  " (SELECT id FROM report_snapshots WHERE %1)")
                       .arg(old),
                   values);
    connection.run(QStringLiteral("DELETE FROM report_snapshots WHERE ") + old, values);
}

} // namespace

ReportSnapshot::ReportSnapshot(int limit)
    : m_id(QUuid::createUuid().toString(QUuid::WithoutBraces)), m_limit(limit),
      m_file(QDir::tempPath() + QStringLiteral("/timer-report.XXXXXX")) {
    require(m_file.open(), m_file);
}

void ReportSnapshot::add(const QByteArray& row) {
    if (m_count < m_limit) {
        m_first += row + ',';
    }
    m_rows << row;
    require(m_rows.status() == QDataStream::Ok, m_file);
    ++m_count;
}

void ReportSnapshot::store(Connection& connection, const QString& workspaceId, const QString& userId,
                           const QByteArray& header) {
    forgetOld(connection, userId);
    connection.run(
        QStringLiteral("INSERT INTO report_snapshots (id, workspace_id, user_id, created_at, header)"
                       " VALUES (?, ?, ?, ?, ?)"),
        {m_id, workspaceId, userId, currentInstant(), QString::fromUtf8(header)});
    storeRows(connection);
}

void ReportSnapshot::storeRows(Connection& connection) {
    require(m_file.flush() && m_file.seek(0), m_file);
    QSqlQuery query;
    int prepared = 0;
    for (int from = 0; from < m_count; from += batch) {
        const int size = std::min(batch, m_count - from);
        if (size != prepared) {
            query = connection.prepare(insertRows(size));
            prepared = size;
        }
        QVariantList values;
        for (int i = from; i < from + size; ++i) {
            QByteArray row;
            m_rows >> row;
            values << m_id << i << QString::fromUtf8(row);
        }
        require(m_rows.status() == QDataStream::Ok, m_file);
        connection.execute(query, values);
    }
}

QByteArray ReportSnapshot::firstRows() const {
    QByteArray rows = '[' + m_first;
    closeArray(rows);
    return rows;
}

} // namespace devserver
