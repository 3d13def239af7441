// SPDX-License-Identifier: MIT
#include "devserver/base/timestamps.h"

#include <QDateTime>
#include <QRegularExpression>

#include <array>

namespace devserver {
namespace {

constexpr qint64 epochDay = 2440588; // the Julian day of 1970-01-01
constexpr qint64 secondsPerDay = 86400;

qint64 secondsAt(QDate date, int hour, int minute, int second) {
    return (date.toJulianDay() - epochDay) * secondsPerDay + qint64{hour} * 3600 + qint64{minute} * 60 +
           second;
}

void writeDigits(char* to, int width, int value) {
    for (int i = width - 1; i >= 0; --i) {
        to[i] = static_cast<char>('0' + value % 10);
        value /= 10;
    }
}

} // namespace

std::optional<qint64> parseInstant(const QString& text) {
    static const QRegularExpression form(
        QStringLiteral("^([0-9]{4})-([0-9]{2})-([0-9]{2})T([0-9]{2}):([0-9]{2}):([0-9]{2})(?:[.,][0-9]{1,9})?"
                       "(?:Z|([+-])([0-9]{2}):([0-9]{2}))\\z"));
    const QRegularExpressionMatch match = form.match(text);
    if (!match.hasMatch()) {
        return std::nullopt;
    }
    const auto number = [&match](int group) { return match.capturedView(group).toInt(); };
    const QDate date(number(1), number(2), number(3));
    const QTime time(number(4), number(5), number(6));
    if (!date.isValid() || !time.isValid() || number(8) > 23 || number(9) > 59) {
        return std::nullopt;
    }
    const int offset = number(8) * 3600 + number(9) * 60;
    const qint64 local = secondsAt(date, number(4), number(5), number(6));
    const qint64 instant = match.capturedView(7) == u"-" ? local + offset : local - offset;
    static const qint64 first = secondsAt(QDate(1, 1, 1), 0, 0, 0);
    if (instant < first || instant > lastInstant) {
        return std::nullopt;
    }
    return instant;
}

void appendInstant(QByteArray& out, qint64 instant) {
    const qint64 day = instant >= 0 ? instant / secondsPerDay : (instant - secondsPerDay + 1) / secondsPerDay;
    const int second = static_cast<int>(instant - day * secondsPerDay);
    const QDate date = QDate::fromJulianDay(day + epochDay);
    std::array<char, 22> text{'"', '0', '0', '0', '0', '-', '0', '0', '-', '0', '0',
                              'T', '0', '0', ':', '0', '0', ':', '0', '0', 'Z', '"'};
    writeDigits(&text[1], 4, date.year());
    writeDigits(&text[6], 2, date.month());
    writeDigits(&text[9], 2, date.day());
    writeDigits(&text[12], 2, second / 3600);
    writeDigits(&text[15], 2, second / 60 % 60);
    writeDigits(&text[18], 2, second % 60);
    out.append(text.data(), static_cast<qsizetype>(text.size()));
}

void appendInstant(QByteArray& out, const std::optional<qint64>& instant) {
    if (instant) {
        appendInstant(out, *instant);
    } else {
        out += "null";
    }
}

qint64 currentInstant() {
    return QDateTime::currentSecsSinceEpoch();
}

} // namespace devserver
