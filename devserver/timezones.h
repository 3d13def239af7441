// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QTimeZone>

#include <optional>

namespace devserver {

/// The zone of an IANA name such as "Asia/Jerusalem" or "UTC".
[[nodiscard]] std::optional<QTimeZone> zoneNamed(const QString& name);

} // namespace devserver
