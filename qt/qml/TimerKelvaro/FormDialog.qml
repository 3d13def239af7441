// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts
import QtQuick.Templates as T

/// A modal form: Enter in a field accepts it, Escape leaves it.
Dialog {
    id: dialog

    required property TimerWindow window
    /// What was typed stays on the screen while it could not be taken.
    property bool acceptable: true

    function acceptIfPossible() {
        if (acceptable)
            accept()
    }

    parent: window.contentItem
    anchors.centerIn: T.Overlay.overlay
    modal: true
    focus: true
    closePolicy: Popup.CloseOnEscape
    padding: Theme.margin
    topPadding: Theme.gap

    T.Overlay.modal: Rectangle {
        color: Theme.shade
    }

    background: Rectangle {
        radius: Theme.actionRadius
        color: Theme.card(dialog.window.dark)
        border.color: Theme.line(dialog.window.dark)
    }

    header: Label {
        text: dialog.title
        font.pixelSize: 18
        font.bold: true
        leftPadding: Theme.margin
        rightPadding: Theme.margin
        topPadding: Theme.margin
        horizontalAlignment: Text.AlignLeft
    }

    footer: Pane {
        background: null
        padding: Theme.margin
        topPadding: 0

        RowLayout {
            anchors.fill: parent
            spacing: Theme.gap

            Item {
                Layout.fillWidth: true
            }
            ActionButton {
                objectName: "ok"
                text: dialog.window.label("אישור", "OK")
                highlighted: true
                enabled: dialog.acceptable
                onClicked: dialog.acceptIfPossible()
            }
            ActionButton {
                objectName: "cancel"
                text: dialog.window.label("ביטול", "Cancel")
                onClicked: dialog.reject()
            }
        }
    }
}
