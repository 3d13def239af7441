// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// Writes a history to import, of more rows than one step takes: closed entries whose descriptions
/// begin with `label`, World::importLabel's. Whether the file is whole.
[[nodiscard]] bool writeImport(const QString& fileName, const QString& label);
