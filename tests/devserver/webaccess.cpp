// SPDX-License-Identifier: MIT
#include "tests/devserver/authfixture.h"
#include "tests/devserver/webvisitor.h"
#include "tests/support/authority.h"

#include <QRegularExpression>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

const QByteArray password = "correct horse battery"_ba;

std::string nameOf(const WebVisitor& visitor) {
    return visitor.cookie().substr(0, visitor.cookie().find('='));
}

} // namespace

/// Who sees and changes what through the page: cookies, tokens, headers.
class TestDevserverWebAccess : public QObject {
    Q_OBJECT

    [[nodiscard]] WebVisitor visitor() const {
        WebVisitor made(*m_server);
        made.load();
        return made;
    }
    [[nodiscard]] std::string cookieName() const { return "timer_page_" + std::to_string(m_server->port()); }
    [[nodiscard]] QString periodOf(const QString& user, const QString& status) const;
    [[nodiscard]] QString statusOf(const QString& period) const;
    [[nodiscard]] static std::string submitPath(const QString& period) {
        return "/web/periods/" + period.toStdString() + "/submit";
    }

    TestDatabase m_database;
    World m_world{m_database};
    QString m_person; ///< can sign in
    std::unique_ptr<TestServer> m_server;

private Q_SLOTS:
    void initTestCase();
    void init();
    void thePageAndItsFilesHaveAStrictPolicy_data();
    void thePageAndItsFilesHaveAStrictPolicy();
    void thePageNeedsNothingFromElsewhere_data();
    void thePageNeedsNothingFromElsewhere();
    void repliesAreForNoCacheAndNoOtherSite();
    void aCookieIsOutOfReachOfScriptsAndOtherSites();
    void overTlsTheCookieNeverTravelsOpenly();
    void theCookiesWithAndWithoutTlsStandBesideEachOther();
    void serversOnTwoPortsKeepTheirOwnSessions_data();
    void serversOnTwoPortsKeepTheirOwnSessions();
    void aVisitorWithoutASignInIsTheDevelopmentUser();
    void withoutACookieNothingIsShownOrChanged();
    void changesComeFromTheOwnPageAlone_data();
    void changesComeFromTheOwnPageAlone();
    void aSignedInVisitorIsTheAccountAlone();
    void theDevelopmentUsersTokenIsWorthNothingToAnAccount();
    void signingInGivesANewCookieAndKeepsNoSecret();
    void thePagesCookieOpensNothingElse();
    void signingOutEndsTheSession();
    void wrongPasswordsChangeNothing();
    void nobodySignsInOverASession();
    void anEndedSessionNeverBecomesTheDevelopmentUser();
    void sessionsSurviveARestartUntilAllAreRevoked();
    void anotherProgramsTokenOpensNoPage();
};

void TestDevserverWebAccess::initTestCase() {
    m_person = addPerson(m_database, u"person@example.com"_s, password);
    QVERIFY(!m_person.isEmpty());
    m_database.run(u"INSERT INTO members (workspace_id, user_id) VALUES (?, ?)"_s,
                   {m_world.workspace, m_person});
}

void TestDevserverWebAccess::init() {
    m_server = std::make_unique<TestServer>();
    QVERIFY(m_server->start(m_database));
    m_database.run(
        u"UPDATE timesheet_periods SET status = 'open', version = 2 WHERE from_date = '2024-03-01'"_s);
}

QString TestDevserverWebAccess::periodOf(const QString& user, const QString& status) const {
    return m_database
        .value(u"SELECT id FROM timesheet_periods WHERE user_id = ? AND status = ?"_s, {user, status})
        .toString();
}

QString TestDevserverWebAccess::statusOf(const QString& period) const {
    return m_database.value(u"SELECT status FROM timesheet_periods WHERE id = ?"_s, {period}).toString();
}

void TestDevserverWebAccess::thePageAndItsFilesHaveAStrictPolicy_data() {
    QTest::addColumn<QString>("type");
    QTest::newRow("/") << u"text/html; charset=utf-8"_s;
    QTest::newRow("/web/style.css") << u"text/css; charset=utf-8"_s;
    QTest::newRow("/web/icon.svg") << u"image/svg+xml"_s;
    for (const char* script : {"/web/page.js", "/web/server.js", "/web/texts.js", "/web/view.js"}) {
        QTest::newRow(script) << u"text/javascript; charset=utf-8"_s;
    }
}

void TestDevserverWebAccess::thePageAndItsFilesHaveAStrictPolicy() {
    QFETCH(QString, type);
    const auto reply = httplib::Client("127.0.0.1", m_server->port()).Get(QTest::currentDataTag());
    QVERIFY(reply);
    QCOMPARE(reply->status, 200);
    QCOMPARE(QString::fromStdString(reply->get_header_value("Content-Type")), type);
    QCOMPARE(reply->get_header_value_count("Content-Security-Policy"), 1U);
    const QStringList policy =
        QString::fromStdString(reply->get_header_value("Content-Security-Policy")).split(u"; "_s);
    for (const char* rule :
         {"default-src 'none'", "script-src 'self'", "style-src 'self'", "connect-src 'self'",
          "form-action 'none'", "base-uri 'none'", "frame-ancestors 'none'"}) {
        QVERIFY2(policy.contains(QString::fromLatin1(rule)), rule);
    }
    QVERIFY(!policy.join(u' ').contains(u"unsafe"));
}

void TestDevserverWebAccess::thePageNeedsNothingFromElsewhere_data() {
    thePageAndItsFilesHaveAStrictPolicy_data();
}

void TestDevserverWebAccess::thePageNeedsNothingFromElsewhere() {
    const auto reply = httplib::Client("127.0.0.1", m_server->port()).Get(QTest::currentDataTag());
    QVERIFY(reply && !reply->body.empty());
    QString text = QString::fromStdString(reply->body);
    text.remove(u"http://www.w3.org/2000/svg"_s); // the name of a language, never loaded
    static const QRegularExpression foreign(
        u"(https?:)?//[a-z0-9]|style=|innerHTML|outerHTML|<script>| on[a-z]+=\"|@import|eval\\("_s);
    QVERIFY2(!foreign.match(text).hasMatch(), qPrintable(foreign.match(text).captured()));
}

void TestDevserverWebAccess::repliesAreForNoCacheAndNoOtherSite() {
    httplib::Client client("127.0.0.1", m_server->port());
    for (const char* path : {"/", "/web/page.js", "/web/session", "/web/timesheet", "/v1/me", "/nothing"}) {
        const auto reply = client.Get(path);
        QVERIFY(reply);
        for (const auto& [name, value] :
             {std::pair("Cache-Control", "no-store"), std::pair("Referrer-Policy", "no-referrer"),
              std::pair("X-Content-Type-Options", "nosniff"),
              std::pair("Cross-Origin-Resource-Policy", "same-origin")}) {
            QVERIFY2(reply->get_header_value_count(name) == 1 && reply->get_header_value(name) == value,
                     path);
        }
        QVERIFY(!reply->has_header("Access-Control-Allow-Origin"));
    }
}

void TestDevserverWebAccess::aCookieIsOutOfReachOfScriptsAndOtherSites() {
    WebVisitor first = visitor();
    const QStringList parts = QString::fromStdString(first.setCookieHeader()).split(u"; "_s);
    QCOMPARE(parts.mid(1), (QStringList{u"Path=/"_s, u"HttpOnly"_s, u"SameSite=Strict"_s}));
    const std::string cookie = first.cookie();
    const std::string token = first.csrfToken();
    QVERIFY(cookie.size() > 43 && token.size() >= 43);
    QCOMPARE(nameOf(first), cookieName());
    const httplib::Headers known{{"Cookie", cookie}};
    const auto again = httplib::Client("127.0.0.1", m_server->port()).Get("/web/session", known);
    QVERIFY2(again && !again->has_header("Set-Cookie"), "arriving late it would undo a sign-in");
    first.load();
    QCOMPARE(first.cookie(), cookie);
    QCOMPARE(first.csrfToken(), token);
    const WebVisitor second = visitor();
    QVERIFY(second.cookie() != cookie && second.csrfToken() != token);
}

void TestDevserverWebAccess::overTlsTheCookieNeverTravelsOpenly() {
    const Authority authority;
    QVERIFY(authority.isReady());
    TestServer server;
    QVERIFY(server.start(m_database, authority.options()));
    WebVisitor secure(server);
    secure.trust(authority.root());
    QCOMPARE(secure.load().status, 200);
    QVERIFY(QString::fromStdString(secure.setCookieHeader()).split(u"; "_s).contains(u"Secure"_s));
    QCOMPARE(secure.signIn(u"person@example.com"_s, QString::fromLatin1(password)).status, 200);
    QVERIFY(QString::fromStdString(secure.setCookieHeader()).split(u"; "_s).contains(u"Secure"_s));
    QCOMPARE(secure.signOut().status, 200);
}

// One browser opens the page both ways, on two ports of this host.
void TestDevserverWebAccess::theCookiesWithAndWithoutTlsStandBesideEachOther() {
    const Authority authority;
    QVERIFY(authority.isReady());
    TestServer server;
    QVERIFY(server.start(m_database, authority.options()));
    WebVisitor secure(server);
    secure.trust(authority.root());
    QCOMPARE(secure.load().status, 200);
    WebVisitor plain(*m_server);
    plain.setCookie(secure.cookie());
    QCOMPARE(plain.get("/web/timesheet").status, 401);
    QCOMPARE(plain.load().status, 200);
    QVERIFY(nameOf(plain) != nameOf(secure));
    QCOMPARE(nameOf(secure), "__Host-timer_page_" + std::to_string(server.port()));
    QCOMPARE(plain.get("/web/timesheet").status, 200);
    const std::string own = secure.cookie();
    secure.setCookie(plain.cookie());
    QCOMPARE(secure.get("/web/timesheet").status, 401);
    secure.setCookie(plain.cookie() + "; " + own);
    QCOMPARE(secure.get("/web/timesheet").status, 200);
}

void TestDevserverWebAccess::serversOnTwoPortsKeepTheirOwnSessions_data() {
    QTest::addColumn<bool>("tls");
    QTest::newRow("http") << false;
    QTest::newRow("https") << true;
}

// One browser has one jar for both.
void TestDevserverWebAccess::serversOnTwoPortsKeepTheirOwnSessions() {
    QFETCH(bool, tls);
    const Authority authority;
    QVERIFY(authority.isReady());
    TestServer one;
    TestServer other;
    const QStringList options = tls ? authority.options() : QStringList();
    QVERIFY(one.start(m_database, options) && other.start(m_database, options));
    WebVisitor person(one);
    WebVisitor developer(other);
    person.trust(authority.root());
    developer.trust(authority.root());
    QCOMPARE(person.load().status, 200);
    QCOMPARE(person.signIn(u"person@example.com"_s, QString::fromLatin1(password)).status, 200);
    developer.setCookie(person.cookie());
    QCOMPARE(developer.load().status, 200);
    QVERIFY2(nameOf(developer) != nameOf(person), "the one sign-in took the other's place");
    const std::string jar = person.cookie() + "; " + developer.cookie();
    person.setCookie(jar);
    developer.setCookie(jar);
    const auto userOf = [](WebVisitor& visitor) {
        return visitor.get("/web/timesheet").body[u"user"][u"id"].toString();
    };
    QCOMPARE(userOf(person), m_person);
    QCOMPARE(userOf(developer), m_world.developer);
    QCOMPARE(developer.signOut().status, 200);
    QCOMPARE(userOf(person), m_person);
}

void TestDevserverWebAccess::aVisitorWithoutASignInIsTheDevelopmentUser() {
    WebVisitor page = visitor();
    const Reply reply = page.get("/web/timesheet");
    QCOMPARE(reply.status, 200);
    const QJsonObject user = reply.body.value(u"user").toObject();
    QCOMPARE(user.value(u"id"), m_world.developer);
    QCOMPARE(user.value(u"auth_mode"), u"development"_s);
}

void TestDevserverWebAccess::withoutACookieNothingIsShownOrChanged() {
    WebVisitor page(*m_server);
    const QString period = periodOf(m_world.developer, u"open"_s);
    for (const Reply& reply : {page.get("/web/timesheet"), page.get("/web/periods/" + period.toStdString()),
                               page.post(submitPath(period), {{u"version"_s, 2}})}) {
        QCOMPARE(reply.status, 401);
        QCOMPARE(reply.errorCode(), u"session_ended"_s);
    }
    const std::string secret(43, 'A');
    for (const std::string& cookie :
         {std::string("nonsense"), std::string("anonymous."), "anonymous." + secret.substr(1),
          "anonymous." + secret + 'A', "anonymous." + secret.substr(1) + '+',
          "anonymous." + secret.substr(1) + '='}) {
        page.setCookie(cookieName() + '=' + cookie);
        QCOMPARE(page.get("/web/timesheet").status, 401);
    }
    QCOMPARE(statusOf(period), u"open"_s);
}

void TestDevserverWebAccess::changesComeFromTheOwnPageAlone_data() {
    QTest::addColumn<QString>("header");
    QTest::addColumn<QString>("value");
    QTest::addColumn<int>("status");
    QTest::newRow("as the page does") << QString() << QString() << 200;
    QTest::newRow("no fetch metadata") << u"Sec-Fetch-Site"_s << QString() << 200;
    QTest::newRow("no origin") << u"Origin"_s << QString() << 200;
    QTest::newRow("no token") << u"X-CSRF-Token"_s << QString() << 403;
    QTest::newRow("a wrong token") << u"X-CSRF-Token"_s << QString(43, u'A') << 403;
    QTest::newRow("another visitor's token") << u"X-CSRF-Token"_s << u"theirs"_s << 403;
    QTest::newRow("another site") << u"Origin"_s << u"http://attacker.example"_s << 403;
    QTest::newRow("another port") << u"Origin"_s << u"http://127.0.0.1:1"_s << 403;
    QTest::newRow("a sandboxed frame") << u"Origin"_s << u"null"_s << 403;
    QTest::newRow("cross-site") << u"Sec-Fetch-Site"_s << u"cross-site"_s << 403;
    QTest::newRow("same-site") << u"Sec-Fetch-Site"_s << u"same-site"_s << 403;
    QTest::newRow("a form") << u"Content-Type"_s << u"text/plain"_s << 415;
}

void TestDevserverWebAccess::changesComeFromTheOwnPageAlone() {
    QFETCH(QString, header);
    QFETCH(QString, value);
    QFETCH(int, status);
    WebVisitor page = visitor();
    const QString period = periodOf(m_world.developer, u"open"_s);
    httplib::Headers headers{{"Content-Type", "application/json"},
                             {"X-CSRF-Token", page.csrfToken()},
                             {"Origin", page.origin()},
                             {"Sec-Fetch-Site", "same-origin"}};
    if (!header.isEmpty()) {
        headers.erase(header.toStdString());
        const std::string given = value == u"theirs" ? visitor().csrfToken() : value.toStdString();
        if (!given.empty()) {
            headers.emplace(header.toStdString(), given);
        }
    }
    const QJsonObject credentials{{u"email"_s, u"person@example.com"_s},
                                  {u"password"_s, QString::fromLatin1(password)}};
    const QJsonObject week{{u"workspace_id"_s, m_world.workspace}, {u"date"_s, u"2023-01-02"_s}};
    if (status != 200) {
        const QVariant sessions = m_database.value(u"SELECT COUNT(*) FROM sessions"_s);
        QCOMPARE(page.postWith("/web/session", credentials, headers).status, status);
        QCOMPARE(page.postWith("/web/session/end", {}, headers).status, status);
        QCOMPARE(page.postWith("/web/periods", week, headers).status, status);
        QCOMPARE(m_database.value(u"SELECT COUNT(*) FROM sessions"_s), sessions);
        QCOMPARE(m_database.value(u"SELECT COUNT(*) FROM timesheet_periods WHERE from_date < '2024'"_s), 0);
    }
    const Reply reply = page.postWith(submitPath(period), {{u"version"_s, 2}}, headers);
    QCOMPARE(reply.status, status);
    QCOMPARE(statusOf(period), status == 200 ? u"submitted"_s : u"open"_s);
    if (status == 403) {
        QCOMPARE(reply.errorCode(), u"foreign_request"_s);
    }
}

void TestDevserverWebAccess::aSignedInVisitorIsTheAccountAlone() {
    WebVisitor page = visitor();
    QCOMPARE(page.signIn(u" Person@Example.com"_s, QString::fromLatin1(password)).status, 200);
    const Reply reply = page.get("/web/timesheet");
    const QJsonObject user = reply.body.value(u"user").toObject();
    QCOMPARE(user.value(u"id"), m_person);
    QCOMPARE(user.value(u"auth_mode"), u"session"_s);
    const QString theirs = periodOf(m_world.developer, u"open"_s);
    QVERIFY(reply.text.find(theirs.toStdString()) == std::string::npos);
    QCOMPARE(page.get("/web/periods/" + theirs.toStdString()).status, 404);
    QCOMPARE(page.post(submitPath(theirs), {{u"version"_s, 2}}).status, 404);
    QCOMPARE(statusOf(theirs), u"open"_s);
}

void TestDevserverWebAccess::theDevelopmentUsersTokenIsWorthNothingToAnAccount() {
    WebVisitor page = visitor();
    const std::string anonymousCookie = page.cookie();
    const std::string anonymousToken = page.csrfToken();
    QCOMPARE(page.signIn(u"person@example.com"_s, QString::fromLatin1(password)).status, 200);
    QVERIFY(page.csrfToken() != anonymousToken);
    const QJsonObject week{{u"workspace_id"_s, m_world.workspace}, {u"date"_s, u"2023-01-02"_s}};
    const httplib::Headers stale{{"Content-Type", "application/json"}, {"X-CSRF-Token", anonymousToken}};
    QCOMPARE(page.postWith("/web/periods", week, stale).status, 403);
    const httplib::Headers fresh{{"Content-Type", "application/json"}, {"X-CSRF-Token", page.csrfToken()}};
    page.setCookie(anonymousCookie);
    QCOMPARE(page.postWith("/web/periods", week, fresh).status, 403);
    QCOMPARE(m_database.value(u"SELECT COUNT(*) FROM timesheet_periods WHERE from_date < '2024'"_s), 0);
}

void TestDevserverWebAccess::signingInGivesANewCookieAndKeepsNoSecret() {
    WebVisitor page = visitor();
    const std::string before = page.cookie();
    QCOMPARE(page.signIn(u"person@example.com"_s, QString::fromLatin1(password)).status, 200);
    QVERIFY(page.cookie() != before);
    const QByteArray token = QByteArray::fromStdString(page.cookie().substr(page.cookie().find('.') + 1));
    QVERIFY(token.size() >= 43);
    QCOMPARE(m_database
                     .value(u"SELECT COUNT(*) FROM sessions WHERE user_id = ? AND client = 'web'"
                            " AND revoked_at IS NULL AND created_at > 0"_s,
                            {m_person})
                     .toInt() > 0,
             true);
    const QByteArray kept = contentsOf(m_database);
    QVERIFY(kept.contains("person@example.com"));
    QVERIFY(!kept.contains(token) && !kept.contains(password));
    QVERIFY(!kept.contains(QByteArray::fromStdString(page.csrfToken())));
}

void TestDevserverWebAccess::thePagesCookieOpensNothingElse() {
    WebVisitor page = visitor();
    QCOMPARE(page.signIn(u"person@example.com"_s, QString::fromLatin1(password)).status, 200);
    const QByteArray cookie = QByteArray::fromStdString(page.cookie().substr(page.cookie().find('=') + 1));
    for (const QByteArray& token : {cookie, cookie.mid(cookie.indexOf('.') + 1)}) {
        const Reply reply = TestClient(m_server->port(), token).get("/v1/me");
        QCOMPARE(reply.status, 401);
        QCOMPARE(reply.errorCode(), u"unauthorized"_s);
    }
    QCOMPARE(page.get("/web/timesheet").status, 200);
}

void TestDevserverWebAccess::signingOutEndsTheSession() {
    WebVisitor page = visitor();
    QCOMPARE(page.signIn(u"person@example.com"_s, QString::fromLatin1(password)).status, 200);
    const std::string account = page.cookie();
    QCOMPARE(page.signOut().status, 200);
    QVERIFY(page.cookie() != account);
    QCOMPARE(page.get("/web/timesheet").body.value(u"user").toObject().value(u"id"), m_world.developer);
    page.setCookie(account);
    QCOMPARE(page.get("/web/timesheet").status, 401);
}

void TestDevserverWebAccess::wrongPasswordsChangeNothing() {
    WebVisitor page = visitor();
    const std::string before = page.cookie();
    const Reply reply = page.signIn(u"person@example.com"_s, u"wrong"_s);
    QCOMPARE(reply.status, 401);
    QCOMPARE(reply.errorCode(), u"wrong_credentials"_s);
    QCOMPARE(page.cookie(), before);
    QCOMPARE(page.post("/web/session", {{u"email"_s, 1}}).status, 422);
    QCOMPARE(page.get("/web/timesheet").body.value(u"user").toObject().value(u"id"), m_world.developer);
}

void TestDevserverWebAccess::nobodySignsInOverASession() {
    WebVisitor page = visitor();
    QCOMPARE(page.signIn(u"person@example.com"_s, QString::fromLatin1(password)).status, 200);
    const std::string cookie = page.cookie();
    const Reply again = page.signIn(u"person@example.com"_s, QString::fromLatin1(password));
    QCOMPARE(again.status, 409);
    QCOMPARE(again.errorCode(), u"signed_in"_s);
    QCOMPARE(page.cookie(), cookie);
    QCOMPARE(page.get("/web/timesheet").status, 200);
}

void TestDevserverWebAccess::anEndedSessionNeverBecomesTheDevelopmentUser() {
    WebVisitor page = visitor();
    QCOMPARE(page.signIn(u"person@example.com"_s, QString::fromLatin1(password)).status, 200);
    m_database.run(u"UPDATE sessions SET revoked_at = 1 WHERE user_id = ?"_s, {m_person});
    const QString period = periodOf(m_world.developer, u"open"_s);
    QCOMPARE(page.get("/web/timesheet").status, 401);
    QCOMPARE(page.post(submitPath(period), {{u"version"_s, 2}}).status, 401);
    QCOMPARE(statusOf(period), u"open"_s);
    const std::string ended = page.cookie();
    QCOMPARE(page.load().body.value(u"session_ended"), true);
    QVERIFY(page.cookie() != ended);
    QCOMPARE(page.load().body.value(u"session_ended"), false);
}

void TestDevserverWebAccess::sessionsSurviveARestartUntilAllAreRevoked() {
    WebVisitor page = visitor();
    QCOMPARE(page.signIn(u"person@example.com"_s, QString::fromLatin1(password)).status, 200);
    const std::string session = page.cookie().substr(page.cookie().find('='));
    for (const auto& [options, status] :
         {std::pair(QStringList(), 200), std::pair(QStringList{u"--revoke-sessions"_s}, 401)}) {
        m_server = std::make_unique<TestServer>();
        QVERIFY(m_server->start(m_database, options));
        WebVisitor again(*m_server);
        again.setCookie(cookieName() + session); // the test's servers take a free port each time
        QCOMPARE(again.get("/web/timesheet").status, status);
        const httplib::Headers stale{{"Content-Type", "application/json"},
                                     {"X-CSRF-Token", page.csrfToken()}};
        QCOMPARE(again.postWith("/web/periods", {}, stale).status, status == 200 ? 403 : 401);
    }
}

void TestDevserverWebAccess::anotherProgramsTokenOpensNoPage() {
    TestClient program(m_server->port());
    const Reply entered = signIn(program, u"person@example.com"_s, QString::fromLatin1(password));
    const std::string token = entered.body.value(u"session_token").toString().toStdString();
    QVERIFY(!token.empty());
    WebVisitor page = visitor();
    for (const std::string& prefix : {std::string(), std::string("account.")}) {
        page.setCookie(cookieName() + '=' + prefix + token);
        QCOMPARE(page.get("/web/timesheet").status, 401);
    }
}

QTEST_GUILESS_MAIN(TestDevserverWebAccess)
#include "webaccess.moc"
