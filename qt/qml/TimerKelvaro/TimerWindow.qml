// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material

/// What every page and dialog knows of the window: its language, its theme and
/// the two formatters.
ApplicationWindow {
    id: window

    property bool hebrew: true
    property bool dark: false

    /// Whoever was named here is no longer: what they typed is not for the next one's eyes.
    signal accountLeft

    function label(he, en) {
        return hebrew ? he : en
    }

    function duration(value) {
        const seconds = Math.max(0, Number(value) || 0)
        const padded = part => String(part).padStart(2, "0")
        return padded(Math.floor(seconds / 3600)) + ":" + padded(Math.floor(seconds / 60) % 60) + ":" + padded(seconds % 60)
    }

    Material.theme: dark ? Material.Dark : Material.Light
    Material.accent: Theme.accent
    Material.background: Theme.page(dark)
    LayoutMirroring.enabled: hebrew
    LayoutMirroring.childrenInherit: true
}
