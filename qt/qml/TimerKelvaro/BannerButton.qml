// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material

/// A button that is no higher than a banner of one line.
ActionButton {
    topInset: 0
    bottomInset: 0
    leftPadding: 12
    rightPadding: 12
    topPadding: 0
    bottomPadding: 0
    corner: 8
    font.pixelSize: 12
    implicitHeight: Theme.bannerButton
}
