// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Templates as T

/// How far the import is, from its first chunk until nothing is left.
T.ProgressBar {
    id: bar

    required property var record
    required property string name
    required property bool dark

    objectName: "importProgress"
    visible: !!record.has_more && record.checkpoint > 0
    to: record.total || 1
    value: record.checkpoint || 0
    implicitHeight: Theme.progressHeight

    Accessible.name: name

    background: Rectangle {
        radius: height / 2
        color: Theme.line(bar.dark)
    }
    contentItem: Item {
        Rectangle {
            x: bar.mirrored ? parent.width - width : 0
            width: bar.position * parent.width
            height: parent.height
            radius: height / 2
            color: Theme.tint(bar.dark)
        }
    }
}
