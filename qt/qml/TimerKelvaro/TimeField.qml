// SPDX-License-Identifier: MIT
pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls.Material
import TimerKelvaro

/// A date and time as ISO text with its offset, in the account's time zone. A short
/// form ("9:15", "yesterday 17:00") becomes that text when the field is left or Enter
/// is pressed; Shift with the arrows up and down moves it by a quarter of an hour. The
/// button, or Alt with the arrow down, opens a calendar and a list of times.
LtrField {
    id: field

    required property TimerWindow window
    required property Controller controller
    /// The text of the form's other field: a time alone is of the same day.
    property string dayOf

    readonly property int minutesPerStep: 15
    /// The last time that it held: a time alone typed in its place is of the same day.
    property string held
    readonly property string reference: held !== "" ? held : dayOf
    /// For the form to record; empty while the field holds no time.
    readonly property string meant: times.meant(text, reference, written)
    /// For the form to judge while it is being typed: before its minutes come, "20" may become 2026.
    readonly property string judgeable: text.includes(":") ? meant : ""
    /// What it held when it was left, or was given, last: a day that is typed over its own brings its own offset.
    property string written
    /// Made when it is first wanted.
    property TimePicker picker: null

    /// Reads a short form. For a form that takes the text while the keyboard is still in the field.
    function settle() {
        const whole = times.completed(text, reference, written)
        const toNextDay = whole !== text && times.saysDaysEnd(text)
        if (whole !== text || times.isTime(text))
            write(whole)
        if (toNextDay)
            held = times.stepped(whole, -1, "", "")
    }
    /// Puts in a text that nobody typed.
    function write(whole: string) {
        text = whole
        written = whole
    }
    /// Empty, and of no day any more: whether the field or its form is shown first differs from Qt to Qt.
    function forget() {
        write("")
        held = ""
    }
    function edit(changed: string) {
        write(changed)
        textEdited()
    }
    function step(event: KeyEvent, minutes: int) {
        event.accepted = event.modifiers === Qt.ShiftModifier && !readOnly
        const stepped = event.accepted ? times.stepped(text, minutes, reference, written) : text
        if (stepped !== text)
            edit(stepped)
    }
    function pick() {
        settle()
        if (!picker)
            picker = maker.createObject(field) as TimePicker
        picker.open()
    }

    rightPadding: 12 + opener.width
    onTextChanged: if (times.isTime(text)) held = text
    onVisibleChanged: {
        held = times.isTime(text) ? text : ""
        // A form that something else closes takes its calendar with it.
        if (!visible && picker)
            picker.close()
    }
    onAccepted: settle()
    // Whoever looks something up in another window comes back to it.
    onActiveFocusChanged: if (!activeFocus && window.active) settle()
    Keys.onUpPressed: event => step(event, minutesPerStep)
    Keys.onDownPressed: event => {
        if (event.modifiers === Qt.AltModifier && opener.enabled)
            pick()
        else
            step(event, -minutesPerStep)
    }

    ZoneTimes {
        id: times

        zone: field.controller.timezone
    }
    ActionButton {
        id: opener

        objectName: "pickTime"
        anchors.right: parent.right
        width: 40
        height: parent.height
        enabled: !field.readOnly
        fill: "transparent"
        ink: enabled ? Theme.tint(dark) : Material.hintTextColor
        padding: 0
        Accessible.name: field.window.label("בחירת תאריך ושעה", "Choose date and time") + ": " + field.name
        onClicked: field.pick()

        contentItem: Item {
            CalendarSign {
                anchors.centerIn: parent
                ink: opener.ink
            }
        }
    }
    Component {
        id: maker

        TimePicker {
            parent: field
            window: field.window
            times: times
            text: field.text
            other: field.dayOf
            zone: field.controller.timezone
            weekday: field.controller.weekday
            onPicked: chosen => {
                field.edit(chosen)
                field.forceActiveFocus(Qt.PopupFocusReason)
            }
        }
    }
}
