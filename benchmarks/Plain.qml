// SPDX-License-Identifier: MIT
pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import TimerKelvaro

/// The least that shows a long text, and a long list.
ApplicationWindow {
    id: window

    required property Controller controller

    width: 1160
    height: 820
    visible: true

    StackLayout {
        objectName: "tabs"
        anchors.fill: parent

        ListView {
            objectName: "entryList"
            clip: true
            reuseItems: true
            spacing: 8
            boundsBehavior: Flickable.StopAtBounds
            model: EntryModel {
                controller: window.controller
            }
            delegate: Label {
                required property var row

                height: 72
                text: row.description
                textFormat: Text.PlainText
            }
        }
        ScrollView {
            contentWidth: availableWidth

            TextArea {
                objectName: "text"
                readOnly: true
                wrapMode: TextEdit.Wrap
                font.family: "monospace"
                font.pixelSize: 12
            }
        }
    }
}
