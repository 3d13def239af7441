// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Layouts
import TimerKelvaro

/// Everything that can be changed about an entry. Of what nobody touched here nothing is
/// recorded, so that what others changed meanwhile stays.
TimesDialog {
    id: dialog

    property var entry: ({})
    property string startText: ""
    property string stopText: ""
    readonly property bool running: !entry.stop_at
    readonly property string entryDescription: entry.description ?? ""
    readonly property string entryProject: entry.project_id ?? ""
    readonly property var changes: {
        const touched = {}
        if (description.text !== entryDescription)
            touched.description = description.text
        if (project.chosen !== entryProject)
            touched.project_id = project.chosen
        if (billable.checked !== !!entry.billable)
            touched.billable = billable.checked
        if (from.text !== startText)
            touched.start_at = from.meant
        if (!running && to.text !== stopText)
            touched.stop_at = to.meant
        return touched
    }

    /// `startAt` and `stopAt` are the entry's times as the fields show them.
    function edit(row: var, startAt: string, stopAt: string) {
        fill(row, startAt, stopAt)
        open()
    }
    function fill(row: var, startAt: string, stopAt: string) {
        entry = row
        startText = startAt
        stopText = running ? "" : stopAt
        description.text = entryDescription
        project.chosen = entryProject
        billable.checked = !!row.billable
        from.write(startText)
        to.write(stopText)
    }

    objectName: "entryDialog"
    title: running ? window.label("עריכת הטיימר", "Edit timer") : window.label("עריכת רשומה", "Edit entry")
    width: 520
    takesTurns: true
    unchanged: Object.keys(changes).length === 0
    startsAt: from.judgeable
    endsAt: to.judgeable
    judged: "start_at" in changes || "stop_at" in changes

    onDue: overruled = meanwhile.told(entry, changes)
    onSubmitted: {
        from.settle()
        to.settle()
        controller.editEntry(entry.id, changes)
    }
    onVisibleChanged: if (visible) description.forceActiveFocus()

    Connections {
        target: dialog.window
        function onAccountLeft() {
            dialog.close()
            dialog.fill({}, "", "")
        }
    }

    Meanwhile {
        id: meanwhile

        window: dialog.window
        controller: dialog.controller
    }
    Field {
        id: description

        objectName: "entryDescriptionField"
        focus: true
        maximumLength: Math.max(Theme.descriptionLength, dialog.entryDescription.length) // none is cut
        placeholderText: dialog.window.label("תיאור", "Description")
        readOnly: dialog.waiting
        Layout.fillWidth: true
        onTextEdited: dialog.refusal = ""
        onAccepted: dialog.submit()
        Keys.forwardTo: [suggestions]

        Suggestions {
            id: suggestions

            window: dialog.window
            controller: dialog.controller
            field: description
            onChosen: (projectId, isBillable) => {
                project.chosen = projectId
                billable.checked = isBillable
            }
        }
    }
    RowLayout {
        spacing: Theme.gap

        ProjectChooser {
            id: project

            window: dialog.window
            controller: dialog.controller
            selectName: "entryProjectSelect"
            clearName: "entryClearProject"
            enabled: !dialog.waiting
            Layout.fillWidth: true
        }
        ToggleBox {
            id: billable

            objectName: "entryBillable"
            text: dialog.window.label("לחיוב", "Billable")
            enabled: !dialog.waiting
        }
    }
    Note {
        text: from.name
        visible: from.visible
        font.pixelSize: 12
        opacity: 0.7
        Layout.bottomMargin: -8
    }
    TimeField {
        id: from

        window: dialog.window
        controller: dialog.controller
        dayOf: to.text
        objectName: "entryFrom"
        name: dialog.window.label("התחלה", "From")
        readOnly: dialog.waiting
        Layout.fillWidth: true
        onTextEdited: dialog.refusal = ""
        onAccepted: dialog.submit()
    }
    Note {
        text: to.name
        visible: to.visible
        font.pixelSize: 12
        opacity: 0.7
        Layout.bottomMargin: -8
    }
    TimeField {
        id: to

        window: dialog.window
        controller: dialog.controller
        dayOf: from.text
        objectName: "entryTo"
        visible: !dialog.running
        name: dialog.window.label("סיום", "To")
        readOnly: dialog.waiting
        Layout.fillWidth: true
        onTextEdited: dialog.refusal = ""
        onAccepted: dialog.submit()
    }
}
