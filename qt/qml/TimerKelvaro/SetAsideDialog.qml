// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import TimerKelvaro

/// Asks before the file that keeps everything from being saved gets another name.
FormDialog {
    id: dialog

    readonly property bool stuck: controller.recordStuck

    objectName: "setAsideDialog"
    title: window.label("קובץ חדש לשרת הזה", "A new file for this server")
    width: 520
    takesTurns: true
    afterSync: true
    question: true
    waitText: window.label("ממתין לתשובת השרת; שם הקובץ ישתנה מיד אחריה.",
                           "Waiting for the server's answer; the file is renamed right after it.")

    onAccepted: controller.setRecordAside()
    onStuckChanged: if (!stuck) close()

    Note {
        objectName: "setAsideQuestion"
        text: dialog.window.label("הקובץ של השרת הזה במחשב יקבל שם אחר; דבר לא יימחק.",
                                  "The file that this device keeps for this server gets another name; nothing is deleted.")
              + " " + (dialog.controller.pending > 0
                       ? dialog.window.label("מה שממתין כאן יישמר בקובץ חדש ויישלח.",
                                             "What waits here is saved in a new file, and sent.")
                       : dialog.window.label("קובץ חדש יתחיל מנתוני השרת; שינויים שרק הקובץ הישן מחזיק לא יישלחו. אם מאגר הסיסמאות רק נעול, פתח אותו במקום זה.",
                                             "A new one begins with the server's data; changes that only the old one holds are not sent. If the keyring or wallet is only locked, unlock it instead."))
              + " " + dialog.window.label("להמשיך?", "Continue?")
    }
}
