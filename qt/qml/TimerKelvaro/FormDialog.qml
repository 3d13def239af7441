// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts
import TimerKelvaro

/// A modal form for one change: Enter in a field submits it, Escape leaves it. It
/// closes when the change is taken; when it is not, it stays and says why.
ModalDialog {
    id: dialog

    required property Controller controller
    default property alias form: fields.data
    /// There is nothing to be refused: OK closes it.
    property bool question: false
    /// There is nothing to record: OK closes it.
    property bool unchanged: false
    /// The controller takes this change only while it is not busy.
    property bool takesTurns: false
    readonly property bool waiting: turn.waiting
    /// Nor while a change is on its way.
    property bool afterSync: false
    /// What comes of OK once the controller is free.
    property string waitText: window.label("ממתין לתשובת השרת; השינוי יישמר מיד אחריה.",
                                           "Waiting for the server's answer; the change is saved right after it.")
    /// What the change would replace unseen, in words.
    property string overruled: ""
    /// What of that was told: the next OK is an answer to it.
    property string told: ""
    /// Only now: the second half of a double press is no answer.
    readonly property bool justTold: reading.running
    /// What is to be known about what is typed.
    property string notice: told
    /// Why the last try was not taken.
    property string refusal: ""
    property bool taken: false
    /// It was closed or taken back. While it fades it is still visible and takes clicks.
    property bool isOver: false

    /// It is to be handed over now: what would be overruled?
    signal due
    /// Hands the change to the controller.
    signal submitted

    function submit() {
        if (isOver || taken || waiting || justTold)
            return
        refusal = ""
        if (unchanged)
            accept()
        else if (takesTurns)
            turn.ask()
        else
            hand()
    }
    function hand() {
        due()
        if (overruled !== "" && overruled !== told) {
            told = overruled
            reading.start()
            return
        }
        told = overruled
        const before = controller.pending
        const said = controller.message
        submitted()
        taken = question || controller.pending > before
        if (taken) {
            accept()
            return
        }
        refusal = controller.message
        if (refusal === said) // the status line has nothing new to tell
            window.announce(refusal)
    }

    // Also when it is accepted by something else than its button.
    onAccepted: {
        if (!taken && !unchanged)
            hand()
    }
    onAboutToShow: isOver = false
    onAboutToHide: {
        isOver = true
        turn.forget()
    }
    onNoticeChanged: if (visible) window.announce(notice)
    onWaitingChanged: window.announce(waiting ? waitNote.text : "")
    onVisibleChanged: {
        if (visible && question)
            ok.forceActiveFocus(Qt.TabFocusReason)
        taken = false
        refusal = ""
        overruled = ""
        told = ""
        reading.stop()
    }

    Timer {
        id: reading

        interval: 800
    }
    WhenFree {
        id: turn

        controller: dialog.controller
        afterSync: dialog.afterSync
        onFree: dialog.hand()
    }
    ColumnLayout {
        width: parent.width
        spacing: Theme.gap

        ColumnLayout {
            id: fields

            spacing: Theme.gap
        }
        Note {
            objectName: "notice"
            visible: text !== ""
            text: dialog.notice
            color: Theme.warning(dialog.window.dark)
        }
        Note {
            objectName: "refusal"
            visible: text !== ""
            text: dialog.refusal
            color: Theme.warning(dialog.window.dark)
            font.bold: true
        }
        StatusAdvice {
            window: dialog.window
            controller: dialog.controller
            text: on(dialog.refusal)
            Layout.fillWidth: true
        }
        Note {
            id: waitNote

            objectName: "waitNote"
            visible: dialog.waiting
            text: dialog.waitText
        }
    }

    actions: [
        BusyMark {
            running: dialog.waiting
            Layout.preferredWidth: 28
            Layout.preferredHeight: 28
        },
        ActionButton {
            id: ok

            objectName: "ok"
            text: dialog.window.label("אישור", "OK")
            highlighted: true
            onClicked: dialog.submit()
        },
        ActionButton {
            objectName: "cancel"
            text: dialog.window.label("ביטול", "Cancel")
            onClicked: dialog.reject()
        }
    ]
}
