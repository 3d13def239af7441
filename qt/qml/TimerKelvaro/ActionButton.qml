// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material

/// A push button with a visible focus that assistive technology can press.
Button {
    id: button

    readonly property bool dark: Material.theme === Material.Dark
    /// It looks as if it could be pressed.
    property bool lit: enabled
    property color fill: !lit ? Theme.buttonOff(dark) : highlighted ? Theme.accent : Theme.button(dark)
    property color ink: !lit ? Material.hintTextColor : highlighted ? Theme.accentInk : Material.foreground
    property real corner: Theme.radius

    /// Once for a key that is held.
    function takeKey(event: KeyEvent) {
        if (!event.isAutoRepeat)
            clicked()
    }

    leftPadding: 16
    rightPadding: 16
    font.capitalization: Font.MixedCase

    Accessible.role: Accessible.Button
    Accessible.name: text
    Accessible.onPressAction: if (enabled) clicked()
    Keys.onReturnPressed: event => takeKey(event)
    Keys.onEnterPressed: event => takeKey(event)

    contentItem: Label {
        text: button.text
        font: button.font
        color: button.ink
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
    }

    background: Rectangle {
        implicitWidth: 64
        implicitHeight: 40
        radius: button.corner
        color: button.down ? Qt.darker(button.fill, 1.15)
                           : button.hovered && button.lit ? Qt.darker(button.fill, 1.06) : button.fill

        FocusRing {
            radius: button.corner + 3
            visible: button.visualFocus
        }
    }
}
