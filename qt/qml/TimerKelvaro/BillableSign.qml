// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material

/// A coin: what it stands beside is billable. Drawn, as no font is sure to have a sign for it.
Rectangle {
    property string name

    implicitWidth: 14
    implicitHeight: 14
    radius: width / 2
    color: "transparent"
    border.width: 1
    border.color: Material.foreground

    Accessible.role: Accessible.StaticText
    Accessible.name: name

    Label {
        anchors.centerIn: parent
        text: "$"
        font.pixelSize: 10
        font.bold: true
        Accessible.ignored: true
    }
}
