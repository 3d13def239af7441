// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material

/// Outlines the control that the keyboard acts on.
Rectangle {
    anchors.fill: parent
    anchors.margins: -3
    color: "transparent"
    border.width: Theme.focusWidth
    border.color: Theme.tint(Material.theme === Material.Dark)
}
