// SPDX-License-Identifier: MIT
pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts
import TimerKelvaro

ScrollPage {
    id: page

    required property Controller controller

    spacing: 12

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
    RowList {
        objectName: "periodList"
        name: heading.text
        spacing: 8
        Layout.minimumHeight: 184
        model: RowModel {
            source: page.controller
            list: "periods"
        }
        delegate: PeriodRow {}
    }
}
