// SPDX-License-Identifier: MIT
#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QString>

/// Whether a value can name somebody or something: a text that is not empty.
[[nodiscard]] bool isId(const QJsonValue& value);

/// The server's own sentence in `error`.`message`, else `fallback`.
[[nodiscard]] QString errorText(const QJsonObject& reply, const QString& fallback);
