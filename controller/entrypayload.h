// SPDX-License-Identifier: MIT
#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QString>

/// Whole seconds in UTC with "Z", the form of every time stamp that goes to the server.
[[nodiscard]] QString utcText(const QDateTime& time);

/// Whether that form holds it: four digits of year.
[[nodiscard]] bool hasUtcText(const QDateTime& time);

/// By a second at least, as the server counts them.
[[nodiscard]] bool isAfter(const QDateTime& end, const QDateTime& start);

/// What is said about times that are none, or in no order.
[[nodiscard]] QString invalidTimes();

/// What a new entry starts with; the caller adds its times.
[[nodiscard]] QJsonObject newEntry(const QString& description, const QString& projectId, bool billable);

[[nodiscard]] QString newEntryId();
