// SPDX-License-Identifier: MIT
#include "devserver/base/time.h"

#include "devserver/base/text.h"

#include <QDateTime>
#include <QFile>
#include <QRegularExpression>

#include <chrono>
#include <stdexcept>

namespace devserver {
namespace {

int offsetAt(qint64 instant, const QTimeZone& zone) {
    return QDateTime::fromSecsSinceEpoch(instant, zone).offsetFromUtc();
}

// Qt knows more as zones, each version other things: rules such as "FOO5", offsets such as "UTC+3".
bool isInDatabase(const QString& name) {
    QFile file(u"/usr/share/zoneinfo/"_s + name);
    return file.open(QIODevice::ReadOnly) && file.read(4) == "TZif";
}

// Qt's own way to write numbers and dates takes longer than all else that is done for a row.
void writeDigits(char* to, int width, int value) {
    for (int i = width - 1; i >= 0; --i) {
        to[i] = static_cast<char>('0' + value % 10);
        value /= 10;
    }
}

} // namespace

std::optional<qint64> parseInstant(const QString& text) {
    static const QRegularExpression form(
        u"^([0-9]{4})-([0-9]{2})-([0-9]{2})T([0-9]{2}):([0-9]{2}):([0-9]{2})(?:[.,][0-9]{1,9})?"
        "(?:Z|([+-])([0-9]{2}):([0-9]{2}))\\z"_s);
    const QRegularExpressionMatch match = form.match(text);
    const auto number = [&match](int group) { return match.capturedView(group).toInt(); };
    const QDate date(number(1), number(2), number(3));
    if (!match.hasMatch() || !date.isValid() || !QTime::isValid(number(4), number(5), number(6)) ||
        number(8) > 23 || number(9) > 59) {
        return std::nullopt;
    }
    const int offset = number(8) * 3600 + number(9) * 60;
    const qint64 local = utcMidnight(date) + qint64{number(4)} * 3600 + qint64{number(5)} * 60 + number(6);
    const qint64 instant = match.capturedView(7) == u"-" ? local + offset : local - offset;
    static const qint64 first = utcMidnight(QDate(1, 1, 1));
    return instant < first || instant > lastInstant ? std::nullopt : std::optional(instant);
}

QByteArray instantText(qint64 instant) {
    using namespace std::chrono;
    const sys_seconds moment{seconds(instant)};
    const auto midnight = floor<days>(moment);
    const year_month_day date(midnight);
    const int second = static_cast<int>((moment - midnight).count());
    QByteArray text = "0000-00-00T00:00:00Z";
    writeDigits(text.data(), 4, int(date.year()));
    writeDigits(text.data() + 5, 2, static_cast<int>(unsigned(date.month())));
    writeDigits(text.data() + 8, 2, static_cast<int>(unsigned(date.day())));
    writeDigits(text.data() + 11, 2, second / 3600);
    writeDigits(text.data() + 14, 2, second / 60 % 60);
    writeDigits(text.data() + 17, 2, second % 60);
    return text;
}

qint64 currentInstant() {
    return QDateTime::currentSecsSinceEpoch();
}

QDate parseDate(const QString& text) {
    static const QRegularExpression form(u"\\A([0-9]{4})-([0-9]{2})-([0-9]{2})\\z"_s);
    const QRegularExpressionMatch match = form.match(text);
    return match.hasMatch() ? QDate(match.capturedView(1).toInt(), match.capturedView(2).toInt(),
                                    match.capturedView(3).toInt())
                            : QDate();
}

qint64 utcMidnight(QDate date) {
    return QDate(1970, 1, 1).daysTo(date) * secondsPerDay;
}

std::optional<QTimeZone> zoneNamed(const QString& name) {
    static const QRegularExpression form(u"\\A[A-Za-z][A-Za-z0-9_+-]*(/[A-Za-z0-9_+-]+)*\\z"_s);
    if (!form.match(name).hasMatch() || !isInDatabase(name)) {
        return std::nullopt;
    }
    const QTimeZone zone(name.toLatin1());
    return zone.isValid() ? std::optional(zone) : std::nullopt;
}

QTimeZone storedZone(const QString& name) {
    if (const auto zone = zoneNamed(name)) {
        return *zone;
    }
    throw std::runtime_error("this machine does not know the time zone " + name.toStdString());
}

qint64 firstMoment(QDate date, const QTimeZone& zone) {
    QDateTime moment = date.startOfDay(zone);
    while (!moment.isValid()) {
        date = date.addDays(1);
        moment = date.startOfDay(zone);
    }
    // Where the clocks are put back over midnight, it may be the second one.
    const qint64 found = moment.toSecsSinceEpoch();
    const int before = offsetAt(found - secondsPerDay, zone);
    const qint64 earlier = found + offsetAt(found, zone) - before;
    return earlier < found && offsetAt(earlier, zone) == before ? earlier : found;
}

QDate firstOfWeek(QDate day, const QString& language) {
    return day.addDays(language == u"he" ? -(day.dayOfWeek() % 7) : 1 - day.dayOfWeek());
}

} // namespace devserver
