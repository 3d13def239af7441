// SPDX-License-Identifier: MIT
pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts
import TimerKelvaro

ScrollPage {
    id: page

    required property Controller controller
    readonly property var timer: controller.timer
    readonly property bool running: !!timer.id
    property alias projectId: project.chosen
    property alias billable: billable.checked

    signal manualRequested
    signal editRequested(string id, string description)
    signal changeRequested(var row, string startAt, string stopAt)

    function find() {
        list.find()
    }

    function toggle() {
        if (running)
            controller.stop()
        else
            controller.start(description.text, projectId, billable.checked)
    }

    /// Not blocked by a wait: the controller carries it out when that ends.
    function toggleByKey() {
        controller.toggleTimer(description.text, projectId, billable.checked)
    }

    spacing: 16

    Connections {
        target: page.window
        function onAccountLeft() {
            description.text = ""
            billable.checked = false
        }
    }

    Connections {
        target: project.rows
        function onUpdated() {
            if (project.rows.indexOf(project.chosen) < 0)
                project.chosen = ""
        }
    }

    Panel {
        focus: true
        padding: 20
        verticalPadding: 20
        Layout.fillWidth: true

        ColumnLayout {
            anchors.fill: parent
            spacing: 14

            RowLayout {
                spacing: Theme.gap

                Label {
                    objectName: "elapsed"
                    // Another timer shows its own time at once, not with the next second.
                    text: page.timer ? page.controller.elapsed : ""
                    font.pixelSize: 42
                    font.bold: true
                    horizontalAlignment: page.window.hebrew ? Text.AlignRight : Text.AlignLeft
                    LayoutMirroring.enabled: false
                    Layout.fillWidth: true
                }
                ActionButton {
                    objectName: "editTimer"
                    text: page.window.label("ערוך", "Edit")
                    Accessible.name: page.window.label("ערוך את הטיימר", "Edit the timer")
                    visible: page.running && page.timer.workspace_id === page.controller.workspace
                    onClicked: page.controller.timerLocked ? list.act("explain", page.timer.id) : list.change(page.timer)
                }
                WaitButton {
                    objectName: "timerAction"
                    window: page.window
                    text: page.running ? page.window.label("עצור", "Stop") : page.window.label("התחל", "Start")
                    highlighted: true
                    fill: lit ? Theme.accent : Theme.actionOff
                    ink: Theme.accentInk
                    corner: Theme.actionRadius
                    topInset: 0
                    bottomInset: 0
                    font.pixelSize: 18
                    font.bold: true
                    Layout.preferredWidth: 140
                    Layout.preferredHeight: 58
                    onClicked: {
                        page.toggle()
                        justClicked.restart()
                    }
                    // Who clicks twice wants it once: the second half of a double click comes here, and is a click
                    // of its own only where the button was off at the first.
                    onDoubleClicked: if (!justClicked.running) clicked()

                    Timer {
                        id: justClicked

                        readonly property var hints: Qt.styleHints

                        interval: hints.mouseDoubleClickInterval
                    }
                }
            }
            Note {
                objectName: "timerNotice"
                visible: page.controller.timerLocked
                text: page.window.label("הזמן שנמדד עכשיו נמצא בתקופה שהוגשה; השרת ידחה אותו.",
                                        "Time measured now lies in a submitted period; the server will refuse it.")
                color: Theme.warning(page.window.dark)
            }
            Field {
                id: description

                objectName: "description"
                focus: true
                maximumLength: Theme.descriptionLength
                placeholderText: page.window.label("על מה אתה עובד?", "What are you working on?")
                Layout.fillWidth: true
                Keys.forwardTo: [suggestions]

                Suggestions {
                    id: suggestions

                    window: page.window
                    controller: page.controller
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

                    window: page.window
                    controller: page.controller
                    selectName: "projectSelect"
                    clearName: "clearProject"
                    selectWidth: 300
                }
                ToggleBox {
                    id: billable

                    objectName: "billable"
                    text: page.window.label("לחיוב", "Billable")
                }
                Item {
                    Layout.fillWidth: true
                }
                ActionButton {
                    objectName: "manualEntry"
                    text: page.window.label("רשומה ידנית", "Manual entry")
                    onClicked: page.manualRequested()
                }
            }
            Note {
                id: task

                readonly property bool cut: truncated && (taskHover.hovered || activeFocus)

                objectName: "timerDescription"
                visible: page.running
                text: page.timer.description || ""
                font.pixelSize: 12
                opacity: 0.7
                maximumLineCount: 3
                elide: Text.ElideRight
                activeFocusOnTab: truncated
                Accessible.name: text
                onCutChanged: tip.showFor(task, cut ? text : "")

                HoverHandler {
                    id: taskHover
                }
                FocusRing {
                    radius: Theme.radius
                    visible: task.activeFocus
                }
                WholeTextTip {
                    id: tip

                    objectName: "timerTip"
                }
            }
        }
    }
    ClosedEntries {
        id: list

        window: page.window
        controller: page.controller
        Layout.fillWidth: true
        Layout.fillHeight: true
        onEditRequested: (id, text) => page.editRequested(id, text)
        onChangeRequested: (row, startAt, stopAt) => page.changeRequested(row, startAt, stopAt)
    }
}
