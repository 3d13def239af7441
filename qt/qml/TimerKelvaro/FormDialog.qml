// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts
import QtQuick.Templates as T

/// A modal form: Enter in a field accepts it, Escape leaves it.
Dialog {
    id: dialog

    required property TimerWindow window

    parent: window.contentItem
    anchors.centerIn: T.Overlay.overlay
    modal: true
    focus: true
    closePolicy: Popup.CloseOnEscape
    Material.background: Theme.card(window.dark)

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
                onClicked: dialog.accept()
            }
            ActionButton {
                objectName: "cancel"
                text: dialog.window.label("ביטול", "Cancel")
                onClicked: dialog.reject()
            }
        }
    }
}
