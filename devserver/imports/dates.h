// SPDX-License-Identifier: MIT
#pragma once

#include <QDate>
#include <QStringList>
#include <QTimeZone>

#include <optional>
#include <variant>

namespace devserver {

/// How a file writes its dates: YYYY-MM-DD, DD/MM/YYYY or MM/DD/YYYY. Day and
/// month may be of one digit between slashes.
enum class DateForm { Iso, DayFirst, MonthFirst };

/// The one form of all these dates; those that are no date in any form do not
/// count. Throws ApiError 422 when the forms are mixed, and when the dates could
/// be meant either way and would not be the same days.
[[nodiscard]] DateForm findDateForm(const QStringList& dates);

/// "DD/MM/YYYY" and the like.
[[nodiscard]] QString nameOf(DateForm form);

/// A date of the years 1970 to 9998: what lies outside is a slip of the pen.
[[nodiscard]] std::optional<QDate> readDate(const QString& text, DateForm form);

/// Reads 9:05, 09:05:30, 9:05 PM; the result is seconds after midnight as a clock shows them.
[[nodiscard]] std::optional<int> readTimeOfDay(const QString& text);

/// Reads H:MM:SS or H:MM with up to five digits of hours; the result is seconds.
[[nodiscard]] std::optional<int> readDuration(const QString& text);

/// What clocks show in one time zone.
class LocalClock {
public:
    enum class Fault {
        Skipped, ///< The clocks were put forward over this time.
        Repeated ///< The clocks were put back, and showed this time twice.
    };

    explicit LocalClock(const QTimeZone& zone) : m_zone(zone) {}

    /// The instant at which the clocks showed this.
    [[nodiscard]] std::variant<qint64, Fault> instant(QDate date, int secondOfDay) const;

private:
    [[nodiscard]] int offsetAt(qint64 instant) const;

    QTimeZone m_zone;
};

} // namespace devserver
