// SPDX-License-Identifier: MIT
import QtQuick
import TimerKelvaro

/// Tells what others made of an entry while it was being edited here.
PresentEntry {
    id: present

    required property TimerWindow window
    readonly property int excerpt: 160 // of a description
    readonly property var names: ({
        "description": window.label("תיאור", "Description"),
        "project_id": window.label("פרויקט", "Project"),
        "billable": window.label("לחיוב", "Billable"),
        "start_at": window.label("התחלה", "From"),
        "stop_at": window.label("סיום", "To")
    })

    function shown(name: string, value: var): string {
        if (value === null)
            return window.label("ללא פרויקט", "No project")
        if (value === "")
            return window.label("(ריק)", "(empty)")
        if (typeof value === "boolean")
            return value ? window.label("כן", "Yes") : window.label("לא", "No")
        if (name.endsWith("_at"))
            return window.ltr(value)
        return value.length > excerpt ? value.slice(0, excerpt) + "…" : value
    }
    /// "" when `changes` replace nothing that came after `before`.
    function told(before: var, changes: var): string {
        const lines = Array.from(otherwise(before, changes), field => names[field.name] + ": " + shown(field.name, field.value))
        if (lines.length === 0)
            return ""
        return [window.label("הרשומה שונתה בינתיים במקום אחר:", "This entry was changed elsewhere meanwhile:"), ...lines,
                window.label("אישור נוסף יחליף זאת.", "OK again replaces it.")].join("\n")
    }
}
