// SPDX-License-Identifier: MIT
pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls.Material
import TimerKelvaro

/// Earlier descriptions with their project, offered below a field while one types in it.
/// The arrow keys and Enter choose, Escape closes; the keyboard stays in the field, which
/// hands its keys on by `Keys.forwardTo`.
Item {
    id: suggestions

    required property TimerWindow window
    required property Controller controller
    required property Field field
    property var rows: []
    /// From the moment it is wanted on; the popup follows.
    property bool shown: false

    /// The field has its text already.
    signal chosen(string projectId, bool billable)

    function look() {
        rows = earlier.matching(field.text)
        list.currentIndex = -1
        if (rows.length === 0) {
            popup.close()
            return
        }
        if (!shown)
            window.announce(list.Accessible.name + ": " + rows.length)
        shown = true
        popup.open()
    }
    function move(event: KeyEvent, step: int) {
        if (step > 0 && !shown && !field.readOnly)
            look()
        event.accepted = shown
        if (!event.accepted)
            return
        list.currentIndex = Math.max(-1, Math.min(list.currentIndex + step, rows.length - 1))
        window.announce(list.currentItem?.Accessible.name ?? "")
    }
    function takeKey(event: KeyEvent) {
        event.accepted = shown && list.currentIndex >= 0 && !event.isAutoRepeat
        if (event.accepted)
            choose(list.currentIndex)
        else
            popup.close()
    }
    function choose(row: int) {
        const suggestion = rows[row]
        popup.close()
        field.text = suggestion.description
        chosen(suggestion.project_id, suggestion.billable)
    }

    Keys.onDownPressed: event => move(event, 1)
    Keys.onUpPressed: event => move(event, -1)
    Keys.onReturnPressed: event => takeKey(event)
    Keys.onEnterPressed: event => takeKey(event)
    Keys.onEscapePressed: event => {
        event.accepted = shown
        popup.close()
    }

    EarlierDescriptions {
        id: earlier

        controller: suggestions.controller
        wanted: suggestions.field.activeFocus
        onUpdated: {
            if (suggestions.shown && JSON.stringify(matching(suggestions.field.text)) !== JSON.stringify(suggestions.rows))
                suggestions.look()
        }
    }
    Connections {
        target: suggestions.field
        function onTextEdited() {
            if (suggestions.field.text.trim() === "")
                popup.close()
            else
                suggestions.look()
        }
        function onActiveFocusChanged() {
            if (!suggestions.field.activeFocus)
                popup.close()
        }
    }
    Connections {
        target: suggestions.window
        function onAccountLeft() {
            popup.close()
            suggestions.rows = []
        }
    }

    Popup {
        id: popup

        objectName: "suggestions"
        onAboutToHide: suggestions.shown = false
        parent: suggestions.field
        y: parent.height + 2
        width: parent.width
        height: Math.min(list.contentHeight + topPadding + bottomPadding, Theme.suggestionsHeight)
        margins: Theme.toolMargin
        padding: 4
        closePolicy: Popup.CloseOnPressOutsideParent
        background: Rectangle {
            radius: Theme.radius
            color: Theme.card(suggestions.window.dark)
            border.color: Theme.line(suggestions.window.dark)
        }

        ListView {
            id: list

            anchors.fill: parent
            objectName: "suggestionList"
            clip: true
            model: suggestions.rows
            currentIndex: -1
            highlightMoveDuration: 0
            keyNavigationEnabled: false
            boundsBehavior: Flickable.StopAtBounds
            ScrollBar.vertical: SlimBar {}
            Accessible.role: Accessible.List
            Accessible.name: suggestions.window.label("תיאורים קודמים", "Earlier descriptions")

            delegate: SuggestionRow {
                window: suggestions.window
                onClicked: suggestions.choose(index)
            }
        }
    }
}
