// SPDX-License-Identifier: MIT
//
// Every text of the page, and how each language writes dates.

/** A name inside a sentence, whatever direction either has. */
export const isolated = (name) => `\u2068${name}\u2069`;

const he = {
    title: 'גיליון שעות',
    skip: 'דילוג לתקופות',
    otherLanguage: 'English',
    development: 'חשבון הפיתוח',
    signIn: 'כניסה',
    signOut: 'יציאה',
    email: 'דוא״ל',
    password: 'סיסמה',
    cancel: 'ביטול',
    retry: 'טעינה מחדש',
    present: 'זה המצב עכשיו.',
    status: { open: 'פתוחה', submitted: 'הוגשה', approved: 'אושרה' },
    submit: 'הגשה',
    approve: 'אישור',
    reopen: 'פתיחה מחדש',
    reason: 'סיבה',
    done: {
        submit: (period) => `התקופה ${period} הוגשה.`,
        approve: (period) => `התקופה ${period} אושרה.`,
        reopen: (period) => `התקופה ${period} נפתחה מחדש.`,
    },
    added: (period) => `נוספה התקופה ${period}.`,
    addedUnseen: 'התקופה נוספה.',
    addLabel: 'הוספת השבוע של',
    add: 'הוספת תקופה',
    noPeriods: 'עדיין אין כאן תקופות. אפשר להוסיף את הראשונה למעלה.',
    noWorkspaces: 'אין לך סביבות עבודה.',
    noEntries: 'אין רישומים בתקופה הזאת.',
    total: 'סך הכול',
    lastReason: 'נפתחה מחדש:',
    zone: (zone) => `השעות לפי ${zone}`,
    entriesOf: (period) => `רישומים בתקופה ${period}`,
    time: 'שעות',
    work: 'תיאור ופרויקט',
    duration: 'משך',
    running: 'שעון פועל',
    noDescription: 'ללא תיאור',
    signedIn: 'נכנסת.',
    signedInAs: (name) => `נכנסת בשם ${isolated(name)}.`,
    signedOut: 'יצאת.',
    accountChanged: (name) => `החשבון בדף הזה התחלף. מוצג החשבון של ${isolated(name)}.`,
    errors: {
        unreachable: 'השרת אינו עונה. אפשר לטעון שוב.',
        unanswered: 'לא הגיעה תשובה, ולא ידוע אם הפעולה בוצעה.',
        refused: 'השרת סירב לבקשה.',
        internal: 'השרת נתקל בתקלה.',
        invalid: 'הדוא״ל או הסיסמה ארוכים מדי או מכילים תווים שאי אפשר לקלוט.',
        malformed: 'השרת לא הבין את הבקשה; לא בוצע שינוי. כדאי לבדוק את התאריך.',
        bad_host: 'השרת עונה רק לכתובות פרטיות, ולא לכתובת שבה נפתח הדף.',
        too_large: 'הטקסט ארוך מכדי לשלוח אותו.',
        session_ended: 'הכניסה שלך הסתיימה. מוצג חשבון הפיתוח.',
        foreign_request: 'הדף לא היה עדכני וחודש; לא בוצע שינוי. כדאי לבדוק ולנסות שוב.',
        signed_in: 'כבר נכנסת בלשונית אחרת.',
        not_found: 'מה שמוצג כאן כבר אינו קיים; לא בוצע שינוי.',
        period_changed: 'התקופה השתנתה בינתיים במקום אחר; לא בוצע שינוי. זה מצבה עכשיו.',
        period_status: 'במצב הנוכחי של התקופה אי אפשר לעשות זאת.',
        timer_running: 'שעון עדיין פועל בתקופה הזאת; צריך לעצור אותו לפני ההגשה.',
        period_exists: 'כבר יש תקופה בשבוע הזה.',
        reason_missing: 'צריך לכתוב למה התקופה נפתחת מחדש.',
        reason_unusable: 'הסיבה ארוכה מדי או מכילה תווים שאי אפשר לשמור.',
        wrong_credentials: 'הדוא״ל או הסיסמה שגויים.',
        too_many_failures: 'יותר מדי ניסיונות כניסה נכשלו; אפשר לנסות שוב בעוד עשר דקות.',
        credentials_missing: 'צריך לכתוב דוא״ל וסיסמה.',
        date_missing: 'צריך לבחור יום בשבוע שרוצים להוסיף.',
        insecure: 'כניסה אישית אפשרית רק ב־HTTPS או מהמחשב הזה עצמו.',
    },
};

const en = {
    title: 'Timesheet',
    skip: 'Skip to the periods',
    otherLanguage: 'עברית',
    development: 'Development account',
    signIn: 'Sign in',
    signOut: 'Sign out',
    email: 'E-mail',
    password: 'Password',
    cancel: 'Cancel',
    retry: 'Load again',
    present: 'What you see is how it is now.',
    status: { open: 'Open', submitted: 'Submitted', approved: 'Approved' },
    submit: 'Submit',
    approve: 'Approve',
    reopen: 'Reopen',
    reason: 'Reason',
    done: {
        submit: (period) => `The period ${period} was submitted.`,
        approve: (period) => `The period ${period} was approved.`,
        reopen: (period) => `The period ${period} was reopened.`,
    },
    added: (period) => `The period ${period} was added.`,
    addedUnseen: 'The period was added.',
    addLabel: 'Add the week of',
    add: 'Add period',
    noPeriods: 'There are no periods here yet. Add the first one above.',
    noWorkspaces: 'You have no workspaces.',
    noEntries: 'There are no entries in this period.',
    total: 'Total',
    lastReason: 'Reopened:',
    zone: (zone) => `Times are those of ${zone}`,
    entriesOf: (period) => `Entries of the period ${period}`,
    time: 'Time',
    work: 'Description and project',
    duration: 'Duration',
    running: 'Running',
    noDescription: 'No description',
    signedIn: 'Signed in.',
    signedInAs: (name) => `Signed in as ${isolated(name)}.`,
    signedOut: 'Signed out.',
    accountChanged: (name) => `This page’s account has changed. You see the account of ${isolated(name)}.`,
    errors: {
        unreachable: 'The server does not answer. You can load again.',
        unanswered: 'No answer came, and it is not known whether this was done.',
        refused: 'The server refused the request.',
        internal: 'The server failed.',
        invalid: 'The e-mail address or the password is too long or holds characters that cannot be read.',
        malformed: 'The server did not understand the request; nothing was changed. Please check the date.',
        bad_host: 'The server answers to private addresses only, and not to the one of this page.',
        too_large: 'The text is too long to be sent.',
        session_ended: 'Your session has ended. You see the development account.',
        foreign_request: 'This page was out of date and has been renewed; nothing was done. Look again before you try again.',
        signed_in: 'You are signed in already, in another tab.',
        not_found: 'What was shown here is not there any more; nothing was done.',
        period_changed: 'The period was changed elsewhere in the meantime; nothing was done. This is how it is now.',
        period_status: 'This cannot be done with the period as it is now.',
        timer_running: 'A timer is still running in this period; stop it before you submit.',
        period_exists: 'There is a period in this week already.',
        reason_missing: 'Say why the period is reopened.',
        reason_unusable: 'The reason is too long or holds characters that cannot be stored.',
        wrong_credentials: 'The e-mail address or the password is wrong.',
        too_many_failures: 'Too many sign-ins have failed; wait ten minutes and try again.',
        credentials_missing: 'Enter your e-mail address and your password.',
        date_missing: 'Choose a day of the week to add.',
        insecure: 'Personal sign-in needs HTTPS or this machine itself.',
    },
};

// Calendar days have no time zone; UTC keeps them what they are.
const day = { timeZone: 'UTC', day: 'numeric', month: 'long' };

/** Texts and date forms of a language: 'he' or 'en'. */
export function textsOf(language) {
    const locale = language === 'he' ? 'he-IL' : 'en-GB';
    const range = new Intl.DateTimeFormat(locale, { ...day, year: 'numeric' });
    const weekday = new Intl.DateTimeFormat(locale, { ...day, weekday: 'long' });
    const short = new Intl.DateTimeFormat(locale, { timeZone: 'UTC', day: 'numeric', month: 'numeric' });
    return {
        ...(language === 'he' ? he : en),
        language,
        direction: language === 'he' ? 'rtl' : 'ltr',
        days: (from, to) => range.formatRange(new Date(from), new Date(to)),
        weekday: (date) => weekday.format(new Date(date)),
        shortDay: (date) => short.format(new Date(date)),
    };
}

/** Seconds as hours without bound and whole minutes, "38:05". */
export function clock(seconds) {
    const two = (number) => String(number).padStart(2, '0');
    return `${two(Math.floor(seconds / 3600))}:${two(Math.floor(seconds / 60) % 60)}`;
}
