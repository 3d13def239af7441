// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

#include <optional>

namespace devserver {

class JsonWriter;

/// What entries, or parts of them, add up to.
struct ReportTotals {
    qint64 rawSeconds = 0;
    qint64 roundedSeconds = 0;
    qint64 billableSeconds = 0; ///< raw
    qint64 amount = 0;          ///< hundredths of the currency
    bool rateMissing = false;   ///< something billable has no rate: there is no amount
    qint64 entries = 0;

    /// Adds the sums; `entries` is left to the caller, who knows which parts
    /// are of the same entry.
    void add(const ReportTotals& part);
};

/// A closed entry as far as sums go.
struct WorkedTime {
    qint64 start = 0;
    qint64 stop = 0;
    bool billable = false;
    std::optional<qint64> hourlyRate; ///< hundredths of the currency
    int roundingMinutes = 0;          ///< 0: not rounded
};

/// What the part of `work` between two moments of it adds to a report.
///
/// Each entry is rounded up once, as a whole; what that adds belongs to the part
/// that holds its end. Money is the rounded time times the rate, rounded half up
/// to a hundredth as it grows from the entry's start on. So the parts of an
/// entry always add up to what the whole entry gives.
[[nodiscard]] ReportTotals partOf(const WorkedTime& work, qint64 from, qint64 to);

/// Writes "totals": {"raw_duration_seconds","rounded_duration_seconds",
/// "billable_duration_seconds","amount","entry_count"}; `amount` is text such
/// as "1234.50", or null when a rate is missing.
void writeTotals(JsonWriter& json, const ReportTotals& totals);

} // namespace devserver
