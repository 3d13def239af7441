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

    Connections {
        target: window.client
        function onAccountLeft() {
            window.accountLeft()
        }
    }

    component PageTab: TabButton {
        id: tab

        font.capitalization: Font.MixedCase
        Accessible.name: text
        Accessible.onPressAction: if (!checked) toggle()

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

    /// Made when it is wanted first: what nobody opens takes neither memory nor time.
    component Late: Loader {
        required property url file
        required property var given
        property bool shown: false

        function made(): QtObject {
            if (!item)
                setSource(file, given)
            return item
        }

        onShownChanged: if (shown) made()
    }

    objectName: "timerWindow"
    title: "Timer.Kelvaro · Native preview"
    busy: client.busy
    width: 1160
    height: 820
    minimumWidth: 820
    minimumHeight: 620
    visible: true

    onClosing: close => {
        if (!hidesOnClose)
            return
        close.accepted = false
        hide()
    }

    Shortcut {
        sequence: "Ctrl+Shift+Space"
        autoRepeat: false
        onActivated: timerPage.toggleByKey()
    }

    Shortcut {
        sequence: "Ctrl+F"
        autoRepeat: false
        onActivated: {
            tabs.currentIndex = 0
            timerPage.find()
        }
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
                id: workspace

                /// Chosen while the controller was busy.
                property string held: ""

                objectName: "workspaceSelect"
                name: window.label("סביבת עבודה", "Workspace")
                shownId: workspaceTurn.waiting ? held : window.client.workspace
                enabled: !window.client.busy || popup.visible
                lit: !window.dimmed || popup.visible
                Layout.preferredWidth: 280
                onActivated: index => {
                    held = rows.idAt(index)
                    workspaceTurn.ask()
                    show()
                }
                WhenFree {
                    id: workspaceTurn

                    controller: window.client
                    afterSync: true
                    onFree: {
                        if (workspace.rows.indexOf(workspace.held) >= 0)
                            window.client.selectWorkspace(workspace.held)
                    }
                }
                rows: RowModel {
                    source: window.client
                    list: "workspaces"
                }
            }
            BusyMark {
                objectName: "busyMark"
                running: window.client.busy
                onRunningChanged: window.dimmed = running && !window.client.busyUnasked
                onNoticedChanged: if (noticed) window.dimmed = true
                Layout.preferredWidth: 28
                Layout.preferredHeight: 28
            }
            WaitButton {
                objectName: "synchronize"
                window: window
                text: window.label("סנכרון", "Sync") + " (" + window.client.pending + ")"
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

        StatusBanner {
            window: window
            controller: window.client
            Layout.fillWidth: true
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
                // There is none to be seen, but on its way it would cost a frame each time.
                highlightMoveDuration: 0
                highlightResizeDuration: 0
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
                onChangeRequested: (row, startAt, stopAt) => (entryDialog.made() as EntryDialog).edit(row, startAt, stopAt)
            }
            Late {
                shown: tabs.currentIndex === 1
                file: Qt.resolvedUrl("ReportsPage.qml")
                given: ({ window: window, controller: window.client, created: window.created })
            }
            Late {
                shown: tabs.currentIndex === 2
                file: Qt.resolvedUrl("MigrationPage.qml")
                given: ({ window: window, controller: window.client })
            }
            Late {
                id: settings

                shown: tabs.currentIndex === 3
                file: Qt.resolvedUrl("SettingsPage.qml")
                given: ({ window: window, controller: window.client })
            }
            Late {
                shown: tabs.currentIndex === 4
                file: Qt.resolvedUrl("TimesheetsPage.qml")
                given: ({ window: window, controller: window.client })
            }
        }
    }

    Connections {
        target: window
        function onAccountLeft() {
            workspaceTurn.forget()
        }
        function onWholeTextWanted(text) {
            (messageDialog.made() as MessageDialog).show(text)
        }
        function onRetainedWanted() {
            tabs.currentIndex = 3;
            (settings.made() as SettingsPage).showRetained()
        }
        function onAccountWanted() {
            tabs.currentIndex = 3;
            (settings.made() as SettingsPage).showAccount()
        }
    }
    Late {
        id: messageDialog

        file: Qt.resolvedUrl("MessageDialog.qml")
        given: ({ window: window })
    }
    Late {
        id: editDialog

        file: Qt.resolvedUrl("EditDialog.qml")
        given: ({ window: window, controller: window.client })
    }
    Late {
        id: manualDialog

        file: Qt.resolvedUrl("ManualDialog.qml")
        given: ({ window: window, controller: window.client, timerPage: timerPage })
    }
    Late {
        id: entryDialog

        file: Qt.resolvedUrl("EntryDialog.qml")
        given: ({ window: window, controller: window.client })
    }
    Late {
        readonly property var absence: window.client.absence

        shown: !!absence.kind
        file: Qt.resolvedUrl("AbsenceDialog.qml")
        given: ({ window: window, controller: window.client })
    }
}
