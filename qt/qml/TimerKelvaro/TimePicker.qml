// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts
import TimerKelvaro

/// A calendar and the times of its day. Nothing is picked before a time is; Escape leaves.
Popup {
    id: picker

    required property TimerWindow window
    required property ZoneTimes times
    required property string zone
    required property int weekday
    required property string text
    /// Where it begins while `text` is no time.
    required property string other

    signal picked(string text)

    objectName: "timePicker"
    x: parent ? parent.width - width : 0
    y: parent ? parent.height + 2 : 0
    margins: Theme.toolMargin
    padding: Theme.gap
    focus: true
    closePolicy: Popup.CloseOnEscape | Popup.CloseOnPressOutsideParent
    onAboutToShow: {
        calendar.today = times.day("", "")
        calendar.day = times.day(text, other)
        list.show()
    }
    onOpened: calendar.focusDay()

    background: Rectangle {
        radius: Theme.radius
        color: Theme.card(picker.window.dark)
        border.color: Theme.line(picker.window.dark)
    }

    RowLayout {
        spacing: Theme.gap

        DayChooser {
            id: calendar

            window: picker.window
            times: picker.times
            weekday: picker.weekday
            onChosen: list.forceActiveFocus(Qt.TabFocusReason)
        }
        Rectangle {
            color: Theme.line(picker.window.dark)
            Layout.preferredWidth: 1
            Layout.fillHeight: true
        }
        ColumnLayout {
            spacing: 4

            QuarterList {
                id: list

                window: picker.window
                times: picker.times
                day: calendar.day
                text: picker.text
                other: picker.other
                onChosen: text => {
                    picker.close()
                    picker.picked(text)
                }
                Layout.preferredWidth: 150
                Layout.fillHeight: true
            }
            Label {
                text: picker.zone
                font.pixelSize: 11
                opacity: 0.65
                elide: Text.ElideRight
                horizontalAlignment: Text.AlignHCenter
                Layout.fillWidth: true
                Layout.preferredWidth: 150
            }
        }
    }
}
