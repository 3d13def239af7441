// SPDX-License-Identifier: MIT
#pragma once

#include <QDateTime>
#include <QJsonValue>
#include <QString>
#include <QTimeZone>

/// The instant that a JSON value names, as ISO 8601 with optional milliseconds;
/// invalid when the value is no string or does not parse.
[[nodiscard]] QDateTime stamp(const QJsonValue& value);

/// The time zone that the database of time zones has under this name; invalid where it has none. What Qt
/// knows besides, each version other things, is no zone: offsets ("UTC+3"), rules ("FOO5"), paths.
[[nodiscard]] QTimeZone knownZone(const QString& name);

/// The same; UTC where the name is unknown.
[[nodiscard]] QTimeZone zoneNamed(const QString& name);

/// "%1:%2:%3", two digits at least each, hours unbounded; negative counts as 0.
[[nodiscard]] QString durationText(qint64 seconds);

/// The instant that a text names, as clocks in a zone show it, "2026-03-05 09:08:09"; in UTC and with its
/// offset where the zone is unknown, and as it stands where it is no instant.
[[nodiscard]] QString timeText(const QString& text, const QString& zone);
