// SPDX-License-Identifier: MIT
pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts
import TimerKelvaro

TimerWindow {
    id: window

    // The application puts these two into the context; only this file reads them there.
    readonly property Controller client: controller // qmllint disable unqualified
    readonly property bool hidesOnClose: trayAvailable // qmllint disable unqualified
    readonly property date created: new Date()

    component PageTab: TabButton {
        id: tab

        font.capitalization: Font.MixedCase
        Accessible.name: text
        Accessible.onPressAction: toggle()

        background: Rectangle {
            anchors.bottom: parent.bottom
            width: parent.width
            height: 2
            visible: tab.checked
            color: tab.Material.accent
        }

        FocusRing {
            anchors.margins: 2
            radius: Theme.radius
            visible: tab.visualFocus
        }
    }

    /// Made right after the first frame, or at once when it is wanted sooner.
    component Late: Loader {
        required property url file
        required property var given
        required property bool settled
        readonly property bool shown: StackLayout.isCurrentItem

        function made(): QtObject {
            asynchronous = false
            active = true
            return item
        }

        active: settled || shown
        asynchronous: !shown
        Component.onCompleted: setSource(file, given)
    }

    /// The first frame is on the screen.
    property bool settled: false

    objectName: "timerWindow"
    title: "Timer.Kelvaro · Native preview"
    width: 1160
    height: 820
    minimumWidth: 820
    minimumHeight: 620
    visible: true

    onFrameSwapped: settled = true
    onClosing: close => {
        if (!hidesOnClose)
            return
        close.accepted = false
        hide()
    }

    Shortcut {
        sequence: "Ctrl+Shift+Space"
        onActivated: timerPage.toggle()
    }

    header: ToolBar {
        padding: Theme.toolMargin
        verticalPadding: Theme.toolMargin
        background: Rectangle {
            color: Theme.card(window.dark)

            Rectangle {
                anchors.bottom: parent.bottom
                width: parent.width
                height: 1
                color: Theme.line(window.dark)
            }
        }
        Material.foreground: undefined

        RowLayout {
            anchors.fill: parent
            spacing: Theme.toolSpacing

            Label {
                text: "Timer"
                font.pixelSize: 24
                font.bold: true
            }
            Label {
                text: "Kelvaro"
                opacity: 0.6
            }
            Item {
                Layout.fillWidth: true
            }
            Chooser {
                objectName: "workspaceSelect"
                name: window.label("סביבת עבודה", "Workspace")
                shownId: window.client.workspace
                enabled: !window.client.busy
                Layout.preferredWidth: 280
                onActivated: index => {
                    window.client.selectWorkspace(rows.idAt(index))
                    show()
                }
                rows: RowModel {
                    source: window.client
                    list: "workspaces"
                }
            }
            BusyIndicator {
                running: window.client.busy
                padding: 0
                Layout.preferredWidth: 28
                Layout.preferredHeight: 28
            }
            ActionButton {
                objectName: "synchronize"
                text: window.label("סנכרון", "Sync") + " (" + window.client.pending + ")"
                enabled: !window.client.busy
                onClicked: window.client.synchronize()
            }
            ActionButton {
                objectName: "language"
                text: window.hebrew ? "EN" : "עברית"
                onClicked: window.hebrew = !window.hebrew
            }
        }
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: Theme.margin
        spacing: Theme.gap

        Rectangle {
            radius: 10
            color: Theme.banner(window.dark)
            Layout.fillWidth: true
            Layout.preferredHeight: status.implicitHeight + 22

            Label {
                id: status

                objectName: "status"
                anchors.fill: parent
                anchors.margins: 11
                text: window.client.message
                font.pixelSize: 12
                wrapMode: Text.Wrap
                textFormat: Text.PlainText
                horizontalAlignment: Text.AlignLeft
            }
        }
        TabBar {
            id: tabs

            objectName: "tabs"
            Material.accent: Theme.tint(window.dark)
            Layout.fillWidth: true
            contentItem: ListView {
                model: tabs.contentModel
                currentIndex: tabs.currentIndex
                orientation: ListView.Horizontal
                boundsBehavior: Flickable.StopAtBounds
            }

            PageTab {
                text: window.label("טיימר ורשומות", "Timer and entries")
            }
            PageTab {
                text: window.label("דוחות", "Reports")
            }
            PageTab {
                text: window.label("מעבר וייבוא", "Migration")
            }
            PageTab {
                text: window.label("הגדרות", "Settings")
            }
            PageTab {
                text: window.label("תקופות נעולות", "Timesheets")
            }
        }
        StackLayout {
            currentIndex: tabs.currentIndex
            Layout.fillWidth: true
            Layout.fillHeight: true

            TimerPage {
                id: timerPage

                window: window
                controller: window.client
                onManualRequested: (manualDialog.made() as ManualDialog).open()
                onEditRequested: (id, text) => (editDialog.made() as EditDialog).edit(id, text)
            }
            Late {
                settled: window.settled
                file: Qt.resolvedUrl("ReportsPage.qml")
                given: ({ window: window, controller: window.client, created: window.created })
            }
            Late {
                settled: window.settled
                file: Qt.resolvedUrl("MigrationPage.qml")
                given: ({ window: window, controller: window.client })
            }
            Late {
                settled: window.settled
                file: Qt.resolvedUrl("SettingsPage.qml")
                given: ({ window: window, controller: window.client })
            }
            Late {
                settled: window.settled
                file: Qt.resolvedUrl("TimesheetsPage.qml")
                given: ({ window: window, controller: window.client })
            }
        }
    }

    Late {
        id: editDialog

        settled: window.settled
        file: Qt.resolvedUrl("EditDialog.qml")
        given: ({ window: window, controller: window.client })
    }
    Late {
        id: manualDialog

        settled: window.settled
        file: Qt.resolvedUrl("ManualDialog.qml")
        given: ({ window: window, controller: window.client, timerPage: timerPage })
    }
}
