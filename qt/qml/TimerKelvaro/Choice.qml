// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material

ComboBox {
    id: choice

    readonly property bool dark: Material.theme === Material.Dark
    property string name

    topInset: 4
    bottomInset: 4

    Accessible.role: Accessible.ComboBox
    Accessible.name: name

    contentItem: Label {
        leftPadding: 12
        rightPadding: 12
        text: choice.displayText
        font: choice.font
        color: choice.enabled ? choice.Material.foreground : choice.Material.hintTextColor
        horizontalAlignment: Text.AlignLeft
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
        textFormat: Text.PlainText
    }

    background: Rectangle {
        implicitWidth: 130
        implicitHeight: 40
        radius: Theme.radius
        color: choice.hovered && choice.enabled ? Theme.buttonOff(choice.dark) : Theme.card(choice.dark)
        border.width: choice.activeFocus ? Theme.focusWidth : 1
        border.color: choice.activeFocus ? Theme.tint(choice.dark) : Theme.line(choice.dark)
    }
}
