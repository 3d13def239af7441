// SPDX-License-Identifier: MIT
#include "tests/support/sqlitefile.h"
#include "tests/web/webfixture.h"

#include <QTest>
#include <QUuid>

using namespace Qt::StringLiterals;

/// What a person does with periods on the page, by mouse and by keyboard alone.
class WebStepsTest : public WebFixture {
    Q_OBJECT

    /// The focused element's id, or its class in a dialog.
    [[nodiscard]] QString focused();

private Q_SLOTS:
    void theMouseSubmitsApprovesAndReopens_data();
    void theMouseSubmitsApprovesAndReopens();
    void theKeyboardAloneSubmitsApprovesAndReopens();
    void theFocusFollowsThePage();
    void theFocusStaysInTheDialogAndReturnsFromIt();
    void aReasonMustBeGiven();
    void aDoubleClickTakesOneStep();
    void anOutdatedPageChangesNothingAndShowsWhatIs();
    void aRunningTimerKeepsItsPeriodOpen();
    void aServerThatIsGoneCostsNothing();
    void aWeekIsAdded();
    void whatHappenedElsewhereShowsOnReturn();
};

QString WebStepsTest::focused() {
    return m_browser.evaluate(u"document.activeElement.id || document.activeElement.className"_s).toString();
}

void WebStepsTest::theMouseSubmitsApprovesAndReopens_data() {
    QTest::addColumn<bool>("english");
    QTest::addColumn<QStringList>("outcomes");
    QTest::newRow("Hebrew") << false
                            << QStringList{u"התקופה 1–7 במרץ 2026 הוגשה."_s, u"התקופה 1–7 במרץ 2026 אושרה."_s,
                                           u"התקופה 1–7 במרץ 2026 נפתחה מחדש."_s};
    QTest::newRow("English") << true
                             << QStringList{u"The period 1–7 March 2026 was submitted."_s,
                                            u"The period 1–7 March 2026 was approved."_s,
                                            u"The period 1–7 March 2026 was reopened."_s};
}

void WebStepsTest::theMouseSubmitsApprovesAndReopens() {
    QFETCH(bool, english);
    QFETCH(QStringList, outcomes);
    const QString id = addPeriod({2026, 3, 1}, u"open"_s);
    QVERIFY2(openPage(), qPrintable(m_browser.problem()));
    QVERIFY(!english || chooseEnglish());

    QVERIFY(m_browser.click(part(u"submit"_s, id)));
    QVERIFY(saysInTheEnd(outcomes[0]));
    QCOMPARE(statusOf(id), u"submitted"_s);
    QVERIFY(!m_browser.shows(part(u"submit"_s, id)));

    QVERIFY(m_browser.click(part(u"approve"_s, id)));
    QVERIFY(saysInTheEnd(outcomes[1]));
    QCOMPARE(statusOf(id), u"approved"_s);

    QVERIFY(m_browser.click(part(u"reopen"_s, id)));
    QVERIFY(m_browser.type(u"#reason"_s, u"  יום שלישי חסר "_s));
    QVERIFY(m_browser.click(u"#reopen-dialog .primary"_s));
    QVERIFY(saysInTheEnd(outcomes[2]));
    QCOMPARE(statusOf(id), u"open"_s);
    QCOMPARE(period(id).value(u"version"), 4);
    QCOMPARE(period(id).value(u"last_reason"), u"יום שלישי חסר"_s);
    QCOMPARE(m_browser.text(u".reason bdi"_s), u"יום שלישי חסר"_s);
}

void WebStepsTest::theKeyboardAloneSubmitsApprovesAndReopens() {
    const QString id = addPeriod({2026, 3, 1}, u"open"_s);
    QVERIFY(openPage());
    for (const auto& [step, key, status] : {std::tuple(u"submit"_s, Browser::enter, u"submitted"_s),
                                            std::tuple(u"approve"_s, Browser::space, u"approved"_s)}) {
        QVERIFY2(m_browser.tabTo(part(step, id)), qPrintable(m_browser.problem()));
        QVERIFY(m_browser.evaluate(u"document.activeElement.matches(':focus-visible')"_s).toBool());
        QVERIFY(m_browser.press(key));
        QTRY_COMPARE_WITH_TIMEOUT(statusOf(id), status, Browser::patienceMs);
        // Pressed once more, the key must not take the next step.
        QTRY_VERIFY_WITH_TIMEOUT(m_browser.isFocused(part(u"toggle"_s, id)), Browser::patienceMs);
    }
    QVERIFY(m_browser.tabTo(part(u"reopen"_s, id)));
    QVERIFY(m_browser.press(Browser::enter));
    QCOMPARE(focused(), u"reason"_s);
    for (const QChar letter : u"Typo"_s) {
        QVERIFY(m_browser.press(letter));
    }
    QVERIFY(m_browser.tabTo(u"#reopen-dialog .primary"_s));
    QVERIFY(m_browser.press(Browser::enter));
    QTRY_COMPARE_WITH_TIMEOUT(statusOf(id), u"open"_s, Browser::patienceMs);
    QCOMPARE(period(id).value(u"last_reason"), u"Typo"_s);
    QTRY_VERIFY_WITH_TIMEOUT(m_browser.isFocused(part(u"toggle"_s, id)), Browser::patienceMs);

    QVERIFY(m_browser.press(Browser::enter));
    QTRY_VERIFY_WITH_TIMEOUT(m_browser.shows(part(u"entries"_s, id)), Browser::patienceMs);
    QCOMPARE(focused(), u"toggle-"_s + id);
}

void WebStepsTest::theFocusFollowsThePage() {
    const QString id = addPeriod({2026, 3, 1}, u"submitted"_s);
    const QString workspace = m_server->workspace();
    QVERIFY(openPage());
    QVERIFY(m_browser
                .evaluate(u"(document.activeElement.blur(), window.getSelection().removeAllRanges(), true)"_s)
                .toBool());
    QVERIFY(m_browser.tabTo(u".skip"_s));
    const QStringList order{u"sign-in"_s,          u"language"_s,     u"day-"_s + workspace,
                            u"add-"_s + workspace, u"toggle-"_s + id, u"approve-"_s + id,
                            u"reopen-"_s + id};
    for (const QString& next : order) {
        for (int parts = 0; parts < 5 && focused() != next; ++parts) { // a date has several
            QVERIFY(m_browser.press(Browser::tab));
        }
        QCOMPARE(focused(), next);
        const QString ring =
            m_browser.evaluate(u"getComputedStyle(document.activeElement).outlineStyle"_s).toString();
        QCOMPARE(ring, u"solid"_s);
    }
}

void WebStepsTest::theFocusStaysInTheDialogAndReturnsFromIt() {
    const QString id = addPeriod({2026, 3, 1}, u"submitted"_s);
    QVERIFY(openPage());
    QVERIFY(m_browser.tabTo(part(u"reopen"_s, id)));
    QVERIFY(m_browser.press(Browser::enter));
    for (int i = 0; i < 6; ++i) {
        const bool outside = m_browser
                                 .evaluate(u"document.activeElement !== document.body &&"
                                           " document.activeElement.closest('dialog') === null"_s)
                                 .toBool();
        QVERIFY2(!outside, qPrintable(focused()));
        QVERIFY(m_browser.press(Browser::tab));
    }
    QVERIFY(m_browser.press(Browser::escape));
    QVERIFY(!m_browser.shows(u"dialog"_s));
    QCOMPARE(focused(), u"reopen-"_s + id);
    QVERIFY(m_browser.click(u"#sign-in"_s));
    QVERIFY(m_browser.click(u"#sign-in-dialog .cancel"_s));
    QCOMPARE(focused(), u"sign-in"_s);
    QCOMPARE(statusOf(id), u"submitted"_s);
}

void WebStepsTest::aReasonMustBeGiven() {
    const QString id = addPeriod({2026, 3, 1}, u"submitted"_s);
    QVERIFY(openPage());
    QVERIFY(m_browser.click(part(u"reopen"_s, id)));
    QVERIFY(m_browser.type(u"#reason"_s, u"   "_s));
    QVERIFY(m_browser.click(u"#reopen-dialog .primary"_s));
    QCOMPARE(m_browser.text(u"#reopen-error"_s), u"צריך לכתוב למה התקופה נפתחת מחדש."_s);
    QCOMPARE(m_browser.role(u"#reopen-error"_s), u"alert"_s);
    QCOMPARE(focused(), u"reason"_s);
    QCOMPARE(period(id).value(u"version"), 1);
}

void WebStepsTest::aDoubleClickTakesOneStep() {
    const QString id = addPeriod({2026, 3, 1}, u"open"_s);
    QVERIFY(openPage());
    QVERIFY(intercept({}));
    QVERIFY(m_browser.doubleClick(part(u"submit"_s, id)));
    QCOMPARE(m_browser.evaluate(u"window.sent"_s), 1);
    QVERIFY(saysInTheEnd(u"התקופה 1–7 במרץ 2026 הוגשה."_s));
    QCOMPARE(period(id).value(u"version"), 2);
    QVERIFY(!m_browser.shows(u"dialog"_s));
}

void WebStepsTest::anOutdatedPageChangesNothingAndShowsWhatIs() {
    const QString id = addPeriod({2026, 3, 1}, u"open"_s);
    QVERIFY(openPage());
    const auto elsewhere = [&](const QString& change) {
        SqliteFile(m_server->databaseFile())
            .run(u"UPDATE timesheet_periods SET version = version + 1, %1 WHERE id = ?"_s.arg(change), {id});
    };
    elsewhere(u"last_reason = 'Elsewhere'"_s);
    QVERIFY(m_browser.click(part(u"submit"_s, id)));
    QVERIFY(saysInTheEnd(u"התקופה השתנתה בינתיים במקום אחר; לא בוצע שינוי. זה מצבה עכשיו."_s));
    QCOMPARE(statusOf(id), u"open"_s);
    QCOMPARE(m_browser.text(u".reason bdi"_s), u"Elsewhere"_s);

    elsewhere(u"status = 'submitted'"_s);
    QVERIFY(m_browser.reload());
    QTRY_VERIFY_WITH_TIMEOUT(m_browser.shows(part(u"reopen"_s, id)), Browser::patienceMs);
    QVERIFY(m_browser.click(part(u"reopen"_s, id)));
    QVERIFY(m_browser.type(u"#reason"_s, u"Too late"_s));
    elsewhere(u"status = 'approved'"_s);
    QVERIFY(m_browser.click(u"#reopen-dialog .primary"_s));
    QTRY_VERIFY_WITH_TIMEOUT(!m_browser.shows(u"dialog"_s), Browser::patienceMs);
    QTRY_COMPARE_WITH_TIMEOUT(m_browser.text(u".status"_s), u"אושרה"_s, Browser::patienceMs);
    QCOMPARE(period(id).value(u"last_reason"), u"Elsewhere"_s);
}

void WebStepsTest::aRunningTimerKeepsItsPeriodOpen() {
    const QString id = addPeriod({2026, 3, 1}, u"open"_s);
    const QJsonObject timer{{u"start_at"_s, u"2026-03-03T08:00:00Z"_s}};
    QCOMPARE(m_server->push(u"timer.start"_s, QUuid::createUuid().toString(QUuid::WithoutBraces), 0, timer)
                 .value(u"status"),
             u"accepted"_s);
    QVERIFY(openPage());
    QVERIFY(m_browser.click(part(u"toggle"_s, id)));
    QTRY_VERIFY_WITH_TIMEOUT(m_browser.shows(u"table"_s), Browser::patienceMs);
    QVERIFY(m_browser.text(u"tbody"_s).contains(u"שעון פועל"));
    QVERIFY(m_browser.click(part(u"submit"_s, id)));
    QVERIFY(saysInTheEnd(u"שעון עדיין פועל בתקופה הזאת; צריך לעצור אותו לפני ההגשה."_s));
    QCOMPARE(statusOf(id), u"open"_s);
    QVERIFY(m_browser.shows(part(u"submit"_s, id)));
}

void WebStepsTest::aServerThatIsGoneCostsNothing() {
    const QString unknown = u"לא הגיעה תשובה, ולא ידוע אם הפעולה בוצעה."_s;
    const QString id = addPeriod({2026, 3, 1}, u"submitted"_s);
    QVERIFY(openPage());
    m_server->kill();
    QVERIFY(m_browser.click(part(u"approve"_s, id)));
    QVERIFY(saysInTheEnd(unknown + u" השרת אינו עונה. אפשר לטעון שוב."_s));
    QVERIFY(m_browser.click(part(u"reopen"_s, id)));
    QVERIFY(m_browser.type(u"#reason"_s, u"Thought over"_s));
    QVERIFY(m_browser.click(u"#reopen-dialog .primary"_s));
    QTRY_COMPARE_WITH_TIMEOUT(m_browser.text(u"#reopen-error"_s), unknown, Browser::patienceMs);
    QVERIFY(m_server->start());
    QVERIFY(m_browser.click(u"#reopen-dialog .primary"_s));
    QVERIFY(saysInTheEnd(u"התקופה 1–7 במרץ 2026 נפתחה מחדש."_s));
    QCOMPARE(period(id).value(u"last_reason"), u"Thought over"_s);
}

void WebStepsTest::aWeekIsAdded() {
    const QString day = u"#day-"_s + m_server->workspace();
    QVERIFY(openPage());
    QVERIFY(m_browser.tabTo(u".add button"_s));
    QVERIFY(m_browser.press(Browser::enter));
    QTRY_VERIFY_WITH_TIMEOUT(m_browser.shows(u".period"_s), Browser::patienceMs);
    QTRY_VERIFY_WITH_TIMEOUT(m_browser.isFocused(u".toggle"_s), Browser::patienceMs);

    QVERIFY(m_browser.type(day, u"03102026"_s)); // month first, as the browser writes dates
    QVERIFY(m_browser.click(u".add button"_s));
    QVERIFY(saysInTheEnd(u"נוספה התקופה 8–14 במרץ 2026."_s)); // a Hebrew workspace: from Sunday
    QVERIFY(m_browser.type(day, u"03142026"_s));
    QVERIFY(m_browser.press(Browser::enter));
    QVERIFY(saysInTheEnd(u"כבר יש תקופה בשבוע הזה."_s));
    QCOMPARE(m_browser.evaluate(u"document.querySelectorAll('.period').length"_s), 2);
}

void WebStepsTest::whatHappenedElsewhereShowsOnReturn() {
    const QString id = addPeriod({2026, 3, 1}, u"open"_s);
    QVERIFY(openPage());
    QVERIFY(m_browser.openTab(m_server->url()));
    QTRY_VERIFY_WITH_TIMEOUT(m_browser.shows(part(u"submit"_s, id)), Browser::patienceMs);
    QVERIFY(m_browser.click(part(u"submit"_s, id)));
    QTRY_COMPARE_WITH_TIMEOUT(statusOf(id), u"submitted"_s, Browser::patienceMs);
    QVERIFY(m_browser.goToTab(0));
    QTRY_VERIFY_WITH_TIMEOUT(m_browser.shows(part(u"approve"_s, id)), Browser::patienceMs);
}

QTEST_GUILESS_MAIN(WebStepsTest)
#include "steps.moc"
