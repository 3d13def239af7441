// SPDX-License-Identifier: MIT
#pragma once

#include <QDate>
#include <QList>
#include <QString>
#include <QTimeZone>

#include <span>

namespace devserver {

/// The days of a report's range as instants. A day begins with its first
/// moment, which need not be 00:00, and has 23 or 25 hours when the clock
/// changes; one that a zone has skipped is left out.
class ReportDays {
public:
    struct Day {
        qint64 begin = 0;
        qint64 end = 0;
        QString date; ///< YYYY-MM-DD
        QString week; ///< the date of the week's first day, which may lie before the range
    };

    ReportDays(QDate from, QDate to, const QTimeZone& zone, const QString& language);

    [[nodiscard]] qint64 begin() const { return m_begin; }
    [[nodiscard]] qint64 end() const { return m_end; }

    /// The days that the entry from `start` to `stop` touches, those of the
    /// range only. An end at midnight does not touch the next day; an entry
    /// without length touches the day in which it lies.
    [[nodiscard]] std::span<const Day> touchedBy(qint64 start, qint64 stop) const;

private:
    qint64 m_begin;
    qint64 m_end;
    QList<Day> m_days;
};

} // namespace devserver
