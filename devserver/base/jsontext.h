// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// Replies are written straight as UTF-8 text: a snapshot of 50,000 entries
// would otherwise be built twice, once as a tree and once as text.
namespace devserver {

/// Appends a JSON string literal.
void appendString(QByteArray& out, QStringView text);

/// Appends a JSON string literal, or null.
void appendStringOrNull(QByteArray& out, const std::optional<QString>& text);

/// Ends an array whose elements were each followed by a comma.
void closeArray(QByteArray& out);

/// Whether `id` is a UUID as every id of this system is written: 36
/// characters, lower-case hexadecimal with hyphens, no braces.
[[nodiscard]] bool isId(QStringView id);

/// Whether both databases can hold the text: no null character, no half of a surrogate pair.
[[nodiscard]] bool isStorableText(QStringView text);

} // namespace devserver
