// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts
import TimerKelvaro

FormDialog {
    id: dialog

    required property TimerPage timerPage

    /// What the times are judged by, besides the clock.
    readonly property var grounds: visible ? [controller.workspace, controller.periods] : null
    readonly property string concern: grounds ? controller.manualNotice(from.text, to.text) : ""
    readonly property var concerns: ({
        "order": window.label("הסיום חייב להיות אחרי ההתחלה.", "The end must be after the start."),
        "offset": window.label("לאחד הזמנים אין היסט מ־UTC; הוא ייקרא לפי אזור הזמן של המכשיר.",
                               "A time has no UTC offset; it is read in this device's time zone."),
        "period": window.label("הזמן הזה נמצא בתקופה שהוגשה; השרת ידחה אותו.",
                               "This time lies in a submitted period; the server will refuse it."),
        "future": window.label("הזמן הזה נמצא בעתיד.", "This time lies in the future.")
    })

    function empty() {
        description.text = ""
        from.text = ""
        to.text = ""
    }

    objectName: "manualDialog"
    title: window.label("רשומה ידנית", "Manual entry")
    width: 520
    notice: concerns[concern] ?? ""

    onSubmitted: {
        from.settle()
        to.settle()
        controller.addManual(description.text, timerPage.projectId, from.text, to.text, timerPage.billable)
    }
    onAccepted: empty()
    onVisibleChanged: if (visible) description.forceActiveFocus()

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
        maximumLength: 0x7fffffff // none
        placeholderText: dialog.window.label("תיאור", "Description")
        Layout.fillWidth: true
        onTextEdited: dialog.refusal = ""
        onAccepted: dialog.submit()
    }
    TimeField {
        id: from

        window: dialog.window
        controller: dialog.controller
        dayOf: to.text
        objectName: "manualFrom"
        placeholderText: "2026-09-23T09:00:00+03:00"
        name: dialog.window.label("התחלה", "From")
        Layout.fillWidth: true
        onTextEdited: dialog.refusal = ""
        onAccepted: dialog.submit()
    }
    TimeField {
        id: to

        window: dialog.window
        controller: dialog.controller
        dayOf: from.text
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
