// SPDX-License-Identifier: MIT
#include "tests/controller/accountclient.h"
#include "tests/support/client.h"
#include "tests/support/sample.h"
#include "tests/support/vaultfile.h"

#include <QFile>
#include <QTest>

using namespace Qt::StringLiterals;

/// A session that the server opens is either this device's or nobody's.
class SignInsTest : public QObject {
    Q_OBJECT

    /// Signs in, keeps the answer back and clears `busy`.
    static void leaveSignInUnderWay(AccountClient& client);

private Q_SLOTS:
    void init() { startClean(); }

    void aBrokenConnectionSendsNoSecondSignIn_data();
    void aBrokenConnectionSendsNoSecondSignIn();
    void aSessionThatComesTooLateIsRevokedWhereItWasOpened();
    void aSessionOfAnEarlierAttemptIsRevokedAndTheLaterKept();
    void aSessionInAReplyThatIsRefusedIsRevoked();
    void aLostStoreIsMadeAnewByTheNextTry();
    void aMissingStoreIsNotMadeAnewByATry();
};

void SignInsTest::leaveSignInUnderWay(AccountClient& client) {
    client.peer.answerOnce(
        "POST", AccountClient::loginPath(),
        PeerReply::json(AccountClient::signInReply()).delivered(PeerReply::Delivery::Hold));
    client.controller.loginAccount(u"dana@example.org"_s, AccountClient::password());
    QTRY_COMPARE(client.peer.held(), 1);
    client.controller.addManual({}, {}, u"no time"_s, u"no time"_s, false);
    QVERIFY(!client.controller.busy());
}

void SignInsTest::aBrokenConnectionSendsNoSecondSignIn_data() {
    QTest::addColumn<PeerReply::Delivery>("delivery");
    QTest::newRow("closed without a byte") << PeerReply::Delivery::Close;
    QTest::newRow("cut in the middle") << PeerReply::Delivery::Cut;
}

void SignInsTest::aBrokenConnectionSendsNoSecondSignIn() {
    QFETCH(const PeerReply::Delivery, delivery);
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    client.peer.answer("POST", AccountClient::loginPath(),
                       PeerReply::json(AccountClient::signInReply()).delivered(delivery));
    client.controller.loginAccount(u"dana@example.org"_s, AccountClient::password());
    QTRY_COMPARE(client.controller.message(), u"Personal sign-in failed"_s);
    QVERIFY(waitForSilence(client.controller));
    QVERIFY(!client.controller.busy());
    QCOMPARE(client.peer.requests("POST", AccountClient::loginPath()).size(), 1);
}

void SignInsTest::aSessionThatComesTooLateIsRevokedWhereItWasOpened() {
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    leaveSignInUnderWay(client);
    ScriptedPeer other;
    sample::serve(other, sample::snapshot());
    QVERIFY(connectAndLoad(client.controller, other.url()));
    client.peer.release();
    QTRY_COMPARE(client.peer.requests("POST", AccountClient::logoutPath()).size(), 1);
    const PeerRequest revocation = client.peer.requests().last();
    QCOMPARE(revocation.headers.value("authorization"), "Bearer " + AccountClient::token().toUtf8());
    QCOMPARE(revocation.body, R"({"local_queue_empty":true})");
    QVERIFY(!client.controller.accountSignedIn());
    QVERIFY(other.requests("POST", AccountClient::logoutPath()).isEmpty());
}

void SignInsTest::aSessionOfAnEarlierAttemptIsRevokedAndTheLaterKept() {
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    leaveSignInUnderWay(client);
    QJsonObject later = AccountClient::signInReply();
    const QString kept = u"another-session-token-of-the-same-length"_s;
    later.insert(u"session_token", kept);
    client.peer.answer("POST", AccountClient::loginPath(), PeerReply::json(later));
    QVERIFY(client.signIn());
    client.peer.release();
    QTRY_COMPARE(client.peer.requests("POST", AccountClient::logoutPath()).size(), 1);
    QCOMPARE(client.peer.requests("POST", AccountClient::logoutPath()).first().headers.value("authorization"),
             "Bearer " + AccountClient::token().toUtf8());
    QCOMPARE(client.controller.durableState().value(u"auth").toObject().value(u"token").toString(), kept);
}

void SignInsTest::aSessionInAReplyThatIsRefusedIsRevoked() {
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    QJsonObject reply = AccountClient::signInReply();
    reply.insert(u"version", 1e300);
    client.peer.answer("POST", AccountClient::loginPath(), PeerReply::json(reply));
    client.controller.loginAccount(u"dana@example.org"_s, AccountClient::password());
    QTRY_COMPARE(client.controller.message(), u"Personal sign-in failed"_s);
    QTRY_COMPARE(client.peer.requests("POST", AccountClient::logoutPath()).size(), 1);
}

void SignInsTest::aLostStoreIsMadeAnewByTheNextTry() {
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    QVERIFY(client.signIn());
    client.controller.logoutAccount();
    QTRY_VERIFY(client.controller.durableState().value(u"signed_out").toBool());
    QVERIFY(waitForSilence(client.controller));
    QVERIFY(QFile::remove(vaultFile(client.peer.url())));
    client.controller.loginAccount(u"dana@example.org"_s, AccountClient::password());
    QTRY_COMPARE(client.controller.message(),
                 u"The new session could not be saved securely; previous account retained"_s);
    QVERIFY(!client.controller.queueReady());
    QVERIFY(waitForSilence(client.controller));
    QVERIFY(client.signIn());
    QVERIFY(client.controller.queueReady());
}

void SignInsTest::aMissingStoreIsNotMadeAnewByATry() {
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    client.restart();
    QVERIFY(QFile::remove(vaultFile(client.peer.url())));
    client.controller.connectServer(client.peer.url());
    QTRY_VERIFY(!client.controller.busy());
    QVERIFY(client.controller.secureStorage() && !client.controller.queueReady());
    client.controller.loginAccount(u"dana@example.org"_s, AccountClient::password());
    QCOMPARE(client.controller.message(), u"Unlock protected OS storage before personal login"_s);
    QVERIFY(!client.controller.queueReady());
    QVERIFY(sealedRecord(client.peer.url()).isEmpty());
}

QTEST_MAIN(SignInsTest)
#include "signins.moc"
