// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material

/// What can be done with an entry of the list.
Menu {
    id: menu

    required property TimerWindow window
    /// The entry as its row has it.
    property var row: ({})
    readonly property bool locked: !!row.period_locked
    /// While it fades it still takes clicks, and each time that it is shown is for one deed.
    property bool used: false

    signal continueRequested(string id)
    signal changeRequested(var row)
    signal duplicateRequested(string id)
    signal deleteRequested(string id)

    function showFor(entry: var, from: Item) {
        row = entry
        used = false
        parent = from
        x = window.hebrew ? 0 : from.width - width
        y = from.height
        open()
        currentIndex = 0
    }

    function take(deed: var) {
        if (used)
            return
        used = true
        deed()
    }

    component Action: MenuItem {
        id: action

        readonly property bool dark: Material.theme === Material.Dark

        function act() {
            if (!enabled)
                return
            action.menu.dismiss()
            triggered()
        }

        background: Rectangle {
            implicitHeight: 40
            radius: Theme.radius
            color: action.highlighted ? Theme.button(action.dark) : "transparent"
        }
        Accessible.role: Accessible.MenuItem
        Accessible.name: text
        Accessible.onPressAction: act()
        Keys.onReturnPressed: act()
        Keys.onEnterPressed: act()
    }

    objectName: "entryActions"
    margins: Theme.toolMargin
    padding: 4
    background: Rectangle {
        implicitWidth: 180
        radius: Theme.radius
        color: Theme.card(menu.window.dark)
        border.color: Theme.line(menu.window.dark)
    }

    Action {
        objectName: "continueEntry"
        text: menu.window.label("המשך", "Continue")
        onTriggered: menu.take(() => menu.continueRequested(menu.row.id))
    }
    Action {
        objectName: "changeEntry"
        text: menu.window.label("ערוך", "Edit")
        enabled: !menu.locked
        onTriggered: menu.take(() => menu.changeRequested(menu.row))
    }
    Action {
        objectName: "duplicateEntry"
        text: menu.window.label("שכפל", "Duplicate")
        enabled: !menu.locked
        onTriggered: menu.take(() => menu.duplicateRequested(menu.row.id))
    }
    Action {
        objectName: "deleteEntry"
        text: menu.window.label("מחק", "Delete")
        enabled: !menu.locked
        onTriggered: menu.take(() => menu.deleteRequested(menu.row.id))
    }
}
