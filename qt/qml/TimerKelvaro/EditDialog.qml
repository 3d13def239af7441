// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts
import TimerKelvaro

FormDialog {
    id: dialog

    property string entryId: ""
    property string before: ""

    function edit(id: string, description: string) {
        entryId = id
        before = description
        field.maximumLength = Math.max(Theme.descriptionLength, description.length)
        field.text = description
        open()
    }

    objectName: "editDialog"
    title: window.label("עריכת תיאור", "Edit description")
    width: 500
    takesTurns: true

    onDue: overruled = meanwhile.told({ id: entryId, description: before }, { description: field.text })
    onSubmitted: {
        // The server would refuse the description of an entry that was deleted elsewhere meanwhile, and hold
        // up all that comes behind.
        if (meanwhile.isThere(entryId))
            controller.editDescription(entryId, field.text)
        else
            controller.editEntry(entryId, { description: field.text }) // which says why not
    }
    onVisibleChanged: if (visible) field.forceActiveFocus()

    Connections {
        target: dialog.window
        function onAccountLeft() {
            dialog.close()
            dialog.entryId = ""
            dialog.before = ""
            field.text = ""
        }
    }

    Meanwhile {
        id: meanwhile

        window: dialog.window
        controller: dialog.controller
    }
    Field {
        id: field

        objectName: "editDescription"
        focus: true
        maximumLength: Theme.descriptionLength
        name: dialog.window.label("תיאור", "Description")
        readOnly: dialog.waiting
        Layout.fillWidth: true
        onTextEdited: dialog.refusal = ""
        onAccepted: dialog.submit()
    }
}
