// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>

/// An export of this format as readexport.py finds it, which knows nothing of
/// how it was made; empty when it cannot read it.
[[nodiscard]] QJsonObject readExport(const QString& format, const QByteArray& bytes);

/// What the rows of an exported report add up to, and what its totals say: -1 where
/// they say nothing.
struct ExportSums {
    qint64 rows = 0;
    qint64 seconds = 0;
    qint64 entries = 0;
    qint64 totalSeconds = -1;
    qint64 totalEntries = -1;
};

/// The sums of an export of a Hebrew workspace.
[[nodiscard]] ExportSums exportSums(const QString& format, const QByteArray& bytes);

/// What a program prints; empty when it fails.
[[nodiscard]] QByteArray outputOf(const QString& program, const QStringList& arguments);
