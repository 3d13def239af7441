// SPDX-License-Identifier: MIT
#include "state/timestamp.h"

#include <QRegularExpression>

#include <algorithm>

using namespace Qt::StringLiterals;

QDateTime stamp(const QJsonValue& value) {
    return QDateTime::fromString(value.toString(), Qt::ISODateWithMs);
}

QTimeZone knownZone(const QString& name) {
    // Digits and "+" before a slash make an offset or a rule, but for the old names that are both.
    static const QRegularExpression form(
        u"\\A(?:[A-Za-z_-]+(?:/[A-Za-z0-9_+-]+)*|GMT[+-]?0|EST5EDT|CST6CDT|MST7MDT|PST8PDT)\\z"_s);
    return form.match(name).hasMatch() ? QTimeZone(name.toLatin1()) : QTimeZone();
}

QTimeZone zoneNamed(const QString& name) {
    const QTimeZone known = knownZone(name);
    return known.isValid() ? known : QTimeZone::utc();
}

QString durationText(qint64 seconds) {
    const auto padded = [](qint64 number) { return QString::number(number).rightJustified(2, u'0'); };
    const qint64 s = std::max<qint64>(seconds, 0);
    return u"%1:%2:%3"_s.arg(padded(s / 3600), padded(s / 60 % 60), padded(s % 60));
}

QString timeText(const QString& text, const QString& zone) {
    const QDateTime time = stamp(text);
    if (!time.isValid()) {
        return text;
    }
    const QString format = u"yyyy-MM-dd HH:mm:ss"_s;
    const QTimeZone known = knownZone(zone);
    return known.isValid() ? time.toTimeZone(known).toString(format)
                           : time.toUTC().toString(format) + u" +00:00"_s;
}
