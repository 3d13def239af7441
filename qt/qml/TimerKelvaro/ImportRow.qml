// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts

/// A record of an import's file, a problem in it or a new name: what would be written, and what there is to do.
RowPanel {
    id: line

    required property TimerWindow window
    readonly property string what: row.what
    readonly property string advice: what === "problem" ? forProblem(row.code || "") : ""
    // Dates and names in two directions keep the order of the window's language.
    readonly property string direction: window.label("\u200f", "\u200e")

    function forProblem(code: string): string {
        switch (code) {
        case "cell_count":
            return window.label("ודא שבשורה יש ערך לכל עמודה ושהמירכאות סגורות.",
                                "See that the row has a value for each column and that its quotes are closed.")
        case "date":
            return window.label("כתוב את התאריך כמו בשאר השורות, למשל 2026-03-05.",
                                "Write the date as in the other rows, such as 2026-03-05.")
        case "time":
            return window.label("כתוב את השעה כמו 09:30 או 09:30:15.", "Write the time as 09:30 or 09:30:15.")
        case "duration":
            return window.label("כתוב את המשך כמו 1:30:00.", "Write the duration as 1:30:00.")
        case "end_missing":
            return window.label("הוסף שעת סיום או משך.", "Add an end or a duration.")
        case "end_before_start":
            return window.label("תקן את ההתחלה או את הסיום; אולי הסיום הוא ביום הבא.",
                                "Correct the start or the end; perhaps the end is on the next day.")
        case "duration_differs":
            return window.label("תקן את המשך או את השעות, או מחק את המשך.",
                                "Correct the duration or the times, or delete the duration.")
        case "clock_skipped":
            return window.label("השעון דילג על השעה הזאת; כתוב את השעה שאחריה.",
                                "The clocks skipped this time; write one after it.")
        case "clock_twice":
            return window.label("השעון הראה את השעה הזאת פעמיים; כתוב אחריה את ההיסט של השעה הנכונה, למשל "
                                + window.ltr("01:10+02:00") + ".",
                                "The clocks showed this time twice; write behind it the offset of the one that is meant, as in 01:10+02:00.")
        case "offset":
            return window.label("השעה היא לפי אזור זמן אחר: כתוב אותה כפי שהשעון הראה באזור הזה, או תקן את ההיסט אם רק הוא שגוי.",
                                "Another time zone's time: write it as clocks showed it in this zone, or correct the offset if that alone is wrong.")
        case "too_late":
            return window.label("תקן את המשך או את השנה.", "Correct the duration or the year.")
        case "too_long":
            return window.label("קצר את הטקסט.", "Shorten the text.")
        case "project_missing":
            return window.label("הוסף שם פרויקט לשורה, או מחק ממנה את הלקוח ואת המשימה.",
                                "Name a project in the row, or delete its client and task.")
        case "tags":
            return window.label("השאר פחות תגיות, או קצר אותן.", "Leave fewer tags, or shorten them.")
        case "billable":
            return window.label("כתוב כן או לא.", "Write Yes or No.")
        case "period_closed":
            return window.label("פתח מחדש את התקופה בגיליון הזמן, או מחק את השורה מהקובץ.",
                                "Reopen the period on the timesheet page, or delete the row from the file.")
        case "project_archived":
            return window.label("כתוב שם של פרויקט פעיל, או החזר את הפרויקט מהארכיון.",
                                "Name an active project, or take this one out of the archive.")
        default:
            return ""
        }
    }
    function heading(): string {
        if (what === "problem")
            return window.label("לא ייכתב", "Not written")
        return row.title || "…"
    }
    function details(): string {
        switch (what) {
        case "problem":
            return row.column
        case "name":
            return row.news === "client" ? window.label("לקוח חדש", "New client") : window.label("פרויקט חדש", "New project")
        default:
            return direction + (row.place ? row.place + " · " : "") + "\u2066" + row.when + "\u2069"
        }
    }
    function news(): string {
        switch (row.news) {
        case "client project":
            return window.label("לקוח ופרויקט חדשים ייווצרו.", "A new client and project are made.")
        case "client":
            return window.label("לקוח חדש ייווצר.", "A new client is made.")
        case "project":
            return window.label("פרויקט חדש ייווצר.", "A new project is made.")
        default:
            return window.label("ייכתב כפי שהוא.", "Is written as it is.")
        }
    }
    function spoken(): string {
        let all = number.text
        for (const text of [title.text, details(), result.text, own.text])
            all += text === "" ? "" : (all === "" ? "" : ", ") + text
        return all
    }
    function outcome(): string {
        switch (what) {
        case "problem":
            return advice || row.message
        case "duplicate":
            return window.label("כבר קיימת, ולכן תדולג; אין מה לעשות.", "There already, so it is skipped; nothing is to be done.")
        case "name":
            return window.label("ייווצר בייבוא; אם הוא קיים בכתיב אחר, תקן את השם בקובץ.",
                                "Is made by the import; if it exists in another spelling, correct the name in the file.")
        default:
            return news()
        }
    }

    height: 68
    Accessible.name: spoken()

    RowLayout {
        anchors.fill: parent
        spacing: Theme.gap

        Label {
            id: number

            text: line.row.row > 0 ? line.row.row : ""
            opacity: 0.7
            horizontalAlignment: Text.AlignRight
            LayoutMirroring.enabled: false
            Layout.preferredWidth: 44
        }
        ColumnLayout {
            spacing: 2
            Layout.fillWidth: true
            Layout.preferredWidth: 3

            Label {
                id: title

                text: line.heading()
                font.bold: true
                elide: Text.ElideRight
                maximumLineCount: 1
                textFormat: Text.PlainText
                horizontalAlignment: Text.AlignLeft
                Layout.fillWidth: true
            }
            Label {
                text: line.details()
                visible: text !== ""
                font.pixelSize: 11
                opacity: 0.7
                elide: Text.ElideRight
                textFormat: Text.PlainText
                horizontalAlignment: Text.AlignLeft
                Layout.fillWidth: true
            }
        }
        ColumnLayout {
            spacing: 2
            Layout.fillWidth: true
            Layout.preferredWidth: 4

            Label {
                id: result

                text: line.outcome()
                color: line.what === "problem" ? Theme.warning(line.dark) : Material.foreground
                font.pixelSize: 12
                wrapMode: Text.Wrap
                maximumLineCount: 2
                elide: Text.ElideRight
                textFormat: Text.PlainText
                horizontalAlignment: Text.AlignLeft
                Layout.fillWidth: true
            }
            Label {
                id: own

                text: line.advice !== "" ? line.row.message : ""
                visible: text !== ""
                font.pixelSize: 11
                opacity: 0.7
                elide: Text.ElideRight
                textFormat: Text.PlainText
                horizontalAlignment: Text.AlignLeft
                Layout.fillWidth: true
            }
        }
    }
}
