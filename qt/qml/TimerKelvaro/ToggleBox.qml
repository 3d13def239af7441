// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material

CheckBox {
    id: box

    Accessible.role: Accessible.CheckBox
    Accessible.name: text
    Accessible.onPressAction: if (enabled) toggle()
    Accessible.onToggleAction: if (enabled) toggle()

    FocusRing {
        anchors.margins: 0
        radius: Theme.radius
        visible: box.visualFocus
    }
}
