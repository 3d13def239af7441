// SPDX-License-Identifier: MIT
#include "state/timestamp.h"

#include <algorithm>

using namespace Qt::StringLiterals;

QDateTime stamp(const QJsonValue& value) {
    return QDateTime::fromString(value.toString(), Qt::ISODateWithMs);
}

QTimeZone zoneNamed(const QString& name) {
    const QTimeZone known(name.toUtf8());
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
    const QTimeZone known(zone.toUtf8());
    return known.isValid() ? time.toTimeZone(known).toString(format)
                           : time.toUTC().toString(format) + u" +00:00"_s;
}
