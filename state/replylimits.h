// SPDX-License-Identifier: MIT
#pragma once

#include <QJsonObject>

/// Whether what a server's `reply` brings can be kept: the durable document that
/// holds it can be read back, and a change can be based on each `version` in it.
[[nodiscard]] bool canBeKept(const QJsonObject& reply);
