// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import TimerKelvaro

/// A combo box over rows with `id` and `name` that shows one given id.
Choice {
    id: chooser

    required property RowModel rows
    required property string shownId

    function show() {
        currentIndex = rows.indexOf(shownId)
    }

    model: rows
    textRole: "name"
    valueRole: "id"
    currentIndex: -1
    displayText: currentIndex < 0 ? "—" : currentText

    onShownIdChanged: show()
    Component.onCompleted: show()

    Connections {
        target: chooser.rows
        function onUpdated() {
            chooser.textsChanged()
            chooser.show()
        }
    }
}
