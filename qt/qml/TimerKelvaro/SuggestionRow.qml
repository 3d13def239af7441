// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts
import TimerKelvaro

/// An earlier description with its project.
ItemDelegate {
    id: option

    required property TimerWindow window
    required property var modelData
    required property int index
    readonly property string billableText: modelData.billable ? window.label("לחיוב", "Billable") : ""

    objectName: "suggestion"
    width: ListView.view ? ListView.view.width : 0
    height: 40
    padding: 0
    leftPadding: 12
    rightPadding: 12
    focusPolicy: Qt.NoFocus
    highlighted: ListView.isCurrentItem

    Accessible.role: Accessible.ListItem
    Accessible.name: [modelData.description, modelData.project, billableText].filter(part => part !== "").join(", ")
    Accessible.onPressAction: clicked()

    background: Rectangle {
        radius: Theme.rowRadius
        color: option.highlighted ? Theme.button(option.window.dark)
                                  : option.hovered ? Theme.buttonOff(option.window.dark) : "transparent"
    }
    contentItem: RowLayout {
        spacing: 8

        Label {
            text: option.modelData.description
            textFormat: Text.PlainText
            elide: Text.ElideRight
            horizontalAlignment: Text.AlignLeft
            Layout.fillWidth: true
        }
        Rectangle {
            visible: option.modelData.color !== ""
            radius: 4
            color: visible ? option.modelData.color : "transparent"
            Layout.preferredWidth: 8
            Layout.preferredHeight: 8
        }
        Label {
            visible: text !== ""
            text: option.modelData.project
            textFormat: Text.PlainText
            font.pixelSize: 12
            opacity: 0.75
            elide: Text.ElideRight
            Layout.maximumWidth: option.width * 0.4
        }
        Label {
            visible: text !== ""
            text: option.billableText
            font.pixelSize: 12
            color: Theme.tint(option.window.dark)
        }
    }
}
