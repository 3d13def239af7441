// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Templates as T

/// The cursor of a text field. One that blinks paints all day long: this one rests, where it can be seen, when
/// nobody has typed for a while.
Rectangle {
    id: cursor

    readonly property T.TextField input: parent as T.TextField
    readonly property var hints: Qt.styleHints
    /// Even, so that the last one shows it.
    readonly property int most: 20
    property int turns: 0

    objectName: "textCursor"
    width: 1
    color: input?.color ?? "transparent"
    visible: input?.cursorVisible ?? false
    opacity: turns % 2 === 0 ? 1 : 0
    onVisibleChanged: turns = 0

    Connections {
        target: cursor.input
        function onCursorPositionChanged() {
            cursor.turns = 0
        }
    }
    Timer {
        running: cursor.visible && interval > 0 && cursor.turns < cursor.most
        repeat: true
        interval: cursor.hints.cursorFlashTime / 2
        onTriggered: cursor.turns += 1
    }
}
