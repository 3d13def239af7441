// SPDX-License-Identifier: MIT
#pragma once

#include "tests/endurance/deviceview.h"

/// The window's buttons that lead to an empty queue.
enum class Button { None, Connect, SignInAgain, ResendRetained, RemoveRetained, RemovePending, Synchronize };

/// It is visible and enabled in the window.
[[nodiscard]] bool canBePressed(Button button, const DeviceView& view);

/// What a person presses next who wants nothing to wait any more; in a further `round` another one where
/// there is a choice. None while something is under way.
[[nodiscard]] Button nextButton(const DeviceView& view, int round, bool knowsPassword);
