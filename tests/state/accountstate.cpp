// SPDX-License-Identifier: MIT
#include "state/accountstate.h"

#include <QJsonArray>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString userId = u"4b3c1d2e-5f60-4a71-8b92-a3b4c5d6e7f8"_s;
const QString sessionId = u"91827364-5a6b-4c7d-8e9f-0a1b2c3d4e5f"_s;
const QString token = u"0123456789abcdef0123456789abcdef"_s;

const QString pendingBlocksLogin =
    u"Pending work must be acknowledged or explicitly resolved before changing accounts"_s;
const QString invalidReply = u"Invalid native session response; existing account retained"_s;
const QString loginNotSaved = u"The new session could not be saved securely; previous account retained"_s;
const QString pendingBlocksLogout = u"Pending work prevents logout"_s;
const QString logoutNotSaved = u"Secure local logout failed; encrypted data was not erased"_s;

QJsonObject signInReply(const QString& user = userId, const QString& session = sessionId,
                        const QString& sessionToken = token) {
    return {{u"session_token"_s, sessionToken},
            {u"session"_s, QJsonObject{{u"user_id"_s, user}, {u"id"_s, session}}}};
}

/// A document in use: every member holds something of the previous account.
QJsonObject documentInUse(const QJsonArray& queue = {}) {
    return {
        {u"auth"_s, QJsonObject{{u"user_id"_s, u"old"_s}, {u"token"_s, u"old token"_s}}},
        {u"signed_out"_s, false},
        {u"me"_s, QJsonObject{{u"id"_s, u"old"_s}, {u"email"_s, u"old@example.org"_s}}},
        {u"workspaces"_s, QJsonArray{QJsonObject{{u"id"_s, u"w"_s}}}},
        {u"workspace"_s, u"w"_s},
        {u"snapshot"_s, QJsonObject{{u"time_entries"_s, QJsonArray{QJsonObject{{u"id"_s, u"e"_s}}}}}},
        {u"timer"_s, QJsonObject{{u"id"_s, u"e"_s}}},
        {u"queue"_s, queue},
        {u"unknown"_s, u"of another version"_s},
    };
}

QJsonObject documentWith(const QJsonObject& auth, const QJsonObject& me, bool signedOut) {
    return {
        {u"auth"_s, auth},
        {u"signed_out"_s, signedOut},
        {u"me"_s, me},
        {u"workspaces"_s, QJsonArray()},
        {u"workspace"_s, QString()},
        {u"snapshot"_s, QJsonObject()},
        {u"timer"_s, QJsonObject()},
        {u"queue"_s, QJsonArray()},
    };
}

QJsonArray queuedWork() {
    return {
        QJsonObject{{u"status"_s, u"pending"_s}, {u"mutation"_s, QJsonObject{{u"mutation_id"_s, u"m"_s}}}}};
}

/// The same in use by the user of signInReply, under an older session and with work that waits.
QJsonObject signedInDocument() {
    QJsonObject state = documentInUse(queuedWork());
    state.insert(u"auth"_s, QJsonObject{{u"user_id"_s, userId}, {u"token"_s, u"old token"_s}});
    return state;
}

/// Stores or refuses, and remembers what it was asked to store.
struct Store {
    bool accepts = true;
    QList<QJsonObject> asked;

    PersistState callback() {
        return [this](const QJsonObject& candidate) {
            asked.append(candidate);
            return accepts;
        };
    }
};

} // namespace

class AccountStateTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void sendsPersonalCredentialsOnlyOverProtectedTransport_data();
    void sendsPersonalCredentialsOnlyOverProtectedTransport();
    void signInReplacesTheWholeDocument_data();
    void signInReplacesTheWholeDocument();
    void signInKeepsTheCaseOfIdentifiers();
    void signInAcceptsTokensUpToTheLimits_data();
    void signInAcceptsTokensUpToTheLimits();
    void signInRefusesMalformedReplies_data();
    void signInRefusesMalformedReplies();
    void signInWithPendingWorkLooksAtNothingElse_data();
    void signInWithPendingWorkLooksAtNothingElse();
    void signInThatCannotBeStoredKeepsThePreviousAccount();
    void signInTreatsAQueueOfTheWrongTypeAsEmpty();
    void renewalReplacesTheSessionAndNothingElse();
    void renewalKeepsTheCaseOfTheStoredUser();
    void renewalOfAnotherAccountIsRefused_data();
    void renewalOfAnotherAccountIsRefused();
    void renewalRefusesMalformedReplies_data() { signInRefusesMalformedReplies_data(); }
    void renewalRefusesMalformedReplies();
    void renewalThatCannotBeStoredKeepsThePreviousSession();
    void signOutReplacesTheWholeDocument();
    void signOutWithPendingWorkIsRefused();
    void signOutThatCannotBeStoredKeepsTheAccount();
    void worksWithoutAnErrorText();
};

void AccountStateTest::sendsPersonalCredentialsOnlyOverProtectedTransport_data() {
    QTest::addColumn<QString>("server");
    QTest::addColumn<bool>("allowed");

    QTest::newRow("https name") << u"https://time.example.org"_s << true;
    QTest::newRow("https name and port") << u"https://time.example.org:8443"_s << true;
    QTest::newRow("https in capitals") << u"HTTPS://time.example.org"_s << true;
    QTest::newRow("https public address") << u"https://203.0.113.7"_s << true;
    QTest::newRow("https private address") << u"https://192.168.1.2:8443"_s << true;
    QTest::newRow("https with user") << u"https://user@time.example.org"_s << false;
    QTest::newRow("https with user and password") << u"https://user:pw@time.example.org"_s << false;
    QTest::newRow("https with password only") << u"https://:pw@time.example.org"_s << false;
    QTest::newRow("https with query") << u"https://time.example.org/?a=b"_s << false;
    QTest::newRow("https with empty query") << u"https://time.example.org/?"_s << false;
    QTest::newRow("https with fragment") << u"https://time.example.org/#a"_s << false;
    QTest::newRow("https with empty fragment") << u"https://time.example.org/#"_s << false;
    QTest::newRow("http localhost") << u"http://localhost"_s << true;
    QTest::newRow("http localhost and port") << u"http://localhost:18080"_s << true;
    QTest::newRow("http localhost in mixed case") << u"http://LocalHost:18080"_s << true;
    QTest::newRow("http 127.0.0.1") << u"http://127.0.0.1"_s << true;
    QTest::newRow("http 127.0.0.1 and port") << u"http://127.0.0.1:18080"_s << true;
    QTest::newRow("http end of 127/8") << u"http://127.255.255.254:1"_s << true;
    QTest::newRow("http ::1") << u"http://[::1]"_s << true;
    QTest::newRow("http ::1 and port") << u"http://[::1]:18080"_s << true;
    QTest::newRow("http ::1 written out") << u"http://[0:0:0:0:0:0:0:1]:18080"_s << true;
    QTest::newRow("http 127.0.0.1 inside IPv6") << u"http://[::ffff:127.0.0.1]"_s << false;
    QTest::newRow("http localhost with user") << u"http://user@localhost"_s << false;
    QTest::newRow("http localhost with query") << u"http://localhost/?a"_s << false;
    QTest::newRow("http localhost with fragment") << u"http://localhost/#a"_s << false;
    QTest::newRow("http 10/8") << u"http://10.0.0.1:18080"_s << false;
    QTest::newRow("http 172.16/12") << u"http://172.16.0.1"_s << false;
    QTest::newRow("http 192.168/16") << u"http://192.168.1.2"_s << false;
    QTest::newRow("http before 127/8") << u"http://126.255.255.255"_s << false;
    QTest::newRow("http behind 127/8") << u"http://128.0.0.1"_s << false;
    QTest::newRow("http any address") << u"http://0.0.0.0"_s << false;
    QTest::newRow("http ::") << u"http://[::]"_s << false;
    QTest::newRow("http ::2") << u"http://[::2]"_s << false;
    QTest::newRow("http link-local") << u"http://[fe80::1]"_s << false;
    QTest::newRow("http name") << u"http://time.example.org"_s << false;
    QTest::newRow("http name that begins like localhost") << u"http://localhost.example.org"_s << false;
    QTest::newRow("http name that ends like localhost") << u"http://notlocalhost"_s << false;
    QTest::newRow("http localhost as user") << u"http://localhost@time.example.org"_s << false;
    QTest::newRow("http loopback as first label") << u"http://127.0.0.1.example.org"_s << false;
    QTest::newRow("http without host") << u"http://"_s << false;
    QTest::newRow("ftp") << u"ftp://localhost"_s << false;
    QTest::newRow("ws") << u"ws://localhost"_s << false;
    QTest::newRow("file") << u"file:///etc/hosts"_s << false;
    QTest::newRow("no scheme") << u"localhost"_s << false;
    QTest::newRow("port out of range") << u"https://time.example.org:99999"_s << false;
    QTest::newRow("no closing bracket") << u"http://[::1"_s << false;
    QTest::newRow("empty") << QString() << false;
}

void AccountStateTest::sendsPersonalCredentialsOnlyOverProtectedTransport() {
    QFETCH(const QString, server);
    QTEST(AccountState::transportAllowed(server), "allowed");
}

void AccountStateTest::signInReplacesTheWholeDocument_data() {
    QTest::addColumn<QJsonObject>("before");
    QTest::newRow("another account") << documentInUse();
    QTest::newRow("never signed in") << documentWith({}, {}, false);
    QTest::newRow("signed out") << documentWith({}, {}, true);
    QTest::newRow("nothing stored yet") << QJsonObject();
}

void AccountStateTest::signInReplacesTheWholeDocument() {
    QFETCH(QJsonObject, before);
    const QJsonObject expected =
        documentWith({{u"user_id"_s, userId}, {u"session_id"_s, sessionId}, {u"token"_s, token}},
                     {{u"id"_s, userId}, {u"auth_mode"_s, u"session"_s}}, false);
    Store store;
    QString error = u"from before"_s;
    QVERIFY(AccountState::login(before, signInReply(), store.callback(), &error));
    QCOMPARE(before, expected);
    QCOMPARE(store.asked, QList<QJsonObject>{expected});
    QVERIFY(error.isNull());
}

void AccountStateTest::signInKeepsTheCaseOfIdentifiers() {
    QJsonObject state = documentInUse();
    Store store;
    QVERIFY(AccountState::login(state, signInReply(userId.toUpper(), sessionId.toUpper()), store.callback()));
    QCOMPARE(state.value(u"me").toObject().value(u"id").toString(), userId.toUpper());
    QCOMPARE(state.value(u"auth").toObject().value(u"user_id").toString(), userId.toUpper());
    QCOMPARE(state.value(u"auth").toObject().value(u"session_id").toString(), sessionId.toUpper());
}

void AccountStateTest::signInAcceptsTokensUpToTheLimits_data() {
    QTest::addColumn<QString>("accepted");
    QTest::newRow("32 characters") << QString(32, u'a');
    QTest::newRow("4096 characters") << QString(4096, u'a');
    QTest::newRow("characters of a JSON Web Token") << u"eyJhbGciOiJIUzI1NiJ9.eyJzdWIiOiIxIn0.x-y_z~+/=="_s;
}

void AccountStateTest::signInAcceptsTokensUpToTheLimits() {
    QFETCH(const QString, accepted);
    QJsonObject state = documentInUse();
    Store store;
    QVERIFY(AccountState::login(state, signInReply(userId, sessionId, accepted), store.callback()));
    QCOMPARE(state.value(u"auth").toObject().value(u"token").toString(), accepted);
}

void AccountStateTest::signInRefusesMalformedReplies_data() {
    QTest::addColumn<QJsonObject>("reply");
    const auto user = [](const QString& value) { return signInReply(value); };
    const auto session = [](const QString& value) { return signInReply(userId, value); };
    const auto withToken = [](const QString& value) { return signInReply(userId, sessionId, value); };

    QTest::newRow("empty") << QJsonObject();
    QTest::newRow("no session") << QJsonObject{{u"session_token"_s, token}};
    QTest::newRow("session not an object")
        << QJsonObject{{u"session_token"_s, token}, {u"session"_s, sessionId}};
    QTest::newRow("no token") << QJsonObject{{u"session"_s, signInReply().value(u"session")}};
    QTest::newRow("token not a string")
        << QJsonObject{{u"session"_s, signInReply().value(u"session")}, {u"session_token"_s, 1}};
    QTest::newRow("token inside session") << QJsonObject{
        {u"session"_s,
         QJsonObject{{u"user_id"_s, userId}, {u"id"_s, sessionId}, {u"session_token"_s, token}}}};
    QTest::newRow("user id empty") << user({});
    QTest::newRow("user id in braces") << user(u'{' + userId + u'}');
    QTest::newRow("user id without hyphens") << user(QString(userId).remove(u'-'));
    QTest::newRow("user id not hexadecimal") << user(QString(userId).replace(0, 1, u"g"_s));
    QTest::newRow("user id too long") << user(userId + u'0');
    QTest::newRow("user id behind a blank") << user(u' ' + userId);
    QTest::newRow("user id with a line feed") << user(userId + u'\n');
    QTest::newRow("user id on a second line") << user(u"x\n"_s + userId);
    QTest::newRow("user id in other digits") << user(QString(userId).replace(u'1', QChar(0x0661)));
    QTest::newRow("session id empty") << session({});
    QTest::newRow("session id in braces") << session(u'{' + sessionId + u'}');
    QTest::newRow("session id without hyphens") << session(QString(sessionId).remove(u'-'));
    QTest::newRow("session id with a line feed") << session(sessionId + u'\n');
    QTest::newRow("token of 31 characters") << withToken(QString(31, u'a'));
    QTest::newRow("token of 4097 characters") << withToken(QString(4097, u'a'));
    QTest::newRow("token with a space") << withToken(token + u" a"_s);
    QTest::newRow("token with a leading space") << withToken(u' ' + token);
    QTest::newRow("token with a trailing line feed") << withToken(token + u'\n');
    QTest::newRow("token with a carriage return") << withToken(token + u"\ra"_s);
    QTest::newRow("token with a tab") << withToken(token + u"\ta"_s);
}

void AccountStateTest::signInRefusesMalformedReplies() {
    QFETCH(const QJsonObject, reply);
    const QJsonObject before = documentInUse();
    QJsonObject state = before;
    Store store;
    QString error;
    QVERIFY(!AccountState::login(state, reply, store.callback(), &error));
    QCOMPARE(error, invalidReply);
    QCOMPARE(state, before);
    QVERIFY2(store.asked.isEmpty(), "a malformed session was offered for storing");
}

void AccountStateTest::signInWithPendingWorkLooksAtNothingElse_data() {
    QTest::addColumn<QJsonObject>("reply");
    QTest::newRow("valid reply") << signInReply();
    QTest::newRow("empty reply") << QJsonObject();
}

void AccountStateTest::signInWithPendingWorkLooksAtNothingElse() {
    QFETCH(const QJsonObject, reply);
    const QJsonObject before = documentInUse(queuedWork());
    QJsonObject state = before;
    Store store;
    QString error;
    QVERIFY(!AccountState::login(state, reply, store.callback(), &error));
    QCOMPARE(error, pendingBlocksLogin);
    QCOMPARE(state, before);
    QVERIFY(store.asked.isEmpty());
}

void AccountStateTest::signInThatCannotBeStoredKeepsThePreviousAccount() {
    const QJsonObject before = documentInUse();
    QJsonObject state = before;
    Store store{false, {}};
    QString error;
    QVERIFY(!AccountState::login(state, signInReply(), store.callback(), &error));
    QCOMPARE(error, loginNotSaved);
    QCOMPARE(state, before);
    QCOMPARE(store.asked.size(), 1);
}

void AccountStateTest::signInTreatsAQueueOfTheWrongTypeAsEmpty() {
    QJsonObject state = documentInUse();
    state.insert(u"queue"_s, u"not an array"_s);
    Store store;
    QVERIFY(AccountState::login(state, signInReply(), store.callback()));
    QCOMPARE(state.value(u"queue"), QJsonValue(QJsonArray()));
}

void AccountStateTest::renewalReplacesTheSessionAndNothingElse() {
    QJsonObject state = signedInDocument();
    QJsonObject expected = state;
    expected.insert(u"auth"_s,
                    QJsonObject{{u"user_id"_s, userId}, {u"session_id"_s, sessionId}, {u"token"_s, token}});
    Store store;
    QString error = u"from before"_s;
    QVERIFY(AccountState::renew(state, signInReply(), store.callback(), &error));
    QCOMPARE(state, expected);
    QCOMPARE(store.asked, QList<QJsonObject>{expected});
    QVERIFY(error.isNull());
}

void AccountStateTest::renewalKeepsTheCaseOfTheStoredUser() {
    QJsonObject state = signedInDocument();
    Store store;
    QVERIFY(AccountState::renew(state, signInReply(userId.toUpper()), store.callback()));
    QCOMPARE(state.value(u"auth").toObject().value(u"user_id").toString(), userId);
    QCOMPARE(state.value(u"auth").toObject().value(u"token").toString(), token);
}

void AccountStateTest::renewalOfAnotherAccountIsRefused_data() {
    QTest::addColumn<QJsonObject>("before");
    QTest::newRow("another user") << documentInUse(queuedWork());
    QTest::newRow("nobody") << documentWith({}, {}, true);
    QTest::newRow("a user that is not a text") << documentWith({{u"user_id"_s, 7}}, {}, false);
}

void AccountStateTest::renewalOfAnotherAccountIsRefused() {
    QFETCH(const QJsonObject, before);
    QJsonObject state = before;
    Store store;
    QString error;
    QVERIFY(!AccountState::renew(state, signInReply(), store.callback(), &error));
    QCOMPARE(error, u"This is another account; the waiting work stays with its own."_s);
    QCOMPARE(state, before);
    QVERIFY(store.asked.isEmpty());
}

void AccountStateTest::renewalRefusesMalformedReplies() {
    QFETCH(const QJsonObject, reply);
    const QJsonObject before = signedInDocument();
    QJsonObject state = before;
    Store store;
    QString error;
    QVERIFY(!AccountState::renew(state, reply, store.callback(), &error));
    QCOMPARE(error, invalidReply);
    QCOMPARE(state, before);
    QVERIFY(store.asked.isEmpty());
}

void AccountStateTest::renewalThatCannotBeStoredKeepsThePreviousSession() {
    const QJsonObject before = signedInDocument();
    QJsonObject state = before;
    Store store{false, {}};
    QString error;
    QVERIFY(!AccountState::renew(state, signInReply(), store.callback(), &error));
    QCOMPARE(error, loginNotSaved);
    QCOMPARE(state, before);
    QCOMPARE(store.asked.size(), 1);
}

void AccountStateTest::signOutReplacesTheWholeDocument() {
    const QJsonObject expected = documentWith({}, {}, true);
    QJsonObject state = documentInUse();
    Store store;
    QString error = u"from before"_s;
    QVERIFY(AccountState::logout(state, store.callback(), &error));
    QCOMPARE(state, expected);
    QCOMPARE(store.asked, QList<QJsonObject>{expected});
    QVERIFY(error.isNull());
}

void AccountStateTest::signOutWithPendingWorkIsRefused() {
    const QJsonObject before = documentInUse(queuedWork());
    QJsonObject state = before;
    Store store;
    QString error;
    QVERIFY(!AccountState::logout(state, store.callback(), &error));
    QCOMPARE(error, pendingBlocksLogout);
    QCOMPARE(state, before);
    QVERIFY(store.asked.isEmpty());
}

void AccountStateTest::signOutThatCannotBeStoredKeepsTheAccount() {
    const QJsonObject before = documentInUse();
    QJsonObject state = before;
    Store store{false, {}};
    QString error;
    QVERIFY(!AccountState::logout(state, store.callback(), &error));
    QCOMPARE(error, logoutNotSaved);
    QCOMPARE(state, before);
    QCOMPARE(store.asked.size(), 1);
}

void AccountStateTest::worksWithoutAnErrorText() {
    QJsonObject state = documentInUse(queuedWork());
    Store store;
    QVERIFY(!AccountState::login(state, signInReply(), store.callback()));
    QVERIFY(!AccountState::logout(state, store.callback()));
    QCOMPARE(state, documentInUse(queuedWork()));
}

QTEST_GUILESS_MAIN(AccountStateTest)
#include "accountstate.moc"
