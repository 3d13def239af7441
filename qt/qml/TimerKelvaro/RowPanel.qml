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

    // As wide as the list, which from Qt 6.5 on places its rows itself; the bar runs beside what is seen of the row.
    width: list ? list.width : 0
    leftInset: mirrored ? Theme.scrollBar : 0
    rightInset: mirrored ? 0 : Theme.scrollBar
    topPadding: 0
    bottomPadding: 0
    leftPadding: leftInset + Theme.rowPadding
    rightPadding: rightInset + Theme.rowPadding
    focusPolicy: tabStop ? Qt.StrongFocus : Qt.ClickFocus
    ringed: activeFocus

    Accessible.role: Accessible.ListItem

    // What waits to be used again is painted by nobody, but a screen reader would still find it.
    ListView.onPooled: visible = false
    ListView.onReused: visible = true

    onActiveFocusChanged: {
        if (!activeFocus || !list)
            return
        ListView.view.currentIndex = index
        // The window that comes back finds the list where it was left.
        if (focusReason !== Qt.ActiveWindowFocusReason && focusReason !== Qt.PopupFocusReason)
            ListView.view.positionViewAtIndex(index, ListView.Contain)
    }
}
