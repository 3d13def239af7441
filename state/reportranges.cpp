// SPDX-License-Identifier: MIT
#include "state/reportranges.h"

#include "state/weeks.h"

using namespace Qt::StringLiterals;

namespace {

ReportRange weekFrom(QDate first) {
    return {first, first.addDays(6)};
}

ReportRange monthFrom(QDate first) {
    return {first, first.addMonths(1).addDays(-1)};
}

} // namespace

ReportRange ReportRange::named(const QString& name, QDate today, int weekday) {
    const QDate week = startOfWeek(today, weekday);
    const QDate month(today.year(), today.month(), 1);
    if (name == u"today") {
        return {today, today};
    }
    if (name == u"this_week") {
        return weekFrom(week);
    }
    if (name == u"last_week") {
        return weekFrom(week.addDays(-7));
    }
    if (name == u"this_month") {
        return monthFrom(month);
    }
    if (name == u"last_month") {
        return monthFrom(month.addMonths(-1));
    }
    if (name == u"this_year") {
        return {QDate(today.year(), 1, 1), QDate(today.year(), 12, 31)};
    }
    return {};
}
