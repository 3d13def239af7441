// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts

RowPanel {
    id: period

    height: 88
    Accessible.name: range.text + ", " + state.text + (reason.text ? ", " + reason.text : "")

    ColumnLayout {
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
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
}
