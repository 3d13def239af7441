// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material

/// A text field; `leftToRight` is for dates, addresses and the like, which keep
/// their direction in a mirrored window.
TextField {
    property bool leftToRight: false
    property string name: placeholderText

    selectByMouse: true
    horizontalAlignment: TextInput.AlignLeft
    LayoutMirroring.enabled: leftToRight ? false : undefined

    Accessible.role: Accessible.EditableText
    Accessible.name: name
}
