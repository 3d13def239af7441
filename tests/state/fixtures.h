// SPDX-License-Identifier: MIT
#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

using namespace Qt::StringLiterals;

/// The cases of tests/state/data/`file`, each an object with a `name`.
[[nodiscard]] QJsonArray casesOf(const QString& file);

/// Adds one row per case, with the case itself in the column "given".
void addCases(const QString& file);

/// Where two documents differ, one line per place; empty when they do not.
[[nodiscard]] QString differences(const QJsonValue& expected, const QJsonValue& actual,
                                  const QString& path = u"$"_s);
