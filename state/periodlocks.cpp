// SPDX-License-Identifier: MIT
#include "state/periodlocks.h"

#include "state/timestamp.h"

#include <algorithm>
#include <limits>

using namespace Qt::StringLiterals;

namespace {

constexpr auto startAtKey = "start_at"_L1;

using Instant = std::numeric_limits<qint64>;

bool isClosed(const QJsonObject& period) {
    const QString status = period.value("status"_L1).toString();
    return status == "submitted"_L1 || status == "approved"_L1;
}

} // namespace

PeriodLocks::PeriodLocks(const QJsonArray& periods) {
    for (const auto& element : periods) {
        const QJsonObject period = element.toObject();
        if (!isClosed(period)) {
            continue;
        }
        // Qt orders every invalid time before every valid one: no entry starts
        // before an unreadable end, and every entry stops after an unreadable start.
        const QDateTime end = stamp(period.value("end_at"_L1));
        if (!end.isValid()) {
            continue;
        }
        const QDateTime start = stamp(period.value(startAtKey));
        m_closed.push_back(
            {period.value("workspace_id"_L1),
             period.value("user_id"_L1),
             {start.isValid() ? start.toMSecsSinceEpoch() : Instant::min(), end.toMSecsSinceEpoch()}});
    }
}

LockedSpans PeriodLocks::of(const QJsonValue& workspace, const QJsonValue& user) const {
    LockedSpans spans;
    for (const Period& period : m_closed) {
        if (period.workspace == workspace && period.user == user) {
            spans.add(period.span);
        }
    }
    return spans;
}

void LockedSpans::add(Span span) {
    m_spans.push_back(span);
    m_end = std::max(m_end, span.end);
}

bool LockedSpans::cover(const QJsonObject& entry) const {
    if (m_spans.empty()) {
        return false;
    }
    const QDateTime start = stamp(entry.value(startAtKey));
    if (!start.isValid()) {
        return false;
    }
    const qint64 from = start.toMSecsSinceEpoch();
    if (from >= m_end) {
        return false; // seen before its end is read: most entries are newer than the last closed period
    }
    const QDateTime stop = stamp(entry.value("stop_at"_L1));
    const qint64 until = stop.isValid() ? stop.toMSecsSinceEpoch() : Instant::max();
    return std::any_of(m_spans.cbegin(), m_spans.cend(),
                       [=](const Span& span) { return from < span.end && until > span.start; });
}
