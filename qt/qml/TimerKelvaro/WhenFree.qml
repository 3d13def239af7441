// SPDX-License-Identifier: MIT
import QtQml
import TimerKelvaro

/// Does what a person asked for as soon as the controller is free: at once, or
/// once when its wait ends. A change does not wait longer than the program runs.
Timer {
    id: turn

    required property Controller controller
    /// A change on its way to the server is waited for as well.
    property bool afterSync: false
    readonly property bool busy: controller.busy || (afterSync && controller.syncing)
    property bool waiting: false
    readonly property Connections end: Connections {
        target: turn.controller
        enabled: turn.waiting && !turn.afterSync // what waits for a push is no change
        function onEnding() {
            turn.waiting = false
            turn.free()
        }
    }

    signal free

    function ask() {
        // Who is signed out meanwhile would wait for nothing, and learns that at once.
        waiting = busy && (afterSync || !controller.refusesDuringSignOut())
        if (!waiting)
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
