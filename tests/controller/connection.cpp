// SPDX-License-Identifier: MIT
#include "tests/support/client.h"
#include "tests/support/desk.h"
#include "tests/support/vaultfile.h"

#include <QNetworkReply>
#include <QSettings>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString connected = u"Connected to PostgreSQL"_s;
const QString me = u"/v1/me"_s;
const QString workspacesPath = u"/v1/workspaces"_s;
const QString snapshotPath = u"/v1/sync/snapshot"_s;
const QString timerPath = u"/v1/me/timer"_s;

PeerReply failure() {
    return PeerReply::json({{u"error"_s, QJsonObject()}}, 503);
}

PeerReply identityOf(const QString& id) {
    QJsonObject identity = sample::identity();
    identity.insert(u"id", id);
    return PeerReply::json(identity);
}

} // namespace

class ConnectionTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }

    void theChainLoadsTheWorkspaceStepByStep();
    void busyLastsFromTheFirstRequestToTheLast();
    void theTimezoneFallsBackWhenTheIdentityHasNone();
    void whatWasLoadedIsThereWithoutTheServer();
    void anIdentityThatFailsKeepsEverything();
    void anIdentityOfAnotherUserThanTheSessionIsRefused();
    void anotherIdentityIsAcceptedOnlyWithAnEmptyQueue();
    void workIsNotReassignedWhileASessionMatches();
    void aWorkspaceListThatFailsKeepsTheList();
    void anAccountWithoutWorkspaceShowsNothing();
    void aVanishedWorkspaceGivesWayToTheFirst();
    void theSelectedWorkspaceIsKeptWhileItIsListed();
    void aSnapshotThatFailsKeepsTheCache();
    void aTimerThatFailsStillEndsReady();
    void aFailedSaveWhileLoadingIsSaid();
};

void ConnectionTest::theChainLoadsTheWorkspaceStepByStep() {
    Desk desk(sample::oneEntry());
    QSignalSpy ready(desk.controller.get(), &Controller::ready);
    QVERIFY(desk.load());
    QCOMPARE(desk.peer.log(), sample::connectionLog());
    QCOMPARE(desk.peer.requests("GET", snapshotPath).value(0).query, u"workspace_id=ws-1"_s);
    QCOMPARE(ready.size(), 1);
    QCOMPARE(desk.controller->message(), connected);
    QCOMPARE(desk.controller->server(), desk.peer.url());
    QCOMPARE(QSettings().value(u"server"_s).toString(), desk.peer.url());
    QCOMPARE(desk.controller->workspace(), u"ws-1"_s);
    QCOMPARE(desk.controller->workspaces().size(), 2);
    QCOMPARE(desk.controller->projects().size(), 1);
    QCOMPARE(desk.controller->entries().size(), 1);
    QCOMPARE(desk.controller->accountName(), u"noa@example.org"_s);
    QCOMPARE(desk.controller->timezone(), u"Europe/Berlin"_s);
    QVERIFY(desk.controller->secureStorage());
    QVERIFY(!desk.controller->busy());
}

void ConnectionTest::busyLastsFromTheFirstRequestToTheLast() {
    Desk desk(sample::oneEntry());
    QStringList idleAt;
    connect(desk.controller.get(), &Controller::changed, this, [&desk, &idleAt] {
        if (!desk.controller->busy()) {
            idleAt.append(desk.controller->message());
        }
    });
    QVERIFY(desk.load());
    QCOMPARE(idleAt, QStringList{connected});

    // While it is set, a refresh does nothing.
    desk.peer.answer("GET", snapshotPath, PeerReply::only(PeerReply::Delivery::Hold));
    desk.controller->refresh();
    QTRY_COMPARE(desk.peer.held(), 1);
    QVERIFY(desk.controller->busy());
    const QString before = desk.controller->message();
    QSignalSpy changed(desk.controller.get(), &Controller::changed);
    desk.controller->refresh();
    desk.controller->connectServer(u"http://localhost:1"_s);
    desk.controller->selectWorkspace(u"ws-2"_s);
    QCOMPARE(changed.size(), 0);
    QCOMPARE(desk.controller->message(), before);
    QCOMPARE(networkOf(*desk.controller).findChildren<QNetworkReply*>().size(), 1);
    desk.peer.release();
    QTRY_VERIFY(!desk.controller->busy());
}

void ConnectionTest::theTimezoneFallsBackWhenTheIdentityHasNone() {
    Desk desk(sample::oneEntry());
    QJsonObject identity = sample::identity();
    identity.insert(u"timezone", 3);
    desk.peer.answerOnce("GET", me, PeerReply::json(sample::identity()));
    QVERIFY(desk.load());
    QCOMPARE(desk.controller->timezone(), u"Europe/Berlin"_s);
    desk.peer.answer("GET", me, PeerReply::json(identity));
    QVERIFY(desk.load());
    QCOMPARE(desk.controller->timezone(), u"Asia/Jerusalem"_s);
}

void ConnectionTest::whatWasLoadedIsThereWithoutTheServer() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    const QJsonObject state = desk.controller->durableState();
    desk.restart();
    desk.peer.goOffline();
    desk.controller->connectServer(desk.peer.url());
    QTRY_COMPARE(desk.controller->entries().size(), 1);
    QTRY_VERIFY(!desk.controller->busy());
    QCOMPARE(desk.controller->message(), u"Session unavailable or revoked. Cached work retained; no "
                                         "developer fallback was attempted."_s);
    QCOMPARE(desk.controller->durableState(), state);
    QCOMPARE(desk.controller->timezone(), u"Europe/Berlin"_s);
}

void ConnectionTest::anIdentityThatFailsKeepsEverything() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    const QJsonObject state = desk.controller->durableState();
    for (const PeerReply& reply : {failure(), PeerReply::json({}, 401), PeerReply::text("<html>")}) {
        desk.peer.answer("GET", me, reply);
        desk.peer.forgetRequests();
        desk.controller->connectServer(desk.peer.url());
        QTRY_VERIFY(!desk.controller->busy());
        QCOMPARE(desk.controller->message(), u"Session unavailable or revoked. Cached work retained; "
                                             "no developer fallback was attempted."_s);
        QCOMPARE(desk.peer.log(), QStringList{u"GET /v1/me"_s});
        QCOMPARE(desk.controller->durableState(), state);
    }
}

void ConnectionTest::anIdentityOfAnotherUserThanTheSessionIsRefused() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    QJsonObject state = desk.controller->durableState();
    state.insert(u"auth", sample::session(u"user-2"_s));
    desk.controller->applyDurable(state);
    desk.peer.forgetRequests();
    desk.controller->fetchIdentity();
    QTRY_VERIFY(!desk.controller->busy());
    QCOMPARE(desk.controller->message(), u"Account changed; pending work was not reassigned"_s);
    QCOMPARE(desk.peer.log(), QStringList{u"GET /v1/me"_s});
    QCOMPARE(desk.controller->durableState(), state);
}

void ConnectionTest::anotherIdentityIsAcceptedOnlyWithAnEmptyQueue() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    desk.peer.answer("GET", me, identityOf(u"user-2"_s));
    QSignalSpy ready(desk.controller.get(), &Controller::ready);
    desk.controller->fetchIdentity();
    QVERIFY(ready.wait());
    QCOMPARE(desk.controller->durableState().value(u"me").toObject().value(u"id").toString(), u"user-2"_s);

    const QJsonObject queued =
        sample::durable(sample::oneEntry(), {sample::queueItem(u"entry.update"_s, u"e1"_s, {})});
    desk.controller->applyDurable(queued);
    desk.peer.forgetRequests();
    desk.controller->fetchIdentity();
    QTRY_VERIFY(!desk.controller->busy());
    QCOMPARE(desk.controller->message(), u"Account changed; pending work was not reassigned"_s);
    QCOMPARE(desk.controller->durableState(), queued);
    QCOMPARE(desk.peer.log(), QStringList{u"GET /v1/me"_s});
}

void ConnectionTest::workIsNotReassignedWhileASessionMatches() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    desk.peer.answer("GET", me, identityOf(u"user-2"_s));
    QJsonObject state = sample::durable(sample::oneEntry());
    state.insert(u"auth", sample::session(u"user-2"_s));
    desk.controller->applyDurable(state);
    QSignalSpy ready(desk.controller.get(), &Controller::ready);
    desk.controller->fetchIdentity();
    QVERIFY(ready.wait());

    state.insert(u"queue", QJsonArray{sample::queueItem(u"entry.update"_s, u"e1"_s, {})});
    desk.controller->applyDurable(state);
    desk.controller->fetchIdentity();
    QTRY_VERIFY(!desk.controller->busy());
    QCOMPARE(desk.controller->message(), u"Account changed; pending work was not reassigned"_s);
    QCOMPARE(desk.controller->durableState(), state);
}

void ConnectionTest::aWorkspaceListThatFailsKeepsTheList() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    const QVariantList before = desk.controller->workspaces();
    QJsonObject identity = sample::identity();
    identity.insert(u"email", u"new@example.org"_s);
    desk.peer.answer("GET", me, PeerReply::json(identity));
    desk.peer.answer("GET", workspacesPath, failure());
    desk.peer.forgetRequests();
    desk.controller->fetchIdentity();
    QTRY_VERIFY(!desk.controller->busy());
    QCOMPARE(desk.controller->message(), u"Unable to list workspaces for this account"_s);
    QCOMPARE(desk.controller->workspaces(), before);
    QCOMPARE(desk.controller->accountName(), u"new@example.org"_s);
    QCOMPARE(desk.controller->entries().size(), 1);
    QCOMPARE(desk.peer.requests().size(), 2);
}

void ConnectionTest::anAccountWithoutWorkspaceShowsNothing() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    for (const PeerReply& reply : {PeerReply::json({{u"items"_s, QJsonArray()}}), PeerReply::json({})}) {
        desk.peer.answer("GET", workspacesPath, reply);
        desk.peer.forgetRequests();
        desk.controller->fetchIdentity();
        QTRY_VERIFY(!desk.controller->busy());
        QCOMPARE(desk.controller->message(),
                 u"This account has no workspace yet. Create one on its Web account page."_s);
        QCOMPARE(desk.peer.log(), sample::connectionLog().first(2));
        QCOMPARE(desk.controller->workspace(), QString());
        QVERIFY(desk.controller->workspaces().isEmpty());
        QVERIFY(desk.controller->entries().isEmpty());
        QVERIFY(desk.controller->durableState().value(u"snapshot").toObject().isEmpty());
    }
    // Stored like that: nothing comes back at the next start.
    desk.restart();
    desk.peer.goOffline();
    desk.controller->connectServer(desk.peer.url());
    QTRY_VERIFY(!desk.controller->busy());
    QVERIFY(desk.controller->entries().isEmpty());
    QCOMPARE(desk.controller->accountName(), u"noa@example.org"_s);
}

void ConnectionTest::aVanishedWorkspaceGivesWayToTheFirst() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    const QJsonArray others{QJsonObject{{u"id"_s, u"ws-8"_s}}, QJsonObject{{u"id"_s, u"ws-9"_s}}};
    desk.peer.answer("GET", workspacesPath, PeerReply::json({{u"items"_s, others}}));
    desk.peer.forgetRequests();
    QVERIFY(desk.load());
    QCOMPARE(desk.controller->workspace(), u"ws-8"_s);
    QCOMPARE(desk.peer.requests("GET", snapshotPath).value(0).query, u"workspace_id=ws-8"_s);
}

void ConnectionTest::theSelectedWorkspaceIsKeptWhileItIsListed() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    QSignalSpy ready(desk.controller.get(), &Controller::ready);
    desk.controller->selectWorkspace(u"ws-2"_s);
    QVERIFY(ready.wait());
    QCOMPARE(desk.peer.requests("GET", snapshotPath).last().query, u"workspace_id=ws-2"_s);
    desk.restart();
    QVERIFY(desk.load());
    QCOMPARE(desk.controller->workspace(), u"ws-2"_s);
}

void ConnectionTest::aSnapshotThatFailsKeepsTheCache() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    const QJsonObject state = desk.controller->durableState();
    const QByteArray record = sealedRecord(desk.peer.url());
    QSignalSpy ready(desk.controller.get(), &Controller::ready);
    for (const PeerReply& reply :
         {failure(), PeerReply::text("<html>"), PeerReply::only(PeerReply::Delivery::Close)}) {
        desk.peer.answer("GET", snapshotPath, reply);
        desk.controller->refresh();
        QVERIFY(desk.controller->busy());
        QTRY_VERIFY(!desk.controller->busy());
        QCOMPARE(desk.controller->message(), u"Server unavailable. Encrypted cached data retained."_s);
        QCOMPARE(desk.controller->durableState(), state);
        QCOMPARE(desk.controller->entries().size(), 1);
    }
    QCOMPARE(ready.size(), 0);
    QCOMPARE(sealedRecord(desk.peer.url()), record);
}

void ConnectionTest::aTimerThatFailsStillEndsReady() {
    Desk desk(sample::oneEntry());
    const QJsonObject running = sample::entry(u"t1"_s, u"2024-03-02T08:00:00Z"_s, QJsonValue());
    desk.peer.answerOnce("GET", timerPath, PeerReply::json({{u"timer"_s, running}}));
    QVERIFY(desk.load());
    QCOMPARE(desk.controller->timer().value(u"id"_s).toString(), u"t1"_s);
    desk.peer.answer("GET", timerPath, failure());
    QVERIFY(desk.load());
    QCOMPARE(desk.controller->message(), connected);
    QCOMPARE(desk.controller->timer().value(u"id"_s).toString(), u"t1"_s);
    // Only an answer that says so ends the timer.
    desk.peer.answer("GET", timerPath, PeerReply::json({}));
    QVERIFY(desk.load());
    QVERIFY(desk.controller->timer().isEmpty());
}

void ConnectionTest::aFailedSaveWhileLoadingIsSaid() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    const QByteArray record = sealedRecord(desk.peer.url());
    const SaveBlocker blocker(desk.peer.url());
    desk.peer.answer("GET", snapshotPath, PeerReply::json(sample::snapshot()));
    QSignalSpy ready(desk.controller.get(), &Controller::ready);
    desk.controller->refresh();
    QVERIFY(ready.wait());
    QCOMPARE(desk.controller->message(),
             u"Secure local save failed; the retained queue was not acknowledged locally."_s);
    QVERIFY(!desk.controller->busy());
    QVERIFY(desk.controller->entries().isEmpty());
    QCOMPARE(sealedRecord(desk.peer.url()), record);
}

QTEST_MAIN(ConnectionTest)
#include "connection.moc"
