// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material

/// A text that its row had to cut, as a whole.
ToolTip {
    id: tip

    function showFor(row: Item, whole: string) {
        if (whole === "") {
            if (parent === row)
                close()
            return
        }
        parent = row
        text = whole
        open()
    }

    objectName: "wholeTextTip"
    delay: 400
    width: Math.min(contentItem.implicitWidth + leftPadding + rightPadding, parent ? parent.width - 2 * Theme.margin : 0)
    margins: Theme.toolMargin

    contentItem: Label {
        text: tip.text
        wrapMode: Text.Wrap
        maximumLineCount: 12
        elide: Text.ElideRight
        textFormat: Text.PlainText
        horizontalAlignment: Text.AlignLeft
        color: Theme.accentInk
    }
    background: Rectangle {
        radius: Theme.radius
        color: Theme.tip
    }
}
