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

    height: 68
    Accessible.name: title + ", " + raw.text + ", " + rounded.text

    RowLayout {
        anchors.fill: parent
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
