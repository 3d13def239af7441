// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material

/// One framed row of a RowList. Of all rows the Tab key stops at one: the arrow
/// keys choose it, and a further Tab reaches what is inside it.
Panel {
    id: panel

    required property var row
    required property int index
    readonly property Item list: ListView.view
    readonly property bool tabStop: list && list.activeFocus ? activeFocus : ListView.isCurrentItem

    x: mirrored ? Theme.scrollBar : 0
    width: list ? list.width - Theme.scrollBar : 0
    topPadding: 0
    bottomPadding: 0
    leftPadding: Theme.rowPadding
    rightPadding: Theme.rowPadding
    focusPolicy: tabStop ? Qt.StrongFocus : Qt.ClickFocus
    ringed: activeFocus

    Accessible.role: Accessible.ListItem

    onActiveFocusChanged: {
        if (!activeFocus || !list)
            return
        ListView.view.currentIndex = index
        // The window that comes back finds the list where it was left.
        if (focusReason !== Qt.ActiveWindowFocusReason && focusReason !== Qt.PopupFocusReason)
            ListView.view.positionViewAtIndex(index, ListView.Contain)
    }
}
