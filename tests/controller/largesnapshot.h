// SPDX-License-Identifier: MIT
#pragma once

#include <QJsonObject>
#include <QString>

/// The sample's snapshot with 400 entries, described as "`word` 0" to "`word` 399": large enough to be read
/// beside the main thread, and to be worth a tag.
[[nodiscard]] QJsonObject largeSnapshot(const QString& word);
