// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material

/// A combo box over rows with `id` and `name` that shows one given id.
ComboBox {
    id: chooser

    required property RowModel rows
    required property string shownId
    property string name

    function show() {
        currentIndex = rows.indexOf(shownId)
    }

    model: rows
    textRole: "name"
    valueRole: "id"
    currentIndex: -1
    displayText: currentIndex < 0 ? "—" : currentText

    Accessible.role: Accessible.ComboBox
    Accessible.name: name

    onShownIdChanged: show()
    Component.onCompleted: show()

    Connections {
        target: chooser.rows
        function onUpdated() {
            chooser.show()
        }
    }

    FocusRing {
        radius: Theme.radius
        visible: chooser.visualFocus
    }
}
