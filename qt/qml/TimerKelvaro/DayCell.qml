// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import QtQuick.Templates as T

/// One day of a calendar. Of all of them the Tab key stops at the current one.
T.AbstractButton {
    id: cell

    /// Like "2026-09-23".
    required property string day
    required property string name
    required property bool current
    required property bool today
    /// It is of the month before or after.
    required property bool nearby
    readonly property bool dark: Material.theme === Material.Dark

    function takeKey(event: KeyEvent) {
        if (!event.isAutoRepeat)
            clicked()
    }

    objectName: day
    text: Number(day.slice(-2))
    hoverEnabled: true
    focusPolicy: current || activeFocus ? Qt.StrongFocus : Qt.ClickFocus

    Accessible.role: Accessible.Button
    Accessible.name: name
    Accessible.onPressAction: clicked()
    Keys.onReturnPressed: event => takeKey(event)
    Keys.onEnterPressed: event => takeKey(event)

    contentItem: Label {
        text: cell.text
        font.bold: cell.today || cell.current
        color: cell.current ? Theme.accentInk : cell.today ? Theme.tint(cell.dark) : cell.Material.foreground
        opacity: cell.nearby ? 0.45 : 1
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
    }

    background: Rectangle {
        radius: Theme.radius
        color: cell.current ? Theme.accent : cell.hovered ? Theme.button(cell.dark) : "transparent"

        FocusRing {
            anchors.margins: -2
            radius: Theme.radius + 2
            visible: cell.activeFocus
        }
    }
}
