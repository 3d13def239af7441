// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts
import QtQuick.Templates as T

/// A dialog in the middle of the window: Escape leaves it. Its buttons are its `actions`.
Dialog {
    id: dialog

    required property TimerWindow window
    property alias actions: row.data
    readonly property bool isShown: visible // which is told anew also when it stays

    parent: window.contentItem
    anchors.centerIn: T.Overlay.overlay
    modal: true
    focus: true
    closePolicy: Popup.CloseOnEscape
    padding: Theme.margin
    topPadding: Theme.gap
    onIsShownChanged: window.dialogs += isShown ? 1 : -1

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
            id: row

            anchors.fill: parent
            spacing: Theme.gap

            Item {
                Layout.fillWidth: true
            }
        }
    }
}
