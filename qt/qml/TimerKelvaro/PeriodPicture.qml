// SPDX-License-Identifier: MIT
pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts
import TimerKelvaro

/// A report as columns over its period. What is pointed at or has the keyboard is told in numbers below them.
ColumnLayout {
    id: picture

    required property TimerWindow window
    required property Controller controller
    readonly property var about: controller.reportAbout
    readonly property bool weekly: about.unit === "week"
    readonly property bool dark: window.dark
    /// Of the column that was pointed at last, or else of that which has the keyboard.
    readonly property string told: hoveredText || focusedText
    property string hoveredText: ""
    property string focusedText: ""

    function dateOf(day: string): date {
        const parts = day.split("-")
        return new Date(Number(parts[0]), Number(parts[1]) - 1, Number(parts[2]), 12) // some days have no midnight
    }
    function locale() {
        return Qt.locale(window.hebrew ? "he" : "en")
    }
    function shortDay(day: string): string {
        return dateOf(day).toLocaleDateString(locale(), columns.count <= 7 && !weekly ? "ddd d" : "d MMM")
    }
    function wholeDay(day: string): string {
        return weekly ? window.label("השבוע שמתחיל ב־", "The week from ") + day
                      : locale().dayName(dateOf(day).getDay(), Locale.LongFormat) + " " + day
    }
    function nameOf(series): string {
        switch (series.what) {
        case "none":
            return window.label("ללא פרויקט", "No project")
        case "others":
            return window.label("אחרים", "Others")
        default:
            return series.name
        }
    }
    function colorOf(series, index: int): color {
        return series.color || Theme.neutral(index)
    }
    /// "Tuesday 2026-03-03: 07:30:00. One 05:00:00, Two 02:30:00"
    function textOf(column): string {
        const parts = column.parts.filter(part => part.what !== "all").map(part => nameOf(part) + " " + window.duration(part.seconds))
        return window.label("\u200f", "\u200e") + wholeDay(column.day) + ": " + window.duration(column.seconds)
               + (parts.length ? ". " + parts.join(", ") : "")
    }

    // What was pointed at is of the picture before.
    onAboutChanged: {
        hoveredText = ""
        focusedText = ""
    }
    visible: about.missing === ""
    spacing: 6

    Flow {
        objectName: "pictureLegend"
        spacing: Theme.gap
        visible: picture.about.named === true
        Layout.fillWidth: true

        Repeater {
            id: legend

            model: RowModel {
                source: picture.controller
                list: "reportSeries"
            }
            delegate: Row {
                id: entry

                required property var row
                required property int index

                spacing: 6

                PatternFill {
                    width: 16
                    height: 16
                    anchors.verticalCenter: parent.verticalCenter
                    color: picture.colorOf(entry.row, entry.index)
                    pattern: entry.index
                }
                Label {
                    text: picture.nameOf(entry.row)
                    textFormat: Text.PlainText
                    font.pixelSize: 12
                    elide: Text.ElideRight
                    width: Math.min(implicitWidth, 180)
                    horizontalAlignment: Text.AlignLeft
                }
            }
        }
    }
    RowList {
        id: columns

        readonly property real step: Math.max(Theme.columnWidth, count ? width / count : width)
        /// So that the days below the columns have room.
        readonly property int every: Math.ceil(56 / step)
        readonly property real plot: height - 22

        objectName: "pictureColumns"
        name: picture.weekly ? picture.window.label("הזמן בכל שבוע", "Time of each week")
                             : picture.window.label("הזמן בכל יום", "Time of each day")
        orientation: ListView.Horizontal
        reuseItems: false
        Layout.rightMargin: 0
        Layout.fillHeight: false
        Layout.preferredHeight: 132
        ScrollBar.vertical: null
        ScrollBar.horizontal: SlimBar {}
        model: RowModel {
            source: picture.controller
            list: "reportColumns"
        }
        delegate: RowPanel {
            id: column

            readonly property string summary: picture.textOf(row)

            width: columns.step
            height: columns.height
            leftInset: 0
            rightInset: 0
            leftPadding: Math.min(4, width * 0.12)
            rightPadding: leftPadding
            hoverEnabled: true
            Accessible.name: summary
            background: Rectangle {
                radius: 4
                color: column.hovered ? Theme.banner(column.dark) : "transparent"
                border.width: column.ringed ? Theme.focusWidth : 0
                border.color: Theme.tint(column.dark)
            }

            onHoveredChanged: {
                if (hovered)
                    picture.hoveredText = summary
                else if (picture.hoveredText === summary)
                    picture.hoveredText = ""
            }
            onRingedChanged: {
                if (ringed) {
                    picture.focusedText = summary
                    picture.hoveredText = ""
                } else if (picture.focusedText === summary)
                    picture.focusedText = ""
            }
            onSummaryChanged: {
                if (hovered && picture.hoveredText !== "")
                    picture.hoveredText = summary
                if (ringed)
                    picture.focusedText = summary
            }

            Repeater {
                model: column.row.parts
                delegate: PatternFill {
                    required property var modelData

                    y: columns.plot * (1 - modelData.base - modelData.height)
                    // However little it is, it is seen.
                    width: Math.max(1, column.availableWidth)
                    height: Math.max(1, columns.plot * modelData.height)
                    color: picture.colorOf(modelData, modelData.series)
                    pattern: modelData.series
                }
            }
            Rectangle {
                y: columns.plot
                width: column.availableWidth
                height: 1
                color: Theme.line(column.dark)
            }
            Label {
                visible: column.index % columns.every === 0
                y: columns.plot + 3
                anchors.left: parent.left
                width: columns.step * columns.every
                text: picture.shortDay(column.row.day)
                font.pixelSize: 11
                opacity: 0.7
                horizontalAlignment: Text.AlignLeft
                Accessible.ignored: true
            }
        }
    }
    Note {
        objectName: "pictureNumbers"
        font.pixelSize: 12
        text: picture.told !== "" ? picture.told
              : (picture.weekly ? picture.window.label("עמודה לכל שבוע. הגבוהה: ", "A column for each week. The highest: ")
                                : picture.window.label("עמודה לכל יום. הגבוהה: ", "A column for each day. The highest: "))
                + picture.window.duration(picture.about.highest)
    }
}
