// SPDX-License-Identifier: MIT
#include "tests/support/sqlitefile.h"
#include "tests/web/webfixture.h"

#include <QSet>
#include <QTest>

using namespace Qt::StringLiterals;

/// Signing in and out on the page, with the demo's accounts.
class WebAccountTest : public WebFixture {
    Q_OBJECT

    [[nodiscard]] bool signIn(const QString& email, const QString& password);
    [[nodiscard]] bool isPerson(const QString& name);
    /// The page's script has no part in it; the status of the answer.
    [[nodiscard]] QJsonValue postElsewhere(const QString& path, const QString& body);

public:
    WebAccountTest() : WebFixture(DevServer::Data::Demo) {}

private Q_SLOTS:
    void anAccountIsSignedInAndOutAndShowsItsOwnAlone();
    void aWrongPasswordIsSaidAndCanBeTriedAgain();
    void nothingSecretStaysInThePage();
    void anotherTabsAccountIsNotActedOn();
    void anotherTabsSignInIsSaidAndClosesDialogs();
    void aChangeUnderAnotherAccountIsNotMade();
    void theSamePersonsOtherAccountIsNotActedOn();
    void anEndedSessionIsSaid();
    void aSignInThatEndsAfterEscapeIsShown();
    void aSignInWhosePageCannotBeReadIsSaidAndLoadedAgain();
    void namesAreUniqueAndBeginWithWhatIsSeen_data();
    void namesAreUniqueAndBeginWithWhatIsSeen();
};

bool WebAccountTest::signIn(const QString& email, const QString& password) {
    return m_browser.click(u"#sign-in"_s) && m_browser.type(u"#email"_s, email) &&
           m_browser.type(u"#password"_s, password) && m_browser.press(Browser::enter);
}

bool WebAccountTest::isPerson(const QString& name) {
    return QTest::qWaitFor([&] { return m_browser.text(u"#person"_s) == name; }, Browser::patienceMs);
}

QJsonValue WebAccountTest::postElsewhere(const QString& path, const QString& body) {
    return m_browser.evaluate(
        uR"JS(fetch('/web/session').then((reply) => reply.json()).then((session) => fetch('%1', { method: 'POST',
            headers: { 'Content-Type': 'application/json', 'X-CSRF-Token': session.csrf_token },
            body: '%2' })).then((reply) => reply.status))JS"_s.arg(path, body));
}

void WebAccountTest::anAccountIsSignedInAndOutAndShowsItsOwnAlone() {
    QVERIFY2(openPage(), qPrintable(m_browser.problem()));
    QVERIFY(isPerson(u"נועה לוי"_s));
    QCOMPARE(m_browser.text(u"#mode"_s), u"חשבון הפיתוח"_s);
    QCOMPARE(m_browser.evaluate(u"document.querySelectorAll('.period').length"_s), 3);
    QVERIFY(m_browser.click(u".toggle"_s));
    QTRY_VERIFY_WITH_TIMEOUT(m_browser.shows(u"table"_s), Browser::patienceMs);

    QVERIFY(signIn(u" DAN@example.com "_s, u"dan-in-the-demo"_s));
    QVERIFY(isPerson(u"Dan Adler"_s));
    QCOMPARE(m_browser.text(u"#mode"_s), QString());
    QCOMPARE(m_browser.evaluate(u"document.querySelectorAll('.period').length"_s), 0);
    QVERIFY(!m_browser.evaluate(u"document.body.textContent"_s).toString().contains(u"נועה"));
    QTRY_VERIFY_WITH_TIMEOUT(m_browser.isFocused(u"#sign-out"_s), Browser::patienceMs);
    QCOMPARE(outcome(), u"נכנסת בשם Dan Adler."_s);
    QVERIFY(m_browser.click(u".add button"_s));
    QTRY_VERIFY_WITH_TIMEOUT(m_browser.shows(u".period"_s), Browser::patienceMs);
    QVERIFY(openPage());
    QVERIFY(isPerson(u"Dan Adler"_s));

    QVERIFY(m_browser.click(u"#sign-out"_s));
    QVERIFY(isPerson(u"נועה לוי"_s));
    QTRY_COMPARE_WITH_TIMEOUT(m_browser.evaluate(u"document.querySelectorAll('.period').length"_s), 3,
                              Browser::patienceMs);
    QCOMPARE(outcome(), u"יצאת."_s);
    SqliteFile database(m_server->databaseFile());
    QCOMPARE(database.run(u"SELECT COUNT(*) FROM sessions WHERE client = 'web' AND revoked_at IS NOT NULL"_s),
             1);
    QCOMPARE(database.run(u"SELECT COUNT(*) FROM timesheet_periods p JOIN users u ON u.id = p.user_id"
                          " WHERE u.email = 'dan@example.com'"_s),
             1);
}

void WebAccountTest::aWrongPasswordIsSaidAndCanBeTriedAgain() {
    QVERIFY(openPage());
    QVERIFY(m_browser.click(u"#sign-in"_s));
    QVERIFY(m_browser.click(u"#sign-in-dialog .primary"_s));
    QCOMPARE(m_browser.text(u"#sign-in-error"_s), u"צריך לכתוב דוא״ל וסיסמה."_s);
    QVERIFY(m_browser.press(Browser::escape));
    QVERIFY(signIn(u"dan@example.com"_s, u"dan-in-the-dem"_s));
    QTRY_COMPARE_WITH_TIMEOUT(m_browser.text(u"#sign-in-error"_s), u"הדוא״ל או הסיסמה שגויים."_s,
                              Browser::patienceMs);
    QCOMPARE(m_browser.evaluate(u"document.getElementById('email').value"_s), u"dan@example.com"_s);
    QVERIFY(m_browser.type(u"#password"_s, u"o"_s));
    QVERIFY(m_browser.press(Browser::enter));
    QVERIFY(isPerson(u"Dan Adler"_s));
    QVERIFY(m_browser.click(u"#sign-out"_s));
    QVERIFY(isPerson(u"נועה לוי"_s));
}

void WebAccountTest::nothingSecretStaysInThePage() {
    QVERIFY(openPage());
    QVERIFY(signIn(u"dan@example.com"_s, u"dan-in-the-demo"_s));
    QVERIFY(isPerson(u"Dan Adler"_s));
    QCOMPARE(m_browser.evaluate(u"document.cookie"_s), QString());
    QCOMPARE(m_browser.evaluate(u"document.getElementById('password').value"_s), QString());
    QCOMPARE(m_browser.evaluate(u"Object.keys(localStorage).concat(Object.keys(sessionStorage))"
                                ".filter((key) => key !== 'timesheet-language')"_s),
             QJsonArray());
    // Those of the servers before are still there.
    QJsonObject cookie;
    for (const auto& each : m_browser.cookies()) {
        if (each[u"name"].toString().endsWith(m_server->url().section(u':', -1))) {
            QVERIFY(cookie.isEmpty());
            cookie = each.toObject();
        }
    }
    QCOMPARE(cookie.value(u"httpOnly"), true);
    QCOMPARE(cookie.value(u"sameSite"), u"Strict"_s);
    QCOMPARE(cookie.value(u"path"), u"/"_s);
    const QString token = cookie.value(u"value").toString().section(u'.', 1);
    QVERIFY(token.size() >= 43);
    QVERIFY(!m_browser.evaluate(u"document.documentElement.outerHTML"_s).toString().contains(token));
    QVERIFY(m_browser.click(u"#sign-out"_s));
    QVERIFY(isPerson(u"נועה לוי"_s));
}

void WebAccountTest::anotherTabsAccountIsNotActedOn() {
    QVERIFY(openPage());
    QVERIFY(m_browser.shows(u"[id^=submit-]"_s));
    const QString id = m_browser.evaluate(u"document.querySelector('[id^=submit-]').id"_s).toString();
    QVERIFY(m_browser.openTab(m_server->url()));
    QVERIFY(isPerson(u"נועה לוי"_s));
    QVERIFY(signIn(u"dan@example.com"_s, u"dan-in-the-demo"_s));
    QVERIFY(isPerson(u"Dan Adler"_s));
    QVERIFY(m_browser.goToTab(0));
    QVERIFY(isPerson(u"Dan Adler"_s));
    QVERIFY(saysInTheEnd(u"החשבון בדף הזה התחלף. מוצג החשבון של Dan Adler."_s));
    QVERIFY(!m_browser.shows(u'#' + id));
    QCOMPARE(statusOf(id.section(u'-', 1)), u"open"_s);
    QVERIFY(m_browser.click(u"#sign-out"_s));
    QVERIFY(isPerson(u"נועה לוי"_s));
}

// As from another window beside this one, which is never hidden.
void WebAccountTest::aChangeUnderAnotherAccountIsNotMade() {
    QVERIFY(openPage());
    QCOMPARE(
        postElsewhere(u"/web/session"_s, uR"({"email":"dan@example.com","password":"dan-in-the-demo"})"_s),
        200);
    SqliteFile database(m_server->databaseFile());
    const QVariant periods = database.run(u"SELECT COUNT(*) FROM timesheet_periods"_s);
    QVERIFY(m_browser.click(u".add button"_s));
    QVERIFY(saysInTheEnd(u"הדף לא היה עדכני וחודש; לא בוצע שינוי. כדאי לבדוק ולנסות שוב."
                         " החשבון בדף הזה התחלף. מוצג החשבון של Dan Adler."_s));
    QVERIFY(isPerson(u"Dan Adler"_s));
    QCOMPARE(database.run(u"SELECT COUNT(*) FROM timesheet_periods"_s), periods);
    QVERIFY(m_browser.click(u"#sign-out"_s));
    QVERIFY(isPerson(u"נועה לוי"_s));
}

// The development user has an account, too: the same id with and without a sign-in.
void WebAccountTest::theSamePersonsOtherAccountIsNotActedOn() {
    QVERIFY(openPage());
    QVERIFY(signIn(u"noa@example.com"_s, u"noa-in-the-demo"_s));
    QVERIFY(saysInTheEnd(u"נכנסת בשם נועה לוי."_s));
    QCOMPARE(postElsewhere(u"/web/session/end"_s, u"{}"_s), 200);
    SqliteFile database(m_server->databaseFile());
    const QVariant periods = database.run(u"SELECT COUNT(*) FROM timesheet_periods"_s);
    QVERIFY(m_browser.click(u".add button"_s));
    QVERIFY2(saysInTheEnd(u"הדף לא היה עדכני וחודש; לא בוצע שינוי. כדאי לבדוק ולנסות שוב."
                          " החשבון בדף הזה התחלף. מוצג החשבון של נועה לוי."_s),
             qPrintable(outcome()));
    QCOMPARE(m_browser.text(u"#mode"_s), u"חשבון הפיתוח"_s);
    QVERIFY(m_browser.shows(u"#sign-in"_s));
    QCOMPARE(database.run(u"SELECT COUNT(*) FROM timesheet_periods"_s), periods);
}

void WebAccountTest::anEndedSessionIsSaid() {
    QVERIFY(openPage());
    QVERIFY(signIn(u"dan@example.com"_s, u"dan-in-the-demo"_s));
    QVERIFY(isPerson(u"Dan Adler"_s));
    QVERIFY(m_browser.shows(u".add button"_s));
    SqliteFile database(m_server->databaseFile());
    database.run(u"UPDATE sessions SET revoked_at = 1"_s);
    const QVariant periods = database.run(u"SELECT COUNT(*) FROM timesheet_periods"_s);
    QVERIFY(m_browser.click(u".add button"_s));
    QVERIFY(isPerson(u"נועה לוי"_s));
    QTRY_COMPARE_WITH_TIMEOUT(outcome(), u"הכניסה שלך הסתיימה. מוצג חשבון הפיתוח."_s, Browser::patienceMs);
    QCOMPARE(database.run(u"SELECT COUNT(*) FROM timesheet_periods"_s), periods);
}

void WebAccountTest::anotherTabsSignInIsSaidAndClosesDialogs() {
    QVERIFY(openPage());
    QVERIFY(m_browser.click(u"[id^=reopen-]:is(button)"_s));
    QVERIFY(m_browser.type(u"#reason"_s, u"Only Noa knows"_s));
    QVERIFY(m_browser.openTab(m_server->url()));
    QVERIFY(isPerson(u"נועה לוי"_s));
    QVERIFY(signIn(u"dan@example.com"_s, u"dan-in-the-demo"_s));
    QVERIFY(isPerson(u"Dan Adler"_s));
    QVERIFY(m_browser.goToTab(0));
    QVERIFY(saysInTheEnd(u"החשבון בדף הזה התחלף. מוצג החשבון של Dan Adler."_s));
    QVERIFY(!m_browser.shows(u"dialog"_s));
    QTRY_COMPARE_WITH_TIMEOUT(m_browser.evaluate(u"document.getElementById('reason').value"_s), QString(),
                              Browser::patienceMs);
    QVERIFY(m_browser.click(u"#sign-out"_s));
    QVERIFY(isPerson(u"נועה לוי"_s));
}

void WebAccountTest::aSignInThatEndsAfterEscapeIsShown() {
    QVERIFY(openPage());
    QVERIFY(intercept(u"hold"_s));
    QVERIFY(signIn(u"dan@example.com"_s, u"dan-in-the-demo"_s));
    QVERIFY(m_browser.press(Browser::escape));
    QVERIFY(!m_browser.shows(u"dialog"_s));
    QVERIFY(release());
    QVERIFY(saysInTheEnd(u"נכנסת בשם Dan Adler."_s));
    QVERIFY(isPerson(u"Dan Adler"_s));
    QVERIFY(setMode({}));
    QVERIFY(m_browser.click(u"#sign-out"_s));
    QVERIFY(isPerson(u"נועה לוי"_s));
}

void WebAccountTest::aSignInWhosePageCannotBeReadIsSaidAndLoadedAgain() {
    QVERIFY(openPage());
    QVERIFY(intercept(u"deaf"_s));
    QVERIFY(signIn(u"dan@example.com"_s, u"dan-in-the-demo"_s));
    QVERIFY(saysInTheEnd(u"נכנסת. השרת אינו עונה. אפשר לטעון שוב."_s));
    QVERIFY(!m_browser.shows(u"section"_s));
    QVERIFY(m_browser.click(u"#retry"_s));
    QVERIFY(saysInTheEnd(u"השרת אינו עונה. אפשר לטעון שוב."_s));
    QVERIFY(setMode({}));
    QVERIFY(m_browser.click(u"#retry"_s));
    QVERIFY(isPerson(u"Dan Adler"_s));
    QVERIFY(!m_browser.shows(u"#retry"_s));
    QCOMPARE(outcome(), QString());
    QVERIFY(m_browser.click(u"#sign-out"_s));
    QVERIFY(isPerson(u"נועה לוי"_s));
}

void WebAccountTest::namesAreUniqueAndBeginWithWhatIsSeen_data() {
    QTest::addColumn<bool>("english");
    QTest::newRow("Hebrew") << false;
    QTest::newRow("English") << true;
}

void WebAccountTest::namesAreUniqueAndBeginWithWhatIsSeen() {
    QFETCH(bool, english);
    QVERIFY(openPage());
    QVERIFY(!english || chooseEnglish());
    QVERIFY(m_browser.evaluate(u"document.querySelectorAll('section').length"_s).toInt() > 1);
    for (int i = 0; i < 2; ++i) {
        const QString form = u"section:nth-of-type(%1) .add "_s.arg(i + 1);
        QVERIFY(m_browser.type(form + u"input"_s, u"03102020"_s));
        QVERIFY(m_browser.click(form + u"button"_s));
        QTRY_VERIFY_WITH_TIMEOUT(outcome().contains(u"2020"), Browser::patienceMs);
        QVERIFY(m_browser.click(u"#language"_s)); // which empties the outcome
        QVERIFY(m_browser.click(u"#language"_s));
    }
    // Weeks begin on different days in the two; now they are the same.
    SqliteFile(m_server->databaseFile())
        .run(u"UPDATE timesheet_periods SET from_date = '2020-03-08', to_date = '2020-03-14'"
             " WHERE from_date LIKE '2020-03-%'"_s);
    QVERIFY(openPage());
    const QJsonArray seen =
        m_browser
            .evaluate(u"[...document.querySelectorAll('button, input')].filter((node) =>"
                      " node.checkVisibility()).map((node) => [node.id, node.labels?.[0]?.textContent ||"
                      " node.textContent])"_s)
            .toArray();
    QSet<QString> names;
    for (const auto& each : seen) {
        const QString name = m_browser.label(u'#' + each[0].toString());
        QVERIFY2(name.startsWith(each[1].toString()), qPrintable(name));
        QVERIFY2(!names.contains(name), qPrintable(name + u" is the name of two"_s));
        names += name;
    }
}

QTEST_GUILESS_MAIN(WebAccountTest)
#include "account.moc"
