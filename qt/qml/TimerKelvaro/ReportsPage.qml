// SPDX-License-Identifier: MIT
pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts
import TimerKelvaro

ScrollPage {
    id: page

    required property Controller controller
    required property date created
    readonly property var totals: controller.reportTotals
    readonly property var about: controller.reportAbout

    function generate() {
        controller.queryReport(kind.currentText, from.text, to.text, controller.timezone, group.currentText)
    }
    function enter() {
        if (generateButton.enabled)
            generate()
    }
    function generateFor(days) {
        from.text = days.from
        to.text = days.to
        generate()
    }
    /// What the server left out, and what else is to be asked for.
    function whyCut(): string {
        const cut = window.label("אין תמונה, כי השרת שלח רק את 500 השורות הראשונות; בחר טווח קצר יותר",
                                 "There is no picture, since the server sent the first 500 rows only; choose a shorter range")
        switch (about.instead) {
        case "day":
            return cut + window.label(", או summary בקיבוץ לפי day או week.", ", or a summary grouped by day or week.")
        case "week":
            return cut + window.label(", או summary בקיבוץ לפי week.", ", or a summary grouped by week.")
        default:
            return cut + "."
        }
    }
    function showInstead() {
        // Of a long report the sums of days or weeks fit where its entries do not.
        const detailed = about.instead === "detailed"
        kind.currentIndex = kind.model.indexOf(detailed ? "detailed" : "summary")
        if (!detailed)
            group.currentIndex = group.model.indexOf(about.instead)
        generate()
    }
    function whyNoPicture(): string {
        switch (about.missing) {
        case "days":
            if (about.instead === "day")
                return window.label("הדוח הזה אינו אומר מתי עבדו; summary בקיבוץ לפי day או week מראה גם תמונה.",
                                    "This report does not tell when the work was done; a summary grouped by day or week shows a picture as well.")
            return window.label("הדוח הזה אינו אומר מתי עבדו; דוח מסוג weekly או detailed, או קיבוץ לפי day או week, מראה גם תמונה.",
                                "This report does not tell when the work was done; a weekly or detailed one, or one grouped by day or week, shows a picture as well.")
        case "cut":
            return whyCut()
        case "long":
            return window.label("הטווח ארוך מדי לתמונה.", "The range is too long for a picture.")
        default:
            return ""
        }
    }
    /// Of the columns in which a copied row is named.
    function titles(): list<string> {
        const week = window.label("שבוע", "Week")
        const groups = {
            project: window.label("פרויקט", "Project"), client: window.label("לקוח", "Client"),
            task: window.label("משימה", "Task"), user: window.label("משתמש", "User"),
            day: window.label("יום", "Day"), week: week
        }
        const name = groups[about.group] || about.group
        if (about.kind === "detailed")
            return [groups.day, groups.project, window.label("תיאור", "Description")]
        return about.kind === "weekly" && about.group !== "week" ? [week, name] : [name]
    }
    function copy() {
        controller.copyReport(titles().concat([
            window.label("משך מקורי", "Raw time"), window.label("משך מעוגל", "Rounded time"),
            window.label("חלק באחוזים", "Share in per cent"), window.label("סכום", "Amount"), window.label("מטבע", "Currency")
        ]), window.hebrew)
    }

    spacing: 12

    RowLayout {
        spacing: Theme.gap

        Choice {
            id: kind

            model: ["summary", "detailed", "weekly"]
            name: page.window.label("סוג דוח", "Report kind")
        }
        Choice {
            id: group

            model: ["project", "client", "task", "user", "day", "week"]
            name: page.window.label("קיבוץ", "Grouping")
        }
        LtrField {
            id: from

            objectName: "reportFrom"
            placeholderText: "YYYY-MM-DD"
            name: page.window.label("מתאריך", "From date")
            text: Qt.formatDate(page.created, "yyyy-MM-01")
            onAccepted: page.enter()
        }
        LtrField {
            id: to

            objectName: "reportTo"
            placeholderText: "YYYY-MM-DD"
            name: page.window.label("עד תאריך", "To date")
            text: Qt.formatDate(page.created, "yyyy-MM-dd")
            onAccepted: page.enter()
        }
        WaitButton {
            id: generateButton

            objectName: "generateReport"
            window: page.window
            text: page.window.label("הפק דוח", "Generate")
            highlighted: true
            onClicked: page.generate()
        }
        Item {
            Layout.fillWidth: true
        }
    }
    Flow {
        spacing: 6
        Layout.fillWidth: true

        Repeater {
            model: [
                { range: "today", he: "היום", en: "Today" },
                { range: "this_week", he: "השבוע", en: "This week" },
                { range: "last_week", he: "השבוע שעבר", en: "Last week" },
                { range: "this_month", he: "החודש", en: "This month" },
                { range: "last_month", he: "החודש שעבר", en: "Last month" },
                { range: "this_year", he: "השנה", en: "This year" }
            ]
            delegate: WaitButton {
                required property var modelData

                objectName: "range_" + modelData.range
                window: page.window
                text: page.window.label(modelData.he, modelData.en)
                onClicked: page.generateFor(page.controller.reportRange(modelData.range))
            }
        }
    }
    Note {
        objectName: "reportTotals"
        text: page.window.label("משך מקורי: ", "Raw time: ") + page.window.duration(page.totals.raw_duration_seconds)
              + "   |   " + page.window.label("רשומות: ", "Entries: ") + (page.totals.entry_count || 0)
        font.pixelSize: 23
        font.bold: true
    }
    Note {
        opacity: 0.65
        text: page.window.label("החישובים והייצוא מבוססים על אותה תמונת נתונים בשרת. תעריף חסר אינו אפס.",
                                "Calculations and exports use one server snapshot. Missing rates are unknown, not zero.")
    }
    Flow {
        spacing: Theme.gap
        Layout.fillWidth: true

        ActionButton {
            objectName: "exportCsv"
            text: "CSV"
            onClicked: page.controller.downloadReport("csv")
        }
        ActionButton {
            text: "Excel"
            onClicked: page.controller.downloadReport("xlsx")
        }
        ActionButton {
            text: "JSON"
            onClicked: page.controller.downloadReport("json")
        }
        ActionButton {
            objectName: "exportHtml"
            text: page.window.label("שמור דוח HTML להדפסה", "Save printable HTML")
            onClicked: page.controller.downloadReport("html")
        }
        ActionButton {
            objectName: "copyReport"
            text: page.window.label("העתק", "Copy")
            enabled: rows.count > 0
            onClicked: page.copy()
        }
    }
    PeriodPicture {
        objectName: "periodPicture"
        window: page.window
        controller: page.controller
        Layout.fillWidth: true
    }
    RowLayout {
        spacing: Theme.gap
        visible: why.text !== ""

        Note {
            id: why

            objectName: "noPicture"
            text: page.whyNoPicture()
            font.pixelSize: 12
        }
        WaitButton {
            objectName: "showDays"
            window: page.window
            text: page.about.instead === "week" ? page.window.label("הראה לפי שבועות", "Show by week")
                                                : page.window.label("הראה לפי ימים", "Show by day")
            visible: (page.about.instead || "") !== ""
            onClicked: page.showInstead()
        }
    }
    RowList {
        id: rows

        objectName: "reportList"
        name: page.window.label("דוחות", "Reports")
        spacing: 6
        Layout.minimumHeight: 142
        model: RowModel {
            source: page.controller
            list: "reportFigures"
        }
        delegate: ReportRow {
            window: page.window
        }
    }
}
