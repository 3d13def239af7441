// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import QtQuick.Templates as T

T.ScrollBar {
    id: bar

    readonly property bool dark: Material.theme === Material.Dark

    implicitWidth: Theme.scrollBar
    padding: 2
    visible: size < 1
    minimumSize: 0.08
    contentItem: Rectangle {
        radius: width / 2
        color: bar.pressed || bar.hovered ? Theme.tint(bar.dark) : Theme.thumb(bar.dark)
    }
}
