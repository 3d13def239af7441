// SPDX-License-Identifier: MIT
#pragma once

#include <QJsonObject>
#include <QString>

namespace devserver {

using namespace Qt::StringLiterals;

constexpr qsizetype longestDescription = 100'000; ///< characters of an entry's description
constexpr qsizetype mostTags = 100;               ///< of an entry

/// Whether `id` is a UUID as every id of this system is written: 36
/// characters, lower-case hexadecimal with hyphens, no braces.
[[nodiscard]] bool isId(const QString& id);
[[nodiscard]] QString newId();

/// Whether both databases can hold the text: no null character, no half of a surrogate pair.
[[nodiscard]] bool isStorableText(QStringView text);

/// "26:05:09": hours without bound.
[[nodiscard]] QString durationText(qint64 seconds);

/// With an apostrophe in front where a spreadsheet would take the text for a
/// formula, which it then runs, also when it is quoted; and without it again.
/// A text's own apostrophe in such a place gets another, and keeps its own.
[[nodiscard]] QString harmless(const QString& text);
[[nodiscard]] QString withoutGuard(const QString& text);

/// Hexadecimal; the order of the keys makes no difference.
[[nodiscard]] QString fingerprintOf(const QJsonObject& record);

} // namespace devserver
