// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts

/// An entry, under the heading of its day where it is the day's first.
RowPanel {
    id: entry

    required property TimerWindow window
    required property string day
    required property string daySum
    required property string times
    required property var project

    signal editRequested(string id, string description)
    signal changeRequested
    signal deleteRequested
    signal menuRequested(Item from)
    /// The whole description is to be seen beside the row, or is no longer.
    signal wholeTextWanted(string text)

    readonly property string pendingMark: row.local_pending ? " · " + window.label("ממתין לסנכרון", "Pending sync") : ""
    readonly property string projectName: project.name ?? ""
    readonly property string clientName: project.client_name ?? ""
    readonly property int headingHeight: day !== "" ? Theme.dayHeading : 0
    readonly property bool cut: description.truncated && (hover.hovered || activeFocus)

    function spoken(): string {
        let all = description.text
        for (const part of [start.text, length.text, row.period_locked ? lock.text : "", span.text, projectName, clientName,
                            row.billable ? billable.name : "", row.local_conflict ? conflict.text : "",
                            day !== "" ? dayLabel.text + ": " + daySum : ""])
            all += part !== "" ? ", " + part : ""
        return all
    }
    function takeKey(event: KeyEvent) {
        const menu = event.key === Qt.Key_Menu || (event.key === Qt.Key_F10 && event.modifiers === Qt.ShiftModifier)
        const edit = event.key === Qt.Key_Return || event.key === Qt.Key_Enter
        const remove = event.key === Qt.Key_Delete
        event.accepted = menu || edit || remove
        if (event.isAutoRepeat)
            return
        if (menu)
            menuRequested(more)
        else if (edit && !(window.busy && window.stopIsOff)) // it was meant for a button here that a wait has switched off
            changeRequested()
        else if (remove)
            deleteRequested()
    }

    height: 72 + headingHeight
    topInset: headingHeight
    topPadding: headingHeight
    Accessible.name: spoken()
    Keys.onPressed: event => takeKey(event)
    onCutChanged: wholeTextWanted(cut ? description.text : "")

    HoverHandler {
        id: hover
    }
    TapHandler {
        acceptedButtons: Qt.RightButton
        onTapped: entry.menuRequested(more)
    }
    RowLayout {
        id: heading

        parent: entry
        x: entry.leftInset
        width: entry.width - entry.leftInset - entry.rightInset
        height: Theme.dayHeading
        visible: entry.day !== ""

        Label {
            id: dayLabel

            objectName: "dayHeading"
            text: entry.window.dayText(entry.day)
            font.pixelSize: 13
            font.bold: true
            opacity: 0.75
            elide: Text.ElideRight
            horizontalAlignment: Text.AlignLeft
            Layout.fillWidth: true
            Layout.leftMargin: 4
        }
        Label {
            objectName: "daySum"
            text: entry.daySum
            font.pixelSize: 13
            font.bold: true
            font.kerning: false
            opacity: 0.75
            LayoutMirroring.enabled: false
            Layout.rightMargin: Theme.rowPadding
        }
    }
    RowLayout {
        anchors.fill: parent
        spacing: Theme.gap

        ColumnLayout {
            spacing: 2

            Label {
                id: description

                objectName: "entryDescription"
                text: entry.row.description || "…"
                font.bold: true
                elide: Text.ElideRight
                maximumLineCount: 1
                textFormat: Text.PlainText
                horizontalAlignment: Text.AlignLeft
                Layout.fillWidth: true
            }
            RowLayout {
                spacing: 6
                visible: entry.projectName !== "" || !!entry.row.billable

                Rectangle {
                    visible: entry.projectName !== ""
                    color: entry.project.color || "transparent"
                    radius: 4
                    border.width: 1
                    border.color: Theme.line(entry.dark)
                    Layout.preferredWidth: 8
                    Layout.preferredHeight: 8
                }
                Label {
                    objectName: "entryProject"
                    visible: entry.projectName !== ""
                    text: entry.projectName + (entry.clientName !== "" ? " · " + entry.clientName : "")
                    font.pixelSize: 12
                    elide: Text.ElideRight
                    textFormat: Text.PlainText
                    horizontalAlignment: Text.AlignLeft
                    Layout.fillWidth: true
                    Layout.maximumWidth: Math.ceil(implicitWidth)
                }
                BillableSign {
                    id: billable

                    name: entry.window.label("לחיוב", "Billable")
                    visible: !!entry.row.billable
                }
                Item {
                    Layout.fillWidth: true
                }
            }
            RowLayout {
                spacing: 6

                Label {
                    id: start

                    objectName: "startAt"
                    text: (entry.row.start_at || "") + entry.pendingMark
                    font.pixelSize: 11
                    opacity: 0.6
                    elide: Text.ElideRight
                    textFormat: Text.PlainText
                    horizontalAlignment: Text.AlignLeft
                    Layout.fillWidth: true
                    Layout.maximumWidth: Math.ceil(implicitWidth)
                }
                Label {
                    id: conflict

                    objectName: "conflict"
                    visible: !!entry.row.local_conflict
                    text: entry.window.label("השרת לא קיבל את השינוי", "The server did not accept the change")
                    font.pixelSize: 11
                    font.bold: true
                    color: Theme.warning(entry.dark)
                    elide: Text.ElideRight
                    horizontalAlignment: Text.AlignLeft
                    Layout.fillWidth: true
                }
                Item {
                    visible: !conflict.visible
                    Layout.fillWidth: true
                }
            }
        }
        WaitButton {
            id: edit

            objectName: "editEntry"
            window: entry.window
            text: entry.window.label("ערוך תיאור", "Edit description")
            free: !entry.row.period_locked && !entry.row.local_pending
            focusPolicy: entry.tabStop ? Qt.StrongFocus : Qt.ClickFocus
            onClicked: entry.editRequested(entry.row.id, entry.row.description || "")
        }
        Label {
            id: lock

            objectName: "locked"
            visible: !!entry.row.period_locked
            text: entry.window.label("נעול לאישור", "Submitted / locked")
            color: Theme.accent
            font.pixelSize: 13
            font.bold: true
            leftPadding: 8
            rightPadding: 8
            topPadding: 3
            bottomPadding: 3
            background: Rectangle {
                radius: height / 2
                color: Theme.badge
            }
        }
        ColumnLayout {
            spacing: 2
            LayoutMirroring.enabled: false
            LayoutMirroring.childrenInherit: true

            Label {
                id: length

                text: entry.row.duration_text || ""
                font.pixelSize: 17
                font.bold: true
                font.kerning: false // "11" as wide as "00": the rows line up
                Layout.alignment: Qt.AlignRight
            }
            Label {
                id: span

                objectName: "entryTimes"
                text: entry.times
                visible: text !== ""
                font.pixelSize: 12
                opacity: 0.75
                Layout.alignment: Qt.AlignRight
            }
        }
        ActionButton {
            id: more

            objectName: "entryMenu"
            text: "⋮"
            focusPolicy: edit.focusPolicy
            leftPadding: 0
            rightPadding: 0
            font.pixelSize: 18
            Accessible.name: entry.window.label("פעולות", "Actions")
            Layout.preferredWidth: 36
            onClicked: entry.menuRequested(more)
        }
    }
}
