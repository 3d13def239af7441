// SPDX-License-Identifier: MIT
pragma Singleton

import QtQuick

/// Every length and colour that the pages share.
QtObject {
    readonly property color accent: "#6656f0"
    readonly property color actionOff: "#928aaa"
    readonly property color accentInk: "#ffffff"
    readonly property color shade: "#80000000"
    readonly property color badge: "#f4f2ff"
    readonly property color tip: "#322d45"

    readonly property int toolMargin: 10
    readonly property int toolSpacing: 16
    readonly property int margin: 22
    readonly property int gap: 14
    readonly property int rowPadding: 14
    readonly property int scrollBar: 10
    readonly property int durationWidth: 84 // "1000:00:00" in bold
    readonly property int fieldName: 110
    readonly property int dayHeading: 30
    readonly property int progressHeight: 4
    readonly property int bannerButton: 28
    readonly property int popupHeight: 360
    readonly property int suggestionsHeight: 248
    readonly property int radius: 10
    readonly property int rowRadius: 6
    readonly property int actionRadius: 12
    readonly property int focusWidth: 2
    readonly property int columnWidth: 10
    readonly property int amountWidth: 104
    readonly property int shareWidth: 50
    readonly property int descriptionLength: 4096

    function page(dark: bool): color {
        return dark ? "#16141f" : "#f7f6fb"
    }
    function card(dark: bool): color {
        return dark ? "#201d2c" : "#ffffff"
    }
    function line(dark: bool): color {
        return dark ? "#3a354d" : "#dfdbee"
    }
    function banner(dark: bool): color {
        return dark ? "#272337" : "#efecff"
    }
    function button(dark: bool): color {
        return dark ? "#322d45" : "#e9e5fa"
    }
    function buttonOff(dark: bool): color {
        return dark ? "#2a2638" : "#efedf4"
    }
    function thumb(dark: bool): color {
        return dark ? "#5a5373" : "#c3bcdc"
    }
    /// What a person must not overlook.
    function warning(dark: bool): color {
        return dark ? "#ffb4a8" : "#a3241a"
    }
    /// For what has no colour of its own: calm, and its neighbours are told apart.
    function neutral(index: int): color {
        return Qt.hsla(0.7, 0.13, 0.5 + 0.1 * (index % 4), 1)
    }
    /// The accent where it carries small text or a thin ring.
    function tint(dark: bool): color {
        return dark ? "#a99ffb" : accent
    }
}
