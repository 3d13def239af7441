// SPDX-License-Identifier: MIT
#include "tests/devserver/authfixture.h"

#include <QDateTime>
#include <QJsonArray>
#include <QRegularExpression>
#include <QTest>
#include <QVariant>

#include <array>
#include <atomic>
#include <memory>
#include <thread>

#include <sodium.h>

using namespace Qt::StringLiterals;

namespace {

const QString dana = u"Dana@Example.com"_s;
const QString eli = u"\u00c9li@\u05d3\u05d5\u05d2\u05de\u05d4.example"_s;
const QString password = u"p\u05d0ss \"word\""_s;
const QString wrong = u"p\u05d0ss \"words"_s;
const QString tooMany = u"too_many_failures"_s;

QByteArray tokenOf(const Reply& reply) {
    return reply.body.value(u"session_token").toString().toLatin1();
}

} // namespace

/// Signing in and out, and what is answered to guesses.
class TestDevserverAuth : public QObject {
    Q_OBJECT

    TestDatabase m_database;
    World m_world{m_database};
    std::unique_ptr<TestServer> m_server;
    QString m_dana;

    [[nodiscard]] TestClient client(const QByteArray& token = {}) const {
        return TestClient(m_server->port(), token);
    }
    /// The session token.
    [[nodiscard]] QByteArray enter(const QString& email = dana) const;
    /// 0 without a token: the server would answer for the development user.
    [[nodiscard]] int statusOfMe(const QByteArray& token) const {
        return token.isEmpty() ? 0 : client(token).get("/v1/me").status;
    }

private Q_SLOTS:
    void initTestCase();
    void init();
    void signInOpensASession();
    void blanksAndLetterCaseOfTheAddressDoNotMatter_data();
    void blanksAndLetterCaseOfTheAddressDoNotMatter();
    void blanksAndLetterCaseOfThePasswordMatter();
    void eachSignInIsASessionOfItsOwn();
    void everyRefusalLooksTheSame();
    void malformedSignInsAreRefused_data();
    void malformedSignInsAreRefused();
    void signOutEndsThisSessionAlone();
    void signOutNeedsAnEmptyQueue_data();
    void signOutNeedsAnEmptyQueue();
    void theDevelopmentUserCannotSignOut();
    void tenFailuresOfAnAccountCloseItForAWhile_data();
    void tenFailuresOfAnAccountCloseItForAWhile();
    void tenFailuresFromAnAddressCloseItForAWhile();
    void aSuccessForgivesNothing();
    void signInsAtTheSameMomentShareTheMemoryOfOne();
    void aRefusalNeedsNoPlaceAmongTheWriters();
    void aDamagedHashIsAFailureOfTheServer();
};

QByteArray TestDevserverAuth::enter(const QString& email) const {
    TestClient http = client();
    return tokenOf(signIn(http, email, password));
}

void TestDevserverAuth::initTestCase() {
    QVERIFY(sodium_init() >= 0);
    m_dana = addPerson(m_database, dana, password.toUtf8());
    QVERIFY(!addPerson(m_database, eli, password.toUtf8()).isEmpty());
}

void TestDevserverAuth::init() {
    m_server = std::make_unique<TestServer>(); // which has seen no failure
    QVERIFY(m_server->start(m_database));
}

void TestDevserverAuth::signInOpensASession() {
    const auto before = QDateTime::currentSecsSinceEpoch();
    TestClient http = client();
    const Reply reply = signIn(http, dana, password);
    QCOMPARE(reply.status, 200);
    QCOMPARE(reply.body.keys(), (QStringList{u"session"_s, u"session_token"_s}));
    const QJsonObject session = reply.body.value(u"session").toObject();
    QCOMPARE(session.keys(),
             (QStringList{u"client"_s, u"created_at"_s, u"device_name"_s, u"id"_s, u"user_id"_s}));
    QCOMPARE(session.value(u"user_id"), m_dana);
    QCOMPARE(session.value(u"client"), u"native"_s);
    QCOMPARE(session.value(u"device_name"), u"A desk"_s);
    const QString created = session.value(u"created_at").toString();
    QVERIFY(created.endsWith(u'Z'));
    QVERIFY(QDateTime::fromString(created, Qt::ISODate).toSecsSinceEpoch() >= before);

    const QByteArray token = tokenOf(reply);
    QVERIFY2(QRegularExpression(u"\\A[A-Za-z0-9_-]{43}\\z"_s).match(QString::fromLatin1(token)).hasMatch(),
             "256 bits in base64url without padding");
    const Reply me = client(token).get("/v1/me");
    QCOMPARE(me.body.value(u"id"), m_dana);
    QCOMPARE(me.body.value(u"auth_mode"), u"session"_s);
    QCOMPARE(m_database
                 .value(u"SELECT COUNT(*) FROM sessions WHERE id = ? AND user_id = ? AND client = 'native'"
                        " AND device_name = 'A desk' AND revoked_at IS NULL"_s,
                        {session.value(u"id").toString(), m_dana})
                 .toInt(),
             1);
}

void TestDevserverAuth::blanksAndLetterCaseOfTheAddressDoNotMatter_data() {
    QTest::addColumn<QString>("typed");
    QTest::newRow("as stored") << dana;
    QTest::newRow("lower case") << u"dana@example.com"_s;
    QTest::newRow("upper case") << u"DANA@EXAMPLE.COM"_s;
    QTest::newRow("blanks around") << u" \tdana@example.com\u00a0\n"_s;
    QTest::newRow("not ASCII") << u"\u00e9LI@\u05d3\u05d5\u05d2\u05de\u05d4.Example"_s;
}

void TestDevserverAuth::blanksAndLetterCaseOfTheAddressDoNotMatter() {
    QFETCH(const QString, typed);
    QCOMPARE(statusOfMe(enter(typed)), 200);
}

void TestDevserverAuth::blanksAndLetterCaseOfThePasswordMatter() {
    TestClient http = client();
    QCOMPARE(signIn(http, dana, password.toUpper()).status, 401);
    QCOMPARE(signIn(http, dana, u' ' + password).status, 401);
    QCOMPARE(signIn(http, dana, password + u'\n').status, 401);
}

void TestDevserverAuth::eachSignInIsASessionOfItsOwn() {
    const QByteArray first = enter();
    const QByteArray second = enter();
    QVERIFY(first != second);
    QCOMPARE(statusOfMe(first), 200);
    QCOMPARE(statusOfMe(second), 200);
}

void TestDevserverAuth::everyRefusalLooksTheSame() {
    TestClient http = client();
    const Reply refused = signIn(http, dana, wrong);
    QCOMPARE(refused.status, 401);
    QCOMPARE(refused.errorCode(), u"wrong_credentials"_s);
    QCOMPARE(signIn(http, dana, {}).text, refused.text);
    // Known, but without a password.
    QCOMPARE(signIn(http, u"other@example.com"_s, password).text, refused.text);
    QCOMPARE(signIn(http, u"other@example.com"_s, {}).text, refused.text);
    QCOMPARE(signIn(http, u"nobody@example.com"_s, password).text, refused.text);
    QCOMPARE(signIn(http, {}, {}).text, refused.text);
    QCOMPARE(signIn(http, u"%"_s, password).text, refused.text);
}

void TestDevserverAuth::malformedSignInsAreRefused_data() {
    QTest::addColumn<QString>("field");
    QTest::addColumn<QJsonValue>("value");
    const QJsonValue missing(QJsonValue::Undefined);
    for (const char* name : {"email", "password", "client", "device_name"}) {
        const QString field = QString::fromLatin1(name);
        QTest::addRow("%s missing", name) << field << missing;
        QTest::addRow("%s null", name) << field << QJsonValue();
        QTest::addRow("%s a number", name) << field << QJsonValue(1);
        QTest::addRow("%s an object", name) << field << QJsonValue(QJsonObject());
        QTest::addRow("%s too long", name) << field << QJsonValue(QString(2000, u'a'));
        QTest::addRow("%s with a null character", name) << field << QJsonValue(QString(u"a"_s + QChar(0)));
    }
}

void TestDevserverAuth::malformedSignInsAreRefused() {
    QFETCH(const QString, field);
    QFETCH(const QJsonValue, value);
    QJsonObject body = credentials(dana, password);
    body.insert(field, value);
    const Reply reply = client().postTo("/v1/auth/login", body);
    QCOMPARE(reply.status, 422);
    QCOMPARE(reply.errorCode(), u"invalid"_s);
    QVERIFY(reply.text.find(field.toStdString()) != std::string::npos);
}

void TestDevserverAuth::signOutEndsThisSessionAlone() {
    const QByteArray ended = enter();
    const QByteArray kept = enter();
    const QJsonObject body{{u"local_queue_empty"_s, true}};
    const Reply reply = client(ended).postTo("/v1/auth/logout", body);
    QCOMPARE(reply.status, 204);
    QVERIFY(reply.text.empty());
    QCOMPARE(statusOfMe(ended), 401);
    QCOMPARE(statusOfMe(kept), 200);
    const Reply again = client(ended).postTo("/v1/auth/logout", body);
    QCOMPARE(again.status, 401);
    QCOMPARE(again.errorCode(), u"unauthorized"_s);
    QCOMPARE(client("unknown").postTo("/v1/auth/logout", body).status, 401);
}

void TestDevserverAuth::signOutNeedsAnEmptyQueue_data() {
    QTest::addColumn<QJsonObject>("body");
    QTest::newRow("false") << QJsonObject{{u"local_queue_empty"_s, false}};
    QTest::newRow("missing") << QJsonObject();
    QTest::newRow("null") << QJsonObject{{u"local_queue_empty"_s, QJsonValue()}};
    QTest::newRow("text") << QJsonObject{{u"local_queue_empty"_s, u"true"_s}};
    QTest::newRow("number") << QJsonObject{{u"local_queue_empty"_s, 1}};
}

void TestDevserverAuth::signOutNeedsAnEmptyQueue() {
    QFETCH(const QJsonObject, body);
    const QByteArray token = enter();
    const Reply reply = client(token).postTo("/v1/auth/logout", body);
    QCOMPARE(reply.status, 409);
    QCOMPARE(reply.errorCode(), u"queue_not_empty"_s);
    QCOMPARE(statusOfMe(token), 200);
}

void TestDevserverAuth::theDevelopmentUserCannotSignOut() {
    const Reply reply = client().postTo("/v1/auth/logout", {{u"local_queue_empty"_s, true}});
    QCOMPARE(reply.status, 400);
    QCOMPARE(reply.errorCode(), u"no_session"_s);
}

void TestDevserverAuth::tenFailuresOfAnAccountCloseItForAWhile_data() {
    QTest::addColumn<QString>("email");
    QTest::newRow("known") << dana;
    QTest::newRow("unknown") << u"nobody@example.com"_s;
}

void TestDevserverAuth::tenFailuresOfAnAccountCloseItForAWhile() {
    QFETCH(const QString, email);
    for (int i = 0; i < 10; ++i) {
        TestClient http = client();
        http.comeFrom("127.0.0." + std::to_string(2 + i));
        QCOMPARE(signIn(http, i % 2 ? email : email.toUpper(), wrong).status, 401);
    }
    TestClient http = client();
    const Reply refused = signIn(http, email, password);
    QCOMPARE(refused.status, 429);
    QCOMPARE(refused.errorCode(), tooMany);
    QVERIFY2(!enter(eli).isEmpty(), "another account has to bear it");
}

void TestDevserverAuth::tenFailuresFromAnAddressCloseItForAWhile() {
    TestClient http = client();
    for (int i = 0; i < 10; ++i) {
        QCOMPARE(signIn(http, i % 2 ? dana : eli, wrong).status, 401);
    }
    QCOMPARE(signIn(http, dana, password).errorCode(), tooMany);
    QCOMPARE(signIn(http, u"nobody@example.com"_s, password).errorCode(), tooMany);
    TestClient elsewhere = client();
    elsewhere.comeFrom("127.0.0.2");
    QCOMPARE(signIn(elsewhere, dana, password).status, 200);
}

void TestDevserverAuth::aSuccessForgivesNothing() {
    TestClient http = client();
    for (int i = 0; i < 9; ++i) {
        QCOMPARE(signIn(http, dana, wrong).status, 401);
    }
    QCOMPARE(signIn(http, dana, password).status, 200);
    QCOMPARE(signIn(http, dana, wrong).status, 401);
    QCOMPARE(signIn(http, dana, password).errorCode(), tooMany);
}

void TestDevserverAuth::signInsAtTheSameMomentShareTheMemoryOfOne() {
    std::array<std::thread, 4> people;
    std::atomic<int> refused = 0;
    for (std::thread& person : people) {
        person = std::thread([this, &refused] {
            TestClient http = client();
            http.waitFor(120); // one after another, each is hard work
            refused += signIn(http, u"nobody@example.com"_s, password).status == 401;
        });
    }
    for (std::thread& person : people) {
        person.join();
    }
    QCOMPARE(refused, 4);
    constexpr qint64 one = qint64{256} * 1024;
    const qint64 peak = peakMemory(m_server->process().processId());
    QVERIFY2(peak > one && peak < 2 * one, qPrintable(QString::number(peak)));
}

void TestDevserverAuth::aRefusalNeedsNoPlaceAmongTheWriters() {
    devserver::Connection holder(m_database.address());
    const devserver::Transaction writing(holder, devserver::Transaction::Kind::Write);
    TestClient http = client();
    QCOMPARE(signIn(http, dana, wrong).status, 401);
}

void TestDevserverAuth::aDamagedHashIsAFailureOfTheServer() {
    const QString email = u"damaged@example.com"_s;
    const QString id = addPerson(m_database, email, "secret");
    m_database.run(u"UPDATE users SET password_hash = 'damaged' WHERE id = ?"_s, {id});
    TestClient http = client();
    for (int i = 0; i < 11; ++i) {
        const Reply reply = signIn(http, email, u"secret"_s);
        QCOMPARE(reply.status, 500);
        QCOMPARE(reply.errorCode(), u"internal"_s);
    }
    QVERIFY(m_server->terminate());
    const QString log = m_server->standardError();
    QVERIFY2(log.startsWith(u"POST /v1/auth/login: ") && !log.contains(u"secret") &&
                 !log.contains(u"damaged"),
             qPrintable(log));
}

QTEST_GUILESS_MAIN(TestDevserverAuth)
#include "auth.moc"
