// SPDX-License-Identifier: MIT
#include "devserver/reports/days.h"

#include "devserver/base/time.h"

#include <algorithm>

namespace devserver {

ReportDays::ReportDays(QDate from, QDate to, const QTimeZone& zone, const QString& language)
    : m_begin(firstMoment(from, zone)), m_end(m_begin) {
    m_days.reserve(from.daysTo(to) + 1);
    for (QDate date = from; date <= to; date = date.addDays(1)) {
        const qint64 end = firstMoment(date.addDays(1), zone);
        if (end > m_end) {
            const QDate week = firstOfWeek(date, language);
            m_days += Day{m_end, end, date.toString(Qt::ISODate), week.toString(Qt::ISODate)};
        }
        m_end = end;
    }
}

std::span<const ReportDays::Day> ReportDays::touchedBy(qint64 start, qint64 stop) const {
    const auto first = std::partition_point(m_days.begin(), m_days.end(),
                                            [start](const Day& day) { return day.end <= start; });
    const auto last = std::partition_point(first, m_days.end(), [start, stop](const Day& day) {
        return day.begin < stop || day.begin == start;
    });
    return {first, last};
}

} // namespace devserver
