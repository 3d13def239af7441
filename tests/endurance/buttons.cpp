// SPDX-License-Identifier: MIT
#include "tests/endurance/buttons.h"

#include <algorithm>
#include <array>

namespace {

/// After so many presses of Sync without an effect a person sets aside what waits.
constexpr int patience = 8;
constexpr int requestSeconds = 12;
constexpr int secondsPerMinute = 60;

} // namespace

bool canBePressed(Button button, const DeviceView& view) {
    switch (button) {
    case Button::None:
        return true;
    case Button::Connect:
    case Button::Synchronize:
        return !view.busy;
    case Button::SignInAgain:
        return view.sessionRefused && view.secure && !view.busy;
    case Button::ResendRetained:
    case Button::RemoveRetained:
        return view.retained && !view.busy;
    case Button::RemovePending: // its dialog waits for the end of a push
        return !view.queue.isEmpty() && !view.busy && !view.syncing;
    }
    return false;
}

Button Presser::next(const DeviceView& view, bool knowsPassword) {
    ++m_seconds;
    if (view.busy || view.syncing) {
        return Button::None;
    }
    if (view.queue != m_queue) {
        m_queue = view.queue;
        m_syncsInVain = 0;
    }
    struct Wish {
        Button button;
        bool holds;
    };
    const bool waits = !view.queue.isEmpty();
    const std::array wishes{
        Wish{Button::SignInAgain, waits && knowsPassword},
        Wish{Button::ResendRetained, waits && m_presses % 2 == 0},
        Wish{Button::RemoveRetained, waits},
        Wish{Button::RemovePending, waits && m_syncsInVain >= patience},
        Wish{Button::Synchronize, waits},
        Wish{Button::Connect, !waits},
    };
    const auto wish = std::find_if(wishes.begin(), wishes.end(), [&view](const Wish& candidate) {
        return candidate.holds && canBePressed(candidate.button, view);
    });
    const Button button = wish == wishes.end() ? Button::None : wish->button;
    ++m_presses;
    m_syncsInVain += button == Button::Synchronize ? 1 : 0;
    return button;
}

void Presser::waitedInVain() {
    m_seconds += requestSeconds;
}

bool Presser::isTired() const {
    return m_seconds > secondsPerMinute;
}
