// SPDX-License-Identifier: MIT
#include "state/daysums.h"

#include "state/worksums.h"

#include <QDateTime>
#include <QJsonObject>

#include <algorithm>
#include <limits>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 dayMs = qint64{24} * 60 * 60 * 1000;

/// Zones without changes in one direction go on for ever there.
qint64 instantOf(const QTimeZone::OffsetData& change, qint64 none) {
    return change.atUtc.isValid() ? change.atUtc.toMSecsSinceEpoch() : none;
}

qint64 dayNumber(qint64 local) {
    return local >= 0 ? local / dayMs : (local + 1) / dayMs - 1;
}

/// However long it claims to be.
qint64 secondsIn(const DaySums::Entry& entry, const WorkSums::Span& span) {
    const qint64 from = std::max(entry.start, span.from);
    if (!entry.day.isValid() || entry.seconds <= 0 || from >= span.until) {
        return 0;
    }
    return std::clamp(entry.seconds - (from - entry.start) / 1000, qint64{0}, (span.until - from) / 1000);
}

} // namespace

QDate LocalDays::of(qint64 instant) {
    using Instant = std::numeric_limits<qint64>;
    if (instant < m_begin || instant >= m_end) {
        const QDateTime time = QDateTime::fromMSecsSinceEpoch(instant, m_zone);
        m_offset = qint64{1000} * m_zone.offsetFromUtc(time);
        m_begin = instantOf(m_zone.previousTransition(time.addMSecs(1)), Instant::min());
        m_end = instantOf(m_zone.nextTransition(time), Instant::max());
    }
    return QDate(1970, 1, 1).addDays(dayNumber(instant + m_offset));
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

DaySums::Totals DaySums::totals(std::span<const Entry> entries, QDate today, int weekday,
                                const QTimeZone& zone) {
    const WorkSums::Span day = WorkSums::days({today, today}, zone);
    const WorkSums::Span week = WorkSums::days(WorkSums::weekOf(today, weekday), zone);
    Totals totals;
    for (const Entry& entry : entries) {
        totals.today += secondsIn(entry, day);
        totals.week += secondsIn(entry, week);
    }
    return totals;
}
