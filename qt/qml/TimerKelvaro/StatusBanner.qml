// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import TimerKelvaro

/// The status message: a few lines of it, and a way to the rest.
Rectangle {
    id: banner

    required property TimerWindow window
    required property Controller controller
    readonly property int inset: 11
    readonly property int lineGap: 4
    readonly property var retained: controller.retained
    readonly property var counts: controller.importCounts
    property string spoken: ""

    /// Of several messages within one step only the last is the outcome.
    function speak() {
        if (spoken === status.text)
            return
        spoken = status.text
        window.announce(spoken)
        window.announce(advice.text)
    }

    radius: 10
    color: Theme.banner(window.dark)
    implicitHeight: status.implicitHeight + (advice.visible ? advice.implicitHeight + lineGap : 0) + 2 * inset

    Label {
        id: status

        objectName: "status"
        Accessible.name: text
        anchors.left: parent.left
        anchors.right: buttons.left
        anchors.top: parent.top
        anchors.margins: banner.inset
        anchors.rightMargin: buttons.width > 0 ? banner.inset : 0
        text: banner.controller.message
        font.pixelSize: 12
        wrapMode: Text.Wrap
        maximumLineCount: 4
        elide: Text.ElideRight
        textFormat: Text.PlainText
        horizontalAlignment: Text.AlignLeft
        onTextChanged: speech.restart()
    }
    StatusAdvice {
        id: advice

        objectName: "advice"
        window: banner.window
        controller: banner.controller
        anchors.left: status.left
        anchors.right: status.right
        anchors.top: status.bottom
        anchors.topMargin: banner.lineGap
    }
    Timer {
        id: speech

        interval: 0
        onTriggered: banner.speak()
    }
    WhenFree {
        id: undo

        controller: banner.controller
        onFree: controller.undoDelete()
    }
    Shortcut {
        sequence: "Ctrl+Z"
        enabled: undoButton.visible
        onActivated: undo.ask()
    }
    Row {
        id: buttons

        spacing: 8
        anchors.right: parent.right
        anchors.rightMargin: banner.inset
        anchors.verticalCenter: parent.verticalCenter

        BannerButton {
            objectName: "wholeMessage"
            text: banner.window.label("הודעה מלאה", "Whole message")
            visible: status.truncated
            onClicked: banner.window.wholeTextWanted(status.text)
        }
        BannerButton {
            id: undoButton

            objectName: "undoDelete"
            text: banner.window.label("בטל מחיקה", "Undo")
            Accessible.name: banner.window.label("החזר את הרשומה שנמחקה", "Undo the deletion")
            highlighted: true
            visible: banner.controller.canUndoDelete
            onClicked: undo.ask()
            onVisibleChanged: {
                if (visible)
                    banner.window.announce(banner.window.label("הרשומה נמחקה; Ctrl+Z מחזיר אותה.",
                                                               "The entry is deleted; Ctrl+Z brings it back."))
            }
        }
        BannerButton {
            objectName: "showRetained"
            text: banner.window.label("הצג", "Show")
            Accessible.name: banner.window.label("הצג את השינוי שהשרת לא קיבל", "Show the change that the server did not accept")
            highlighted: true
            visible: !!banner.retained.operation
            onClicked: banner.window.retainedWanted()
        }
    }
    ImportProgress {
        record: banner.counts.record || ({})
        name: banner.window.label("התקדמות הייבוא", "Import progress")
        dark: banner.window.dark
        anchors.bottom: parent.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.leftMargin: banner.inset
        anchors.rightMargin: banner.inset
        anchors.bottomMargin: 4
    }
}
