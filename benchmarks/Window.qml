// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

ApplicationWindow {
    width: 1160
    height: 820
    visible: true

    ColumnLayout {
        Label { text: "Label" }
        Button { text: "Button" }
        TextField { text: "Field" }
    }
}
