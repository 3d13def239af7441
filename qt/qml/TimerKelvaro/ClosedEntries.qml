// SPDX-License-Identifier: MIT
pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts
import TimerKelvaro

/// The closed entries under their days, what they add up to, and what is looked for among them.
ColumnLayout {
    id: page

    required property TimerWindow window
    required property Controller controller

    signal editRequested(string id, string description)
    signal changeRequested(var row, string startAt, string stopAt)

    function find() {
        finder.forceActiveFocus(Qt.ShortcutFocusReason)
        finder.selectAll()
    }
    function leaveFind() {
        const left = list.activeFocus ? (list.currentItem as EntryRow) : null
        const id = left ? left.row.id : ""
        finder.clear()
        const place = id !== "" ? entries.indexOf(id) : -1
        if (place >= 0)
            list.currentIndex = place
        list.forceActiveFocus(Qt.TabFocusReason)
    }
    function change(row: var) {
        if (row.period_locked) {
            act("explain", row.id)
            return
        }
        changeRequested(row, entries.inZone(row.start_at ?? ""), entries.inZone(row.stop_at ?? ""))
    }
    function act(deed: string, id: string) {
        // Who presses again because nothing happens yet wants it once.
        if (turn.deeds.every(one => one.deed !== deed || one.id !== id))
            turn.deeds.push({ deed: deed, id: id })
        turn.ask()
        if (turn.waiting)
            window.announce(window.label("ממתין לתשובת השרת.", "Waiting for the server's answer."))
    }
    function foundText(): string {
        const count = entries.count
        const found = count === 0 ? window.label("לא נמצאו רשומות", "No entries found")
                    : count === 1 ? window.label("נמצאה רשומה אחת", "1 entry found")
                    : window.label("נמצאו " + count + " רשומות", count + " entries found")
        return found + " · " + entries.sum
    }

    spacing: 16

    Connections {
        target: page.window
        function onAccountLeft() {
            finder.clear()
            turn.deeds = []
            turn.forget()
            menu.close()
        }
    }
    /// What is pressed during a request is done once, at its end, in the order in which it was pressed.
    WhenFree {
        id: turn

        property var deeds: []

        controller: page.controller
        onFree: {
            const due = deeds
            deeds = []
            for (const one of due) {
                if (one.deed === "continue")
                    controller.continueEntry(one.id)
                else if (one.deed === "duplicate")
                    controller.duplicateEntry(one.id)
                else if (one.deed === "explain")
                    controller.editEntry(one.id, {}) // which says why not
                else
                    controller.deleteEntry(one.id)
            }
        }
    }
    EntryModel {
        id: entries

        controller: page.controller
        wanted: finder.text
        onReplaced: {
            list.positionViewAtBeginning()
            if (finding)
                page.window.announce(page.foundText())
        }
    }
    EntryMenu {
        id: menu

        window: page.window
        onContinueRequested: id => page.act("continue", id)
        onChangeRequested: row => page.change(row)
        onDuplicateRequested: id => page.act("duplicate", id)
        onDeleteRequested: id => page.act("delete", id)
    }
    WholeTextTip {
        id: tip
    }

    RowLayout {
        spacing: Theme.gap

        Label {
            id: heading

            text: page.window.label("רשומות סגורות", "Closed entries")
            font.pixelSize: 18
            font.bold: true
        }
        Label {
            objectName: "entrySums"
            text: entries.finding ? page.foundText()
                                  : page.window.label("היום ", "Today ") + entries.today + " · "
                                    + page.window.label("השבוע ", "This week ") + entries.week
            font.pixelSize: 13
            font.kerning: false
            opacity: 0.75
            elide: Text.ElideRight
            horizontalAlignment: Text.AlignLeft
            Layout.fillWidth: true
        }
        Field {
            id: finder

            objectName: "findEntries"
            placeholderText: page.window.label("חיפוש (Ctrl+F)", "Find (Ctrl+F)")
            name: page.window.label("חיפוש ברשומות", "Find entries")
            maximumLength: 200
            topPadding: 6
            bottomPadding: 6
            Layout.preferredWidth: 240
            Layout.preferredHeight: 34
            onAccepted: list.forceActiveFocus(Qt.TabFocusReason)
            Keys.onEscapePressed: page.leaveFind()
            Keys.onDownPressed: list.forceActiveFocus(Qt.TabFocusReason)
        }
    }
    RowList {
        id: list

        objectName: "entryList"
        name: heading.text
        spacing: 8
        // Rows that are used again are ready at once; those prepared beyond the edges would cost a second frame.
        cacheBuffer: 0
        Layout.minimumHeight: 152
        model: entries
        Keys.onEscapePressed: event => {
            event.accepted = entries.finding
            if (entries.finding)
                page.leaveFind()
        }
        delegate: EntryRow {
            id: row

            window: page.window
            onEditRequested: (id, text) => page.editRequested(id, text)
            onChangeRequested: page.change(row.row)
            onDeleteRequested: page.act("delete", row.row.id)
            onMenuRequested: from => menu.showFor(row.row, from)
            onWholeTextWanted: text => tip.showFor(row, text)
        }
    }
}
