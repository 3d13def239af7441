// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import TimerKelvaro

FormDialog {
    id: dialog

    required property Controller controller
    property string entryId: ""

    function edit(id: string, description: string) {
        entryId = id
        field.text = description
        open()
    }

    objectName: "editDialog"
    title: window.label("עריכת תיאור", "Edit description")
    width: 500
    acceptable: !controller.busy

    onAccepted: controller.editDescription(entryId, field.text)
    onOpened: field.forceActiveFocus()

    Connections {
        target: dialog.window
        function onAccountLeft() {
            dialog.close()
            dialog.entryId = ""
            field.text = ""
        }
    }

    Field {
        id: field

        width: parent.width
        objectName: "editDescription"
        focus: true
        maximumLength: 4096
        name: dialog.window.label("תיאור", "Description")
        onAccepted: dialog.acceptIfPossible()
    }
}
