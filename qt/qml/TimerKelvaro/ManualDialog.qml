// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts
import TimerKelvaro

FormDialog {
    id: dialog

    required property TimerPage timerPage

    function empty() {
        description.text = ""
        from.text = ""
        to.text = ""
    }

    objectName: "manualDialog"
    title: window.label("רשומה ידנית", "Manual entry")
    width: 520

    onSubmitted: controller.addManual(description.text, timerPage.projectId, from.text, to.text, timerPage.billable)
    onAccepted: empty()
    onOpened: description.forceActiveFocus()

    Connections {
        target: dialog.window
        function onAccountLeft() {
            dialog.close()
            dialog.empty()
        }
    }

    Field {
        id: description

        objectName: "manualDescription"
        focus: true
        placeholderText: dialog.window.label("תיאור", "Description")
        Layout.fillWidth: true
        onTextEdited: dialog.refusal = ""
        onAccepted: dialog.submit()
    }
    LtrField {
        id: from

        objectName: "manualFrom"
        placeholderText: "2026-09-23T09:00:00+03:00"
        name: dialog.window.label("התחלה", "From")
        Layout.fillWidth: true
        onTextEdited: dialog.refusal = ""
        onAccepted: dialog.submit()
    }
    LtrField {
        id: to

        objectName: "manualTo"
        placeholderText: "2026-09-23T10:00:00+03:00"
        name: dialog.window.label("סיום", "To")
        Layout.fillWidth: true
        onTextEdited: dialog.refusal = ""
        onAccepted: dialog.submit()
    }
    Note {
        text: dialog.window.label("השיוך לפרויקט והחיוב נלקחים מהטיימר הראשי.",
                                  "Uses the main timer's project and billable selection.")
    }
}
