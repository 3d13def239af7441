// SPDX-License-Identifier: MIT
#include "state/worksums.h"

#include "state/timestamp.h"
#include "state/weeks.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

/// In milliseconds.
class Sums {
public:
    Sums(const QList<WorkSums::Span>& spans, const WorkSums::Owner& owner)
        : m_spans(spans), m_owner(owner), m_sums(spans.size(), 0) {}

    void add(const QJsonObject& entry);
    [[nodiscard]] QList<qint64> seconds() const;

private:
    const QList<WorkSums::Span>& m_spans;
    const WorkSums::Owner& m_owner;
    QList<qint64> m_sums;
};

void Sums::add(const QJsonObject& entry) {
    if (!WorkSums::isOf(entry, m_owner) || entry.value("deleted_at"_L1).isString()) {
        return;
    }
    const QDateTime start = stamp(entry.value("start_at"_L1));
    const QDateTime stop = stamp(entry.value("stop_at"_L1));
    if (!start.isValid() || !stop.isValid()) {
        return;
    }
    const qint64 from = start.toMSecsSinceEpoch();
    const qint64 until = stop.toMSecsSinceEpoch();
    for (qsizetype i = 0; i < m_spans.size(); ++i) {
        const WorkSums::Span& span = m_spans[i];
        m_sums[i] += std::max<qint64>(0, std::min(until, span.until) - std::max(from, span.from));
    }
}

QList<qint64> Sums::seconds() const {
    QList<qint64> seconds = m_sums;
    std::transform(seconds.cbegin(), seconds.cend(), seconds.begin(), [](qint64 sum) { return sum / 1000; });
    return seconds;
}

} // namespace

bool WorkSums::isOf(const QJsonObject& item, const Owner& owner) {
    return item.value("workspace_id"_L1) == owner.workspace && item.value("user_id"_L1) == owner.user;
}

WorkSums::Span WorkSums::days(const Week& week, const QTimeZone& zone) {
    return {week.first.startOfDay(zone).toMSecsSinceEpoch(),
            week.last.addDays(1).startOfDay(zone).toMSecsSinceEpoch()};
}

WorkSums::Span WorkSums::time(const QJsonObject& period) {
    const QDateTime from = stamp(period.value("start_at"_L1));
    const QDateTime until = stamp(period.value("end_at"_L1));
    if (!from.isValid() || !until.isValid()) {
        return {0, 0};
    }
    return {from.toMSecsSinceEpoch(), until.toMSecsSinceEpoch()};
}

QList<qint64> WorkSums::inside(const QList<Span>& spans, const QJsonArray& entries, const Owner& owner) {
    Sums sums(spans, owner);
    for (const auto& entry : entries) {
        sums.add(entry.toObject());
    }
    return sums.seconds();
}

QList<qint64> WorkSums::inside(const QList<Span>& spans, const ProjectedEntries& entries,
                               const Owner& owner) {
    Sums sums(spans, owner);
    for (const ProjectedEntry& shown : entries) {
        sums.add(shown.entry);
    }
    return sums.seconds();
}

WorkSums::Week WorkSums::weekOf(QDate day, int weekday) {
    const QDate first = startOfWeek(day, weekday);
    return {first, first.addDays(6)};
}
