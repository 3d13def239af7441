// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material

/// A list that stays where the person scrolled it, whatever happens to its rows.
ListView {
    property string name

    clip: true
    reuseItems: true
    boundsBehavior: Flickable.StopAtBounds
    highlightFollowsCurrentItem: false
    ScrollBar.vertical: ScrollBar {}

    Accessible.role: Accessible.List
    Accessible.name: name
}
