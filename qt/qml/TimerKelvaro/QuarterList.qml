// SPDX-License-Identifier: MIT
pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts
import TimerKelvaro

/// The quarters of an hour of a day, and the field's own time among them. Those that the
/// clocks skip are shown, not offered; those that they repeat are told apart by their offset.
ListView {
    id: list

    required property TimerWindow window
    required property ZoneTimes times
    required property string day
    required property string text
    required property string other

    signal chosen(string text)

    /// Stands at the time of the field, or at now.
    function show() {
        model = times.quarters(day, text)
        currentIndex = times.quarterOf(day, text, other)
        positionViewAtIndex(currentIndex, ListView.Center)
    }
    function move(step: int) {
        let row = currentIndex + step
        while (model[row]?.text === "")
            row += step
        if (model[row])
            currentIndex = row
    }

    objectName: "quarters"
    onDayChanged: show()
    clip: true
    model: []
    activeFocusOnTab: true
    keyNavigationEnabled: false
    highlightMoveDuration: 0
    boundsBehavior: Flickable.StopAtBounds
    ScrollBar.vertical: SlimBar {}
    Keys.onUpPressed: move(-1)
    Keys.onDownPressed: move(1)

    Accessible.role: Accessible.List
    Accessible.name: window.label("שעה", "Time")

    delegate: ItemDelegate {
        id: option

        required property int index
        required property var modelData
        readonly property bool skipped: modelData.text === ""
        readonly property string note: skipped ? list.window.label("השעון דילג", "skipped")
                                               : modelData.offset

        function takeKey(event: KeyEvent) {
            if (!event.isAutoRepeat)
                clicked()
        }

        objectName: modelData.text
        width: ListView.view ? ListView.view.width : 0
        height: 32
        padding: 0
        leftPadding: 12
        rightPadding: 12 + Theme.scrollBar
        enabled: !skipped
        focusPolicy: Qt.ClickFocus
        highlighted: ListView.isCurrentItem
        onClicked: list.chosen(modelData.text)
        Keys.onReturnPressed: event => takeKey(event)
        Keys.onEnterPressed: event => takeKey(event)

        Accessible.role: Accessible.ListItem
        Accessible.name: modelData.time + (note === "" ? "" : ", " + note)
        Accessible.onPressAction: if (enabled) clicked()

        contentItem: RowLayout {
            Label {
                text: option.modelData.time
                font.bold: option.highlighted
            }
            Label {
                text: option.note
                font.pixelSize: 11
                opacity: option.skipped ? 1 : 0.65
                elide: Text.ElideRight
                horizontalAlignment: Text.AlignRight
                Layout.fillWidth: true
            }
        }

        background: Rectangle {
            radius: Theme.rowRadius
            color: option.highlighted ? Theme.button(list.window.dark)
                                      : option.hovered ? Theme.buttonOff(list.window.dark) : "transparent"

            FocusRing {
                anchors.margins: 0
                radius: Theme.rowRadius
                visible: option.activeFocus
            }
        }
    }
}
