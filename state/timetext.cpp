// SPDX-License-Identifier: MIT
#include "state/timetext.h"

#include <QRegularExpression>
#include <QStringList>

#include <algorithm>
#include <optional>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr int secondsPerDay = 24 * 60 * 60;
constexpr int secondsPerQuarter = 15 * 60;
constexpr int quartersPerDay = secondsPerDay / secondsPerQuarter;
/// February 29 comes at least that often.
constexpr int yearsToLeapYear = 8;
constexpr int endOfDay = 24; // the hour that is the next day's first

struct Clocks {
    QTime time;
    int days = 0; ///< after the day that it is said of
};

QString isoText(const QDateTime& time) {
    return time.toString(Qt::ISODate);
}

bool hasOffset(const QDateTime& time) {
    return time.isValid() && time.timeSpec() != Qt::LocalTime;
}

/// A whole text. Without an offset it is of the device's zone; a blank in the place of its T makes it a short
/// form.
QDateTime read(const QString& text) {
    const QDateTime time = QDateTime::fromString(text, Qt::ISODateWithMs);
    return hasOffset(time) || text.contains(u'T', Qt::CaseInsensitive) ? time : QDateTime();
}

/// With the offset as such: a time in a zone may forget which of two equal times it was.
QDateTime inZone(const QDateTime& time, const QTimeZone& zone) {
    return time.toOffsetFromUtc(zone.offsetFromUtc(time));
}

/// When clocks in the zone show this: once, not at all when they are set forward over it, twice when
/// they are set back.
QList<QDateTime> timesShowing(QDate day, QTime time, const QTimeZone& zone) {
    const QDateTime shown(day, time, QTimeZone::utc());
    QList<QDateTime> found;
    // The offsets before and after a change of the clocks; otherwise both are the same.
    for (const int apart : {-secondsPerDay, secondsPerDay}) {
        const int offset = zone.offsetFromUtc(shown.addSecs(apart));
        const QDateTime at = shown.addSecs(-offset);
        if (zone.offsetFromUtc(at) == offset && !found.contains(at)) {
            found.append(at);
        }
    }
    for (QDateTime& at : found) {
        at = inZone(at, zone);
    }
    return found;
}

/// Of a day's ISO text.
QDateTime midnight(const QString& text, const QTimeZone& zone) {
    const QDate day = QDate::fromString(text, Qt::ISODate);
    return day.isValid() ? day.startOfDay(zone) : QDateTime();
}

std::optional<Clocks> timeIn(const QString& word) {
    static const QRegularExpression form(u"^(\\d{1,2}?)(?::?(\\d{2}))?(?::(\\d{2}))?$"_s);
    const QRegularExpressionMatch match = form.match(word);
    const int hour = match.captured(1).toInt();
    const int minute = match.captured(2).toInt();
    const int second = match.captured(3).toInt();
    const int days = hour == endOfDay && minute == 0 && second == 0 ? 1 : 0;
    const QTime time(days > 0 ? 0 : hour, minute, second);
    return match.hasMatch() && time.isValid() ? std::optional(Clocks{time, days}) : std::nullopt;
}

/// The last such day that is no more than a month after `reference`.
QDate dayOfSomeYear(int day, int month, QDate reference) {
    const QDate latest = reference.addMonths(1);
    for (int year = latest.year(); year >= latest.year() - yearsToLeapYear; --year) {
        const QDate date(year, month, day);
        if (date.isValid() && date <= latest) {
            return date;
        }
    }
    return {};
}

QDate dayIn(const QString& word, QDate today, QDate reference) {
    if (word == u"today" || word == u"היום") {
        return today;
    }
    if (word == u"yesterday" || word == u"אתמול") {
        return today.addDays(-1);
    }
    if (word == u"tomorrow" || word == u"מחר") {
        return today.addDays(1);
    }
    static const QRegularExpression form(u"^(\\d{1,2})\\.(\\d{1,2})(?:\\.(\\d{4})?)?$"_s);
    const QRegularExpressionMatch match = form.match(word);
    if (!match.hasMatch()) {
        return QDate::fromString(word, Qt::ISODate);
    }
    const int day = match.captured(1).toInt();
    const int month = match.captured(2).toInt();
    const int year = match.captured(3).toInt();
    return year > 0 ? QDate(year, month, day) : dayOfSomeYear(day, month, reference);
}

/// Whether clocks in the zone have shown the same before.
bool isSecond(const QDateTime& time, const QTimeZone& zone) {
    const QList<QDateTime> times = timesShowing(time.date(), time.time(), zone);
    return times.size() > 1 && times.last() == time;
}

/// Whether nothing but the day differs from a time of the zone.
bool isOfAnotherDay(const QDateTime& time, const QDateTime& former, const QTimeZone& zone) {
    return hasOffset(former) && former.date() != time.date() && former.time() == time.time() &&
           former.offsetFromUtc() == time.offsetFromUtc() &&
           former.offsetFromUtc() == zone.offsetFromUtc(former);
}

/// When clocks in the zone show what a short form says.
QList<QDateTime> timesOfShortForm(const QString& typed, QDate today, QDate reference, const QTimeZone& zone) {
    QStringList words = typed.toLower().simplified().split(u' ');
    if (words.size() > 2) {
        return {};
    }
    std::optional<Clocks> clocks = timeIn(words.last());
    if (!clocks && words.size() == 2) {
        words.swapItemsAt(0, 1);
        clocks = timeIn(words.last());
    }
    if (!clocks) {
        return {};
    }
    const QDate day = words.size() == 1 ? reference : dayIn(words.first(), today, reference);
    return day.isValid() ? timesShowing(day.addDays(clocks->days), clocks->time, zone) : QList<QDateTime>();
}

} // namespace

QString TimeText::meant(const QString& typed, const QString& other, const QDateTime& now,
                        const QTimeZone& zone, const QString& former) {
    const QDateTime whole = read(typed);
    if (whole.isValid()) {
        const bool isMoved = hasOffset(whole) && isOfAnotherDay(whole, read(former), zone) &&
                             zone.offsetFromUtc(whole) != whole.offsetFromUtc();
        const QList<QDateTime> times =
            isMoved ? timesShowing(whole.date(), whole.time(), zone) : QList<QDateTime>();
        return times.isEmpty() ? typed : isoText(times.first());
    }
    const QDateTime today = inZone(now, zone);
    const QDateTime beside = shown(other, zone);
    const QDateTime reference = beside.isValid() ? beside : today;
    const QList<QDateTime> times = timesOfShortForm(typed, today.date(), reference.date(), zone);
    if (times.isEmpty()) {
        return {};
    }
    return isoText(isSecond(reference, zone) ? times.last() : times.first());
}

bool TimeText::saysDaysEnd(const QString& typed) {
    const QStringList words = typed.simplified().split(u' ');
    return words.size() <= 2 && std::any_of(words.begin(), words.end(), [](const QString& word) {
               return timeIn(word).value_or(Clocks()).days > 0;
           });
}

QString TimeText::completed(const QString& typed, const QString& other, const QDateTime& now,
                            const QTimeZone& zone, const QString& former) {
    const QString text = meant(typed, other, now, zone, former);
    return text.isEmpty() ? typed : text;
}

QString TimeText::stepped(const QString& text, int minutes, const QString& other, const QDateTime& now,
                          const QTimeZone& zone, const QString& former) {
    QDateTime from = read(meant(text, other, now, zone, former));
    if (text.isEmpty()) {
        const qint64 seconds = now.toSecsSinceEpoch();
        from = shown(other, zone);
        from = from.isValid() ? from : now.addSecs(-(seconds % secondsPerQuarter));
    }
    if (!from.isValid()) {
        return text;
    }
    const QDateTime to = from.addSecs(qint64{60} * minutes);
    return isoText(hasOffset(to) ? inZone(to, zone) : to);
}

QDateTime TimeText::shown(const QString& text, const QTimeZone& zone) {
    const QDateTime time = read(text);
    return time.isValid() ? inZone(time, zone) : midnight(text, zone);
}

QList<TimeText::Quarter> TimeText::quarters(QDate day, const QTimeZone& zone, QTime other) {
    QList<QTime> offered;
    for (int i = 0; i < quartersPerDay; ++i) {
        offered.append(QTime::fromMSecsSinceStartOfDay(i * secondsPerQuarter * 1000));
    }
    const auto place = std::lower_bound(offered.constBegin(), offered.constEnd(), other);
    if (other.isValid() && (place == offered.constEnd() || *place != other)) {
        offered.insert(place, other);
    }
    QList<Quarter> all;
    QList<Quarter> again; // follow when the clocks have shown all of them once
    for (const QTime time : offered) {
        const QList<QDateTime> times = timesShowing(day, time, zone);
        const bool twice = times.size() > 1;
        if (twice) {
            again.append({time, times.last(), twice});
        } else {
            all += std::exchange(again, {});
        }
        all.append({time, times.value(0), twice});
    }
    return all + again;
}

qsizetype TimeText::quarterOf(const QDateTime& time, const QList<Quarter>& quarters) {
    qsizetype found = 0;
    for (qsizetype i = 0; i < quarters.size(); ++i) {
        const Quarter& quarter = quarters.at(i);
        const bool ofThatDay = quarter.at.date() == time.date();
        const bool reached = ofThatDay
                                 ? quarter.at <= time
                                 : quarter.time <= time.time() && quarter.time > quarters.at(found).time;
        if (quarter.at.isValid() && reached) {
            found = i;
        }
    }
    return found;
}
