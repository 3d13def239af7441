// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>

/// A text as it is compared when something is looked for: without letter case, whichever way its letters
/// and quotation marks are written, without the points of Hebrew, and with each stretch of white space as one
/// blank.
[[nodiscard]] QString searchText(const QString& text);

/// The search texts of several fields; what is looked for is never found across two of them.
[[nodiscard]] QString searchText(const QStringList& fields);
