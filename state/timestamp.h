// SPDX-License-Identifier: MIT
#pragma once

#include <QDateTime>
#include <QJsonValue>
#include <QString>

/// The instant that a JSON value names, as ISO 8601 with optional milliseconds;
/// invalid when the value is no string or does not parse.
[[nodiscard]] QDateTime stamp(const QJsonValue& value);

/// "%1:%2:%3", two digits at least each, hours unbounded; negative counts as 0.
[[nodiscard]] QString durationText(qint64 seconds);
