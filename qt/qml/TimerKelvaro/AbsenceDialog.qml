// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts
import TimerKelvaro

/// Asks what is to become of the time that the timer ran while nobody was there. It waits until the window is
/// seen; Escape keeps the time. It may come in the middle of a word: what is typed then goes on to where it
/// went, and is no answer.
ModalDialog {
    id: dialog

    required property Controller controller
    readonly property var absence: controller.absence
    readonly property bool isAge: absence.kind === "age"
    readonly property bool asks: !!absence.kind && window.visible && window.visibility !== Window.Minimized
    /// An answer was given that has not ended the question: the status says what came of it.
    property bool answered: false
    /// The keyboard is here.
    property bool keyed: false

    function sentence(): string {
        const since = window.ltr(absence.since || "")
        const until = window.ltr(absence.until || "")
        switch (absence.kind) {
        case "sleep":
            return window.label("המחשב היה במצב שינה מ־%1 עד %2, והטיימר המשיך לרוץ.",
                                "The computer slept from %1 to %2, and the timer went on.").arg(since).arg(until)
        case "rest":
            return window.label("איש לא נגע במקלדת או בעכבר מ־%1 עד %2, והטיימר המשיך לרוץ.",
                                "Nobody touched keyboard or mouse from %1 to %2, and the timer went on.").arg(since).arg(until)
        case "age":
            return window.label("הטיימר רץ כבר יותר מעשר שעות, מאז %1.",
                                "The timer has been running for more than ten hours, since %1.").arg(since)
        default:
            return ""
        }
    }
    /// While it fades it still takes clicks, and the question may be the next one already.
    function answer(act: var) {
        if (!opened)
            return
        act(absence.moment)
        answered = asks
    }
    function keepTime() {
        if (opened)
            reject()
    }
    function takeKeys() {
        keyed = true
        if (!activeFocus) // a button that was clicked keeps it
            keep.forceActiveFocus(Qt.TabFocusReason)
    }

    objectName: "absenceDialog"
    title: window.label("האם זה היה זמן עבודה?", "Was that work?")
    width: 640
    focus: keyed
    closePolicy: keyed && opened ? Popup.CloseOnEscape : Popup.NoAutoClose
    onRejected: controller.keepTime()
    onAsksChanged: {
        if (asks)
            open()
        else
            close()
    }
    onOpened: {
        answered = false
        window.announce(question.text)
        if (keyed)
            keep.forceActiveFocus(Qt.TabFocusReason)
        else
            pause.start()
    }
    onClosed: {
        pause.stop()
        keyed = keyed && asks
        if (asks)
            open() // there is another one
    }
    Component.onCompleted: if (asks) open()

    KeyPause {
        id: pause

        onEnded: dialog.takeKeys()
    }
    ColumnLayout {
        width: parent.width
        spacing: Theme.gap

        Note {
            id: question

            objectName: "absenceQuestion"
            text: dialog.sentence()
        }
        Note {
            objectName: "absenceTimer"
            visible: text !== ""
            text: dialog.absence.description || ""
            font.bold: true
            maximumLineCount: 2
            elide: Text.ElideRight
        }
        Note {
            objectName: "absenceOutcome"
            visible: text !== ""
            text: dialog.answered ? dialog.controller.message : ""
            color: Theme.warning(dialog.window.dark)
            Accessible.name: text
        }
        StatusAdvice {
            window: dialog.window
            controller: dialog.controller
            text: dialog.answered ? on(dialog.controller.message) : ""
            Layout.fillWidth: true
        }
    }

    actions: [
        ActionButton {
            id: keep

            objectName: "keepTime"
            text: dialog.window.label("השאר את הזמן", "Keep the time")
            highlighted: true
            onClicked: dialog.keepTime()
        },
        ActionButton {
            objectName: "stopThere"
            text: dialog.isAge ? dialog.window.label("עצור עכשיו", "Stop now")
                               : dialog.window.label("עצור ב־%1", "Stop at %1").arg(dialog.window.ltr(dialog.absence.time || ""))
            onClicked: dialog.answer(moment => dialog.controller.stopTimerAt(moment))
        },
        ActionButton {
            objectName: "startAnew"
            text: dialog.isAge ? dialog.window.label("עצור והתחל מחדש", "Stop and start anew")
                               : dialog.window.label("עצור ב־%1 והתחל מחדש", "Stop at %1 and start anew")
                                       .arg(dialog.window.ltr(dialog.absence.time || ""))
            onClicked: dialog.answer(moment => dialog.controller.restartTimerFrom(moment))
        }
    ]
}
