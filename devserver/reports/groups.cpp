// SPDX-License-Identifier: MIT
#include "devserver/reports/groups.h"

#include <algorithm>

namespace devserver {

QStringList ReportGroup::labels() const {
    return week.isEmpty() ? QStringList{label} : QStringList{week, label};
}

ReportGroups::ReportGroups(const ReportQuery& query, const ReportDays& days, const ReportCatalog& catalog)
    : m_query(query), m_days(days), m_catalog(catalog) {
}

void ReportGroups::add(const Entry& entry) {
    const WorkedTime work = m_catalog.workOf(entry);
    const Named named = groupOf(entry);
    if (!m_query.splitsDays()) {
        ++m_totals.entries;
        add(partOf(work, work.start, work.stop), {}, named);
        return;
    }
    const auto days = m_days.touchedBy(work.start, work.stop);
    m_totals.entries += days.empty() ? 0 : 1;
    // Grouped by week the group is the week.
    const bool within = m_query.kind == ReportKind::Weekly && m_query.grouping != Grouping::Week;
    for (const ReportDays::Day& day : days) {
        const auto part = partOf(work, std::max(work.start, day.begin), std::min(work.stop, day.end));
        add(part, within ? day.week : QString(),
            m_query.grouping == Grouping::Day    ? Named{day.date, day.date}
            : m_query.grouping == Grouping::Week ? Named{day.week, day.week}
                                                 : named);
    }
}

void ReportGroups::add(const ReportTotals& part, const QString& week, const Named& named) {
    ReportGroup& group = m_groups[{week, named.id}];
    if (group.lastEntry == 0) {
        group = {week, named.id, named.label, {}, 0};
    }
    group.totals.add(part);
    if (group.lastEntry != m_totals.entries) {
        group.lastEntry = m_totals.entries;
        ++group.totals.entries;
    }
    m_totals.add(part);
}

// An id without a name where the day decides.
ReportGroups::Named ReportGroups::groupOf(const Entry& entry) {
    QString id;
    switch (m_query.grouping) {
    case Grouping::Project:
        id = entry.projectId.value_or(QString());
        break;
    case Grouping::Client:
        id = m_catalog.projectOf(entry).clientId;
        break;
    case Grouping::Task:
        id = entry.taskId.value_or(QString());
        break;
    case Grouping::User:
        id = entry.userId;
        break;
    case Grouping::Day:
    case Grouping::Week:
        return {};
    }
    const auto known = m_named.constFind(id);
    return known != m_named.cend() ? *known : *m_named.insert(id, {id, labelOf(entry, id)});
}

QString ReportGroups::labelOf(const Entry& entry, const QString& id) const {
    const auto named = [&](const QString& name, const char16_t* hebrew, const char16_t* english) {
        return id.isEmpty() ? QString::fromUtf16(m_catalog.isHebrew() ? hebrew : english) : name;
    };
    switch (m_query.grouping) {
    case Grouping::Project:
        return named(m_catalog.projectOf(entry).name, u"ללא פרויקט", u"No project");
    case Grouping::Client:
        return named(m_catalog.clients.value(id), u"ללא לקוח", u"No client");
    case Grouping::Task:
        // Every project may have a "Design" of its own.
        return named(m_catalog.projectOf(entry).name + u": "_s + m_catalog.tasks.value(id), u"ללא משימה",
                     u"No task");
    default:
        return m_catalog.users.value(id);
    }
}

QList<const ReportGroup*> ReportGroups::sorted() const {
    const bool byTime = m_query.grouping != Grouping::Day && m_query.grouping != Grouping::Week;
    QList<const ReportGroup*> groups;
    groups.reserve(m_groups.size());
    for (const ReportGroup& group : m_groups) {
        groups += &group;
    }
    std::sort(groups.begin(), groups.end(), [byTime](const ReportGroup* left, const ReportGroup* right) {
        if (left->week != right->week) {
            return left->week < right->week;
        }
        if (byTime && left->totals.rawSeconds != right->totals.rawSeconds) {
            return left->totals.rawSeconds > right->totals.rawSeconds;
        }
        return std::tie(left->label, left->id) < std::tie(right->label, right->id);
    });
    return groups;
}

} // namespace devserver
