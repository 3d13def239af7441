// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>

/// An export of this format as readexport.py finds it, which knows nothing of
/// how it was made; empty when it cannot read it.
[[nodiscard]] QJsonObject readExport(const QString& format, const QByteArray& bytes);

/// What a program prints; empty when it fails.
[[nodiscard]] QByteArray outputOf(const QString& program, const QStringList& arguments);
