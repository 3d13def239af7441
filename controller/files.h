// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QString>

/// Replaces the file as a whole or not at all.
[[nodiscard]] bool replaceFile(const QString& fileName, const QByteArray& bytes);

/// Writes queue items as a file for people to keep: {`format`, `queue`}.
[[nodiscard]] bool writePendingChanges(const QString& fileName, const QJsonArray& items);

/// Writes the file's folder to the disk: only then does a new file's name outlive a power failure.
[[nodiscard]] bool syncFolderOf(const QString& fileName);
