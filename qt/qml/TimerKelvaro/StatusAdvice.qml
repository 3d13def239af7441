// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Material
import TimerKelvaro

/// What a person can do about a message that only says what is wrong.
Label {
    id: advice

    required property TimerWindow window
    required property Controller controller
    readonly property string connectAgain: window.label(
        "לחץ בהגדרות על \"חיבור שרת / כניסת פיתוח מפורשת\".",
        "press \"Connect / explicit developer entry\" in Settings.")

    function signInAgain(): string {
        return window.label("התחבר מחדש בהגדרות.", "Sign in again in Settings.")
    }
    function serverAway(): string {
        if (controller.sessionRefused)
            return signInAgain()
        if (controller.workspace !== "")
            return window.label("אפשר להמשיך לעבוד; התוכנית ממשיכה לחפש את השרת.",
                                "Go on working; the program keeps looking for the server.")
        return window.label("ודא שהשרת פועל ושכתובתו נכונה, ואז ",
                            "See that the server is running and that its address is right, then ") + connectAgain
    }
    function keyRefused(): string {
        return window.label("פתח את מאגר הסיסמאות (KWallet או Keyring), או הפעל אחד כזה, ואז ",
                            "Unlock the keyring or wallet, or start one in this session, then ") + connectAgain
    }
    function databaseRefused(): string {
        return window.label("ודא שיש מקום בדיסק ושאפשר לכתוב בתיקיית הבית, ואז ",
                            "See that the disk has free space and that your home folder can be written to, then ") + connectAgain
    }
    function storageUnreadable(): string {
        return window.label("ודא שיש מקום בדיסק ושאפשר לכתוב בתיקיית הבית; אם המפתח במאגר הסיסמאות השתנה, שחזר גם אותו, ואז ",
                            "See that the disk has free space and that your home folder can be written to; if the key in the keyring or wallet was changed, restore that as well, then ")
                + connectAgain
    }
    function saveRefused(): string {
        return window.label("ודא שיש מקום בדיסק ושאפשר לכתוב בתיקיית הבית, ואז נסה שוב.",
                            "See that the disk has free space and that your home folder can be written to, then try again.")
    }
    function addressRefused(): string {
        return window.label("הכתובת צריכה להתחיל ב־https://, או ב־http:// כשהשרת במחשב זה או ברשת פרטית.",
                            "The address must begin with https://, or with http:// where the server is on this machine or a private network.")
    }
    function on(message: string): string {
        switch (message) {
        case "Session unavailable or revoked. Cached work retained; no developer fallback was attempted.":
            return serverAway()
        case "Server unavailable. Encrypted cached data retained.":
        case "Identity check unavailable; encrypted queue retained.":
        case "Server did not acknowledge this request; original encrypted queue retained":
        case "Unable to list workspaces for this account":
        case "Report request failed":
        case "Export failed":
        case "Import preview failed":
        case "Import failed":
            return controller.sessionRefused ? signInAgain() : ""
        case "KWallet / OS credential storage is locked or unavailable. Online mode remains available; offline writes are disabled.":
        case "OS secure storage denied the key; no plaintext fallback was used.":
        case "Open KWallet / OS credential storage before recording time. Online reports and reads remain available; no unprotected write queue is used.":
            return keyRefused()
        case "Local encrypted database unavailable":
            return databaseRefused()
        case "Secure storage could not be opened; offline writes are disabled.":
            return storageUnreadable()
        case "The write was not accepted because secure local storage failed.":
        case "Secure local save failed; the retained queue was not acknowledged locally.":
        case "Secure local acknowledgement save failed; original queue retained for replay":
        case "Unable to store explicit developer reconnect":
            return saveRefused()
        case "The entry says so already; nothing was changed.":
            return window.label("הרשומה כבר כתובה כך; דבר לא השתנה.", "")
        case "This entry's project can no longer be booked; start with another project instead.":
            return window.label("אי אפשר עוד לרשום על הפרויקט הזה; התחל עם פרויקט אחר.", "")
        case "The rows of the report are on the clipboard.":
            return window.label("שורות הדוח הועתקו ללוח.", "")
        case "The first 500 rows are on the clipboard. Exports contain the complete snapshot.":
            return window.label("500 השורות הראשונות הועתקו ללוח; הייצוא מכיל את כולן.", "")
        case "Use HTTPS or the trusted private development server":
            return addressRefused()
        default:
            return message.startsWith("No browser could be opened;")
                ? window.label("לא נמצא דפדפן; פתח את הכתובת בדפדפן שלך.", "") : ""
        }
    }

    text: on(controller.message)
    visible: text !== ""
    Accessible.name: text
    font.pixelSize: 12
    font.bold: true
    wrapMode: Text.Wrap
    textFormat: Text.PlainText
    horizontalAlignment: Text.AlignLeft
}
