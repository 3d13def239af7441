// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/entries/entries.h"

namespace devserver {

/// Reads a workspace's closed, undeleted entries of a time, the newest first,
/// in pages, so that memory does not grow with their number.
class ReportEntries {
public:
    /// `Starting`: those that start from `begin` up to `end`, exclusive.
    /// `Touching`: also those that start earlier and reach into that time.
    enum class Choice { Starting, Touching };

    ReportEntries(Connection& connection, const QString& workspaceId, qint64 begin, qint64 end,
                  Choice choice);

    /// Empty after the last page.
    [[nodiscard]] QList<Entry> nextPage();

private:
    Connection& m_connection;
    QString m_workspaceId;
    qint64 m_begin;
    Choice m_choice;
    qint64 m_beforeStart; ///< the page to come lies before this start and id
    QString m_beforeId = QStringLiteral("");
};

} // namespace devserver
