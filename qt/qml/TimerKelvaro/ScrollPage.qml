// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts

/// A column as high as its page, that scrolls where the window is too low for
/// it. The scroll bar runs in the window's margin.
Item {
    id: page

    required property TimerWindow window
    default property alias content: column.data
    property alias spacing: column.spacing

    /// Made or moved only just now: it is brought into view once it has its place.
    property Item wanted: null

    function goTo(item: Item) {
        giveKeyboard(item)
        bringIntoView(item)
    }
    function giveKeyboard(item: Item) {
        if (window.dialogs === 0)
            item.forceActiveFocus(Qt.TabFocusReason)
    }
    function bringIntoView(item: Item) {
        wanted = item
        window.update()
    }

    /// Brings what the keyboard reached into view.
    function reveal(item: Item) {
        let above = item
        while (above && above !== column)
            above = above.parent
        if (!above)
            return
        const top = item.mapToItem(column, 0, 0).y
        if (top < view.contentY)
            view.contentY = Math.max(0, top - Theme.gap)
        else if (top + item.height > view.contentY + view.height)
            view.contentY = Math.min(view.contentHeight - view.height, top + item.height + Theme.gap - view.height,
                                     Math.max(0, top - Theme.gap))
    }

    Connections {
        target: page.window
        function onStopMoved() {
            const reason = page.window.stopReason
            // The window that comes back finds the page where it was left.
            if (reason !== Qt.ActiveWindowFocusReason && reason !== Qt.PopupFocusReason)
                page.reveal(page.window.stop)
        }
    }

    Connections {
        target: page.window
        enabled: !!page.wanted
        function onAfterAnimating() {
            page.reveal(page.wanted)
            page.wanted = null
        }
    }

    Flickable {
        id: view

        anchors.fill: parent
        anchors.leftMargin: -Theme.margin
        anchors.rightMargin: -Theme.margin
        contentHeight: column.height
        clip: true
        boundsBehavior: Flickable.StopAtBounds
        ScrollBar.vertical: SlimBar {}

        ColumnLayout {
            id: column

            x: Theme.margin
            width: page.width
            height: Math.max(implicitHeight, view.height)
        }
    }
}
