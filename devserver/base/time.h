// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QDate>
#include <QString>
#include <QTimeZone>

#include <optional>

// Instants are whole seconds since the Unix epoch inside the server and UTC
// ISO 8601 ("2024-03-05T07:08:09Z") on the wire.
namespace devserver {

constexpr qint64 secondsPerDay = 86400;
constexpr qint64 lastInstant = 253'402'300'799; ///< the end of the year 9999

/// Reads an ISO 8601 date-time of the years 1 to 9999 that names its offset
/// ("Z" or "+03:00"); a fraction of a second is dropped.
[[nodiscard]] std::optional<qint64> parseInstant(const QString& text);
[[nodiscard]] QByteArray instantText(qint64 instant);
[[nodiscard]] qint64 currentInstant();

/// A date of the form YYYY-MM-DD and nothing else; invalid otherwise.
[[nodiscard]] QDate parseDate(const QString& text);

/// The midnight of a date in UTC: clocks there and in no other zone show seconds since the epoch.
[[nodiscard]] qint64 utcMidnight(QDate date);

/// The zone of an IANA name such as "Asia/Jerusalem" or "UTC".
[[nodiscard]] std::optional<QTimeZone> zoneNamed(const QString& name);

/// The zone of a name that was checked before it was stored; throws
/// std::runtime_error for one that this machine does not know.
[[nodiscard]] QTimeZone storedZone(const QString& name);

/// The instant at which a day begins: with its first midnight where it has two,
/// later where the clocks skipped it, and with the next day when they skipped all of it.
[[nodiscard]] qint64 firstMoment(QDate date, const QTimeZone& zone);

/// The first day of the week that holds `day`: a Sunday where the language is "he", else a Monday.
[[nodiscard]] QDate firstOfWeek(QDate day, const QString& language);

} // namespace devserver
