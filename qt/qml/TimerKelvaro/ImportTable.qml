// SPDX-License-Identifier: MIT
pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import TimerKelvaro

/// The preview of an import as rows, all of them or those of one kind.
ColumnLayout {
    id: table

    required property TimerWindow window
    required property Controller controller
    readonly property var counts: controller.importCounts
    readonly property var listed: counts.listed || {}
    /// The kind that is shown.
    property string what: "entry"

    function isPartly(): bool {
        return (counts[what] || 0) > (listed[what] || 0)
    }

    spacing: 8
    visible: (listed.entry || 0) + (listed.name || 0) > 0

    Flow {
        spacing: 6
        Layout.fillWidth: true

        Repeater {
            model: [
                { what: "entry", he: "שורות", en: "Rows" },
                { what: "problem", he: "בעיות", en: "Problems" },
                { what: "duplicate", he: "כפולות", en: "Duplicates" },
                { what: "name", he: "שמות חדשים", en: "New names" }
            ]
            delegate: ActionButton {
                required property var modelData

                objectName: "importFilter_" + modelData.what
                text: table.window.label(modelData.he, modelData.en) + " (" + (table.counts[modelData.what] || 0) + ")"
                highlighted: table.what === modelData.what
                onClicked: table.what = modelData.what
                Accessible.checkable: true
                Accessible.checked: highlighted
            }
        }
    }
    Note {
        objectName: "importPartly"
        visible: table.isPartly()
        font.pixelSize: 12
        opacity: 0.7
        text: table.window.label("השרת מפרט %1 מתוך %2.", "The server lists %1 of %2.")
              .arg(table.listed[table.what] || 0).arg(table.counts[table.what] || 0)
    }
    Note {
        objectName: "importBlocked"
        visible: (table.counts.problem || 0) > 0
        text: table.window.label("לא ייכתב דבר כל עוד יש שורה שגויה; תקן את הקובץ ובחר אותו שוב.",
                                 "Nothing is written while a row has a problem; correct the file and choose it again.")
        font.bold: true
    }
    Note {
        objectName: "importEmpty"
        visible: rows.count === 0
        text: table.window.label("אין כאלה.", "None.")
    }
    RowList {
        id: rows

        objectName: "importRows"
        name: table.window.label("תצוגה מקדימה", "Preview")
        spacing: 6
        visible: count > 0
        Layout.fillHeight: false
        Layout.preferredHeight: Math.min(contentHeight, 216)
        model: RowModel {
            source: table.controller
            list: "importRows"
            keep: table.what === "entry" ? ["entry", "problem", "duplicate"] : [table.what]
        }
        delegate: ImportRow {
            window: table.window
        }
    }
}
