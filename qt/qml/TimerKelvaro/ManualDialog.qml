// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts
import TimerKelvaro

FormDialog {
    id: dialog

    required property Controller controller
    required property TimerPage timerPage

    /// What a refused entry was typed as stays for the next try; only a queued
    /// entry empties the form.
    function submit() {
        const before = controller.pending
        controller.addManual(description.text, timerPage.projectId, from.text, to.text, timerPage.billable)
        if (controller.pending > before)
            empty()
    }
    function empty() {
        description.text = ""
        from.text = ""
        to.text = ""
    }

    objectName: "manualDialog"
    title: window.label("רשומה ידנית", "Manual entry")
    width: 520

    onAccepted: submit()
    onOpened: description.forceActiveFocus()

    Connections {
        target: dialog.window
        function onAccountLeft() {
            dialog.empty()
        }
    }

    ColumnLayout {
        width: parent.width
        spacing: Theme.gap

        Field {
            id: description

            objectName: "manualDescription"
            focus: true
            placeholderText: dialog.window.label("תיאור", "Description")
            Layout.fillWidth: true
            onAccepted: dialog.accept()
        }
        LtrField {
            id: from

            objectName: "manualFrom"
            placeholderText: "2026-09-23T09:00:00+03:00"
            name: dialog.window.label("התחלה", "From")
            Layout.fillWidth: true
            onAccepted: dialog.accept()
        }
        LtrField {
            id: to

            objectName: "manualTo"
            placeholderText: "2026-09-23T10:00:00+03:00"
            name: dialog.window.label("סיום", "To")
            Layout.fillWidth: true
            onAccepted: dialog.accept()
        }
        Note {
            text: dialog.window.label("השיוך לפרויקט והחיוב נלקחים מהטיימר הראשי.",
                                      "Uses the main timer's project and billable selection.")
        }
    }
}
