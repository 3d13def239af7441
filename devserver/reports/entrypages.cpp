// SPDX-License-Identifier: MIT
#include "devserver/reports/entrypages.h"

namespace devserver {
namespace {

constexpr int pageSize = 1000;

} // namespace

ReportEntries::ReportEntries(Connection& connection, const QString& workspaceId, qint64 begin, qint64 end,
                             Choice choice)
    : m_connection(connection), m_workspaceId(workspaceId), m_begin(begin), m_choice(choice),
      m_beforeStart(end) {
}

QList<Entry> ReportEntries::nextPage() {
    QString rest = QStringLiteral(" WHERE workspace_id = ? AND (start_at, id) < (?, ?) AND deleted_at IS NULL"
                                  " AND stop_at IS NOT NULL");
    QVariantList values{m_workspaceId, m_beforeStart, m_beforeId, m_begin};
    if (m_choice == Choice::Starting) {
        rest += QStringLiteral(" AND start_at >= ?");
    } else {
        rest += QStringLiteral(" AND (stop_at > ? OR start_at >= ?)");
        values += m_begin;
    }
    rest += QStringLiteral(" ORDER BY start_at DESC, id DESC LIMIT %1").arg(pageSize);
    QList<Entry> page = findEntries(m_connection, rest, values);
    if (!page.isEmpty()) {
        m_beforeStart = page.constLast().startAt;
        m_beforeId = page.constLast().id;
    }
    return page;
}

} // namespace devserver
