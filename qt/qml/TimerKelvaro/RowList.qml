// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts

/// A list that stays where the person scrolled it, whatever happens to its rows.
ListView {
    property string name

    clip: true
    reuseItems: true
    boundsBehavior: Flickable.StopAtBounds
    highlightFollowsCurrentItem: false
    Layout.fillWidth: true
    Layout.fillHeight: true
    Layout.rightMargin: -Theme.scrollBar // the bar runs in the margin
    ScrollBar.vertical: SlimBar {}

    Accessible.role: Accessible.List
    Accessible.name: name
}
