// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts
import TimerKelvaro

TimesDialog {
    id: dialog

    required property TimerPage timerPage
    /// The main timer's selection when the dialog was opened.
    property var before: ({})
    /// The day on which it was last opened, or a time typed there.
    property string usedOn: ""

    function empty() {
        description.text = ""
        forgetTimes()
    }
    function forgetTimes() {
        from.forget()
        to.forget()
    }
    function today(): string {
        return clocks.day("", "")
    }
    function timeTyped() {
        refusal = ""
        usedOn = today()
    }
    /// What came with a description is of this entry alone.
    function giveSelectionBack() {
        const stands = Array.from(controller.projects).some(project => project.id === before.projectId)
        timerPage.projectId = stands ? before.projectId : ""
        timerPage.billable = before.billable
    }

    objectName: "manualDialog"
    title: window.label("רשומה ידנית", "Manual entry")
    width: 520
    startsAt: from.judgeable
    endsAt: to.judgeable

    onSubmitted: {
        from.settle()
        to.settle()
        controller.addManual(description.text, timerPage.projectId, from.meant, to.meant, timerPage.billable)
    }
    onAccepted: {
        if (taken)
            empty()
        giveSelectionBack()
    }
    onRejected: giveSelectionBack()
    onAboutToShow: {
        before = { projectId: timerPage.projectId, billable: timerPage.billable }
        // Otherwise a time typed alone would be of the day before.
        if (usedOn !== "" && usedOn < today())
            forgetTimes()
        usedOn = today()
    }
    onVisibleChanged: if (visible) description.forceActiveFocus()

    Connections {
        target: dialog.window
        function onAccountLeft() {
            dialog.close()
            dialog.empty()
        }
    }

    ZoneTimes {
        id: clocks

        zone: dialog.controller.timezone
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
        Keys.forwardTo: [suggestions]

        Suggestions {
            id: suggestions

            window: dialog.window
            controller: dialog.controller
            field: description
            onChosen: (projectId, billable) => {
                dialog.timerPage.projectId = projectId
                dialog.timerPage.billable = billable
            }
        }
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
        onTextEdited: dialog.timeTyped()
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
        onTextEdited: dialog.timeTyped()
        onAccepted: dialog.submit()
    }
    Note {
        text: dialog.window.label("השיוך לפרויקט והחיוב נלקחים מהטיימר הראשי.",
                                  "Uses the main timer's project and billable selection.")
    }
}
