// SPDX-License-Identifier: MIT
#pragma once

#include <QJsonObject>

/// The projection once more: one map, rebuilt whole, every rule in its order
/// and nothing remembered. Slow on purpose; shares no code with the real one.
[[nodiscard]] QJsonObject referenceProjection(const QJsonObject& state);
