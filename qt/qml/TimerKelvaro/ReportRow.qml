// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts

RowPanel {
    id: line

    required property TimerWindow window

    readonly property var totals: row.totals || {}
    readonly property string title: (row.entry ? row.entry.description : (row.labels || []).join(" / ")) || ""
    // Dates and names in two directions keep the order of the window's language.
    readonly property string direction: row.entry ? "" : window.label("\u200f", "\u200e")

    readonly property string shareText: ((row.share || 0) / 10).toFixed(1) + "%"
    readonly property string amountText: row.amount_text ? (row.amount_text + " " + row.currency).trim()
                                                         : window.label("לא ידוע", "unknown")

    height: 68
    Accessible.name: title + ", " + raw.text + ", " + rounded.text
    Accessible.description: window.label("חלק: ", "Share: ") + shareText + ", " + window.label("סכום: ", "amount: ") + amountText

    Rectangle {
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        anchors.bottomMargin: 6
        height: 5
        radius: 2
        color: Theme.line(line.dark)

        Rectangle {
            objectName: "shareBar"
            anchors.left: parent.left
            width: parent.width * Math.min((line.row.share || 0) / 1000, 1)
            height: parent.height
            radius: 2
            color: line.row.color || Theme.neutral(0)
        }
    }
    RowLayout {
        anchors.fill: parent
        anchors.bottomMargin: 8
        spacing: Theme.gap

        Label {
            text: line.direction + line.title
            wrapMode: Text.Wrap
            maximumLineCount: 3
            elide: Text.ElideRight
            textFormat: Text.PlainText
            horizontalAlignment: Text.AlignLeft
            Layout.fillWidth: true
        }
        Label {
            text: line.shareText
            opacity: 0.7
            horizontalAlignment: Text.AlignRight
            LayoutMirroring.enabled: false
            Layout.preferredWidth: Theme.shareWidth
        }
        Label {
            text: line.amountText
            textFormat: Text.PlainText
            opacity: line.row.amount_text ? 1 : 0.7
            elide: Text.ElideRight
            horizontalAlignment: Text.AlignRight
            LayoutMirroring.enabled: false
            Layout.preferredWidth: Theme.amountWidth
        }
        Label {
            id: raw

            text: line.window.duration(line.totals.raw_duration_seconds)
            font.bold: true
            horizontalAlignment: Text.AlignRight
            LayoutMirroring.enabled: false
            Layout.minimumWidth: Theme.durationWidth
        }
        Label {
            id: rounded

            text: line.window.duration(line.totals.rounded_duration_seconds)
            opacity: 0.7
            horizontalAlignment: Text.AlignRight
            LayoutMirroring.enabled: false
            Layout.minimumWidth: Theme.durationWidth
        }
    }
}
