// SPDX-License-Identifier: MIT
#pragma once

#include <QDate>
#include <QString>

/// The first and the last day of a report.
struct ReportRange {
    QDate from;
    QDate to;

    /// The range that `name` means on `today`: "today", "this_week", "last_week", "this_month", "last_month"
    /// or "this_year", each from its first day to its last; days that are not valid for any other name. Weeks
    /// begin on `weekday`, as QDate counts.
    [[nodiscard]] static ReportRange named(const QString& name, QDate today, int weekday);
};
