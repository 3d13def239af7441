// SPDX-License-Identifier: MIT
import QtQuick

/// The leaf of a calendar.
Rectangle {
    id: sign

    required property color ink

    implicitWidth: 16
    implicitHeight: 15
    color: "transparent"
    radius: 3
    border.width: 1.5
    border.color: ink

    Rectangle {
        y: 4
        width: parent.width
        height: 1.5
        color: sign.ink
    }
    Repeater {
        model: 2
        delegate: Rectangle {
            required property int index

            x: 4 + 6.5 * index
            y: -2
            width: 1.5
            height: 4
            color: sign.ink
        }
    }
}
