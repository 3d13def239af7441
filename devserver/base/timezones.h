// SPDX-License-Identifier: MIT
#pragma once

#include <QDate>
#include <QString>
#include <QTimeZone>

#include <optional>

namespace devserver {

/// The zone of an IANA name such as "Asia/Jerusalem" or "UTC".
[[nodiscard]] std::optional<QTimeZone> zoneNamed(const QString& name);

/// The instant at which a day begins: with its first midnight where it has two,
/// later where the clocks skipped it, and with the next day when they skipped all of it.
[[nodiscard]] qint64 firstMoment(QDate date, const QTimeZone& zone);

} // namespace devserver
