// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts

RowPanel {
    id: period

    required property TimerWindow window
    /// What the person recorded in it; nothing for somebody else's period.
    property var seconds: null
    readonly property var stateNames: ({
        "open": window.label("פתוחה", "Open"),
        "submitted": window.label("הוגשה", "Submitted"),
        "approved": window.label("אושרה", "Approved")
    })

    height: 88
    Accessible.name: range.text + ", " + state.text + (stateName.text ? ", " + stateName.text : "")
                     + (sum.text ? ", " + sum.text : "") + (reason.text ? ", " + reason.text : "")

    RowLayout {
        anchors.fill: parent
        spacing: Theme.gap

        ColumnLayout {
            spacing: 4

            Label {
                id: range

                text: period.row.from_date + " → " + period.row.to_date
                font.bold: true
                textFormat: Text.PlainText
                horizontalAlignment: Text.AlignLeft
                Layout.fillWidth: true
            }
            Label {
                id: state

                text: period.row.status + " · " + period.row.timezone + " · v" + period.row.version
                textFormat: Text.PlainText
                elide: Text.ElideRight
                horizontalAlignment: Text.AlignLeft
                Layout.fillWidth: true
            }
            Label {
                id: reason

                text: period.row.last_reason || ""
                elide: Text.ElideRight
                textFormat: Text.PlainText
                horizontalAlignment: Text.AlignLeft
                Layout.fillWidth: true
            }
        }
        Label {
            id: stateName

            objectName: "periodState"
            visible: text !== ""
            text: period.stateNames[period.row.status] ?? ""
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
            id: sum

            objectName: "periodSum"
            visible: text !== ""
            // Nothing to say of a period that is not the person's own.
            text: typeof period.seconds === "number" ? period.window.duration(period.seconds) : ""
            font.pixelSize: 17
            font.bold: true
            font.kerning: false // "11" as wide as "00": the rows line up
            horizontalAlignment: Text.AlignRight
            LayoutMirroring.enabled: false
        }
    }
}
