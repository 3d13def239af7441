// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/reports/catalog.h"
#include "devserver/reports/days.h"
#include "devserver/reports/query.h"

#include <QStringList>

#include <utility>

namespace devserver {

/// One row of a summary or weekly report.
struct ReportGroup {
    QString week; ///< empty in a summary
    QString id;   ///< of what is grouped by; empty for entries without it
    QString label;
    ReportTotals totals;
    qint64 lastEntry = 0; ///< so that an entry in several parts counts once

    /// The group's label; in a weekly report, after the first day of its week.
    [[nodiscard]] QStringList labels() const;
};

/// Adds entries up by group; weekly reports by week and group. Borrows what it
/// is made from.
class ReportGroups {
public:
    ReportGroups(const ReportQuery& query, const ReportDays& days, const ReportCatalog& catalog);

    /// Adds a closed entry of the range.
    void add(const Entry& entry);

    /// Weeks and days in their order, everything else by the time worked, the
    /// longest first, then by label. They are this object's.
    [[nodiscard]] QList<const ReportGroup*> sorted() const;

    /// Of all groups, each entry counted once.
    [[nodiscard]] const ReportTotals& totals() const { return m_totals; }

private:
    struct Named {
        QString id;
        QString label;
    };

    void add(const ReportTotals& part, const QString& week, const Named& named);
    [[nodiscard]] Named groupOf(const Entry& entry);
    [[nodiscard]] QString labelOf(const Entry& entry, const QString& id) const;

    const ReportQuery& m_query;
    const ReportDays& m_days;
    const ReportCatalog& m_catalog;
    QHash<QString, Named> m_named;                            // by id, so that texts are there once
    QHash<std::pair<QString, QString>, ReportGroup> m_groups; // by week and id
    ReportTotals m_totals;
};

} // namespace devserver
