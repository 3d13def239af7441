// SPDX-License-Identifier: MIT
#include "devserver/demo/catalog.h"

namespace devserver {

QList<DemoClient> sharedClients() {
    using enum Language;
    return {
        {QStringLiteral("בית ספר אלונים"),
         Hebrew,
         320'00,
         {QStringLiteral("אתר בית הספר"), QStringLiteral("מערכת שעות"), QStringLiteral("הדרכת מורים"),
          QStringLiteral("ניוזלטר חודשי")}},
        {QStringLiteral("Harbor Coffee"),
         English,
         380'00,
         {QStringLiteral("Loyalty app"), QStringLiteral("Point of sale"), QStringLiteral("Menu website"),
          QStringLiteral("Spring campaign")}},
        {QStringLiteral("מרפאת הדר"),
         Hebrew,
         350'00,
         {QStringLiteral("זימון תורים"), QStringLiteral("פורטל מטופלים"), QStringLiteral("חיבור לתיק הרפואי"),
          QStringLiteral("נגישות")}},
        {QStringLiteral("Blue Ridge Logistics"),
         English,
         410'50,
         {QStringLiteral("Fleet dashboard"), QStringLiteral("Driver app"), QStringLiteral("Billing export"),
          archivedProject()}},
        {QStringLiteral("גלריה נווה"),
         Hebrew,
         290'00,
         {QStringLiteral("קטלוג תערוכות"), QStringLiteral("חנות מקוונת"), QStringLiteral("ארכיון דיגיטלי"),
          QStringLiteral("הזמנת כרטיסים")}},
        {QStringLiteral("הסטודיו"),
         Hebrew,
         std::nullopt,
         {QStringLiteral("ניהול ומטה"), QStringLiteral("גיוס עובדים"), QStringLiteral("כלי פיתוח"),
          QStringLiteral("למידה ומחקר")}},
    };
}

QList<DemoClient> ownClients() {
    using enum Language;
    return {
        {QStringLiteral("Amber Press"),
         English,
         85'00,
         {QStringLiteral("Book site"), QStringLiteral("Reader newsletter"), QStringLiteral("Print layout")}},
        {QStringLiteral("עמותת שביל"),
         Hebrew,
         62'50,
         {QStringLiteral("אתר תרומות"), QStringLiteral("דוח שנתי"), QStringLiteral("מערך מתנדבים")}},
    };
}

QString archivedProject() {
    return QStringLiteral("Data migration");
}

namespace {

QStringList hebrewDescriptions() {
    return {
        QStringLiteral("פגישת בוקר עם הצוות"),
        QStringLiteral("מענה לדואר ולפניות תמיכה"),
        QStringLiteral("שיחת סטטוס עם הלקוחה"),
        QStringLiteral("תיקון באג: הטופס נשלח פעמיים"),
        QStringLiteral("תיקון יישור מימין לשמאל בתפריט הראשי"),
        QStringLiteral("הכנת הצעת מחיר לשלב ב׳"),
        QStringLiteral("כתיבת מדריך קצר למשתמשים"),
        QStringLiteral("סקירת קוד של נועם"),
        QStringLiteral("פריסה לסביבת הבדיקות"),
        QStringLiteral("העלאת גרסה 2.4 לאוויר ומעקב אחרי שגיאות"),
        QStringLiteral("גיבוי ובדיקת שחזור"),
        QStringLiteral("תכנון הספרינט הבא"),
        QStringLiteral("עיצוב מסך התשלום"),
        QStringLiteral("ליטוש ניסוחים והגהה"),
        QStringLiteral("בדיקות נגישות עם קורא מסך"),
        QStringLiteral("חקירת תקלה: זמני טעינה ארוכים בבוקר"),
        QStringLiteral("עדכון תלויות ובדיקות רגרסיה"),
        QStringLiteral("ראיון מועמדת לתפקיד מפתחת"),
        QStringLiteral("סידור המשימות הפתוחות"),
        QStringLiteral("הדרכה טלפונית למזכירות"),
        QStringLiteral("התאמת הדף למסכים קטנים"),
        QStringLiteral("טיפול בחשבוניות החודש"),
        QStringLiteral("שיפור החיפוש: גם בלי ניקוד"),
        QStringLiteral("פגישה עם ספק הסליקה"),
    };
}

QStringList englishDescriptions() {
    return {
        QStringLiteral("Morning stand-up"),
        QStringLiteral("Answer support mail"),
        QStringLiteral("Call with the client about open questions"),
        QStringLiteral("Fix rounding of the invoice total"),
        QStringLiteral("Fix crash when the list is empty"),
        QStringLiteral("Estimate for the next phase"),
        QStringLiteral("Write the release notes"),
        QStringLiteral("Review Dana's merge request"),
        QStringLiteral("Deploy to staging"),
        QStringLiteral("Roll out version 2.4 and watch the error rate"),
        QStringLiteral("Restore a backup, just to be sure"),
        QStringLiteral("Plan the next two weeks"),
        QStringLiteral("Sketch the checkout screen"),
        QStringLiteral("Copy editing and proofreading"),
        QStringLiteral("Test the app with a screen reader"),
        QStringLiteral("Find out why mornings are slow"),
        QStringLiteral("Update dependencies, run the regression suite"),
        QStringLiteral("Interview a candidate"),
        QStringLiteral("Tidy up the backlog"),
        QStringLiteral("Walk the office manager through the new form"),
        QStringLiteral("Make the page work on small screens"),
        QStringLiteral("Chase flaky test in the pipeline"),
        QStringLiteral("Pair with Noam on the import job"),
        QStringLiteral("Read up on payment provider's new API"),
    };
}

} // namespace

QStringList plainDescriptions(Language language) {
    return language == Language::Hebrew ? hebrewDescriptions() : englishDescriptions();
}

QStringList patterns(Language language) {
    if (language == Language::Hebrew) {
        return {QStringLiteral("אפיון %1"),         QStringLiteral("פיתוח %1"),
                QStringLiteral("בדיקות ל%1"),       QStringLiteral("עיצוב %1"),
                QStringLiteral("תיקונים ב%1"),      QStringLiteral("פגישה על %1"),
                QStringLiteral("תיעוד %1"),         QStringLiteral("%1 – סבב הערות"),
                QStringLiteral("%1 – גרסה ראשונה"), QStringLiteral("מחקר לקראת %1")};
    }
    return {QStringLiteral("Specify %1"),          QStringLiteral("Implement %1"),
            QStringLiteral("Tests for %1"),        QStringLiteral("Design %1"),
            QStringLiteral("Fixes in %1"),         QStringLiteral("Meeting about %1"),
            QStringLiteral("Document %1"),         QStringLiteral("Second round of comments on %1"),
            QStringLiteral("First version of %1"), QStringLiteral("Research for %1")};
}

QStringList subjects(Language language) {
    if (language == Language::Hebrew) {
        return {QStringLiteral("טופס ההרשמה"),    QStringLiteral("דף הבית"),
                QStringLiteral("לוח הבקרה"),      QStringLiteral("תזכורות במסרון"),
                QStringLiteral("ייצוא לאקסל"),    QStringLiteral("הרשאות משתמשים"),
                QStringLiteral("יומן הפגישות"),   QStringLiteral("מסך ההגדרות"),
                QStringLiteral("גלריית התמונות"), QStringLiteral("דוח סוף חודש"),
                QStringLiteral("אזור אישי"),      QStringLiteral("חיבור ליומן החיצוני")};
    }
    return {QStringLiteral("the sign-up form"),  QStringLiteral("the home page"),
            QStringLiteral("the dashboard"),     QStringLiteral("push notifications"),
            QStringLiteral("the CSV export"),    QStringLiteral("user permissions"),
            QStringLiteral("route planning"),    QStringLiteral("the settings screen"),
            QStringLiteral("the photo gallery"), QStringLiteral("the month-end report"),
            QStringLiteral("offline mode"),      QStringLiteral("the receipt printer")};
}

QStringList tasks(Language language) {
    return language == Language::Hebrew ? QStringList{QStringLiteral("פיתוח"), QStringLiteral("עיצוב"),
                                                      QStringLiteral("פגישות"), QStringLiteral("בדיקות")}
                                        : QStringList{QStringLiteral("Development"), QStringLiteral("Design"),
                                                      QStringLiteral("Meetings"), QStringLiteral("Testing")};
}

QStringList tags(Language language) {
    return language == Language::Hebrew
               ? QStringList{QStringLiteral("דחוף"), QStringLiteral("אצל הלקוח"), QStringLiteral("מהבית")}
               : QStringList{QStringLiteral("urgent"), QStringLiteral("on site"), QStringLiteral("remote")};
}

QStringList colors() {
    return {QStringLiteral("#6656f0"), QStringLiteral("#e4572e"), QStringLiteral("#17bebb"),
            QStringLiteral("#ffc914"), QStringLiteral("#2e86ab"), QStringLiteral("#76b041"),
            QStringLiteral("#d1495b"), QStringLiteral("#8d6a9f"), QStringLiteral("#00798c"),
            QStringLiteral("#b5651d")};
}

} // namespace devserver
