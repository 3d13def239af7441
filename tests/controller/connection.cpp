// SPDX-License-Identifier: MIT
#include "tests/support/client.h"
#include "tests/support/desk.h"
#include "tests/support/vaultfile.h"

#include <QNetworkReply>
#include <QSettings>
#include <QSignalSpy>
#include <QTest>

namespace {

const QString connected = QStringLiteral("Connected to PostgreSQL");
const QString me = QStringLiteral("/v1/me");
const QString workspacesPath = QStringLiteral("/v1/workspaces");
const QString snapshotPath = QStringLiteral("/v1/sync/snapshot");
const QString timerPath = QStringLiteral("/v1/me/timer");

PeerReply failure() {
    return PeerReply::json({{QStringLiteral("error"), QJsonObject()}}, 503);
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
    QCOMPARE(desk.peer.requests("GET", snapshotPath).value(0).query, QStringLiteral("workspace_id=ws-1"));
    QCOMPARE(ready.size(), 1);
    QCOMPARE(desk.controller->message(), connected);
    QCOMPARE(desk.controller->server(), desk.peer.url());
    QCOMPARE(QSettings().value(QStringLiteral("server")).toString(), desk.peer.url());
    QCOMPARE(desk.controller->workspace(), QStringLiteral("ws-1"));
    QCOMPARE(desk.controller->workspaces().size(), 2);
    QCOMPARE(desk.controller->projects().size(), 1);
    QCOMPARE(desk.controller->entries().size(), 1);
    QCOMPARE(desk.controller->accountName(), QStringLiteral("noa@example.org"));
    QCOMPARE(desk.controller->timezone(), QStringLiteral("Europe/Berlin"));
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
    desk.controller->connectServer(QStringLiteral("http://localhost:1"));
    desk.controller->selectWorkspace(QStringLiteral("ws-2"));
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
    QCOMPARE(desk.controller->timezone(), QStringLiteral("Europe/Berlin"));
    desk.peer.answer("GET", me, PeerReply::json(identity));
    QVERIFY(desk.load());
    QCOMPARE(desk.controller->timezone(), QStringLiteral("Asia/Jerusalem"));
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
    QCOMPARE(desk.controller->message(),
             QStringLiteral("Session unavailable or revoked. Cached work retained; no "
                            "developer fallback was attempted."));
    QCOMPARE(desk.controller->durableState(), state);
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
        QCOMPARE(desk.controller->message(),
                 QStringLiteral("Session unavailable or revoked. Cached work retained; "
                                "no developer fallback was attempted."));
        QCOMPARE(desk.peer.log(), QStringList{QStringLiteral("GET /v1/me")});
        QCOMPARE(desk.controller->durableState(), state);
    }
}

void ConnectionTest::anIdentityOfAnotherUserThanTheSessionIsRefused() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    QJsonObject state = desk.controller->durableState();
    state.insert(u"auth", sample::session(QStringLiteral("user-2")));
    desk.controller->applyDurable(state);
    desk.peer.forgetRequests();
    desk.controller->fetchIdentity();
    QTRY_VERIFY(!desk.controller->busy());
    QCOMPARE(desk.controller->message(), QStringLiteral("Account changed; pending work was not reassigned"));
    QCOMPARE(desk.peer.log(), QStringList{QStringLiteral("GET /v1/me")});
    QCOMPARE(desk.controller->durableState(), state);
}

void ConnectionTest::anotherIdentityIsAcceptedOnlyWithAnEmptyQueue() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    desk.peer.answer("GET", me, identityOf(QStringLiteral("user-2")));
    QSignalSpy ready(desk.controller.get(), &Controller::ready);
    desk.controller->fetchIdentity();
    QVERIFY(ready.wait());
    QCOMPARE(desk.controller->durableState().value(u"me").toObject().value(u"id").toString(),
             QStringLiteral("user-2"));

    const QJsonObject queued = sample::durable(
        sample::oneEntry(), {sample::queueItem(QStringLiteral("entry.update"), QStringLiteral("e1"), {})});
    desk.controller->applyDurable(queued);
    desk.peer.forgetRequests();
    desk.controller->fetchIdentity();
    QTRY_VERIFY(!desk.controller->busy());
    QCOMPARE(desk.controller->message(), QStringLiteral("Account changed; pending work was not reassigned"));
    QCOMPARE(desk.controller->durableState(), queued);
    QCOMPARE(desk.peer.log(), QStringList{QStringLiteral("GET /v1/me")});
}

void ConnectionTest::workIsNotReassignedWhileASessionMatches() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    desk.peer.answer("GET", me, identityOf(QStringLiteral("user-2")));
    QJsonObject state = sample::durable(sample::oneEntry());
    state.insert(u"auth", sample::session(QStringLiteral("user-2")));
    desk.controller->applyDurable(state);
    QSignalSpy ready(desk.controller.get(), &Controller::ready);
    desk.controller->fetchIdentity();
    QVERIFY(ready.wait());

    state.insert(u"queue",
                 QJsonArray{sample::queueItem(QStringLiteral("entry.update"), QStringLiteral("e1"), {})});
    desk.controller->applyDurable(state);
    desk.controller->fetchIdentity();
    QTRY_VERIFY(!desk.controller->busy());
    QCOMPARE(desk.controller->message(), QStringLiteral("Account changed; pending work was not reassigned"));
    QCOMPARE(desk.controller->durableState(), state);
}

void ConnectionTest::aWorkspaceListThatFailsKeepsTheList() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    const QVariantList before = desk.controller->workspaces();
    QJsonObject identity = sample::identity();
    identity.insert(u"email", QStringLiteral("new@example.org"));
    desk.peer.answer("GET", me, PeerReply::json(identity));
    desk.peer.answer("GET", workspacesPath, failure());
    desk.peer.forgetRequests();
    desk.controller->fetchIdentity();
    QTRY_VERIFY(!desk.controller->busy());
    QCOMPARE(desk.controller->message(), QStringLiteral("Unable to list workspaces for this account"));
    QCOMPARE(desk.controller->workspaces(), before);
    QCOMPARE(desk.controller->accountName(), QStringLiteral("new@example.org"));
    QCOMPARE(desk.controller->entries().size(), 1);
    QCOMPARE(desk.peer.requests().size(), 2);
}

void ConnectionTest::anAccountWithoutWorkspaceShowsNothing() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    for (const PeerReply& reply :
         {PeerReply::json({{QStringLiteral("items"), QJsonArray()}}), PeerReply::json({})}) {
        desk.peer.answer("GET", workspacesPath, reply);
        desk.peer.forgetRequests();
        desk.controller->fetchIdentity();
        QTRY_VERIFY(!desk.controller->busy());
        QCOMPARE(desk.controller->message(),
                 QStringLiteral("This account has no workspace yet. Create one on its Web account page."));
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
    QCOMPARE(desk.controller->accountName(), QStringLiteral("noa@example.org"));
}

void ConnectionTest::aVanishedWorkspaceGivesWayToTheFirst() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    const QJsonArray others{QJsonObject{{QStringLiteral("id"), QStringLiteral("ws-8")}},
                            QJsonObject{{QStringLiteral("id"), QStringLiteral("ws-9")}}};
    desk.peer.answer("GET", workspacesPath, PeerReply::json({{QStringLiteral("items"), others}}));
    desk.peer.forgetRequests();
    QVERIFY(desk.load());
    QCOMPARE(desk.controller->workspace(), QStringLiteral("ws-8"));
    QCOMPARE(desk.peer.requests("GET", snapshotPath).value(0).query, QStringLiteral("workspace_id=ws-8"));
}

void ConnectionTest::theSelectedWorkspaceIsKeptWhileItIsListed() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    QSignalSpy ready(desk.controller.get(), &Controller::ready);
    desk.controller->selectWorkspace(QStringLiteral("ws-2"));
    QVERIFY(ready.wait());
    QCOMPARE(desk.peer.requests("GET", snapshotPath).last().query, QStringLiteral("workspace_id=ws-2"));
    desk.restart();
    QVERIFY(desk.load());
    QCOMPARE(desk.controller->workspace(), QStringLiteral("ws-2"));
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
        QCOMPARE(desk.controller->message(),
                 QStringLiteral("Server unavailable. Encrypted cached data retained."));
        QCOMPARE(desk.controller->durableState(), state);
        QCOMPARE(desk.controller->entries().size(), 1);
    }
    QCOMPARE(ready.size(), 0);
    QCOMPARE(sealedRecord(desk.peer.url()), record);
}

void ConnectionTest::aTimerThatFailsStillEndsReady() {
    Desk desk(sample::oneEntry());
    const QJsonObject running =
        sample::entry(QStringLiteral("t1"), QStringLiteral("2024-03-02T08:00:00Z"), QJsonValue());
    desk.peer.answerOnce("GET", timerPath, PeerReply::json({{QStringLiteral("timer"), running}}));
    QVERIFY(desk.load());
    QCOMPARE(desk.controller->timer().value(QStringLiteral("id")).toString(), QStringLiteral("t1"));
    desk.peer.answer("GET", timerPath, failure());
    QVERIFY(desk.load());
    QCOMPARE(desk.controller->message(), connected);
    QCOMPARE(desk.controller->timer().value(QStringLiteral("id")).toString(), QStringLiteral("t1"));
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
             QStringLiteral("Secure local save failed; the retained queue was not acknowledged locally."));
    QVERIFY(!desk.controller->busy());
    QVERIFY(desk.controller->entries().isEmpty());
    QCOMPARE(sealedRecord(desk.peer.url()), record);
}

QTEST_MAIN(ConnectionTest)
#include "connection.moc"
