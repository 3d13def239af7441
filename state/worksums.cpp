// SPDX-License-Identifier: MIT
#include "state/worksums.h"

#include "state/timestamp.h"
#include "state/weeks.h"

#include <algorithm>

using namespace Qt::StringLiterals;

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
    QList<qint64> sums(spans.size(), 0);
    for (const auto& element : entries) {
        const QJsonObject entry = element.toObject();
        if (!isOf(entry, owner) || entry.value("deleted_at"_L1).isString()) {
            continue;
        }
        const QDateTime start = stamp(entry.value("start_at"_L1));
        const QDateTime stop = stamp(entry.value("stop_at"_L1));
        if (!start.isValid() || !stop.isValid()) {
            continue;
        }
        const qint64 from = start.toMSecsSinceEpoch();
        const qint64 until = stop.toMSecsSinceEpoch();
        for (qsizetype i = 0; i < spans.size(); ++i) {
            sums[i] += std::max<qint64>(0, std::min(until, spans[i].until) - std::max(from, spans[i].from));
        }
    }
    std::transform(sums.cbegin(), sums.cend(), sums.begin(), [](qint64 sum) { return sum / 1000; });
    return sums;
}

WorkSums::Week WorkSums::weekOf(QDate day, int weekday) {
    const QDate first = startOfWeek(day, weekday);
    return {first, first.addDays(6)};
}
