// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import QtQuick.Layouts
import TimerKelvaro

ScrollPage {
    id: page

    required property Controller controller
    readonly property bool nothingWaits: controller.pending === 0

    function connectServer() {
        connection.address = server.text
        connection.ask()
    }
    function signIn() {
        controller.loginAccount(email.text, password.text)
        password.text = "" // Qt 6.4: clear() would leave it to undo
    }
    /// By Enter, or where the session has ended.
    function enter() {
        if (controller.sessionRefused)
            controller.renewSession(email.text, password.text)
        else
            controller.loginAccount(email.text, password.text)
        if (controller.busy) // else nothing was sent, and it is needed for the next try
            password.text = ""
    }
    function showAccount() {
        giveKeyboard(email)
        bringIntoView(account)
    }
    function showRetained() {
        goTo(retained)
    }

    spacing: 16

    Connections {
        target: page.window
        function onAccountLeft() {
            email.text = ""
            password.text = ""
            entry.forget()
            connection.forget()
        }
    }

    Note {
        text: page.window.label("שרת וזהות פיתוח", "Server and development identity")
        font.pixelSize: 24
        font.bold: true
    }
    Note {
        text: page.window.label(
            "זו גרסת Native ראשונית, ללא WebView. הגישה פרטית וללא סיסמת פיתוח. אין לפרסם את השרת לרשת ציבורית.",
            "This is an initial native client, without a WebView. Private development access requires no application password. Do not publish the development server.")
    }
    LtrField {
        id: server

        // Notifies only when the address itself changes, so that nothing else replaces what is typed.
        readonly property string address: page.controller.server || "http://127.0.0.1:18080"

        onAddressChanged: {
            password.text = "" // was meant for another server
            entry.forget()
        }
        onAccepted: if (connect.enabled) page.connectServer()

        objectName: "server"
        inputMethodHints: Qt.ImhUrlCharactersOnly | Qt.ImhNoPredictiveText
        placeholderText: "https://timer.example.com"
        name: page.window.label("כתובת השרת", "Server address")
        Layout.fillWidth: true
        text: address
    }
    WaitButton {
        id: connect

        objectName: "connect"
        window: page.window
        text: page.window.label("חיבור שרת / כניסת פיתוח מפורשת", "Connect / explicit developer entry")
        onClicked: page.connectServer()
    }
    WhenFree {
        id: connection

        property string address: ""

        controller: page.controller
        afterSync: true
        onFree: controller.connectServer(address)
    }
    Note {
        id: account

        objectName: "account"
        text: page.controller.accountSignedIn
              ? page.window.label("חשבון אישי: ", "Personal account: ") + page.controller.accountName
              : page.window.label("לא מחובר לחשבון אישי", "Not signed in to a personal account")
        font.bold: true
    }
    Note {
        objectName: "sessionEnded"
        visible: page.controller.sessionRefused
        text: page.window.label(
            "החיבור לחשבון הסתיים. השינויים הממתינים נשמרים; התחבר מחדש לאותו חשבון כדי שיישלחו.",
            "The session has ended. Waiting changes are kept; sign in again to the same account, and they are sent.")
        color: Theme.warning(page.window.dark)
    }
    Note {
        text: page.window.label(
            "כניסה אישית דורשת HTTPS או localhost ואחסון מערכת מאובטח. הכניסה הפרטית ללא סיסמת פיתוח נשארה נפרדת.",
            "Personal sign-in requires HTTPS or loopback and secure OS storage. Password-free private development access remains separate.")
    }
    LtrField {
        id: email

        objectName: "email"
        inputMethodHints: Qt.ImhEmailCharactersOnly
        placeholderText: page.window.label("כתובת דואר של חשבון קיים", "Existing account email")
        Layout.fillWidth: true
    }
    Field {
        id: password

        objectName: "password"
        echoMode: TextInput.Password
        inputMethodHints: Qt.ImhSensitiveData | Qt.ImhNoPredictiveText
        placeholderText: page.window.label("סיסמת חשבון אישי", "Personal account password")
        Layout.fillWidth: true
        onAccepted: entry.ask()
    }
    Flow {
        spacing: Theme.gap
        Layout.fillWidth: true

        WaitButton {
            objectName: "signIn"
            window: page.window
            text: page.window.label("כניסה אישית", "Personal sign-in")
            free: page.controller.secureStorage && page.nothingWaits
            highlighted: true
            onClicked: page.signIn()
        }
        WaitButton {
            objectName: "signOut"
            window: page.window
            text: page.window.label("התנתק מהחשבון", "Sign out")
            free: page.controller.accountSignedIn && page.nothingWaits
            onClicked: page.controller.logoutAccount()
        }
        WaitButton {
            objectName: "signInAgain"
            window: page.window
            text: page.window.label("התחבר מחדש", "Sign in again")
            visible: page.controller.sessionRefused
            free: page.controller.secureStorage && !entry.waiting
            highlighted: true
            onClicked: entry.ask()
        }
        WaitButton {
            objectName: "leaveServer"
            window: page.window
            text: page.window.label("עבור לשרת אחר בלי להתנתק", "Use another server without signing out")
            visible: page.controller.signOutUnconfirmed
            free: page.nothingWaits && server.text.trim() !== page.controller.server
            onClicked: page.controller.leaveServer(server.text)
        }
        WhenFree {
            id: entry

            controller: page.controller
            afterSync: true
            onFree: page.enter()
        }
    }
    Note {
        objectName: "signOutUnconfirmed"
        visible: page.controller.signOutUnconfirmed
        text: page.window.label(
            "השרת לא אישר את ההתנתקות. אם לא יענה עוד, כתוב למעלה כתובת של שרת אחר ועבור אליו; החשבון הזה נשאר חתום במכשיר, בקובץ של השרת שלו.",
            "The server did not confirm the sign-out. If it will never answer again, type another server's address above and use that; this account stays sealed on this device, in its own server's file.")
        color: Theme.warning(page.window.dark)
    }
    Switch {
        id: appearance

        objectName: "darkAppearance"
        text: page.window.label("ערכת צבעים כהה", "Dark appearance")
        onCheckedChanged: page.window.dark = checked
        Accessible.name: text
        Accessible.onPressAction: toggle()
        Accessible.onToggleAction: toggle()

        FocusRing {
            anchors.margins: 0
            radius: Theme.radius
            visible: appearance.visualFocus
        }
    }
    Note {
        objectName: "storage"
        text: page.controller.queueReady
              ? page.window.label("התור המקומי מוצפן; המפתח נשמר ב־KWallet / מאגר מערכת ההפעלה.",
                                  "Local queue encrypted; key stored in KWallet / OS credential storage.")
              : page.controller.secureStorage
              ? page.window.label("לא ניתן לקרוא את הרשומה המקומית; דבר לא יישמר במקומה. קריאה ודוחות זמינים.",
                                  "The local record could not be read; nothing is saved over it. Reads and reports are available.")
              : page.window.label("אחסון מאובטח אינו זמין. קריאה ודוחות זמינים; כתיבת זמן דורשת אחסון מאובטח.",
                                  "Secure storage unavailable. Reports and reads are available; time writes require secure storage.")
    }
    Flow {
        id: actions

        property bool copied: false

        onVisibleChanged: copied = false // told once, not for ever

        spacing: Theme.gap
        Layout.fillWidth: true

        ActionButton {
            objectName: "exportPending"
            text: page.window.label("ייצוא תור ממתין", "Export pending changes")
            onClicked: page.controller.exportPending()
        }
        WaitButton {
            objectName: "removePending"
            window: page.window
            text: page.window.label("שמור עותק והסר את כל השינויים הממתינים", "Save a copy and remove all waiting changes")
            visible: page.controller.pending > 0
            onClicked: removeDialog.open()
        }
        WaitButton {
            objectName: "setAside"
            window: page.window
            text: page.window.label("שנה את שם הקובץ והתחל מחדש", "Rename the file and begin anew")
            visible: page.controller.recordStuck
            onClicked: asideDialog.open()
        }
        ActionButton {
            objectName: "copyDetails"
            text: page.window.label("העתק פרטים טכניים", "Copy technical details")
            onClicked: {
                details.copy()
                actions.copied = true
                page.bringIntoView(outcome)
                page.window.announce(outcome.text)
            }
        }
        TechnicalDetails {
            id: details

            controller: page.controller
        }
    }
    Note {
        id: outcome

        objectName: "detailsCopied"
        visible: actions.copied
        text: page.window.label("הפרטים הועתקו. אין בהם תוכן, כתובת או שם.", "The details are copied. They hold no content, address or name.")
    }
    SetAsideDialog {
        id: asideDialog

        window: page.window
        controller: page.controller
    }
    RemovePendingDialog {
        id: removeDialog

        window: page.window
        controller: page.controller
    }
    RetainedPanel {
        id: retained

        objectName: "retainedPanel"
        window: page.window
        controller: page.controller
        Layout.fillWidth: true
    }
    ReadOnlyText {
        objectName: "conflicts"
        name: page.window.label("התנגשויות שנשמרו", "Retained conflicts")
        visible: text !== "[\n]"
        text: page.controller.conflictDetails
        pixelSize: 11
        Layout.fillWidth: true
        Layout.preferredHeight: 130
    }
    Note {
        opacity: 0.65
        text: page.window.label(
            "קיצור מקומי: Ctrl+Shift+Space. קיצורי מערכת כלליים ואימות Windows עדיין נדרשים.",
            "Local shortcut: Ctrl+Shift+Space. Global platform shortcuts and Windows acceptance still require verification.")
    }
    Item {
        Layout.preferredHeight: 10
    }
    Item {
        Layout.fillHeight: true
    }
}
