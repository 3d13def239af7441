// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import TimerKelvaro

/// A scrolling text to read and copy from, left to right in either language.
ScrollView {
    id: view

    property string text
    property alias pixelSize: area.font.pixelSize
    property alias family: area.font.family
    readonly property alias reader: area
    property string name
    property int laidOut: 0
    /// In characters. Qt paints only what is in view of a text that began with more than 10,000 (seen with 6.4).
    readonly property int piece: 65536

    /// The next lines. A long text at once would keep the window from everything else.
    function layOut() {
        const cut = text.indexOf("\n", laidOut + piece) + 1
        const end = cut > 0 ? cut : text.length
        const lines = text.substring(laidOut, end)
        if (laidOut === 0)
            area.text = lines // leaves the cursor, and so the view, at the beginning
        else
            area.insert(area.length, lines)
        laidOut = end
        if (end < text.length)
            next.start()
    }

    onTextChanged: {
        laidOut = 0
        if (text.length > piece)
            next.start() // to make such a text was a piece of work already
        else
            layOut()
    }
    contentWidth: availableWidth

    PlainTimer {
        id: next

        singleShot: true
        onTimeout: view.layOut()
    }
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
