// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts

RowPanel {
    id: entry

    required property TimerWindow window
    required property bool busy

    signal editRequested(string id, string description)

    readonly property string pendingMark: row.local_pending ? " · " + window.label("ממתין לסנכרון", "Pending sync") : ""

    height: 72
    Accessible.name: description.text + ", " + start.text + ", " + length.text + (lock.visible ? ", " + lock.text : "")
    Keys.onReturnPressed: if (edit.enabled) edit.clicked()
    Keys.onEnterPressed: if (edit.enabled) edit.clicked()

    RowLayout {
        anchors.fill: parent
        spacing: Theme.gap

        ColumnLayout {
            spacing: 4

            Label {
                id: description

                objectName: "entryDescription"
                text: entry.row.description || "…"
                font.bold: true
                elide: Text.ElideRight
                textFormat: Text.PlainText
                horizontalAlignment: Text.AlignLeft
                Layout.fillWidth: true
            }
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
            }
        }
        ActionButton {
            id: edit

            objectName: "editEntry"
            text: entry.window.label("ערוך תיאור", "Edit description")
            enabled: !entry.row.period_locked && !entry.row.local_pending && !entry.busy
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
        Label {
            id: length

            text: entry.row.duration_text || ""
            font.pixelSize: 17
            font.bold: true
            LayoutMirroring.enabled: false
        }
    }
}
