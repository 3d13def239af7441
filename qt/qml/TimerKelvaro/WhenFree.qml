// SPDX-License-Identifier: MIT
import QtQml
import TimerKelvaro

/// Does what a person asked for as soon as the controller is free: at once, or
/// once when its wait ends.
Timer {
    id: turn

    required property Controller controller
    /// A change on its way to the server is waited for as well.
    property bool afterSync: false
    readonly property bool busy: controller.busy || (afterSync && controller.syncing)
    property bool waiting: false

    signal free

    function ask() {
        waiting = busy
        if (!busy)
            free()
    }
    function forget() {
        waiting = false
    }

    // The controller has finished its own step before it is asked for the next.
    interval: 0
    onBusyChanged: if (!busy && waiting) start()
    onTriggered: {
        if (waiting)
            ask()
    }
}
