// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material

/// Turns while something runs that lasts long enough to be noticed. Material's own mark fades by an
/// animator of the render thread, which Qt 6.4 does not end when the fade is turned round on its
/// way: a reload as short as the fade would cost 60 frames a second from then on. Here the mark
/// exists only while it is seen. Nor does the wait for it outlast a shorter one: its end would cost
/// a frame in which nothing differs.
BusyIndicator {
    id: mark

    /// It is noticed now.
    signal lasts

    padding: 0
    contentItem: Item {
        Loader {
            anchors.fill: parent
            active: mark.running && !patience.running
            sourceComponent: BusyIndicator {
                padding: 0
            }
        }
    }
    onRunningChanged: {
        if (running)
            patience.restart()
        else
            patience.stop()
    }

    Timer {
        id: patience

        objectName: "patience"
        interval: 400
        onTriggered: mark.lasts()
    }
}
