// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

#include <functional>

/// Milliseconds since some moment of the past, which nobody can set: unlike the clock on the wall.
struct MachineTime {
    qint64 passed; ///< the machine's sleep included
    qint64 awake;

    [[nodiscard]] static MachineTime now();
};

using MachineClock = std::function<MachineTime()>;
