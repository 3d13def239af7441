// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material

/// A scrolling text to read and copy from, left to right in either language.
ScrollView {
    id: view

    property alias text: area.text
    property alias pixelSize: area.font.pixelSize
    property alias family: area.font.family
    readonly property alias reader: area
    property string name

    contentWidth: availableWidth

    TextArea {
        id: area

        readOnly: true
        selectByMouse: true
        selectByKeyboard: true
        wrapMode: TextEdit.Wrap
        padding: Theme.rowPadding
        // Material sets each of them, differently in each Qt: with 6.8 the text touched the edge.
        topPadding: padding
        bottomPadding: padding
        leftPadding: padding
        rightPadding: padding
        background: null
        horizontalAlignment: TextEdit.AlignLeft
        LayoutMirroring.enabled: false

        Accessible.role: Accessible.EditableText
        Accessible.name: view.name
        Accessible.readOnly: true
    }

    background: Rectangle {
        readonly property bool dark: view.Material.theme === Material.Dark
        radius: Theme.radius
        color: Theme.card(dark)
        border.width: area.activeFocus ? Theme.focusWidth : 1
        border.color: area.activeFocus ? Theme.tint(dark) : Theme.line(dark)
    }
}
