// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import TimerKelvaro

/// Turns while something runs that lasts long enough to be noticed. Material's own mark fades by an
/// animator of the render thread, which Qt 6.4 does not end when the fade is turned round on its
/// way: a reload as short as the fade would cost 60 frames a second from then on. Here the mark
/// exists only while it is seen.
BusyIndicator {
    id: mark

    property bool noticed: false

    running: false // or a wait that is there first would be no change
    padding: 0
    contentItem: Item {
        Loader {
            anchors.fill: parent
            active: mark.noticed
            sourceComponent: BusyIndicator {
                padding: 0
            }
        }
    }
    onRunningChanged: {
        noticed = false
        if (running)
            patience.start()
        else
            patience.stop()
    }

    PlainTimer {
        id: patience

        objectName: "patience"
        singleShot: true
        interval: 400
        onTimeout: mark.noticed = true
    }
}
