// SPDX-License-Identifier: MIT
#pragma once

#include <QDir>
#include <QString>
#include <QStringList>

/// The files below a folder, hidden ones too, that hold the text as UTF-8 or as UTF-16.
[[nodiscard]] QStringList filesThatHold(const QString& text, const QString& folder = QDir::homePath());
