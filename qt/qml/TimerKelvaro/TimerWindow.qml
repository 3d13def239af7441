// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import TimerKelvaro

/// What every page and dialog knows of the window: its language, its theme, the
/// two formatters, its voice, and where the keyboard is.
ApplicationWindow {
    id: window

    property bool hebrew: true
    property bool dark: false
    /// The controller is.
    property bool busy: false
    /// What a wait switches off looks so. A reload that nobody asked for, and that is over at once, would
    /// let the whole window flicker every few seconds.
    property bool dimmed: false

    /// Where the keyboard is, also while a wait has switched that control off.
    property Item stop: null
    property int stopReason: Qt.OtherFocusReason
    readonly property bool stopIsOff: !!stop && !stop.enabled
    /// So many modal dialogs are open: the keyboard is theirs, and would not find back from beneath them.
    property int dialogs: 0

    /// Whoever was named here is no longer: what they typed is not for the next one's eyes.
    signal accountLeft
    /// Of a text that is too long for its place.
    signal wholeTextWanted(string text)
    /// The change that the server refused is to be seen.
    signal retainedWanted
    /// Who is signed in, and the way to sign in again, is to be seen.
    signal accountWanted
    /// The keyboard went to another control.
    signal stopMoved

    function label(he, en) {
        return hebrew ? he : en
    }

    function duration(value) {
        const seconds = Math.max(0, Number(value) || 0)
        const padded = part => String(part).padStart(2, "0")
        return padded(Math.floor(seconds / 3600)) + ":" + padded(Math.floor(seconds / 60) % 60) + ":" + padded(seconds % 60)
    }

    /// A day like "2026-11-22" in the words of the language on screen.
    function dayText(day: string): string {
        const [year, month, date] = day.split("-").map(Number)
        return date ? new Date(year, month - 1, date, 12).toLocaleDateString(Qt.locale(hebrew ? "he_IL" : "en_GB"), Locale.LongFormat) : ""
    }
    /// Keeps the direction of times and durations in a text of either language.
    function ltr(text: string): string {
        return "\u2066" + text + "\u2069"
    }
    /// Has a text spoken by assistive technology.
    function announce(text: string) {
        if (text !== "")
            voices.next().say(text)
    }

    function isAround(outer: Item, inner: Item): bool {
        let item = inner
        while (item && item !== outer)
            item = item.parent
        return !!outer && item === outer
    }
    function step(forward: bool) {
        stop.nextItemInFocusChain(forward).forceActiveFocus(forward ? Qt.TabFocusReason : Qt.BacktabFocusReason)
    }

    Material.theme: dark ? Material.Dark : Material.Light
    Material.accent: Theme.accent
    Material.background: Theme.page(dark)
    LayoutMirroring.enabled: hebrew
    LayoutMirroring.childrenInherit: true

    onActiveFocusItemChanged: {
        const item = activeFocusItem
        // It is switched off before it says so: the binding comes later.
        if (stop && !stop.enabled && isAround(item, stop))
            return
        if (item === stop) {
            // Back after a wait: as it came there first.
            if (item && item["focusReason"] === Qt.OtherFocusReason)
                item["focusReason"] = stopReason
            return
        }
        stop = item
        stopReason = item?.["focusReason"] ?? Qt.OtherFocusReason
        stopMoved()
    }

    Shortcut {
        sequence: "Tab"
        enabled: window.stopIsOff
        onActivated: window.step(true)
    }
    Shortcut {
        sequences: ["Backtab", "Shift+Tab"]
        enabled: window.stopIsOff
        onActivated: window.step(false)
    }

    // They take turns, so that one that is read late still says its own.
    Repeater {
        id: voices

        property int turn: 0

        function next(): Announcer {
            turn = (turn + 1) % count
            return itemAt(turn) as Announcer
        }

        model: 4
        Announcer {
            Accessible.role: Accessible.Notification
            Accessible.name: text
        }
    }
}
