// SPDX-License-Identifier: MIT
#pragma once

#include "tests/endurance/history.h"

#include <QString>

#include <functional>

/// A shortest part of a failing history that still fails in the same way: as long as
/// there is a run of steps, down to a single one, that can be left out, it is.
[[nodiscard]] History shrunk(const History& history, const QString& problem,
                             const std::function<QString(const History& part)>& run);
