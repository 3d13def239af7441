// SPDX-License-Identifier: MIT
#include "tests/support/client.h"
#include "tests/support/desk.h"
#include "tests/support/vaultfile.h"

#include <QFile>
#include <QSettings>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString connected = u"Connected to PostgreSQL"_s;

/// Stores a signed-out state for the peer's address and ends the program.
void storeSignedOut(Desk& desk) {
    QVERIFY(desk.load());
    desk.controller->applyDurable({{u"signed_out"_s, true}});
    QVERIFY(desk.controller->persist());
    desk.restart();
    desk.peer.forgetRequests();
}

/// Loads, and stores a session of the user.
void storeSession(Desk& desk) {
    QVERIFY(desk.load());
    QJsonObject state = desk.controller->durableState();
    state.insert(u"auth", sample::session(u"user-1"_s));
    desk.controller->applyDurable(state);
    QVERIFY(desk.controller->persist());
}

} // namespace

/// Connecting once more: with queued work, signed in, signed out, to another server.
class ReconnectTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }

    void queuedWorkHoldsTheServer();
    void signedInTheServerCannotChange();
    void signedInTheSameServerMayConnectAgain();
    void aStoredSessionIsUsedAtTheNextStart();
    void readOnlyUsesNeitherSessionNorStore();
    void signedOutNothingIsAskedUntilThePersonConnectsAgain();
    void aDeveloperReconnectThatCannotBeStoredIsRefused();
    void signedOutAnotherServerOpensItsOwnStore();
    void anAlteredRecordStopsBeforeAnyRequest();
    void twoServersKeepTheirStatesApart();
};

void ReconnectTest::queuedWorkHoldsTheServer() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    const QJsonObject queued = sample::durable(
        sample::oneEntry(), {sample::queueItem(u"entry.update"_s, u"e1"_s, {}, u"conflict"_s)});
    desk.controller->applyDurable(queued);
    desk.peer.forgetRequests();
    for (const QString& address : {u"http://localhost:1"_s, desk.peer.url(), u"nonsense"_s}) {
        desk.controller->connectServer(address);
        QCOMPARE(desk.controller->message(), u"Pending work prevents changing server or account"_s);
        QCOMPARE(desk.controller->server(), desk.peer.url());
        QCOMPARE(QSettings().value(u"server"_s).toString(), desk.peer.url());
        QVERIFY(!desk.controller->busy());
    }
    QCOMPARE(desk.controller->durableState(), queued);
    QVERIFY(desk.peer.requests().isEmpty());
}

void ReconnectTest::signedInTheServerCannotChange() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    QJsonObject state = desk.controller->durableState();
    state.insert(u"auth", sample::session(u"user-1"_s));
    desk.controller->applyDurable(state);
    ScriptedPeer other;
    desk.controller->connectServer(other.url());
    QCOMPARE(desk.controller->message(), u"Sign out of this personal account before changing servers"_s);
    QCOMPARE(desk.controller->server(), desk.peer.url());
    QCOMPARE(QSettings().value(u"server"_s).toString(), desk.peer.url());
    QVERIFY(!desk.controller->busy());
    QVERIFY(waitForSilence(*desk.controller));
    QVERIFY(other.requests().isEmpty());
}

void ReconnectTest::signedInTheSameServerMayConnectAgain() {
    Desk desk(sample::oneEntry());
    storeSession(desk);
    desk.peer.forgetRequests();
    QVERIFY(connectAndLoad(*desk.controller, desk.peer.url() + u'/'));
    QCOMPARE(desk.peer.log(), sample::connectionLog());
    QVERIFY(desk.controller->accountSignedIn());
}

void ReconnectTest::aStoredSessionIsUsedAtTheNextStart() {
    Desk desk(sample::oneEntry());
    storeSession(desk);
    desk.restart();
    desk.peer.forgetRequests();
    QVERIFY(desk.load());
    QCOMPARE(desk.peer.requests().size(), 4);
    for (const PeerRequest& request : desk.peer.requests()) {
        QCOMPARE(request.headers.value("authorization"), "Bearer a-token");
    }
}

void ReconnectTest::readOnlyUsesNeitherSessionNorStore() {
    Desk desk(sample::oneEntry());
    desk.controller->setReadOnly(true);
    QJsonObject state = sample::durable(sample::snapshot());
    state.insert(u"auth", sample::session(u"user-1"_s));
    state.insert(u"signed_out", true);
    desk.controller->applyDurable(state);
    // Signed in, only the server in use may be connected to: here there is none yet.
    desk.controller->connectServer(desk.peer.url());
    QCOMPARE(desk.controller->message(), u"Sign out of this personal account before changing servers"_s);
    state.insert(u"auth", QJsonObject{{u"user_id"_s, u"user-9"_s}});
    desk.controller->applyDurable(state);
    QVERIFY(desk.load());
    QCOMPARE(desk.peer.log(), sample::connectionLog());
    for (const PeerRequest& request : desk.peer.requests()) {
        QVERIFY(!request.headers.contains("authorization"));
    }
    QVERIFY(desk.controller->durableState().value(u"auth").toObject().isEmpty());
    QVERIFY(!desk.controller->durableState().value(u"signed_out").toBool(true));
    QCOMPARE(desk.controller->entries().size(), 1);
    QVERIFY(!desk.controller->secureStorage());
    QVERIFY(!QFile::exists(vaultFile(desk.peer.url())));
}

void ReconnectTest::signedOutNothingIsAskedUntilThePersonConnectsAgain() {
    Desk desk(sample::oneEntry());
    storeSignedOut(desk);
    desk.controller->connectServer(desk.peer.url());
    QTRY_VERIFY(!desk.controller->busy());
    QCOMPARE(desk.controller->message(),
             u"Signed out. Use personal login, or explicitly reconnect for private development."_s);
    desk.controller->fetchIdentity();
    desk.controller->synchronize();
    QVERIFY(!desk.controller->busy());
    QVERIFY(desk.peer.requests().isEmpty());

    QVERIFY(desk.load());
    QCOMPARE(desk.peer.log(), sample::connectionLog());
    QCOMPARE(desk.controller->message(), connected);
    desk.restart();
    QVERIFY(desk.load());
}

void ReconnectTest::aDeveloperReconnectThatCannotBeStoredIsRefused() {
    Desk desk(sample::oneEntry());
    storeSignedOut(desk);
    desk.controller->connectServer(desk.peer.url());
    QTRY_VERIFY(!desk.controller->busy());
    const QByteArray record = sealedRecord(desk.peer.url());
    const SaveBlocker blocker(desk.peer.url());
    desk.controller->connectServer(desk.peer.url());
    QCOMPARE(desk.controller->message(), u"Unable to store explicit developer reconnect"_s);
    QVERIFY(!desk.controller->busy());
    QVERIFY(desk.controller->durableState().value(u"signed_out").toBool());
    QVERIFY(waitForSilence(*desk.controller));
    QVERIFY(desk.peer.requests().isEmpty());
    QCOMPARE(sealedRecord(desk.peer.url()), record);
}

void ReconnectTest::signedOutAnotherServerOpensItsOwnStore() {
    Desk desk(sample::oneEntry());
    storeSignedOut(desk);
    desk.controller->connectServer(desk.peer.url());
    QTRY_VERIFY(!desk.controller->busy());
    const QByteArray record = sealedRecord(desk.peer.url());
    ScriptedPeer other;
    sample::serve(other, sample::snapshot());
    QVERIFY(connectAndLoad(*desk.controller, other.url()));
    QCOMPARE(sealedRecord(desk.peer.url()), record);
    QVERIFY(!sealedRecord(other.url()).isEmpty());
}

void ReconnectTest::anAlteredRecordStopsBeforeAnyRequest() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    desk.controller.reset();
    QByteArray record = sealedRecord(desk.peer.url());
    record[record.size() - 1] = static_cast<char>(record.back() ^ 1);
    replaceSealedRecord(desk.peer.url(), record);
    desk.restart();
    desk.peer.forgetRequests();
    desk.controller->connectServer(desk.peer.url());
    QTRY_VERIFY(!desk.controller->busy());
    QCOMPARE(desk.controller->message(),
             u"Encrypted account/queue could not be authenticated; no identity fallback was attempted"_s);
    QVERIFY(!desk.controller->secureStorage());
    QVERIFY(!desk.controller->persist());
    QVERIFY(desk.peer.requests().isEmpty());
    QCOMPARE(sealedRecord(desk.peer.url()), record);
}

void ReconnectTest::twoServersKeepTheirStatesApart() {
    Desk desk(sample::oneEntry());
    ScriptedPeer other;
    sample::serve(other, sample::snapshot());
    QVERIFY(desk.load());
    QCOMPARE(desk.controller->entries().size(), 1);
    QVERIFY(connectAndLoad(*desk.controller, other.url()));
    QVERIFY(desk.controller->entries().isEmpty());
    desk.peer.goOffline();
    desk.controller->connectServer(desk.peer.url());
    QTRY_VERIFY(!desk.controller->busy());
    QCOMPARE(desk.controller->entries().size(), 1);
}

QTEST_MAIN(ReconnectTest)
#include "reconnect.moc"
