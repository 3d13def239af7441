// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts

RowPanel {
    id: line

    required property TimerWindow window

    readonly property var totals: row.totals || {}

    height: 68
    Accessible.name: title.text + ", " + raw.text + ", " + rounded.text

    RowLayout {
        anchors.fill: parent
        spacing: Theme.gap

        Label {
            id: title

            text: (line.row.entry ? line.row.entry.description : (line.row.labels || []).join(" / ")) || ""
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
