// SPDX-License-Identifier: MIT
#include "tests/controller/accountserver.h"
#include "tests/support/authority.h"
#include "tests/support/client.h"
#include "tests/support/filesearch.h"
#include "tests/support/vaultfile.h"

#include <QSslCertificate>
#include <QSslConfiguration>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString connected = u"Connected to PostgreSQL"_s;
const QString signedOut = u"Signed out. No private developer fallback was opened automatically."_s;

} // namespace

/// Signing in and out at the real server, over plain HTTP on loopback and over TLS.
class AccountServerTest : public QObject {
    Q_OBJECT

    Authority m_authority;

    [[nodiscard]] std::unique_ptr<AccountServer> desk() const;
    static void transports();

private Q_SLOTS:
    void initTestCase();
    void init() { startClean(); }
    void signInSurvivesRestartsOfBothSides_data() { transports(); }
    void signInSurvivesRestartsOfBothSides();
    void signOutEndsTheSessionOnTheServer_data() { transports(); }
    void signOutEndsTheSessionOnTheServer();
    void signOutOfASessionThatTheServerHasEnded_data() { transports(); }
    void signOutOfASessionThatTheServerHasEnded();
    void signOutWithoutAServerKeepsTheAccount_data() { transports(); }
    void signOutWithoutAServerKeepsTheAccount();
    void sessionThatCannotBeStoredIsDeadOnTheServer_data() { transports(); }
    void sessionThatCannotBeStoredIsDeadOnTheServer();
    void guessesAreRefusedInTheServersWords_data() { transports(); }
    void guessesAreRefusedInTheServersWords();
    void accountChangedBehindAQueueKeepsTheQueue_data() { transports(); }
    void accountChangedBehindAQueueKeepsTheQueue();
    void neitherPasswordNorTokenIsInAnyFile_data() { transports(); }
    void neitherPasswordNorTokenIsInAnyFile();
    void untrustedCertificateGetsNoPassword();
};

void AccountServerTest::transports() {
    QTest::addColumn<bool>("secure");
    QTest::newRow("http") << false;
    QTest::newRow("https") << true;
}

void AccountServerTest::initTestCase() {
    QVERIFY(m_authority.isReady());
    QSslConfiguration trust = QSslConfiguration::defaultConfiguration();
    trust.addCaCertificates(QSslCertificate::fromPath(m_authority.root()));
    QSslConfiguration::setDefaultConfiguration(trust);
}

std::unique_ptr<AccountServer> AccountServerTest::desk() const {
    QFETCH(const bool, secure);
    return std::make_unique<AccountServer>(secure ? m_authority.options() : QStringList());
}

void AccountServerTest::signInSurvivesRestartsOfBothSides() {
    const auto desk = this->desk();
    QVERIFY(desk->start());
    QFETCH(const bool, secure);
    QCOMPARE(desk->url().startsWith(u"https://127.0.0.1:"), secure);
    QCOMPARE(desk->controller->accountName(), u"developer@localhost"_s);
    QVERIFY(desk->signIn(u"  DANA@Example.org "_s));
    QCOMPARE(desk->controller->message(), connected);
    QCOMPARE(desk->controller->accountName(), AccountServer::dana());
    QVERIFY(desk->record(u"Dana's work"_s));

    desk->restartClient();
    QVERIFY(desk->server.stop());
    QVERIFY(desk->server.start());
    QVERIFY(connectAndLoad(*desk->controller, desk->url()));
    QVERIFY(desk->controller->accountSignedIn());
    QCOMPARE(desk->controller->accountName(), AccountServer::dana());
    QVERIFY(!listedEntry(*desk->controller, u"description"_s, u"Dana's work"_s).isEmpty());
    QVERIFY(desk->record(u"Dana's later work"_s));
    QCOMPARE(desk->ownerOf(u"Dana's later work"_s), AccountServer::dana());
    QCOMPARE(desk->sessions(), 1);
}

void AccountServerTest::signOutEndsTheSessionOnTheServer() {
    const auto desk = this->desk();
    QVERIFY(desk->start());
    QVERIFY(desk->signIn(AccountServer::dana()));
    QCOMPARE(desk->openSessions(), 1);
    const QString token = desk->token();
    QCOMPARE(desk->server.request("GET", u"/me"_s, {}, {}, token).status, 200);
    QVERIFY(desk->signOut());
    QCOMPARE(desk->controller->message(), signedOut);
    QCOMPARE(desk->openSessions(), 0);
    QCOMPARE(desk->server.request("GET", u"/me"_s, {}, {}, token).status, 401);

    desk->restartClient();
    desk->controller->connectServer(desk->url());
    QTRY_COMPARE(desk->controller->message(),
                 u"Signed out. Use personal login, or explicitly reconnect for private development."_s);
    QVERIFY(waitForSilence(*desk->controller));
    QVERIFY(desk->controller->accountName().isEmpty());
    QVERIFY(connectAndLoad(*desk->controller, desk->url()));
    QCOMPARE(desk->controller->accountName(), u"developer@localhost"_s);
    QVERIFY(!desk->controller->accountSignedIn());
}

void AccountServerTest::signOutOfASessionThatTheServerHasEnded() {
    const auto desk = this->desk();
    QVERIFY(desk->start());
    QVERIFY(desk->signIn(AccountServer::dana()));
    QVERIFY(desk->server.stop());
    QVERIFY(desk->server.start({u"--revoke-sessions"_s}));
    desk->controller->connectServer(desk->url());
    QTRY_COMPARE(
        desk->controller->message(),
        u"Session unavailable or revoked. Cached work retained; no developer fallback was attempted."_s);
    QVERIFY(desk->controller->accountSignedIn());
    QVERIFY(desk->signOut());
    QCOMPARE(desk->controller->message(), signedOut);
}

void AccountServerTest::signOutWithoutAServerKeepsTheAccount() {
    const auto desk = this->desk();
    QVERIFY(desk->start());
    QVERIFY(desk->signIn(AccountServer::dana()));
    const QJsonObject before = desk->controller->durableState();
    desk->server.kill();
    desk->controller->logoutAccount();
    QTRY_COMPARE(desk->controller->message(),
                 u"Logout not confirmed; account and protected cache retained"_s);
    QVERIFY(!desk->controller->busy());
    QCOMPARE(desk->controller->durableState(), before);
    QVERIFY(desk->server.start());
    QCOMPARE(desk->openSessions(), 1);
    QVERIFY(desk->record(u"Dana's work"_s));
    QCOMPARE(desk->ownerOf(u"Dana's work"_s), AccountServer::dana());
}

void AccountServerTest::sessionThatCannotBeStoredIsDeadOnTheServer() {
    const auto desk = this->desk();
    QVERIFY(desk->start());
    const QJsonObject before = desk->controller->durableState();
    const QByteArray stored = sealedRecord(desk->url());
    {
        const SaveBlocker blocker(desk->url());
        desk->controller->loginAccount(AccountServer::dana(), AccountServer::password());
        QTRY_COMPARE(desk->controller->message(),
                     u"The new session could not be saved securely; previous account retained"_s);
        QVERIFY(waitForSilence(*desk->controller));
    }
    QCOMPARE(desk->sessions(), 1);
    QCOMPARE(desk->openSessions(), 0);
    QVERIFY(!desk->controller->accountSignedIn());
    QCOMPARE(desk->controller->durableState(), before);
    QCOMPARE(sealedRecord(desk->url()), stored);
    QVERIFY(desk->record(u"The developer's work"_s));
    QCOMPARE(desk->ownerOf(u"The developer's work"_s), u"developer@localhost"_s);
}

void AccountServerTest::guessesAreRefusedInTheServersWords() {
    const auto desk = this->desk();
    QVERIFY(desk->start());
    const QJsonObject before = desk->controller->durableState();
    for (int i = 0; i < 10; ++i) {
        desk->controller->loginAccount(AccountServer::dana(), u"guess %1"_s.arg(i));
        QVERIFY(desk->controller->busy());
        QTRY_COMPARE(desk->controller->message(), u"The e-mail address or the password is wrong."_s);
        QTRY_VERIFY(!desk->controller->busy());
    }
    desk->controller->loginAccount(AccountServer::dana(), AccountServer::password());
    QTRY_COMPARE(desk->controller->message(),
                 u"Too many sign-ins have failed; wait ten minutes and try again."_s);
    QCOMPARE(desk->controller->durableState(), before);
    QCOMPARE(desk->sessions(), 0);
}

void AccountServerTest::accountChangedBehindAQueueKeepsTheQueue() {
    const auto desk = this->desk();
    QVERIFY(desk->start());
    QVERIFY(desk->signIn(AccountServer::dana()));
    desk->server.kill();
    desk->controller->addManual(u"Dana's work"_s, {}, u"2026-03-02T10:00:00Z"_s, u"2026-03-02T11:00:00Z"_s,
                                false);
    QVERIFY(waitForSilence(*desk->controller));
    QCOMPARE(desk->controller->pending(), 1);
    const QJsonArray queue = queueOf(*desk->controller);
    desk->database(u"UPDATE sessions SET user_id = (SELECT id FROM users WHERE email = ?)"_s,
                   {AccountServer::eli()});
    QVERIFY(desk->server.start());

    desk->controller->synchronize();
    QTRY_COMPARE(desk->controller->message(), u"Account changed; queued work was NOT reassigned."_s);
    QVERIFY(waitForSilence(*desk->controller));
    QCOMPARE(queueOf(*desk->controller), queue);
    QCOMPARE(desk->database(u"SELECT COUNT(*) FROM time_entries"_s).toInt(), 0);
    QCOMPARE(desk->database(u"SELECT COUNT(*) FROM mutations"_s).toInt(), 0);

    // Back under its own account the work arrives.
    desk->database(u"UPDATE sessions SET user_id = (SELECT id FROM users WHERE email = ?)"_s,
                   {AccountServer::dana()});
    desk->controller->synchronize();
    QTRY_COMPARE(desk->controller->pending(), 0);
    QCOMPARE(desk->ownerOf(u"Dana's work"_s), AccountServer::dana());
}

void AccountServerTest::neitherPasswordNorTokenIsInAnyFile() {
    const auto desk = this->desk();
    QVERIFY(desk->start());
    desk->controller->loginAccount(AccountServer::dana(), u"a guess at the password"_s);
    QTRY_COMPARE(desk->controller->message(), u"The e-mail address or the password is wrong."_s);
    QVERIFY(desk->signIn(AccountServer::dana()));
    QVERIFY(desk->record(u"Dana's work"_s));
    const QString token = desk->token();
    QVERIFY(!token.isEmpty());
    for (const bool running : {true, false}) {
        // The server's database lies in the temporary folder.
        for (const QString& folder : {QDir::homePath(), QDir::tempPath()}) {
            QCOMPARE(filesThatHold(AccountServer::password(), folder), QStringList());
            QCOMPARE(filesThatHold(u"a guess at the password"_s, folder), QStringList());
            QCOMPARE(filesThatHold(token, folder), QStringList());
        }
        QVERIFY2(filesThatHold(u"Dana's work"_s, QDir::homePath()).isEmpty(), "the vault is not sealed");
        QVERIFY2(!filesThatHold(u"Dana's work"_s, QDir::tempPath()).isEmpty(), "the search finds nothing");
        if (running) {
            desk->controller.reset();
            QVERIFY(desk->server.stop());
        }
    }
}

void AccountServerTest::untrustedCertificateGetsNoPassword() {
    QStringList told;
    const Authority stranger;
    QVERIFY(stranger.isReady());
    AccountServer desk(stranger.options());
    QVERIFY(desk.serve());
    desk.controller->connectServer(desk.server.url());
    QTRY_COMPARE(
        desk.controller->message(),
        u"Session unavailable or revoked. Cached work retained; no developer fallback was attempted."_s);
    int status = -1;
    desk.controller->send("GET", u"/me"_s, {}, [&status](const QJsonObject&, int code) { status = code; });
    QTRY_COMPARE(status, 0);
    // The periodic search for the server may be at it, and may speak next.
    QTRY_VERIFY(!desk.controller->busy());
    connect(desk.controller.get(), &Controller::changed, this,
            [&] { told.append(desk.controller->message()); });
    desk.controller->loginAccount(AccountServer::dana(), AccountServer::password());
    QTRY_VERIFY(told.contains(u"Personal sign-in failed"_s));
    QVERIFY(!desk.controller->accountSignedIn());
    QCOMPARE(desk.sessions(), 0);
}

QTEST_MAIN(AccountServerTest)
#include "accountsatserver.moc"
