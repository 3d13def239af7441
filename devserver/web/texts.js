// SPDX-License-Identifier: MIT
//
// Every text of the page, and how each language writes dates.

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
    status: { open: 'פתוחה', submitted: 'הוגשה', approved: 'אושרה' },
    submit: 'הגשה',
    approve: 'אישור',
    reopen: 'פתיחה מחדש',
    reason: 'סיבה',
    nameOf: {
        submit: (period) => `הגשת התקופה ${period}`,
        approve: (period) => `אישור התקופה ${period}`,
        reopen: (period) => `פתיחה מחדש של התקופה ${period}`,
    },
    done: {
        submit: (period) => `התקופה ${period} הוגשה.`,
        approve: (period) => `התקופה ${period} אושרה.`,
        reopen: (period) => `התקופה ${period} נפתחה מחדש.`,
    },
    added: (period) => `נוספה התקופה ${period}.`,
    addLabel: 'הוספת השבוע של',
    add: 'הוספת תקופה',
    addIn: (workspace) => `הוספת תקופה ב${workspace}`,
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
    signedInAs: (name) => `נכנסת בשם ${name}.`,
    signedOut: 'יצאת. מוצג חשבון הפיתוח.',
    errors: {
        unreachable: 'השרת אינו עונה. שום דבר לא השתנה; אפשר לנסות שוב.',
        session_ended: 'הכניסה שלך הסתיימה. מוצג חשבון הפיתוח.',
        foreign_request: 'החשבון בדף הזה התחלף; לא בוצע שינוי. כדאי לבדוק שוב.',
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
    status: { open: 'Open', submitted: 'Submitted', approved: 'Approved' },
    submit: 'Submit',
    approve: 'Approve',
    reopen: 'Reopen',
    reason: 'Reason',
    nameOf: {
        submit: (period) => `Submit the period ${period}`,
        approve: (period) => `Approve the period ${period}`,
        reopen: (period) => `Reopen the period ${period}`,
    },
    done: {
        submit: (period) => `The period ${period} was submitted.`,
        approve: (period) => `The period ${period} was approved.`,
        reopen: (period) => `The period ${period} was reopened.`,
    },
    added: (period) => `The period ${period} was added.`,
    addLabel: 'Add the week of',
    add: 'Add period',
    addIn: (workspace) => `Add a period in ${workspace}`,
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
    signedInAs: (name) => `Signed in as ${name}.`,
    signedOut: 'Signed out. You see the development account.',
    errors: {
        unreachable: 'The server does not answer. Nothing was changed; you can try again.',
        session_ended: 'Your session has ended. You see the development account.',
        foreign_request: 'This page’s account has changed; nothing was done. Please look again.',
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

/** Seconds as the program writes them: hours without bound, "38:05:09". */
export function clock(seconds) {
    const two = (number) => String(number).padStart(2, '0');
    return `${two(Math.floor(seconds / 3600))}:${two(Math.floor(seconds / 60) % 60)}:${two(seconds % 60)}`;
}
