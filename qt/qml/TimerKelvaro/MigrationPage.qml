// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts
import TimerKelvaro

ScrollPage {
    id: page

    required property Controller controller
    readonly property var counts: controller.importCounts
    readonly property string usualSource: "toggl-personal-export"

    spacing: 14

    Connections {
        target: page.window
        function onAccountLeft() {
            mine.checked = false
            source.text = page.usualSource
        }
    }

    ImportText {
        id: preview

        controller: page.controller
    }
    Note {
        text: page.window.label("ייבוא CSV מפורט", "Detailed CSV import")
        font.pixelSize: 24
        font.bold: true
    }
    Note {
        text: page.window.label(
            "הקובץ נקרא לתצוגה מקדימה בלבד. אשר את התוצאה לפני שמירת רשומות. שורות שגויות אינן מיובאות אוטומטית.",
            "The file is staged for preview only. Confirm before records are written. Invalid rows are never silently imported.")
    }
    Field {
        id: source

        objectName: "importSource"
        text: page.usualSource
        placeholderText: page.window.label("מזהה מקור קבוע", "Stable source identifier")
        Layout.fillWidth: true
    }
    ToggleBox {
        id: mine

        objectName: "entriesAreMine"
        text: page.window.label("אני מאשר שהרשומות שייכות לי", "I confirm these entries belong to me")
    }
    Flow {
        spacing: Theme.gap
        Layout.fillWidth: true

        WaitButton {
            objectName: "previewImport"
            window: page.window
            text: page.window.label("בחר קובץ ותצוגה מקדימה", "Choose file and preview")
            onClicked: page.controller.previewCsv(source.text, page.controller.timezone, mine.checked)
        }
        WaitButton {
            objectName: "confirmImport"
            window: page.window
            text: page.window.label("אשר ייבוא", "Confirm import")
            highlighted: true
            free: !!page.counts.record?.id
            onClicked: page.controller.applyImport()
        }
        ActionButton {
            objectName: "pauseImport"
            text: page.window.label("השהה לאחר המקטע", "Pause after chunk")
            onClicked: page.controller.pauseImport()
        }
    }
    ImportTable {
        objectName: "importTable"
        window: page.window
        controller: page.controller
        Layout.fillWidth: true
    }
    ReadOnlyText {
        objectName: "importPreview"
        name: page.window.label("ייבוא CSV מפורט", "Detailed CSV import")
        text: preview.text
        family: "monospace"
        pixelSize: 12
        Layout.fillWidth: true
        Layout.fillHeight: true
        Layout.minimumHeight: 120
        Layout.preferredHeight: 120
    }
}
