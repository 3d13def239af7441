// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>

#include <optional>

/// What a reply says: nothing when it is no JSON, or when it cannot be kept; an array is an empty object.
[[nodiscard]] std::optional<QJsonObject> objectIn(const QByteArray& body);

/// The status that counts of a reply: 0, as if none had come, where it is not `readable` and had to say
/// something.
[[nodiscard]] int usableStatus(bool readable, int status);

/// Whether a value can name somebody or something: a text that is not empty.
[[nodiscard]] bool isId(const QJsonValue& value);

/// The server's own sentence in `error`.`message`, else `fallback`.
[[nodiscard]] QString errorText(const QJsonObject& reply, const QString& fallback);
