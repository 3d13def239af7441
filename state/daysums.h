// SPDX-License-Identifier: MIT
#pragma once

#include <QDate>
#include <QTimeZone>

#include <span>
#include <vector>

/// The days of one time zone. Between two changes of its clocks they are counted, not looked up.
class LocalDays {
public:
    explicit LocalDays(const QTimeZone& zone) : m_zone(zone) {}

    [[nodiscard]] const QTimeZone& zone() const { return m_zone; }
    /// The day that the clocks show at an instant, in milliseconds since the epoch.
    [[nodiscard]] QDate of(qint64 instant);

private:
    QTimeZone m_zone;
    qint64 m_offset = 0; ///< from m_begin on, up to and without m_end
    qint64 m_begin = 0;
    qint64 m_end = 0;
};

/// What was worked on days and in weeks.
class DaySums {
public:
    struct Entry {
        QDate day; ///< on which it starts; invalid when that is no time
        qint64 seconds = 0;
        qint64 start = 0; ///< in milliseconds since the epoch
    };
    struct Heading {
        std::size_t row; ///< the first one of the day
        qint64 seconds;

        bool operator==(const Heading&) const = default;
    };
    struct Totals {
        qint64 today = 0;
        qint64 week = 0;
    };

    /// One for each unbroken stretch of entries of the same day. An entry counts there as a whole, also when
    /// it runs over midnight: every heading has the sum of the rows below it.
    [[nodiscard]] static std::vector<Heading> headings(std::span<const Entry> entries);

    /// What lies in the day itself, and in the week around it, as WorkSums counts it.
    [[nodiscard]] static Totals totals(std::span<const Entry> entries, QDate today, int weekday,
                                       const QTimeZone& zone);
};
