// SPDX-License-Identifier: MIT
#include "devserver/timezones.h"

#include <QFileInfo>
#include <QRegularExpression>

namespace devserver {

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

} // namespace devserver
