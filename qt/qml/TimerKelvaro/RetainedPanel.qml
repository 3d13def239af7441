// SPDX-License-Identifier: MIT
pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts
import TimerKelvaro

/// The change that the server refused, field by field, and the two ways out.
Panel {
    id: panel

    required property TimerWindow window
    required property Controller controller
    readonly property var retained: controller.retained
    readonly property var operations: ({
        "timer.start": window.label("התחלת טיימר", "Starting a timer"),
        "timer.stop": window.label("עצירת טיימר", "Stopping a timer"),
        "entry.create": window.label("הוספת רשומה ידנית", "Adding a manual entry"),
        "entry.update": window.label("עריכת רשומה", "Editing an entry"),
        "entry.delete": window.label("מחיקת רשומה", "Deleting an entry"),
        "entry.restore": window.label("שחזור רשומה", "Restoring an entry")
    })
    readonly property var verdicts: ({
        "conflict": window.label("מתנגש עם מה שקיים בשרת", "it conflicts with what the server has"),
        "rejected": window.label("השרת דחה את השינוי", "the server rejected the change")
    })
    readonly property var names: ({
        "description": window.label("תיאור", "Description"),
        "project": window.label("פרויקט", "Project"),
        "billable": window.label("לחיוב", "Billable"),
        "start_at": window.label("התחלה", "Start"),
        "stop_at": window.label("סיום", "End"),
        "tags": window.label("תגיות", "Tags"),
        "deleted_at": window.label("נמחקה", "Deleted")
    })

    function shown(name: string, value: var): string {
        if (value === null || value === undefined)
            return "—"
        if (value === "")
            return window.label("(ריק)", "(empty)")
        if (typeof value === "boolean")
            return value ? window.label("כן", "Yes") : window.label("לא", "No")
        // Times keep their direction in a line of either language.
        return name.endsWith("_at") ? "\u200e" + value : String(value)
    }

    component Cell: Note {
        maximumLineCount: 6
        elide: Text.ElideRight
        Layout.preferredWidth: 1
        Layout.alignment: Qt.AlignBaseline
        Accessible.ignored: true
    }
    component Title: Cell {
        opacity: 0.7
        font.pixelSize: 12
    }

    visible: !!retained.operation
    padding: Theme.margin
    verticalPadding: Theme.margin
    focusPolicy: Qt.StrongFocus
    ringed: activeFocus
    Accessible.role: Accessible.Grouping
    Accessible.name: heading.text

    ColumnLayout {
        anchors.fill: parent
        spacing: Theme.gap

        Note {
            id: heading

            text: panel.window.label("שינוי שהשרת לא קיבל", "A change that the server did not accept")
            font.pixelSize: 18
            font.bold: true
        }
        Note {
            objectName: "retainedChange"
            text: (panel.operations[panel.retained.operation] ?? panel.retained.operation ?? "") + " · "
                  + (panel.verdicts[panel.retained.status] ?? panel.retained.status ?? "")
        }
        RowLayout {
            spacing: Theme.gap

            Note {
                id: sentence

                objectName: "retainedSentence"
                text: panel.retained.sentence || panel.window.label("השרת לא ציין סיבה.", "The server gave no reason.")
                color: Theme.warning(panel.window.dark)
                maximumLineCount: 4
                elide: Text.ElideRight
                Accessible.name: text
            }
            BannerButton {
                text: panel.window.label("הודעה מלאה", "Whole message")
                visible: sentence.truncated
                onClicked: panel.window.wholeTextWanted(sentence.text)
            }
        }
        ColumnLayout {
            objectName: "retainedFields"
            spacing: 6

            RowLayout {
                spacing: Theme.gap

                Item {
                    Layout.preferredWidth: Theme.fieldName
                }
                Title {
                    text: panel.window.label("נרשם כאן", "Recorded here")
                }
                Title {
                    text: panel.window.label("בשרת כעת", "On the server now")
                }
            }
            Repeater {
                model: panel.retained.fields

                RowLayout {
                    id: row

                    required property var modelData
                    readonly property bool differs: modelData.recorded !== null && modelData.recorded !== modelData.server

                    spacing: Theme.gap
                    Accessible.role: Accessible.StaticText
                    Accessible.name: name.text + ". " + panel.window.label("נרשם כאן: ", "Recorded here: ") + recorded.text
                                     + ". " + panel.window.label("בשרת כעת: ", "On the server now: ") + server.text

                    Title {
                        id: name

                        text: panel.names[row.modelData.name] ?? row.modelData.name
                        Layout.fillWidth: false
                        Layout.preferredWidth: Theme.fieldName
                    }
                    Cell {
                        id: recorded

                        text: panel.shown(row.modelData.name, row.modelData.recorded)
                        font.bold: row.differs
                    }
                    Cell {
                        id: server

                        text: panel.shown(row.modelData.name, row.modelData.server)
                        font.bold: row.differs
                    }
                }
            }
        }
        Note {
            opacity: 0.65
            text: panel.window.label(
                "עד שהשינוי ייפתר לא יישלח דבר נוסף. בשליחה חוזרת השרת מחליט מחדש; נעילות אינן נעקפות.",
                "Nothing else is sent until this is resolved. When it is sent again the server decides anew; locks are not bypassed.")
        }
        Flow {
            spacing: Theme.gap
            Layout.fillWidth: true

            WaitButton {
                objectName: "resendRetained"
                window: panel.window
                text: panel.window.label("שלח שוב", "Send again")
                highlighted: true
                onClicked: panel.controller.resendRetained()
            }
            WaitButton {
                objectName: "removeRetained"
                window: panel.window
                text: panel.window.label("שמור עותק והסר", "Save a copy and remove")
                onClicked: panel.controller.removeRetained()
            }
        }
        Note {
            objectName: "retainedLeaving"
            visible: panel.retained.leaving > 1
            text: panel.window.label("%1 שינויים יוסרו מהתור: זה ומה שנרשם אחריו לאותה רשומה.",
                                     "%1 changes leave the queue: this one and what was recorded after it for the same entry.")
                  .arg(panel.retained.leaving || 0)
        }
    }
}
