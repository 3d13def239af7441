// SPDX-License-Identifier: MIT
#pragma once

#include <QDate>
#include <QStringList>
#include <QTimeZone>

#include <optional>

namespace devserver {

/// How a file writes its dates: YYYY-MM-DD, DD/MM/YYYY or MM/DD/YYYY, with "-"
/// or "/" between them; the day first also with ".". Where it does not come
/// last, the year has day and month of two digits behind it.
enum class DateForm { YearFirst, DayFirst, MonthFirst };

/// The one form of all these dates; those that are no date in any form do not
/// count. Throws ApiError 422 when the forms are mixed, and when the dates could
/// be meant either way and would not be the same days.
[[nodiscard]] DateForm findDateForm(const QStringList& dates);

/// "DD/MM/YYYY" and the like.
[[nodiscard]] QString nameOf(DateForm form);

/// A date of the years 1970 to 9998: what lies outside is a slip of the pen.
[[nodiscard]] std::optional<QDate> readDate(const QString& text, DateForm form);

struct TimeOfDay {
    int second = 0;            ///< whole seconds after midnight as a clock shows them
    std::optional<int> offset; ///< of that clock from UTC in seconds, where it is written
};

/// Reads 9:05, 09:05:30, 09:05:30.250, 9:05 PM, 9:05 p.m. and 24:00, each also
/// with an offset behind it, such as 9:05+02:00.
[[nodiscard]] std::optional<TimeOfDay> readTimeOfDay(const QString& text);

struct Length {
    qint64 seconds = 0;
    qint64 give = 1; ///< how far off it may be, as it was written
};

/// Reads H:MM:SS and H:MM with up to five digits of hours, and 1.5 hours.
[[nodiscard]] std::optional<Length> readDuration(const QString& text);

/// The instants at which the clocks of a zone showed this: none where they were
/// put forward over it, two where they were put back.
[[nodiscard]] QList<qint64> instantsOf(QDate date, int secondOfDay, const QTimeZone& zone);

} // namespace devserver
