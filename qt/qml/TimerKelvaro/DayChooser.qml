// SPDX-License-Identifier: MIT
pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts
import TimerKelvaro

/// The month of a day. The arrow keys move the day, Page Up and Page Down its month.
ColumnLayout {
    id: chooser

    required property TimerWindow window
    required property ZoneTimes times
    /// Like "2026-09-23".
    property string day
    property string today
    /// That weeks begin with, as QDate counts.
    required property int weekday
    readonly property var locale: Qt.locale(window.hebrew ? "he" : "en")
    readonly property var days: times.month(day, weekday)
    readonly property int cell: 36

    signal chosen

    function focusDay() {
        cells.itemAt(days.indexOf(day)).forceActiveFocus(Qt.TabFocusReason)
    }
    function move(days: int, months: int) {
        day = times.movedDay(day, days, months)
    }
    function moveByKey(event: KeyEvent) {
        const forward = window.hebrew ? -1 : 1
        const steps = ({
            [Qt.Key_Left]: [-forward, 0],
            [Qt.Key_Right]: [forward, 0],
            [Qt.Key_Up]: [-7, 0],
            [Qt.Key_Down]: [7, 0],
            [Qt.Key_PageUp]: [0, -1],
            [Qt.Key_PageDown]: [0, 1]
        })[event.key]
        event.accepted = !!steps
        if (!steps)
            return
        move(steps[0], steps[1])
        focusDay()
    }
    /// In the device's own time zone, as a locale writes dates.
    function date(day: string): date {
        const parts = day.split("-").map(Number)
        return new Date(parts[0], parts[1] - 1, parts[2], 12) // some days have no midnight
    }

    spacing: 6

    component Turn: ActionButton {
        fill: "transparent"
        font.pixelSize: 20
        padding: 0
        topInset: 0
        bottomInset: 0
        Layout.preferredWidth: chooser.cell
        Layout.preferredHeight: chooser.cell
    }

    RowLayout {
        Turn {
            objectName: "monthBefore"
            text: chooser.window.hebrew ? "›" : "‹"
            Accessible.name: chooser.window.label("החודש הקודם", "Previous month")
            onClicked: chooser.move(0, -1)
        }
        Label {
            objectName: "month"
            text: chooser.date(chooser.day).toLocaleDateString(chooser.locale, "MMMM yyyy")
            font.bold: true
            horizontalAlignment: Text.AlignHCenter
            Layout.fillWidth: true
        }
        Turn {
            objectName: "monthAfter"
            text: chooser.window.hebrew ? "‹" : "›"
            Accessible.name: chooser.window.label("החודש הבא", "Next month")
            onClicked: chooser.move(0, 1)
        }
    }
    Grid {
        columns: 7
        Keys.onPressed: event => chooser.moveByKey(event)

        Repeater {
            model: 7
            delegate: Label {
                required property int index

                width: chooser.cell
                height: 22
                text: chooser.locale.standaloneDayName((chooser.weekday + index) % 7, Locale.NarrowFormat)
                font.pixelSize: 11
                opacity: 0.65
                horizontalAlignment: Text.AlignHCenter
                verticalAlignment: Text.AlignVCenter
                Accessible.ignored: true
            }
        }
        Repeater {
            id: cells

            model: 42
            delegate: DayCell {
                required property int index

                day: chooser.days[index] ?? ""
                name: chooser.date(day).toLocaleDateString(chooser.locale, Locale.LongFormat)
                current: day === chooser.day
                today: day === chooser.today
                nearby: day.slice(0, 7) !== chooser.day.slice(0, 7)
                width: chooser.cell
                height: chooser.cell - 4
                onClicked: {
                    chooser.day = day
                    chooser.chosen()
                }
            }
        }
    }
}
