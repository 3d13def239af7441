// SPDX-License-Identifier: MIT
pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts
import TimerKelvaro

ScrollPage {
    id: page

    required property Controller controller
    // Adding up costs something: only while it is seen.
    property var week: null
    readonly property var sums: visible ? controller.periodSums : []

    function daysLeft(days: int): string {
        switch (days) {
        case 0:
            return window.label("היום הוא יומו האחרון", "today is its last day")
        case 1:
            return window.label("נותר יום אחד", "1 day left")
        case 2:
            return window.label("נותרו יומיים", "2 days left")
        default:
            return window.label("נותרו %1 ימים", "%1 days left").arg(days)
        }
    }

    function readWeek() {
        week = visible ? controller.openWeek : null
    }

    spacing: 12
    onVisibleChanged: readWeek()
    Component.onCompleted: readWeek()

    Connections {
        target: page.controller
        function onChanged() {
            page.readWeek()
        }
        // The running timer counts.
        function onTick() {
            page.readWeek()
        }
    }
    Note {
        id: heading

        text: page.window.label("תקופות הגשה ונעילה", "Submitted periods and locks")
        font.pixelSize: 23
        font.bold: true
    }
    Note {
        text: page.window.label(
            "הנתונים נקראים מהשרת ומוגנים גם במסלולי הכתיבה של האפליקציה. פעולות הגשה ובדיקה מתבצעות כרגע בממשק Web.",
            "Periods are read from the server; native writes respect the same locks. Submission and review actions currently use the Web workbench.")
    }
    ActionButton {
        objectName: "openTimesheets"
        text: page.window.label("פתח גיליון זמן בדפדפן", "Open Timesheets in browser")
        onClicked: page.controller.openTimesheetWeb()
    }
    Note {
        objectName: "openWeek"
        text: page.week ? page.window.label("השבוע עד כה: ", "This week so far: ")
                          + page.window.ltr(page.window.duration(page.week.seconds)) + " · " + page.daysLeft(page.week.days_left)
                        : ""
        font.bold: true
    }
    RowList {
        objectName: "periodList"
        name: heading.text
        spacing: 8
        Layout.minimumHeight: 184
        model: RowModel {
            source: page.controller
            list: "periods"
        }
        delegate: PeriodRow {
            window: page.window
            seconds: page.sums[index]
        }
    }
}
