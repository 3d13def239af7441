// SPDX-License-Identifier: MIT
#include "devserver/base/timezones.h"

#include <QDateTime>
#include <QFile>
#include <QRegularExpression>

namespace devserver {
namespace {

int offsetAt(qint64 instant, const QTimeZone& zone) {
    return QDateTime::fromSecsSinceEpoch(instant, zone).offsetFromUtc();
}

// Qt knows more as zones, each version other things: rules such as "FOO5", offsets such as "UTC+3".
bool isInDatabase(const QString& name) {
    QFile file(QStringLiteral("/usr/share/zoneinfo/") + name);
    return file.open(QIODevice::ReadOnly) && file.read(4) == "TZif";
}

} // namespace

std::optional<QTimeZone> zoneNamed(const QString& name) {
    static const QRegularExpression form(QStringLiteral("\\A[A-Za-z][A-Za-z0-9_+-]*(/[A-Za-z0-9_+-]+)*\\z"));
    if (!form.match(name).hasMatch() || !isInDatabase(name)) {
        return std::nullopt;
    }
    const QTimeZone zone(name.toLatin1());
    return zone.isValid() ? std::optional(zone) : std::nullopt;
}

qint64 firstMoment(QDate date, const QTimeZone& zone) {
    QDateTime moment = date.startOfDay(zone);
    while (!moment.isValid()) {
        date = date.addDays(1);
        moment = date.startOfDay(zone);
    }
    // Where the clocks are put back over midnight, it may be the second one.
    const qint64 found = moment.toSecsSinceEpoch();
    const int before = offsetAt(found - 86'400, zone);
    const qint64 earlier = found + offsetAt(found, zone) - before;
    return earlier < found && offsetAt(earlier, zone) == before ? earlier : found;
}

} // namespace devserver
