// SPDX-License-Identifier: MIT
#include "devserver/demo/demo.h"
#include "tests/devserver/authfixture.h"

#include <QFile>
#include <QTest>
#include <QVariant>

#include <sodium.h>

using namespace Qt::StringLiterals;

namespace {

const QString email = u"dana@example.com"_s;
const QString password = u"correct horse battery staple"_s;

QByteArray enter(const TestServer& server) {
    TestClient http(server.port());
    return signIn(http, email, password).body.value(u"session_token").toString().toLatin1();
}

// Nobody has signed in without a token: the server would answer for the development user.
int statusOfMe(const TestServer& server, const QByteArray& token) {
    return token.isEmpty() ? 0 : TestClient(server.port(), token).get("/v1/me").status;
}

} // namespace

/// What becomes of sessions and passwords from one start to the next.
class TestDevserverSessions : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(sodium_init() >= 0); }
    void aSessionSurvivesARestart();
    void allCanBeEndedAtAStart();
    void neitherPasswordNorTokenIsKept();
    void theDemosPeopleCanSignIn();
    void anOlderDemoGetsItsPasswords();
    void ownWorkGetsNoDemoAccounts();
    void theReadmeNamesTheDemosPasswords();
};

void TestDevserverSessions::aSessionSurvivesARestart() {
    const TestDatabase database;
    const World world(database);
    addPerson(database, email, password.toUtf8());
    TestServer server;
    QVERIFY(server.start(database));
    const QByteArray token = enter(server);
    QVERIFY(server.kill());
    QVERIFY(server.start(database));
    QCOMPARE(server.announced(), QByteArray());
    QCOMPARE(statusOfMe(server, token), 200);
}

void TestDevserverSessions::allCanBeEndedAtAStart() {
    const TestDatabase database;
    const World world(database);
    addPerson(database, email, password.toUtf8());
    TestServer server;
    QVERIFY(server.start(database));
    const QByteArray token = enter(server);
    QVERIFY(server.terminate());
    QVERIFY(server.start(database, {u"--revoke-sessions"_s}));
    QCOMPARE(server.announced(), "Sessions ended: 2\n"); // this one and the world's other user's
    QCOMPARE(statusOfMe(server, token), 401);
    QCOMPARE(statusOfMe(server, world.otherToken), 401);
    const QByteArray fresh = enter(server);
    QCOMPARE(statusOfMe(server, fresh), 200);
    QVERIFY(server.terminate());
    QVERIFY(server.start(database));
    QCOMPARE(statusOfMe(server, token), 401);
    QCOMPARE(statusOfMe(server, fresh), 200);
    QVERIFY(server.terminate());
    QCOMPARE(
        database
            .value(u"SELECT revoked_at FROM sessions WHERE user_id = ? AND revoked_at = 5"_s, {world.other})
            .toInt(),
        5); // what had ended before keeps its time
}

void TestDevserverSessions::neitherPasswordNorTokenIsKept() {
    const TestDatabase database;
    const World world(database);
    addPerson(database, email, password.toUtf8());
    TestServer server;
    server.process().setProcessChannelMode(QProcess::MergedChannels);
    QVERIFY(server.start(database));
    const QByteArray token = enter(server);
    TestClient http(server.port());
    QCOMPARE(signIn(http, email, u"another guess at it"_s).status, 401);
    QCOMPARE(statusOfMe(server, token), 200);
    for (const bool running : {true, false}) {
        const QByteArray kept = contentsOf(database);
        QVERIFY2(kept.contains(email.toUtf8()), "the search finds nothing at all");
        QVERIFY(!kept.contains(password.toUtf8()));
        QVERIFY(!kept.contains("another guess at it"));
        QVERIFY(!kept.contains(token));
        QVERIFY(!kept.contains(QByteArray::fromBase64(token, QByteArray::Base64UrlEncoding)));
        QVERIFY(!running || server.terminate());
    }
    QCOMPARE(server.process().readAll(), QByteArray());
}

void TestDevserverSessions::theDemosPeopleCanSignIn() {
    const TestDatabase database;
    for (int start = 0; start < 2; ++start) {
        TestServer server;
        QVERIFY(server.start(database, {u"--demo"_s}));
        QCOMPARE(server.announced(), devserver::demoAccountLines());
        QCOMPARE(server.announced().count('\n'), 2);
        for (const auto& account : {devserver::demoOwner, devserver::demoColleague}) {
            QVERIFY(server.announced().contains(account.email.toUtf8() + ", password " + account.password));
            TestClient http(server.port());
            const Reply reply = signIn(http, account.email, QString::fromUtf8(account.password));
            QCOMPARE(reply.status, 200);
            const auto token = reply.body.value(u"session_token").toString().toLatin1();
            const QJsonObject me = TestClient(server.port(), token).get("/v1/me").body;
            QCOMPARE(me.value(u"email"), account.email);
        }
    }
    QCOMPARE(database.value(u"SELECT COUNT(*) FROM users WHERE password_hash LIKE '$argon2id$%m=262144,%'"_s),
             2);
}

void TestDevserverSessions::anOlderDemoGetsItsPasswords() {
    const TestDatabase database;
    TestServer server;
    QVERIFY(server.start(database, {u"--demo"_s}));
    QVERIFY(server.terminate());
    database.run(u"UPDATE users SET password_hash = NULL"_s);
    QVERIFY(server.start(database, {u"--demo"_s}));
    TestClient http(server.port());
    QCOMPARE(
        signIn(http, devserver::demoColleague.email, QString::fromUtf8(devserver::demoColleague.password))
            .status,
        200);
}

void TestDevserverSessions::ownWorkGetsNoDemoAccounts() {
    const TestDatabase database;
    const World world(database);
    addPerson(database, devserver::demoColleague.email, {});
    TestServer server;
    QVERIFY(server.start(database, {u"--demo"_s}));
    QCOMPARE(server.announced(), QByteArray());
    QCOMPARE(database.value(u"SELECT COUNT(*) FROM users WHERE password_hash IS NOT NULL"_s).toInt(), 0);
}

void TestDevserverSessions::theReadmeNamesTheDemosPasswords() {
    QFile readme(QStringLiteral(README));
    QVERIFY(readme.open(QIODevice::ReadOnly));
    const QByteArray text = readme.readAll();
    for (const auto& account : {devserver::demoOwner, devserver::demoColleague}) {
        QVERIFY(text.contains('`' + account.email.toUtf8() + '`'));
        QVERIFY(text.contains('`' + account.password + '`'));
    }
}

QTEST_GUILESS_MAIN(TestDevserverSessions)
#include "sessions.moc"
