// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Layouts

/// A text that is too long for its place, to scroll through and to copy.
ModalDialog {
    id: dialog

    function show(text: string) {
        message.text = text
        open()
    }

    objectName: "messageDialog"
    title: window.label("הודעה מלאה", "Whole message")
    width: 640
    contentHeight: 320

    onVisibleChanged: if (visible) message.reader.forceActiveFocus()

    Connections {
        target: dialog.window
        function onAccountLeft() {
            dialog.close()
            message.text = ""
        }
    }

    ReadOnlyText {
        id: message

        objectName: "message"
        name: dialog.title
        pixelSize: 13
        anchors.fill: parent
    }

    actions: ActionButton {
        objectName: "close"
        text: dialog.window.label("סגירה", "Close")
        onClicked: dialog.close()
    }
}
