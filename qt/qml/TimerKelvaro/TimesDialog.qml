// SPDX-License-Identifier: MIT
import QtQuick
import TimerKelvaro

/// A form with a start and an end: it says at once what speaks against them.
FormDialog {
    id: dialog

    /// Whole, or empty while they are not.
    property string startsAt: ""
    property string endsAt: ""
    /// The times are the person's own.
    property bool judged: true

    /// What the times are judged by, besides the clock.
    readonly property var grounds: visible && judged ? [controller.workspace, controller.periods] : null
    readonly property string concern: grounds ? controller.manualNotice(startsAt, endsAt) : ""
    readonly property var concerns: ({
        "order": window.label("הסיום חייב להיות אחרי ההתחלה.", "The end must be after the start."),
        "offset": window.label("לאחד הזמנים אין היסט מ־UTC; הוא ייקרא לפי אזור הזמן של המכשיר.",
                               "A time has no UTC offset; it is read in this device's time zone."),
        "period": window.label("הזמן הזה נמצא בתקופה שהוגשה; השרת ידחה אותו.",
                               "This time lies in a submitted period; the server will refuse it."),
        "future": window.label("הזמן הזה נמצא בעתיד.", "This time lies in the future.")
    })

    notice: told + (told !== "" && concern in concerns ? "\n" : "") + (concerns[concern] ?? "")
}
