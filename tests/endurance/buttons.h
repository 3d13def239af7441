// SPDX-License-Identifier: MIT
#pragma once

#include "tests/endurance/deviceview.h"

#include <QJsonArray>

/// The window's buttons that lead to an empty queue.
enum class Button { None, Connect, SignInAgain, ResendRetained, RemoveRetained, RemovePending, Synchronize };

/// It is visible and enabled in the window.
[[nodiscard]] bool canBePressed(Button button, const DeviceView& view);

/// Somebody in front of one window who wants nothing to wait any more, and who presses a button a second.
class Presser {
public:
    /// What they press next; in turns another one where there is a choice. None while something is under way.
    [[nodiscard]] Button next(const DeviceView& view, bool knowsPassword);
    /// They waited as long as the window lets a request take.
    void waitedInVain();
    /// For longer than a minute, as the window counts it: the machine's own load is no part of that.
    [[nodiscard]] bool isTired() const;

private:
    int m_presses = 0;
    int m_seconds = 0;
    int m_syncsInVain = 0;
    QJsonArray m_queue;
};
