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
        }
        LtrField {
            id: to

            objectName: "reportTo"
            placeholderText: "YYYY-MM-DD"
            name: page.window.label("עד תאריך", "To date")
            text: Qt.formatDate(page.created, "yyyy-MM-dd")
        }
        ActionButton {
            objectName: "generateReport"
            text: page.window.label("הפק דוח", "Generate")
            enabled: !page.controller.busy
            highlighted: true
            onClicked: page.controller.queryReport(kind.currentText, from.text, to.text, page.controller.timezone,
                                                   group.currentText)
        }
        Item {
            Layout.fillWidth: true
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
    }
    RowList {
        objectName: "reportList"
        name: page.window.label("דוחות", "Reports")
        spacing: 6
        Layout.minimumHeight: 142
        model: RowModel {
            source: page.controller
            list: "reportRows"
        }
        delegate: ReportRow {
            window: page.window
        }
    }
}
