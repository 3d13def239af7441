// SPDX-License-Identifier: MIT
#pragma once

#include <QDate>
#include <QJsonArray>
#include <QString>
#include <QTimeZone>

/// The weekday that a workspace's weeks begin with, as QDate counts. Nobody says it outright: it is that of
/// the newest timesheet of a whole week there, and without any Sunday in Israel and Monday elsewhere.
[[nodiscard]] int firstWeekday(const QJsonArray& periods, const QString& workspace, const QTimeZone& zone);

/// The first day of the week that holds `day`.
[[nodiscard]] QDate startOfWeek(QDate day, int weekday);
