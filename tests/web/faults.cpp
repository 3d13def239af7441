// SPDX-License-Identifier: MIT
#include "tests/web/webfixture.h"

#include <QTest>

using namespace Qt::StringLiterals;

/// What the page says and keeps while answers are late, lost or overtaken.
class WebFaultsTest : public WebFixture {
    Q_OBJECT

private Q_SLOTS:
    void twoFastKeysSendOneChange();
    void aLostAnswerIsNotCalledAFailure();
    void whatWasDoneIsSaidWhenOnlyTheReloadFails();
    void anOldRequestDoesNotCloseAReopenedDialog();
    void anOvertakenLoadEndsAsTheNewestDoes();
    void aTypedDateOutlivesWhatIsDrawnAnew();
};

void WebFaultsTest::twoFastKeysSendOneChange() {
    const QString id = addPeriod({2026, 3, 1}, u"open"_s);
    QVERIFY2(openPage(), qPrintable(m_browser.problem()));
    QVERIFY(intercept(u"hold"_s));
    QVERIFY(m_browser.tabTo(part(u"submit"_s, id)));
    QVERIFY(m_browser.press(Browser::enter) && m_browser.press(Browser::enter));
    QVERIFY(m_browser.click(u".add button"_s));
    QCOMPARE(m_browser.evaluate(u"window.sent"_s), 1);
    QVERIFY(setMode({}) && release());
    QVERIFY(saysInTheEnd(u"התקופה 1–7 במרץ 2026 הוגשה."_s));
    QCOMPARE(period(id).value(u"version"), 2);
    QCOMPARE(m_browser.evaluate(u"window.sent"_s), 1);

    QVERIFY(setMode(u"hold"_s));
    QVERIFY(m_browser.tabTo(u".add button"_s));
    QVERIFY(m_browser.press(Browser::enter) && m_browser.press(Browser::enter));
    QVERIFY(setMode({}) && release());
    QTRY_COMPARE_WITH_TIMEOUT(m_browser.evaluate(u"document.querySelectorAll('.period').length"_s), 2,
                              Browser::patienceMs);
    QCOMPARE(m_browser.evaluate(u"window.sent"_s), 2);
}

void WebFaultsTest::aLostAnswerIsNotCalledAFailure() {
    const QString id = addPeriod({2026, 3, 1}, u"open"_s);
    QVERIFY(openPage());
    QVERIFY(intercept(u"lose"_s));
    QVERIFY(m_browser.click(part(u"submit"_s, id)));
    QVERIFY(saysInTheEnd(u"לא הגיעה תשובה, ולא ידוע אם הפעולה בוצעה. זה המצב עכשיו."_s));
    QCOMPARE(statusOf(id), u"submitted"_s);
    QVERIFY(m_browser.shows(part(u"approve"_s, id)));

    QVERIFY(m_browser.click(part(u"reopen"_s, id)));
    QVERIFY(m_browser.type(u"#reason"_s, u"Lost"_s));
    QVERIFY(m_browser.click(u"#reopen-dialog .primary"_s));
    QTRY_COMPARE_WITH_TIMEOUT(m_browser.text(u"#reopen-error"_s),
                              u"לא הגיעה תשובה, ולא ידוע אם הפעולה בוצעה."_s, Browser::patienceMs);
    QVERIFY(m_browser.press(Browser::escape));
    QVERIFY(m_browser.click(u"#retry"_s));
    QTRY_VERIFY_WITH_TIMEOUT(m_browser.shows(part(u"submit"_s, id)), Browser::patienceMs);
    QCOMPARE(m_browser.text(u".reason bdi"_s), u"Lost"_s);
}

void WebFaultsTest::whatWasDoneIsSaidWhenOnlyTheReloadFails() {
    const QString id = addPeriod({2026, 3, 1}, u"open"_s);
    QVERIFY(openPage());
    QVERIFY(!m_browser.shows(u"#retry"_s));
    QVERIFY(intercept(u"deaf"_s));
    QVERIFY(m_browser.click(part(u"submit"_s, id)));
    QVERIFY(saysInTheEnd(u"התקופה 1–7 במרץ 2026 הוגשה. השרת אינו עונה. אפשר לטעון שוב."_s));
    QVERIFY(m_browser.click(u".add button"_s));
    QVERIFY(saysInTheEnd(u"התקופה נוספה. השרת אינו עונה. אפשר לטעון שוב."_s));
    QVERIFY(setMode({}));
    QVERIFY(m_browser.tabTo(u"#retry"_s));
    QVERIFY(m_browser.press(Browser::enter));
    QTRY_VERIFY_WITH_TIMEOUT(m_browser.shows(part(u"approve"_s, id)), Browser::patienceMs);
    QTRY_VERIFY_WITH_TIMEOUT(m_browser.isFocused(u"#timesheet"_s), Browser::patienceMs);
    QVERIFY(!m_browser.shows(u"#retry"_s));
    QCOMPARE(outcome(), QString());
}

void WebFaultsTest::anOldRequestDoesNotCloseAReopenedDialog() {
    const QString id = addPeriod({2026, 3, 1}, u"submitted"_s);
    QVERIFY(openPage());
    QVERIFY(intercept(u"hold"_s));
    QVERIFY(m_browser.click(part(u"reopen"_s, id)));
    QVERIFY(m_browser.type(u"#reason"_s, u"First"_s));
    QVERIFY(m_browser.click(u"#reopen-dialog .primary"_s));
    QVERIFY(m_browser.press(Browser::escape));
    QTRY_VERIFY_WITH_TIMEOUT(m_browser.isFocused(part(u"reopen"_s, id)), Browser::patienceMs);
    QVERIFY(m_browser.click(part(u"reopen"_s, id)));
    QVERIFY(m_browser.type(u"#reason"_s, u"Second"_s));
    QVERIFY(setMode({}) && release());
    QVERIFY(saysInTheEnd(u"התקופה 1–7 במרץ 2026 נפתחה מחדש."_s));
    QVERIFY(m_browser.shows(u"#reopen-dialog"_s));
    QCOMPARE(m_browser.evaluate(u"document.getElementById('reason').value"_s), u"Second"_s);
    QTRY_COMPARE_WITH_TIMEOUT(m_browser.evaluate(u"document.body.ariaBusy"_s), u"false"_s,
                              Browser::patienceMs);
    QVERIFY(m_browser.click(u"#reopen-dialog .primary"_s));
    QVERIFY(saysInTheEnd(u"התקופה השתנתה בינתיים במקום אחר; לא בוצע שינוי. זה מצבה עכשיו."_s));
    QVERIFY(!m_browser.shows(u"dialog"_s));
    QCOMPARE(period(id).value(u"last_reason"), u"First"_s);
}

void WebFaultsTest::anOvertakenLoadEndsAsTheNewestDoes() {
    QVERIFY(openPage());
    QVERIFY(intercept({}));
    std::ignore = m_browser.errors();
    // While the page is read after the change another reading begins, and ends later.
    QVERIFY(m_browser
                .evaluate(uR"JS((() => {
        const real = window.fetch;
        let readings = 0;
        window.fetch = async (path, options) => {
            if (path === '/web/timesheet' && ++readings === 1) {
                document.dispatchEvent(new Event('visibilitychange'));
            } else if (path === '/web/timesheet') {
                await new Promise((resolve) => { window.goOn = resolve; });
            }
            return real(path, options);
        };
        return true;
    })())JS"_s)
                .toBool());
    QVERIFY(m_browser.click(u".add button"_s));
    QTRY_COMPARE_WITH_TIMEOUT(m_browser.evaluate(u"typeof window.goOn"_s), u"function"_s,
                              Browser::patienceMs);
    QVERIFY(!m_browser.shows(u".period"_s));
    QVERIFY(m_browser.evaluate(u"(window.goOn(), true)"_s).toBool());
    QTRY_VERIFY_WITH_TIMEOUT(m_browser.shows(u".period"_s), Browser::patienceMs);
    QTRY_VERIFY_WITH_TIMEOUT(m_browser.isFocused(u".toggle"_s), Browser::patienceMs);
    QVERIFY2(outcome().startsWith(u"נוספה התקופה "), qPrintable(outcome()));
    QCOMPARE(m_browser.errors(), QJsonArray());
}

void WebFaultsTest::aTypedDateOutlivesWhatIsDrawnAnew() {
    const QString id = addPeriod({2026, 3, 1}, u"open"_s);
    QVERIFY(openPage());
    const QString day = u"#day-"_s + m_server->workspace();
    QVERIFY(m_browser.type(day, u"03102025"_s));
    QVERIFY(m_browser.click(part(u"submit"_s, id)));
    QVERIFY(saysInTheEnd(u"התקופה 1–7 במרץ 2026 הוגשה."_s));
    QVERIFY(chooseEnglish());
    QCOMPARE(m_browser.evaluate(u"document.querySelector('.add input').value"_s), u"2025-03-10"_s);
    QCOMPARE(plain(m_browser.label(day)), u"Add the week of, Development"_s);
}

QTEST_GUILESS_MAIN(WebFaultsTest)
#include "faults.moc"
