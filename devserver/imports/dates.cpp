// SPDX-License-Identifier: MIT
#include "devserver/imports/dates.h"

#include "devserver/base/time.h"
#include "devserver/imports/csvtable.h"

#include <QDateTime>
#include <QRegularExpression>

#include <array>
#include <cmath>

namespace devserver {
namespace {

/// How a form is written, and which group of its pattern is what.
struct DateRule {
    QString name;
    QRegularExpression pattern;
    int year;
    int month;
    int day;
};

const DateRule& ruleOf(DateForm form) {
    static const std::array<DateRule, 3> rules{{
        {u"YYYY-MM-DD"_s, QRegularExpression(u"^([0-9]{4})([-/])([0-9]{2})\\2([0-9]{2})\\z"_s), 1, 3, 4},
        {u"DD/MM/YYYY"_s, QRegularExpression(u"^([0-9]{1,2})([-/.])([0-9]{1,2})\\2([0-9]{4})\\z"_s), 4, 3, 1},
        {u"MM/DD/YYYY"_s, QRegularExpression(u"^([0-9]{1,2})([-/])([0-9]{1,2})\\2([0-9]{4})\\z"_s), 4, 1, 3},
    }};
    return rules.at(static_cast<size_t>(form));
}

} // namespace

DateForm findDateForm(const QStringList& dates) {
    bool yearFirst = false;
    bool dayFirst = false;
    bool monthFirst = false;
    bool either = false;
    bool same = false;
    for (const QString& text : dates) {
        if (readDate(text, DateForm::YearFirst)) {
            yearFirst = true;
            continue;
        }
        const auto byDay = readDate(text, DateForm::DayFirst);
        const auto byMonth = readDate(text, DateForm::MonthFirst);
        dayFirst = dayFirst || (byDay && !byMonth);
        monthFirst = monthFirst || (byMonth && !byDay);
        either = either || (byDay && byMonth && byDay != byMonth);
        same = same || (byDay && byDay == byMonth);
    }
    if (int(yearFirst) + int(dayFirst) + int(monthFirst) > 1 || (yearFirst && (either || same))) {
        throw unusableCsv(u"The file writes its dates in more than one way; "
                          "all must be YYYY-MM-DD, or all DD/MM/YYYY, or all MM/DD/YYYY."_s);
    }
    if (either && !dayFirst && !monthFirst) {
        throw unusableCsv(u"Every date of the file could be DD/MM/YYYY as well as MM/DD/YYYY; "
                          "write the dates as YYYY-MM-DD."_s);
    }
    if (monthFirst) {
        return DateForm::MonthFirst;
    }
    return dayFirst || same ? DateForm::DayFirst : DateForm::YearFirst;
}

QString nameOf(DateForm form) {
    return ruleOf(form).name;
}

std::optional<QDate> readDate(const QString& text, DateForm form) {
    const DateRule& rule = ruleOf(form);
    const auto match = rule.pattern.match(text);
    const auto part = [&match](int group) { return match.capturedView(group).toInt(); };
    const QDate date(part(rule.year), part(rule.month), part(rule.day)); // invalid without a match
    return date.year() >= 1970 && date.year() <= 9998 ? std::optional(date) : std::nullopt;
}

std::optional<TimeOfDay> readTimeOfDay(const QString& text) {
    // The blank may be one that keeps its neighbours on one line.
    static const QRegularExpression form(u"^([0-9]{1,2}):([0-9]{2})(?::([0-9]{2})(?:[.,][0-9]{1,9})?)?"
                                         "(?:[ \\x{A0}\\x{2009}\\x{202F}]?([AaPp])(?:[Mm]|\\.[Mm]\\.))?"
                                         "(?: ?([+-])([01][0-9]):([0-5][0-9]))?\\z"_s);
    const auto match = form.match(text);
    const int minute = match.capturedView(2).toInt();
    const int second = match.capturedView(3).toInt();
    int hour = match.capturedView(1).toInt();
    if (const QStringView half = match.capturedView(4); !half.isEmpty()) {
        if (hour < 1 || hour > 12) {
            return std::nullopt;
        }
        hour = hour % 12 + (half.startsWith(u'p', Qt::CaseInsensitive) ? 12 : 0);
    }
    const bool endOfDay = hour == 24 && minute == 0 && second == 0;
    if (!match.hasMatch() || !(endOfDay || QTime::isValid(hour, minute, second))) {
        return std::nullopt;
    }
    TimeOfDay time{(hour * 60 + minute) * 60 + second, std::nullopt};
    if (const QStringView sign = match.capturedView(5); !sign.isEmpty()) {
        const int size = (match.capturedView(6).toInt() * 60 + match.capturedView(7).toInt()) * 60;
        time.offset = sign == u'-' ? -size : size;
    }
    return time;
}

std::optional<Length> readDuration(const QString& text) {
    static const QRegularExpression clock(
        u"^([0-9]{1,5}):([0-5][0-9])(?::([0-5][0-9])(?:[.,][0-9]{1,9})?)?\\z"_s);
    static const QRegularExpression hours(u"^([0-9]{1,5})[.,]([0-9]{1,6})\\z"_s);
    if (const auto match = clock.match(text); match.hasMatch()) {
        return Length{(match.capturedView(1).toLongLong() * 60 + match.capturedView(2).toInt()) * 60 +
                      match.capturedView(3).toInt()};
    }
    const auto match = hours.match(text);
    if (!match.hasMatch()) {
        return std::nullopt;
    }
    const double unit = 3600 / std::pow(10, match.capturedLength(2));
    const auto parts = (match.captured(1) + match.captured(2)).toLongLong();
    return Length{std::llround(double(parts) * unit), 1 + std::llround(unit / 2)};
}

QList<qint64> instantsOf(QDate date, int secondOfDay, const QTimeZone& zone) {
    const qint64 local = utcMidnight(date) + secondOfDay;
    QList<qint64> instants;
    for (const qint64 near : {local - secondsPerDay, local + secondsPerDay}) {
        const int offset = QDateTime::fromSecsSinceEpoch(near, zone).offsetFromUtc();
        const qint64 instant = local - offset;
        if (QDateTime::fromSecsSinceEpoch(instant, zone).offsetFromUtc() == offset &&
            !instants.contains(instant)) {
            instants += instant;
        }
    }
    return instants;
}

} // namespace devserver
