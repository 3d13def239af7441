// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts
import TimerKelvaro

/// A project of the workspace, or none: Delete or the button beside it takes it away.
RowLayout {
    id: chooser

    required property TimerWindow window
    required property Controller controller
    property alias chosen: project.chosen
    property alias selectName: project.objectName
    property alias clearName: clear.objectName
    property alias selectWidth: project.preferred
    readonly property RowModel rows: project.rows

    spacing: Theme.gap

    Chooser {
        id: project

        property string chosen: ""
        property int preferred: -1

        name: chooser.window.label("פרויקט", "Project")
        shownId: chosen
        Layout.preferredWidth: preferred
        Layout.fillWidth: preferred < 0
        onActivated: index => chosen = rows.idAt(index)
        Keys.onDeletePressed: chosen = ""
        Keys.onPressed: event => {
            if (event.key === Qt.Key_Backspace)
                chosen = ""
        }
        rows: RowModel {
            source: chooser.controller
            list: "projects"
        }
    }
    ActionButton {
        id: clear

        text: "×"
        visible: project.chosen !== ""
        Accessible.name: chooser.window.label("ללא פרויקט", "No project")
        onClicked: project.chosen = ""
    }
}
