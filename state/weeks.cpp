// SPDX-License-Identifier: MIT
#include "state/weeks.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int daysOfWeek = 7;

/// The database tells the territory of a zone's own name only.
bool isInIsrael(const QTimeZone& zone) {
    return zone.territory() == QLocale::Israel || zone.id() == "Israel"_ba || zone.id() == "Asia/Tel_Aviv"_ba;
}

} // namespace

int firstWeekday(const QJsonArray& periods, const QString& workspace, const QTimeZone& zone) {
    QDate newest;
    for (const auto& period : periods) {
        const QDate from = QDate::fromString(period["from_date"_L1].toString(), Qt::ISODate);
        const QDate to = QDate::fromString(period["to_date"_L1].toString(), Qt::ISODate);
        const bool isWeek = from.isValid() && from.daysTo(to) == daysOfWeek - 1;
        if (isWeek && period["workspace_id"_L1].toString() == workspace &&
            (newest.isNull() || from > newest)) {
            newest = from;
        }
    }
    if (newest.isValid()) {
        return newest.dayOfWeek();
    }
    return isInIsrael(zone) ? Qt::Sunday : Qt::Monday;
}

QDate startOfWeek(QDate day, int weekday) {
    return day.addDays(-((day.dayOfWeek() - weekday + daysOfWeek) % daysOfWeek));
}
