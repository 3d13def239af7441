// SPDX-License-Identifier: MIT
#include "zonetimes.h"

#include "state/timestamp.h"
#include "state/timetext.h"
#include "state/weeks.h"

#include <QDateTime>
#include <QVariantMap>

using namespace Qt::StringLiterals;

namespace {

constexpr int daysPerWeek = 7;
constexpr int weeksShown = 6;
constexpr int lengthWithoutOffset = 19;

QDate dateOf(const QString& day) {
    return QDate::fromString(day, Qt::ISODate);
}

QString textOf(QDate day) {
    return day.toString(Qt::ISODate);
}

} // namespace

QTimeZone ZoneTimes::timeZone() const {
    return zoneNamed(m_zone);
}

QDateTime ZoneTimes::shown(const QString& text, const QString& other) const {
    const QTimeZone zone = timeZone();
    for (const QString& candidate : {text, other}) {
        QDateTime time = TimeText::shown(candidate, zone);
        if (time.isValid()) {
            return time;
        }
    }
    return QDateTime::currentDateTimeUtc().toTimeZone(zone);
}

QString ZoneTimes::completed(const QString& typed, const QString& other, const QString& former) const {
    return TimeText::completed(typed, other, QDateTime::currentDateTimeUtc(), timeZone(), former);
}

QString ZoneTimes::meant(const QString& typed, const QString& other, const QString& former) const {
    return TimeText::meant(typed, other, QDateTime::currentDateTimeUtc(), timeZone(), former);
}

QString ZoneTimes::stepped(const QString& text, int minutes, const QString& other,
                           const QString& former) const {
    return TimeText::stepped(text, minutes, other, QDateTime::currentDateTimeUtc(), timeZone(), former);
}

bool ZoneTimes::saysDaysEnd(const QString& typed) const {
    return TimeText::saysDaysEnd(typed);
}

bool ZoneTimes::isTime(const QString& text) const {
    return text.contains(u'T', Qt::CaseInsensitive) && TimeText::shown(text, timeZone()).isValid();
}

QString ZoneTimes::day(const QString& text, const QString& other) const {
    return textOf(shown(text, other).date());
}

QString ZoneTimes::movedDay(const QString& day, int days, int months) const {
    const QString moved = textOf(dateOf(day).addMonths(months).addDays(days));
    return moved.isEmpty() ? day : moved; // four digits of year is all that the form holds
}

QStringList ZoneTimes::month(const QString& day, int firstWeekday) const {
    const QDate date = dateOf(day);
    const QDate first(date.year(), date.month(), 1);
    const QDate shown = startOfWeek(first, firstWeekday);
    QStringList days;
    for (int i = 0; i < weeksShown * daysPerWeek; ++i) {
        days.append(textOf(shown.addDays(i)));
    }
    return days;
}

QVariantList ZoneTimes::quarters(const QString& day, const QString& text) const {
    QVariantList rows;
    const auto quarters =
        TimeText::quarters(dateOf(day), timeZone(), TimeText::shown(text, timeZone()).time());
    for (const TimeText::Quarter& quarter : quarters) {
        const QString stamp = quarter.at.toString(Qt::ISODate);
        rows.append(QVariantMap{
            {u"time"_s, quarter.time.toString(quarter.time.second() > 0 ? u"HH:mm:ss" : u"HH:mm")},
            {u"text"_s, stamp},
            {u"offset"_s, quarter.twice ? stamp.mid(lengthWithoutOffset) : QString()},
        });
    }
    return rows;
}

int ZoneTimes::quarterOf(const QString& day, const QString& text, const QString& other) const {
    const auto quarters =
        TimeText::quarters(dateOf(day), timeZone(), TimeText::shown(text, timeZone()).time());
    return static_cast<int>(TimeText::quarterOf(shown(text, other), quarters));
}
