// SPDX-License-Identifier: MIT
import QtQuick

/// For dates, times and addresses, which keep their direction in a mirrored window.
Field {
    LayoutMirroring.enabled: false
    LayoutMirroring.childrenInherit: true
}
