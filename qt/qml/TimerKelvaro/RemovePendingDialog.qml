// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import TimerKelvaro

/// Asks before everything that waits is set aside.
FormDialog {
    id: dialog

    readonly property int count: controller.pending

    objectName: "removePendingDialog"
    title: window.label("הסרת השינויים הממתינים", "Remove the waiting changes")
    width: 520
    takesTurns: true
    afterSync: true
    question: true
    waitText: window.label("ממתין לתשובת השרת; מיד אחריה תתבקש לבחור קובץ.",
                           "Waiting for the server's answer; the file is asked for right after it.")

    onAccepted: controller.removePending()
    onCountChanged: if (count === 0) close()

    Note {
        objectName: "removePendingQuestion"
        text: (dialog.count === 1
               ? dialog.window.label("שינוי ממתין אחד יוסר מהתור ולא יישלח עוד.",
                                     "One waiting change leaves the queue and is not sent any more.")
               : dialog.window.label("%1 שינויים ממתינים יוסרו מהתור ולא יישלחו עוד.",
                                     "%1 waiting changes leave the queue and are not sent any more.").arg(dialog.count))
              + " " + dialog.window.label("לפני כן יישמר עותק בקובץ. להמשיך?", "A copy is saved in a file first. Continue?")
    }
}
