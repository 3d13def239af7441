// SPDX-License-Identifier: MIT
#pragma once

#include "app/polledidle.h"

/// Asks the X server that the program's windows are on.
[[nodiscard]] PolledIdle::Ask askX11();
