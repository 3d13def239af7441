// SPDX-License-Identifier: MIT
pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls.Material

ComboBox {
    id: choice

    readonly property bool dark: Material.theme === Material.Dark
    property string name
    /// It looks as if it could be opened.
    property bool lit: enabled

    /// The rows may have other texts now.
    signal textsChanged

    topInset: 4
    bottomInset: 4

    Accessible.role: Accessible.ComboBox
    Accessible.name: name
    Accessible.description: displayText
    Accessible.onPressAction: if (enabled) popup.open()

    // Material's own, which would be grey as soon as it is switched off.
    Binding {
        target: choice.indicator
        property: "color"
        value: choice.lit ? choice.Material.foreground : choice.Material.hintTextColor
    }

    delegate: ItemDelegate {
        id: option

        required property int index
        property string label

        function readLabel() {
            label = choice.textAt(index)
        }

        width: ListView.view ? ListView.view.width : 0
        highlighted: choice.highlightedIndex === index
        Accessible.name: label
        Accessible.onPressAction: clicked()

        onIndexChanged: readLabel()
        Component.onCompleted: readLabel()

        Connections {
            target: choice
            function onTextsChanged() {
                option.readLabel()
            }
        }

        contentItem: Label {
            text: option.label
            font.bold: choice.currentIndex === option.index
            horizontalAlignment: Text.AlignLeft
            verticalAlignment: Text.AlignVCenter
            elide: Text.ElideRight
            textFormat: Text.PlainText
        }
    }

    popup: Popup {
        y: choice.height
        width: choice.width
        height: Math.min(contentItem.implicitHeight + topPadding + bottomPadding, Theme.popupHeight)
        margins: Theme.toolMargin
        padding: 4
        background: Rectangle {
            radius: Theme.radius
            color: Theme.card(choice.dark)
            border.color: Theme.line(choice.dark)
        }
        contentItem: ListView {
            clip: true
            implicitHeight: contentHeight
            model: choice.delegateModel
            currentIndex: choice.highlightedIndex
            boundsBehavior: Flickable.StopAtBounds
            ScrollBar.vertical: SlimBar {}
        }
    }

    contentItem: Label {
        leftPadding: 12
        rightPadding: 12
        text: choice.displayText
        font: choice.font
        color: choice.lit ? choice.Material.foreground : choice.Material.hintTextColor
        horizontalAlignment: Text.AlignLeft
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
        textFormat: Text.PlainText
    }

    background: Rectangle {
        implicitWidth: 130
        implicitHeight: 40
        radius: Theme.radius
        color: choice.hovered && choice.lit ? Theme.buttonOff(choice.dark) : Theme.card(choice.dark)
        border.width: choice.activeFocus ? Theme.focusWidth : 1
        border.color: choice.activeFocus ? Theme.tint(choice.dark) : Theme.line(choice.dark)
    }
}
