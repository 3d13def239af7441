// SPDX-License-Identifier: MIT
#pragma once

#include <QDate>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QTimeZone>

/// Times as people type and choose them, in one time zone. What comes out is ISO 8601
/// with whole seconds and the offset that the zone has at that time.
class TimeText {
public:
    /// A time of a day as a list offers it.
    struct Quarter {
        QTime time;   ///< what the clocks show
        QDateTime at; ///< with the offset; invalid when the clocks skip it
        bool twice;   ///< the clocks show it again, or once more
    };

    /// The ISO text of a short form: a time ("9", "9:15", "0915", "9:15:30", "24:00"), alone or with its day
    /// before or behind it ("yesterday", "today", "tomorrow", the same in Hebrew, "23.9", "23.9.2026",
    /// "2026-09-23"). A whole ISO text stays as it is: without an
    /// offset it is of the device's zone.
    ///
    /// Words count from `now`. A time alone is of the day of `other`, the text of the form's other field, or
    /// of today while that one has no time. A day without a year is the last one that is no more than a month
    /// after that day: what is recorded is past, but for the morning after a new year's eve. Of a time
    /// that the clocks show twice, the first is meant, unless the time that the day is taken from is itself
    /// one of the second.
    ///
    /// Where a person has changed nothing but the day of `former`, a whole text with the zone's offset, the
    /// time of day stays and the offset becomes that of the new day, if clocks show the time then. Another
    /// zone's offset stays.
    ///
    /// What is no short form, and a time that the clocks skip, comes back as it was typed.
    [[nodiscard]] static QString completed(const QString& typed, const QString& other, const QDateTime& now,
                                           const QTimeZone& zone, const QString& former = {});

    /// The same, but empty for what is no time then.
    [[nodiscard]] static QString meant(const QString& typed, const QString& other, const QDateTime& now,
                                       const QTimeZone& zone, const QString& former = {});

    /// Whether the time of a short form is "24:00", and the ISO text the next day's midnight.
    [[nodiscard]] static bool saysDaysEnd(const QString& typed);

    /// The text of a time that many minutes later, as clocks that are set meanwhile show it. A text without
    /// an offset stays without, a short form is read first, nothing begins with `other` or with the quarter
    /// of an hour before `now`; what cannot be read comes back as it is.
    [[nodiscard]] static QString stepped(const QString& text, int minutes, const QString& other,
                                         const QDateTime& now, const QTimeZone& zone,
                                         const QString& former = {});

    /// What clocks in `zone` show at the time of `text`, or at the midnight of a day; invalid when it is
    /// neither.
    [[nodiscard]] static QDateTime shown(const QString& text, const QTimeZone& zone);

    /// The quarters of an hour of a day in the order in which the clocks show them, with those they skip, and
    /// with one more time of the day.
    [[nodiscard]] static QList<Quarter> quarters(QDate day, const QTimeZone& zone, QTime other = {});

    /// Where a list of quarters stands for a time, which may be of another day: at the last one up to it.
    [[nodiscard]] static qsizetype quarterOf(const QDateTime& time, const QList<Quarter>& quarters);
};
