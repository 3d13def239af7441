// SPDX-License-Identifier: MIT
#include "devserver/reports/groups.h"

#include <algorithm>

namespace devserver {

QStringList ReportGroup::labels() const {
    return week.isEmpty() || week == label ? QStringList{label} : QStringList{week, label};
}

ReportGroups::ReportGroups(const ReportQuery& query, const ReportDays& days, const ReportCatalog& catalog)
    : m_query(query), m_days(days), m_catalog(catalog) {
}

void ReportGroups::add(const Entry& entry) {
    const WorkedTime work = m_catalog.workOf(entry);
    const QString id = idOf(entry);
    if (!m_query.splitsDays()) {
        ++m_totals.entries;
        add(partOf(work, work.start, work.stop), entry, {}, id);
        return;
    }
    const auto days = m_days.touchedBy(work.start, work.stop);
    m_totals.entries += days.empty() ? 0 : 1;
    const bool weekly = m_query.kind == ReportKind::Weekly;
    for (const ReportDays::Day& day : days) {
        const auto part = partOf(work, std::max(work.start, day.begin), std::min(work.stop, day.end));
        const QString& group = m_query.grouping == Grouping::Day    ? day.date
                               : m_query.grouping == Grouping::Week ? day.week
                                                                    : id;
        add(part, entry, weekly ? day.week : QString(), group);
    }
}

void ReportGroups::add(const ReportTotals& part, const Entry& entry, const QString& week, const QString& id) {
    const std::pair key(week, id);
    auto group = m_groups.find(key);
    if (group == m_groups.end()) {
        group = m_groups.insert(key, {week, id, labelOf(entry, id), {}, 0});
    }
    group->totals.add(part);
    if (group->lastEntry != m_totals.entries) {
        group->lastEntry = m_totals.entries;
        ++group->totals.entries;
    }
    m_totals.add(part);
}

QString ReportGroups::idOf(const Entry& entry) const {
    switch (m_query.grouping) {
    case Grouping::Project:
        return entry.projectId.value_or(QString());
    case Grouping::Client:
        return m_catalog.projectOf(entry).clientId;
    case Grouping::Task:
        return entry.taskId.value_or(QString());
    case Grouping::User:
        return entry.userId;
    case Grouping::Day:
    case Grouping::Week:
        break; // the day decides
    }
    return {};
}

QString ReportGroups::labelOf(const Entry& entry, const QString& id) const {
    const bool hebrew = m_catalog.isHebrew();
    switch (m_query.grouping) {
    case Grouping::Project:
        return !id.isEmpty() ? m_catalog.projectOf(entry).name : hebrew ? u"ללא פרויקט"_s : u"No project"_s;
    case Grouping::Client:
        return !id.isEmpty() ? m_catalog.clients.value(id) : hebrew ? u"ללא לקוח"_s : u"No client"_s;
    case Grouping::Task:
        // Every project may have a "Design" of its own.
        return !id.isEmpty() ? m_catalog.projectOf(entry).name + u": "_s + m_catalog.tasks.value(id)
               : hebrew      ? u"ללא משימה"_s
                             : u"No task"_s;
    case Grouping::User:
        return m_catalog.users.value(id);
    case Grouping::Day:
    case Grouping::Week:
        break;
    }
    return id;
}

QList<ReportGroup> ReportGroups::sorted() const {
    const bool byTime = m_query.grouping != Grouping::Day && m_query.grouping != Grouping::Week;
    QList<ReportGroup> groups = m_groups.values();
    std::sort(groups.begin(), groups.end(), [byTime](const ReportGroup& left, const ReportGroup& right) {
        if (left.week != right.week) {
            return left.week < right.week;
        }
        if (byTime && left.totals.rawSeconds != right.totals.rawSeconds) {
            return left.totals.rawSeconds > right.totals.rawSeconds;
        }
        return std::tie(left.label, left.id) < std::tie(right.label, right.id);
    });
    return groups;
}

} // namespace devserver
