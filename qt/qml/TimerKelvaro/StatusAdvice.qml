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
    readonly property string setAside: window.label(
        "לחץ קודם בהגדרות על \"שמור עותק והסר את כל השינויים הממתינים\".",
        "first press \"Save a copy and remove all waiting changes\" in Settings.")

    /// The last way, where the file itself stands in it.
    readonly property string orSetAside: controller.recordStuck
        ? window.label(" אם זה לא עוזר, לחץ בהגדרות על \"שנה את שם הקובץ והתחל מחדש\".",
                       " If that does not help, press \"Rename the file and begin anew\" in Settings.")
        : ""

    /// Empty while it is not that what is missing.
    function signIn(): string {
        if (controller.sessionRefused)
            return window.label("התחבר מחדש בהגדרות.", "Sign in again in Settings.")
        if (!controller.signInWanted)
            return ""
        return controller.pending === 0
            ? window.label("השרת הזה דורש חשבון אישי: מלא בהגדרות דואר וסיסמה, ולחץ על \"כניסה אישית\".",
                           "This server asks for a personal account: enter its e-mail and password in Settings, and press \"Personal sign-in\".")
            : window.label("השרת הזה דורש חשבון אישי, והשינויים הממתינים נרשמו בלעדיו. כדי להיכנס, ",
                           "This server asks for a personal account, and the waiting changes were recorded without one. To sign in, ")
              + setAside
    }
    function serverAway(): string {
        if (signIn() !== "")
            return signIn()
        if (controller.workspace !== "")
            return window.label("אפשר להמשיך לעבוד; התוכנית ממשיכה לחפש את השרת.",
                                "Go on working; the program keeps looking for the server.")
        return window.label("ודא שהשרת פועל ושכתובתו נכונה, ואז ",
                            "See that the server is running and that its address is right, then ") + connectAgain
    }
    function keyRefused(): string {
        return window.label("פתח את מאגר הסיסמאות (KWallet או Keyring), או הפעל אחד כזה, ואז ",
                            "Unlock the keyring or wallet, or start one in this session, then ") + connectAgain + orSetAside
    }
    function databaseRefused(): string {
        return window.label("ודא שיש מקום בדיסק ושאפשר לכתוב בתיקיית הבית, ואז ",
                            "See that the disk has free space and that your home folder can be written to, then ") + connectAgain + orSetAside
    }
    function storageUnreadable(): string {
        return window.label("ודא שיש מקום בדיסק ושאפשר לכתוב בתיקיית הבית; אם המפתח במאגר הסיסמאות השתנה, שחזר גם אותו, ואז ",
                            "See that the disk has free space and that your home folder can be written to; if the key in the keyring or wallet was changed, restore that as well, then ")
                + connectAgain + orSetAside
    }
    function openElsewhere(): string {
        return window.label("תוכנית אחרת מחזיקה בקובץ של השרת הזה, אולי בכניסה אחרת שלך לשולחן העבודה. עבוד שם, או סיים אותה ואז ",
                            "Another program has this server's file, perhaps one of another desktop session of yours. Work there, or end it, then ")
                + connectAgain
    }
    /// Connecting asks for the key, makes a missing record anew, or says what else is wrong.
    function storageForSignIn(): string {
        return controller.pending === 0
            ? window.label("לפני הכניסה, ", "Before you sign in, ") + connectAgain : "" // work would keep that from it
    }
    function recordUnreadable(): string {
        return window.label("הקובץ השתנה או שייך למפתח אחר, למשל אחרי שרק אחד מהשניים שוחזר מגיבוי. דבר לא נכתב במקומו; סגור את התוכנית, שחזר גם את השני והפעל אותה שוב.",
                            "The file was altered or belongs to another key, for example after only one of the two came back from a backup. Nothing is overwritten; quit, restore the other one, and start again.") + orSetAside
    }
    function anotherAccount(): string {
        if (controller.pending === 0)
            return window.label("התנתק מהחשבון בהגדרות, והיכנס שוב.", "Sign out in Settings, and sign in again.")
        return window.label("מה שממתין נשלח כשהשרת מזהה שוב את החשבון שרשם אותו. כדי לעבוד בחשבון אחר, ",
                            "What waits is sent when the server knows you by the account that recorded it. To work under another one, ")
                + setAside
    }
    function noWorkspace(first: string): string {
        return controller.workspace === "" ? first + connectAgain : ""
    }
    function saveRefused(): string {
        return window.label("ודא שיש מקום בדיסק ושאפשר לכתוב בתיקיית הבית, ואז נסה שוב.",
                            "See that the disk has free space and that your home folder can be written to, then try again.") + orSetAside
    }
    function addressRefused(): string {
        return window.label("הכתובת צריכה להתחיל ב־" + window.ltr("https://") + ", או ב־" + window.ltr("http://")
                            + " כשהשרת במחשב זה או ברשת פרטית.",
                            "The address must begin with https://, or with http:// where the server is on this machine or a private network.")
    }
    function on(message: string): string {
        switch (message) {
        case "Session unavailable or revoked. Cached work retained; no developer fallback was attempted.":
            return serverAway()
        case "Server unavailable. Encrypted cached data retained.":
        case "Identity check unavailable; encrypted queue retained.":
        case "Server did not acknowledge this request; original encrypted queue retained":
        case "Report request failed":
        case "Import preview failed":
        case "Import failed":
            return signIn()
        case "Export failed":
            return signIn() || window.label("הפק את הדוח מחדש ואז ייצא אותו, כי השרת אינו שומר דוח לתמיד; אם אי אפשר להגיע אליו, חכה עד שיחזור.",
                                            "Generate the report again, then export it: the server keeps a report only for a while. Where it cannot be reached, wait until it is back.")
        case "Unable to list workspaces for this account":
            return signIn() || noWorkspace(window.label("כדי לנסות שוב, ", "To try again, "))
        case "This account has no workspace yet. Create one on its Web account page.":
            return noWorkspace(window.label("אחרי שתהיה שם סביבת עבודה, ", "When there is one, "))
        case "KWallet / OS credential storage is locked or unavailable. Online mode remains available; offline writes are disabled.":
        case "OS secure storage denied the key; no plaintext fallback was used.":
        case "Open KWallet / OS credential storage before recording time. Online reports and reads remain available; no unprotected write queue is used.":
            return keyRefused()
        case "Unlock protected OS storage before personal login":
            return storageForSignIn()
        case "Local encrypted database unavailable":
            return databaseRefused()
        case "Secure storage could not be opened; offline writes are disabled.":
            return storageUnreadable()
        case "Timer.Kelvaro is already open on this server; offline writes are disabled in this window.":
            return openElsewhere()
        case "Encrypted account/queue could not be authenticated; no identity fallback was attempted":
            return recordUnreadable()
        case "Secure key generation failed":
            return window.label("המערכת לא סיפקה מספרים אקראיים למפתח. הפעל את המחשב מחדש, ואז ",
                                "The system gave no random numbers for a key. Restart the machine, then ") + connectAgain
        case "Account changed; pending work was not reassigned":
        case "Account changed; queued work was NOT reassigned.":
        case "This is another account; the waiting work stays with its own.":
            return anotherAccount()
        case "CSV must be UTF-8":
            return window.label("שמור את הקובץ שוב כ־UTF-8 בלי סימן סדר בתים (BOM). \"CSV UTF-8\" של גיליון אלקטרוני עלול להוסיף אותו; עורך טקסט יכול להסיר אותו.",
                                "Save the file again as UTF-8 without a byte-order mark. A spreadsheet's \"CSV UTF-8\" may add one; a text editor can take it off.")
        case "CSV unavailable or exceeds 900KB limit":
            return window.label("ודא שאפשר לקרוא את הקובץ. היסטוריה ארוכה יותר מחלקים לקבצים לפי שנים או חודשים.",
                                "See that the file can be read. A longer history is split into files by years or months.")
        case "The write was not accepted because secure local storage failed.":
        case "Secure local save failed; the retained queue was not acknowledged locally.":
        case "Secure local acknowledgement save failed; original queue retained for replay":
        case "Unable to store explicit developer reconnect":
            return saveRefused()
        case "The entry says so already; nothing was changed.":
            return window.label("הרשומה כבר כתובה כך; דבר לא השתנה.", "")
        case "This entry's project can no longer be booked; start with another project instead.":
            return window.label("אי אפשר עוד לרשום על הפרויקט הזה; התחל עם פרויקט אחר.", "")
        case "This timer's stop is kept back; decide about the refused change first.":
            return window.label("העצירה כבר נרשמה; הכרע בהגדרות מה ייעשה בשינוי שהשרת דחה.",
                                "The stop is recorded already; decide in Settings what becomes of the change that the server refused.")
        case "The file could not be renamed; nothing was changed.":
            return window.label("לא ניתן לשנות את שם הקובץ; דבר לא השתנה. ", "")
                + window.label("ודא שאפשר לכתוב בתיקיית הבית, ואז נסה שוב.", "See that your home folder can be written to, then try again.")
        case "The old file has another name; everything is saved in a new one.":
            return window.label("לקובץ הישן שם אחר; הכול נשמר בקובץ חדש.", "")
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
