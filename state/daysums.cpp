// SPDX-License-Identifier: MIT
#include "state/daysums.h"

#include "state/weeks.h"

#include <QDateTime>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace {

constexpr int daysPerWeek = 7;
constexpr qint64 minuteMs = 60'000;

QDate dayAt(qint64 instant, const QTimeZone& zone) {
    return QDateTime::fromMSecsSinceEpoch(instant, zone).date();
}

/// Where the clocks skip midnight a day begins later, where they show it twice at the first one: Qt names
/// the second.
qint64 beginOf(QDate day, const QTimeZone& zone) {
    qint64 begin = day.startOfDay(zone).toMSecsSinceEpoch();
    while (dayAt(begin - 1, zone) == day) {
        begin -= minuteMs;
    }
    return begin;
}

} // namespace

QDate LocalDays::of(qint64 instant) {
    if (!m_day.isValid() || instant < m_begin || instant >= m_end) {
        m_day = dayAt(instant, m_zone);
        m_begin = beginOf(m_day, m_zone);
        m_end = beginOf(m_day.addDays(1), m_zone);
    }
    return m_day;
}

std::vector<DaySums::Heading> DaySums::headings(std::span<const Entry> entries) {
    std::vector<Heading> headings;
    for (std::size_t row = 0; row < entries.size(); ++row) {
        if (row == 0 || entries[row].day != entries[row - 1].day) {
            headings.push_back({row, 0});
        }
        headings.back().seconds += entries[row].seconds;
    }
    return headings;
}

DaySums::Totals DaySums::totals(std::span<const Entry> entries, QDate today, int weekday) {
    const QDate first = startOfWeek(today, weekday);
    const QDate next = first.addDays(daysPerWeek);
    Totals totals;
    for (const Entry& entry : entries) {
        if (entry.day == today) {
            totals.today += entry.seconds;
        }
        if (entry.day >= first && entry.day < next) {
            totals.week += entry.seconds;
        }
    }
    return totals;
}
