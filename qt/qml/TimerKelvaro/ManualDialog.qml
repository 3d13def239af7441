// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts

FormDialog {
    id: dialog

    required property Controller controller
    required property string projectId
    required property bool billable

    /// What a refused entry was typed as stays for the next try; only a queued
    /// entry empties the form.
    function submit() {
        const before = controller.pending
        controller.addManual(description.text, projectId, from.text, to.text, billable)
        if (controller.pending <= before)
            return
        description.clear()
        from.clear()
        to.clear()
    }

    objectName: "manualDialog"
    title: window.label("רשומה ידנית", "Manual entry")
    width: 520

    onAccepted: submit()
    onOpened: description.forceActiveFocus()

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
        Field {
            id: from

            objectName: "manualFrom"
            leftToRight: true
            placeholderText: "2026-09-23T09:00:00+03:00"
            name: dialog.window.label("התחלה", "From")
            Layout.fillWidth: true
            onAccepted: dialog.accept()
        }
        Field {
            id: to

            objectName: "manualTo"
            leftToRight: true
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
