// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material

Frame {
    id: panel

    readonly property bool dark: Material.theme === Material.Dark
    property bool ringed: false

    Material.elevation: 0
    background: Rectangle {
        radius: Theme.radius
        color: Theme.card(panel.dark)
        border.width: panel.ringed ? Theme.focusWidth : 1
        border.color: panel.ringed ? Theme.tint(panel.dark) : Theme.line(panel.dark)
    }
}
