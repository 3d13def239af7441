// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import QtQuick.Templates as T

T.TextField {
    id: field

    readonly property bool dark: Material.theme === Material.Dark
    property string name: placeholderText

    implicitWidth: 140 + leftPadding + rightPadding
    implicitHeight: Math.max(40, contentHeight + topPadding + bottomPadding)
    padding: 10
    leftPadding: 12
    rightPadding: 12
    color: Material.foreground
    placeholderTextColor: Material.secondaryTextColor
    selectionColor: Theme.accent
    selectedTextColor: Theme.accentInk
    selectByMouse: true
    cursorDelegate: TextCursor {}
    horizontalAlignment: TextInput.AlignLeft
    verticalAlignment: TextInput.AlignVCenter

    // A held key submits nothing again, nor what the first press has only just opened.
    Keys.onPressed: event => {
        if (event.isAutoRepeat && (event.key === Qt.Key_Return || event.key === Qt.Key_Enter))
            event.accepted = true
    }

    Accessible.role: Accessible.EditableText
    Accessible.name: name

    Label {
        x: field.leftPadding
        width: field.width - field.leftPadding - field.rightPadding
        height: field.height
        visible: !field.length && !field.preeditText
        text: field.placeholderText
        font.pixelSize: field.font.pixelSize // of the font as a whole only what was set by hand is taken over
        color: field.placeholderTextColor
        horizontalAlignment: Text.AlignLeft
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
        Accessible.ignored: true

        // Qt 6.4 to 6.8: a change of mirroring alone leaves the field's text and cursor where they were.
        onEffectiveHorizontalAlignmentChanged: {
            field.horizontalAlignment = TextInput.AlignHCenter
            field.horizontalAlignment = TextInput.AlignLeft
        }
    }

    background: Rectangle {
        radius: Theme.radius
        color: Theme.card(field.dark)
        border.width: field.activeFocus ? Theme.focusWidth : 1
        border.color: field.activeFocus ? Theme.tint(field.dark) : Theme.line(field.dark)
    }
}
