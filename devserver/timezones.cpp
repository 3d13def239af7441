// SPDX-License-Identifier: MIT
#include "devserver/timezones.h"

#include <QDateTime>
#include <QFileInfo>
#include <QRegularExpression>

namespace devserver {
namespace {

int offsetAt(qint64 instant, const QTimeZone& zone) {
    return zone.offsetFromUtc(QDateTime::fromSecsSinceEpoch(instant, Qt::UTC));
}

} // namespace

std::optional<QTimeZone> zoneNamed(const QString& name) {
    static const QRegularExpression form(QStringLiteral("\\A[A-Za-z][A-Za-z0-9_+-]*(/[A-Za-z0-9_+-]+)*\\z"));
    if (!form.match(name).hasMatch()) {
        return std::nullopt;
    }
    // A single word that names no zone is taken for a rule, and then for UTC, instead of being refused.
    const QByteArray id = name.toLatin1();
    if (!name.contains(u'/') && !QTimeZone::isTimeZoneIdAvailable(id) &&
        !QFileInfo(QStringLiteral("/usr/share/zoneinfo/") + name).isFile()) {
        return std::nullopt;
    }
    const QTimeZone zone(id);
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
