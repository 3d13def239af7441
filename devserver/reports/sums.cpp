// SPDX-License-Identifier: MIT
#include "devserver/reports/sums.h"

#include "devserver/base/json.h"

namespace devserver {
namespace {

constexpr qint64 hour = 3600;

qint64 roundedUp(qint64 seconds, int minutes) {
    const qint64 step = qint64{60} * minutes;
    return step == 0 ? seconds : (seconds + step - 1) / step * step;
}

qint64 countedUntil(const WorkedTime& work, qint64 moment) {
    const qint64 seconds = moment - work.start;
    return moment == work.stop ? roundedUp(seconds, work.roundingMinutes) : seconds;
}

// Whole hours apart, so that no product can grow too large.
qint64 earnedIn(qint64 seconds, qint64 hourlyRate) {
    return seconds / hour * hourlyRate + (seconds % hour * hourlyRate + hour / 2) / hour;
}

} // namespace

void ReportTotals::add(const ReportTotals& part) {
    rawSeconds += part.rawSeconds;
    roundedSeconds += part.roundedSeconds;
    billableSeconds += part.billableSeconds;
    amount += part.amount;
    rateMissing = rateMissing || part.rateMissing;
}

ReportTotals partOf(const WorkedTime& work, qint64 from, qint64 to) {
    const qint64 before = countedUntil(work, from);
    const qint64 after = countedUntil(work, to);
    ReportTotals part;
    part.rawSeconds = to - from;
    part.roundedSeconds = after - before;
    part.entries = 1;
    if (work.billable) {
        part.billableSeconds = part.rawSeconds;
        part.rateMissing = !work.hourlyRate;
        const qint64 rate = work.hourlyRate.value_or(0);
        part.amount = earnedIn(after, rate) - earnedIn(before, rate);
    }
    return part;
}

void writeTotals(JsonWriter& json, const ReportTotals& totals) {
    const QString cents = QString::number(totals.amount % 100).rightJustified(2, u'0');
    const QString amount = QString::number(totals.amount / 100) + u'.' + cents;
    json.key("totals").beginObject().field("raw_duration_seconds", totals.rawSeconds);
    json.field("rounded_duration_seconds", totals.roundedSeconds);
    json.field("billable_duration_seconds", totals.billableSeconds);
    json.field("amount", totals.rateMissing ? std::nullopt : std::optional(amount));
    json.field("entry_count", totals.entries).endObject();
}

} // namespace devserver
