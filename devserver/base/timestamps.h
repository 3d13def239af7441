// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// Instants are whole seconds since the Unix epoch inside the server and UTC
// ISO 8601 ("2024-03-05T07:08:09Z") on the wire.
namespace devserver {

/// Reads an ISO 8601 date-time of the years 1 to 9999 that names its offset
/// ("Z" or "+03:00"); a fraction of a second is dropped.
[[nodiscard]] std::optional<qint64> parseInstant(const QString& text);

/// Appends the instant as a JSON string.
void appendInstant(QByteArray& out, qint64 instant);

/// Appends the instant as a JSON string, or null.
void appendInstant(QByteArray& out, const std::optional<qint64>& instant);

[[nodiscard]] qint64 currentInstant();

constexpr qint64 lastInstant = 253'402'300'799; ///< the end of the year 9999

} // namespace devserver
