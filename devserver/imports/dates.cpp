// SPDX-License-Identifier: MIT
#include "devserver/imports/dates.h"

#include "devserver/imports/csvtable.h"

#include <QDateTime>
#include <QRegularExpression>

namespace devserver {
namespace {

constexpr qint64 epochDay = 2440588; // the Julian day of 1970-01-01
constexpr qint64 secondsPerDay = 86400;

std::optional<QDate> dateOf(int year, int month, int day) {
    const QDate date(year, month, day);
    return date.isValid() && year >= 1970 && year <= 9998 ? std::optional(date) : std::nullopt;
}

std::optional<QDate> readIso(const QString& text) {
    static const QRegularExpression form(QStringLiteral("^([0-9]{4})-([0-9]{2})-([0-9]{2})\\z"));
    const auto match = form.match(text);
    return match.hasMatch() ? dateOf(match.capturedView(1).toInt(), match.capturedView(2).toInt(),
                                     match.capturedView(3).toInt())
                            : std::nullopt;
}

std::optional<QDate> readSlashed(const QString& text, int dayGroup, int monthGroup) {
    static const QRegularExpression form(QStringLiteral("^([0-9]{1,2})/([0-9]{1,2})/([0-9]{4})\\z"));
    const auto match = form.match(text);
    return match.hasMatch() ? dateOf(match.capturedView(3).toInt(), match.capturedView(monthGroup).toInt(),
                                     match.capturedView(dayGroup).toInt())
                            : std::nullopt;
}

} // namespace

DateForm findDateForm(const QStringList& dates) {
    bool iso = false;
    bool dayFirst = false;
    bool monthFirst = false;
    bool either = false;
    bool same = false;
    for (const QString& text : dates) {
        if (readDate(text, DateForm::Iso)) {
            iso = true;
            continue;
        }
        const auto byDay = readDate(text, DateForm::DayFirst);
        const auto byMonth = readDate(text, DateForm::MonthFirst);
        dayFirst = dayFirst || (byDay && !byMonth);
        monthFirst = monthFirst || (byMonth && !byDay);
        either = either || (byDay && byMonth && byDay != byMonth);
        same = same || (byDay && byDay == byMonth);
    }
    if (int(iso) + int(dayFirst) + int(monthFirst) > 1 || (iso && (either || same))) {
        throw unusableCsv(QStringLiteral("The file writes its dates in more than one way; "
                                         "all must be YYYY-MM-DD, or all DD/MM/YYYY, or all MM/DD/YYYY."));
    }
    if (either && !dayFirst && !monthFirst) {
        throw unusableCsv(QStringLiteral("Every date of the file could be DD/MM/YYYY as well as MM/DD/YYYY; "
                                         "write the dates as YYYY-MM-DD."));
    }
    if (monthFirst) {
        return DateForm::MonthFirst;
    }
    return dayFirst || same ? DateForm::DayFirst : DateForm::Iso;
}

QString nameOf(DateForm form) {
    switch (form) {
    case DateForm::Iso:
        return QStringLiteral("YYYY-MM-DD");
    case DateForm::DayFirst:
        return QStringLiteral("DD/MM/YYYY");
    case DateForm::MonthFirst:
        break;
    }
    return QStringLiteral("MM/DD/YYYY");
}

std::optional<QDate> readDate(const QString& text, DateForm form) {
    switch (form) {
    case DateForm::Iso:
        return readIso(text);
    case DateForm::DayFirst:
        return readSlashed(text, 1, 2);
    case DateForm::MonthFirst:
        break;
    }
    return readSlashed(text, 2, 1);
}

std::optional<int> readTimeOfDay(const QString& text) {
    static const QRegularExpression form(
        QStringLiteral("^([0-9]{1,2}):([0-9]{2})(?::([0-9]{2}))?(?: ?([AaPp])[Mm])?\\z"));
    const auto match = form.match(text);
    if (!match.hasMatch()) {
        return std::nullopt;
    }
    int hour = match.capturedView(1).toInt();
    const int minute = match.capturedView(2).toInt();
    const int second = match.capturedView(3).toInt();
    if (const QStringView half = match.capturedView(4); !half.isEmpty()) {
        if (hour < 1 || hour > 12) {
            return std::nullopt;
        }
        hour = hour % 12 + (half.startsWith(u'p', Qt::CaseInsensitive) ? 12 : 0);
    }
    if (!QTime::isValid(hour, minute, second)) {
        return std::nullopt;
    }
    return (hour * 60 + minute) * 60 + second;
}

std::optional<int> readDuration(const QString& text) {
    static const QRegularExpression form(QStringLiteral("^([0-9]{1,5}):([0-5][0-9])(?::([0-5][0-9]))?\\z"));
    const auto match = form.match(text);
    if (!match.hasMatch()) {
        return std::nullopt;
    }
    return (match.capturedView(1).toInt() * 60 + match.capturedView(2).toInt()) * 60 +
           match.capturedView(3).toInt();
}

std::variant<qint64, LocalClock::Fault> LocalClock::instant(QDate date, int secondOfDay) const {
    const qint64 local = (date.toJulianDay() - epochDay) * secondsPerDay + secondOfDay;
    const int before = offsetAt(local - secondsPerDay);
    const int after = offsetAt(local + secondsPerDay);
    const qint64 early = local - before;
    const qint64 late = local - after;
    const bool byEarly = offsetAt(early) == before;
    const bool byLate = before == after ? byEarly : offsetAt(late) == after;
    if (byEarly && byLate && early != late) {
        return Fault::Repeated;
    }
    if (!byEarly && !byLate) {
        return Fault::Skipped;
    }
    return byEarly ? early : late;
}

int LocalClock::offsetAt(qint64 instant) const {
    return QDateTime::fromSecsSinceEpoch(instant, m_zone).offsetFromUtc();
}

} // namespace devserver
