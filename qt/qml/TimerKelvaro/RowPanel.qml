// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material

/// One framed row of a RowList. The list is a single stop of the Tab key: the
/// arrow keys choose the row, and a further Tab reaches what is inside it.
Panel {
    id: panel

    required property var row
    required property int index
    readonly property bool current: ListView.isCurrentItem

    x: mirrored ? Theme.scrollBar : 0
    width: ListView.view ? ListView.view.width - Theme.scrollBar : 0
    topPadding: 0
    bottomPadding: 0
    leftPadding: Theme.rowPadding
    rightPadding: Theme.rowPadding
    focusPolicy: current ? Qt.StrongFocus : Qt.ClickFocus
    ringed: activeFocus

    Accessible.role: Accessible.ListItem

    onActiveFocusChanged: {
        if (activeFocus && ListView.view) {
            ListView.view.currentIndex = index
            ListView.view.positionViewAtIndex(index, ListView.Contain)
        }
    }
}
