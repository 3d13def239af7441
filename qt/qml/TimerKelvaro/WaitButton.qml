// SPDX-License-Identifier: MIT
import TimerKelvaro

/// A button that a wait switches off. It looks so only while the wait is to be seen.
ActionButton {
    required property TimerWindow window
    /// It could be pressed but for a wait.
    property bool free: true

    enabled: free && !window.busy
    lit: free && !window.dimmed
}
