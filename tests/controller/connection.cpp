// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "tests/support/client.h"
#include "tests/support/sample.h"
#include "tests/support/scriptedpeer.h"
#include "tests/support/vaultfile.h"

#include <QFile>
#include <QNetworkReply>
#include <QSettings>
#include <QSignalSpy>
#include <QTest>

#include <memory>

namespace {

const QString connected = QStringLiteral("Connected to PostgreSQL");
const QString me = QStringLiteral("/v1/me");
const QString workspacesPath = QStringLiteral("/v1/workspaces");
const QString snapshotPath = QStringLiteral("/v1/sync/snapshot");
const QString timerPath = QStringLiteral("/v1/me/timer");

const QStringList wholeChain{QStringLiteral("GET /v1/me"), QStringLiteral("GET /v1/workspaces"),
                             QStringLiteral("GET /v1/sync/snapshot"), QStringLiteral("GET /v1/me/timer")};

PeerReply failure() {
    return PeerReply::json({{QStringLiteral("error"), QJsonObject()}}, 503);
}

PeerReply identityOf(const QString& id) {
    QJsonObject identity = sample::identity();
    identity.insert(u"id", id);
    return PeerReply::json(identity);
}

QJsonObject sampleSnapshot() {
    return sample::snapshot({sample::entry(QStringLiteral("e1"), QStringLiteral("2024-03-01T08:00:00Z"),
                                           QStringLiteral("2024-03-01T09:00:00Z"))});
}

QJsonObject session(const QString& user) {
    return {{QStringLiteral("token"), QStringLiteral("a-token")}, {QStringLiteral("user_id"), user}};
}

} // namespace

class ConnectionTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

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

private:
    [[nodiscard]] bool load();
    /// Stores a signed-out state for the peer's address.
    void storeSignedOut();

    std::unique_ptr<ScriptedPeer> m_peer;
    std::unique_ptr<Controller> m_controller;
};

void ConnectionTest::init() {
    startClean();
    m_peer = std::make_unique<ScriptedPeer>();
    sample::serve(*m_peer, sampleSnapshot());
    m_controller = std::make_unique<Controller>();
}

void ConnectionTest::cleanup() {
    m_controller.reset();
    m_peer.reset();
}

bool ConnectionTest::load() {
    return connectAndLoad(*m_controller, m_peer->url());
}

void ConnectionTest::storeSignedOut() {
    QVERIFY(load());
    m_controller->applyDurable({{QStringLiteral("signed_out"), true}});
    QVERIFY(m_controller->persist());
    m_controller = std::make_unique<Controller>();
    m_peer->forgetRequests();
}

void ConnectionTest::theChainLoadsTheWorkspaceStepByStep() {
    QSignalSpy ready(m_controller.get(), &Controller::ready);
    QVERIFY(load());
    QCOMPARE(m_peer->log(), wholeChain);
    QCOMPARE(m_peer->requests("GET", snapshotPath).value(0).query, QStringLiteral("workspace_id=ws-1"));
    QCOMPARE(ready.size(), 1);
    QCOMPARE(m_controller->message(), connected);
    QCOMPARE(m_controller->server(), m_peer->url());
    QCOMPARE(QSettings().value(QStringLiteral("server")).toString(), m_peer->url());
    QCOMPARE(m_controller->workspace(), QStringLiteral("ws-1"));
    QCOMPARE(m_controller->workspaces().size(), 2);
    QCOMPARE(m_controller->projects().size(), 1);
    QCOMPARE(m_controller->entries().size(), 1);
    QCOMPARE(m_controller->accountName(), QStringLiteral("noa@example.org"));
    QCOMPARE(m_controller->timezone(), QStringLiteral("Europe/Berlin"));
    QVERIFY(m_controller->secureStorage());
    QVERIFY(!m_controller->busy());
}

void ConnectionTest::busyLastsFromTheFirstRequestToTheLast() {
    QStringList idleAt;
    connect(m_controller.get(), &Controller::changed, this, [this, &idleAt] {
        if (!m_controller->busy()) {
            idleAt.append(m_controller->message());
        }
    });
    QVERIFY(load());
    QCOMPARE(idleAt, QStringList{connected});

    // While it is set, a refresh does nothing.
    m_peer->answer("GET", snapshotPath, PeerReply::only(PeerReply::Delivery::Hold));
    m_controller->refresh();
    QTRY_COMPARE(m_peer->held(), 1);
    QVERIFY(m_controller->busy());
    const QString before = m_controller->message();
    QSignalSpy changed(m_controller.get(), &Controller::changed);
    m_controller->refresh();
    m_controller->connectServer(QStringLiteral("http://localhost:1"));
    m_controller->selectWorkspace(QStringLiteral("ws-2"));
    QCOMPARE(changed.size(), 0);
    QCOMPARE(m_controller->message(), before);
    QCOMPARE(networkOf(*m_controller).findChildren<QNetworkReply*>().size(), 1);
    m_peer->release();
    QTRY_VERIFY(!m_controller->busy());
}

void ConnectionTest::theTimezoneFallsBackWhenTheIdentityHasNone() {
    QJsonObject identity = sample::identity();
    identity.insert(u"timezone", 3);
    m_peer->answerOnce("GET", me, PeerReply::json(sample::identity()));
    QVERIFY(load());
    QCOMPARE(m_controller->timezone(), QStringLiteral("Europe/Berlin"));
    m_peer->answer("GET", me, PeerReply::json(identity));
    QVERIFY(load());
    QCOMPARE(m_controller->timezone(), QStringLiteral("Asia/Jerusalem"));
}

void ConnectionTest::whatWasLoadedIsThereWithoutTheServer() {
    QVERIFY(load());
    const QJsonObject state = m_controller->durableState();
    m_controller = std::make_unique<Controller>();
    m_peer->goOffline();
    m_controller->connectServer(m_peer->url());
    QTRY_COMPARE(m_controller->entries().size(), 1);
    QTRY_VERIFY(!m_controller->busy());
    QCOMPARE(m_controller->message(),
             QStringLiteral("Session unavailable or revoked. Cached work retained; no "
                            "developer fallback was attempted."));
    QCOMPARE(m_controller->durableState(), state);
}

void ConnectionTest::anIdentityThatFailsKeepsEverything() {
    QVERIFY(load());
    const QJsonObject state = m_controller->durableState();
    for (const PeerReply& reply : {failure(), PeerReply::json({}, 401), PeerReply::text("<html>")}) {
        m_peer->answer("GET", me, reply);
        m_peer->forgetRequests();
        m_controller->connectServer(m_peer->url());
        QTRY_VERIFY(!m_controller->busy());
        QCOMPARE(m_controller->message(),
                 QStringLiteral("Session unavailable or revoked. Cached work retained; "
                                "no developer fallback was attempted."));
        QCOMPARE(m_peer->log(), QStringList{QStringLiteral("GET /v1/me")});
        QCOMPARE(m_controller->durableState(), state);
    }
}

void ConnectionTest::anIdentityOfAnotherUserThanTheSessionIsRefused() {
    QVERIFY(load());
    QJsonObject state = m_controller->durableState();
    state.insert(u"auth", session(QStringLiteral("user-2")));
    m_controller->applyDurable(state);
    m_peer->forgetRequests();
    m_controller->fetchIdentity();
    QTRY_VERIFY(!m_controller->busy());
    QCOMPARE(m_controller->message(), QStringLiteral("Account changed; pending work was not reassigned"));
    QCOMPARE(m_peer->log(), QStringList{QStringLiteral("GET /v1/me")});
    QCOMPARE(m_controller->durableState(), state);
}

void ConnectionTest::anotherIdentityIsAcceptedOnlyWithAnEmptyQueue() {
    QVERIFY(load());
    m_peer->answer("GET", me, identityOf(QStringLiteral("user-2")));
    QSignalSpy ready(m_controller.get(), &Controller::ready);
    m_controller->fetchIdentity();
    QVERIFY(ready.wait());
    QCOMPARE(m_controller->durableState().value(u"me").toObject().value(u"id").toString(),
             QStringLiteral("user-2"));

    const QJsonObject queued = sample::durable(
        sampleSnapshot(), {sample::queueItem(QStringLiteral("entry.update"), QStringLiteral("e1"), {})});
    m_controller->applyDurable(queued);
    m_peer->forgetRequests();
    m_controller->fetchIdentity();
    QTRY_VERIFY(!m_controller->busy());
    QCOMPARE(m_controller->message(), QStringLiteral("Account changed; pending work was not reassigned"));
    QCOMPARE(m_controller->durableState(), queued);
    QCOMPARE(m_peer->log(), QStringList{QStringLiteral("GET /v1/me")});
}

void ConnectionTest::workIsNotReassignedWhileASessionMatches() {
    QVERIFY(load());
    m_peer->answer("GET", me, identityOf(QStringLiteral("user-2")));
    QJsonObject state = sample::durable(sampleSnapshot());
    state.insert(u"auth", session(QStringLiteral("user-2")));
    m_controller->applyDurable(state);
    QSignalSpy ready(m_controller.get(), &Controller::ready);
    m_controller->fetchIdentity();
    QVERIFY(ready.wait());

    state.insert(u"queue",
                 QJsonArray{sample::queueItem(QStringLiteral("entry.update"), QStringLiteral("e1"), {})});
    m_controller->applyDurable(state);
    m_controller->fetchIdentity();
    QTRY_VERIFY(!m_controller->busy());
    QCOMPARE(m_controller->message(), QStringLiteral("Account changed; pending work was not reassigned"));
    QCOMPARE(m_controller->durableState(), state);
}

void ConnectionTest::aWorkspaceListThatFailsKeepsTheList() {
    QVERIFY(load());
    const QVariantList before = m_controller->workspaces();
    QJsonObject identity = sample::identity();
    identity.insert(u"email", QStringLiteral("new@example.org"));
    m_peer->answer("GET", me, PeerReply::json(identity));
    m_peer->answer("GET", workspacesPath, failure());
    m_peer->forgetRequests();
    m_controller->fetchIdentity();
    QTRY_VERIFY(!m_controller->busy());
    QCOMPARE(m_controller->message(), QStringLiteral("Unable to list workspaces for this account"));
    QCOMPARE(m_controller->workspaces(), before);
    QCOMPARE(m_controller->accountName(), QStringLiteral("new@example.org"));
    QCOMPARE(m_controller->entries().size(), 1);
    QCOMPARE(m_peer->requests().size(), 2);
}

void ConnectionTest::anAccountWithoutWorkspaceShowsNothing() {
    QVERIFY(load());
    for (const PeerReply& reply :
         {PeerReply::json({{QStringLiteral("items"), QJsonArray()}}), PeerReply::json({})}) {
        m_peer->answer("GET", workspacesPath, reply);
        m_peer->forgetRequests();
        m_controller->fetchIdentity();
        QTRY_VERIFY(!m_controller->busy());
        QCOMPARE(m_controller->message(),
                 QStringLiteral("This account has no workspace yet. Create one on its Web account page."));
        QCOMPARE(m_peer->log(), wholeChain.first(2));
        QCOMPARE(m_controller->workspace(), QString());
        QVERIFY(m_controller->workspaces().isEmpty());
        QVERIFY(m_controller->entries().isEmpty());
        QVERIFY(m_controller->durableState().value(u"snapshot").toObject().isEmpty());
    }
    // Stored like that: nothing comes back at the next start.
    m_controller = std::make_unique<Controller>();
    m_peer->goOffline();
    m_controller->connectServer(m_peer->url());
    QTRY_VERIFY(!m_controller->busy());
    QVERIFY(m_controller->entries().isEmpty());
    QCOMPARE(m_controller->accountName(), QStringLiteral("noa@example.org"));
}

void ConnectionTest::aVanishedWorkspaceGivesWayToTheFirst() {
    QVERIFY(load());
    const QJsonArray others{QJsonObject{{QStringLiteral("id"), QStringLiteral("ws-8")}},
                            QJsonObject{{QStringLiteral("id"), QStringLiteral("ws-9")}}};
    m_peer->answer("GET", workspacesPath, PeerReply::json({{QStringLiteral("items"), others}}));
    m_peer->forgetRequests();
    QVERIFY(load());
    QCOMPARE(m_controller->workspace(), QStringLiteral("ws-8"));
    QCOMPARE(m_peer->requests("GET", snapshotPath).value(0).query, QStringLiteral("workspace_id=ws-8"));
}

void ConnectionTest::theSelectedWorkspaceIsKeptWhileItIsListed() {
    QVERIFY(load());
    QSignalSpy ready(m_controller.get(), &Controller::ready);
    m_controller->selectWorkspace(QStringLiteral("ws-2"));
    QVERIFY(ready.wait());
    QCOMPARE(m_peer->requests("GET", snapshotPath).last().query, QStringLiteral("workspace_id=ws-2"));
    m_controller = std::make_unique<Controller>();
    QVERIFY(load());
    QCOMPARE(m_controller->workspace(), QStringLiteral("ws-2"));
}

void ConnectionTest::aSnapshotThatFailsKeepsTheCache() {
    QVERIFY(load());
    const QJsonObject state = m_controller->durableState();
    const QByteArray record = sealedRecord(m_peer->url());
    QSignalSpy ready(m_controller.get(), &Controller::ready);
    for (const PeerReply& reply :
         {failure(), PeerReply::text("<html>"), PeerReply::only(PeerReply::Delivery::Close)}) {
        m_peer->answer("GET", snapshotPath, reply);
        m_controller->refresh();
        QVERIFY(m_controller->busy());
        QTRY_VERIFY(!m_controller->busy());
        QCOMPARE(m_controller->message(),
                 QStringLiteral("Server unavailable. Encrypted cached data retained."));
        QCOMPARE(m_controller->durableState(), state);
        QCOMPARE(m_controller->entries().size(), 1);
    }
    QCOMPARE(ready.size(), 0);
    QCOMPARE(sealedRecord(m_peer->url()), record);
}

void ConnectionTest::aTimerThatFailsStillEndsReady() {
    const QJsonObject running =
        sample::entry(QStringLiteral("t1"), QStringLiteral("2024-03-02T08:00:00Z"), QJsonValue());
    m_peer->answerOnce("GET", timerPath, PeerReply::json({{QStringLiteral("timer"), running}}));
    QVERIFY(load());
    QCOMPARE(m_controller->timer().value(QStringLiteral("id")).toString(), QStringLiteral("t1"));
    m_peer->answer("GET", timerPath, failure());
    QVERIFY(load());
    QCOMPARE(m_controller->message(), connected);
    QCOMPARE(m_controller->timer().value(QStringLiteral("id")).toString(), QStringLiteral("t1"));
    // Only an answer that says so ends the timer.
    m_peer->answer("GET", timerPath, PeerReply::json({}));
    QVERIFY(load());
    QVERIFY(m_controller->timer().isEmpty());
}

void ConnectionTest::aFailedSaveWhileLoadingIsSaid() {
    QVERIFY(load());
    const QByteArray record = sealedRecord(m_peer->url());
    const SaveBlocker blocker(m_peer->url());
    m_peer->answer("GET", snapshotPath, PeerReply::json(sample::snapshot()));
    QSignalSpy ready(m_controller.get(), &Controller::ready);
    m_controller->refresh();
    QVERIFY(ready.wait());
    QCOMPARE(m_controller->message(),
             QStringLiteral("Secure local save failed; the retained queue was not acknowledged locally."));
    QVERIFY(!m_controller->busy());
    QVERIFY(m_controller->entries().isEmpty());
    QCOMPARE(sealedRecord(m_peer->url()), record);
}

void ConnectionTest::queuedWorkHoldsTheServer() {
    QVERIFY(load());
    const QJsonObject queued = sample::durable(
        sampleSnapshot(), {sample::queueItem(QStringLiteral("entry.update"), QStringLiteral("e1"), {},
                                             QStringLiteral("conflict"))});
    m_controller->applyDurable(queued);
    m_peer->forgetRequests();
    for (const QString& address :
         {QStringLiteral("http://localhost:1"), m_peer->url(), QStringLiteral("nonsense")}) {
        m_controller->connectServer(address);
        QCOMPARE(m_controller->message(), QStringLiteral("Pending work prevents changing server or account"));
        QCOMPARE(m_controller->server(), m_peer->url());
        QCOMPARE(QSettings().value(QStringLiteral("server")).toString(), m_peer->url());
        QVERIFY(!m_controller->busy());
    }
    QCOMPARE(m_controller->durableState(), queued);
    QVERIFY(m_peer->requests().isEmpty());
}

void ConnectionTest::signedInTheServerCannotChange() {
    QVERIFY(load());
    QJsonObject state = m_controller->durableState();
    state.insert(u"auth", session(QStringLiteral("user-1")));
    m_controller->applyDurable(state);
    ScriptedPeer other;
    m_controller->connectServer(other.url());
    QCOMPARE(m_controller->message(),
             QStringLiteral("Sign out of this personal account before changing servers"));
    QCOMPARE(m_controller->server(), m_peer->url());
    QCOMPARE(QSettings().value(QStringLiteral("server")).toString(), m_peer->url());
    QVERIFY(!m_controller->busy());
    QVERIFY(waitForSilence(*m_controller));
    QVERIFY(other.requests().isEmpty());
}

void ConnectionTest::signedInTheSameServerMayConnectAgain() {
    QVERIFY(load());
    QJsonObject state = m_controller->durableState();
    state.insert(u"auth", session(QStringLiteral("user-1")));
    m_controller->applyDurable(state);
    QVERIFY(m_controller->persist());
    m_peer->forgetRequests();
    QVERIFY(connectAndLoad(*m_controller, m_peer->url() + u'/'));
    QCOMPARE(m_peer->log(), wholeChain);
    QVERIFY(m_controller->accountSignedIn());
}

void ConnectionTest::aStoredSessionIsUsedAtTheNextStart() {
    signedInTheSameServerMayConnectAgain();
    m_controller = std::make_unique<Controller>();
    m_peer->forgetRequests();
    QVERIFY(load());
    QCOMPARE(m_peer->requests().size(), 4);
    for (const PeerRequest& request : m_peer->requests()) {
        QCOMPARE(request.headers.value("authorization"), "Bearer a-token");
    }
}

void ConnectionTest::readOnlyUsesNeitherSessionNorStore() {
    m_controller->setReadOnly(true);
    QJsonObject state = sample::durable(sample::snapshot());
    state.insert(u"auth", session(QStringLiteral("user-1")));
    state.insert(u"signed_out", true);
    m_controller->applyDurable(state);
    // Signed in, only the server in use may be connected to: here there is none yet.
    m_controller->connectServer(m_peer->url());
    QCOMPARE(m_controller->message(),
             QStringLiteral("Sign out of this personal account before changing servers"));
    state.insert(u"auth", QJsonObject{{QStringLiteral("user_id"), QStringLiteral("user-9")}});
    m_controller->applyDurable(state);
    QVERIFY(load());
    QCOMPARE(m_peer->log(), wholeChain);
    for (const PeerRequest& request : m_peer->requests()) {
        QVERIFY(!request.headers.contains("authorization"));
    }
    QVERIFY(m_controller->durableState().value(u"auth").toObject().isEmpty());
    QVERIFY(!m_controller->durableState().value(u"signed_out").toBool(true));
    QCOMPARE(m_controller->entries().size(), 1);
    QVERIFY(!m_controller->secureStorage());
    QVERIFY(!QFile::exists(vaultFile(m_peer->url())));
}

void ConnectionTest::signedOutNothingIsAskedUntilThePersonConnectsAgain() {
    storeSignedOut();
    m_controller->connectServer(m_peer->url());
    QTRY_VERIFY(!m_controller->busy());
    QCOMPARE(
        m_controller->message(),
        QStringLiteral("Signed out. Use personal login, or explicitly reconnect for private development."));
    m_controller->fetchIdentity();
    m_controller->synchronize();
    QVERIFY(!m_controller->busy());
    QVERIFY(m_peer->requests().isEmpty());

    QVERIFY(load());
    QCOMPARE(m_peer->log(), wholeChain);
    QCOMPARE(m_controller->message(), connected);
    m_controller = std::make_unique<Controller>();
    QVERIFY(load());
}

void ConnectionTest::aDeveloperReconnectThatCannotBeStoredIsRefused() {
    storeSignedOut();
    m_controller->connectServer(m_peer->url());
    QTRY_VERIFY(!m_controller->busy());
    const QByteArray record = sealedRecord(m_peer->url());
    const SaveBlocker blocker(m_peer->url());
    m_controller->connectServer(m_peer->url());
    QCOMPARE(m_controller->message(), QStringLiteral("Unable to store explicit developer reconnect"));
    QVERIFY(!m_controller->busy());
    QVERIFY(m_controller->durableState().value(u"signed_out").toBool());
    QVERIFY(waitForSilence(*m_controller));
    QVERIFY(m_peer->requests().isEmpty());
    QCOMPARE(sealedRecord(m_peer->url()), record);
}

void ConnectionTest::signedOutAnotherServerOpensItsOwnStore() {
    storeSignedOut();
    m_controller->connectServer(m_peer->url());
    QTRY_VERIFY(!m_controller->busy());
    const QByteArray record = sealedRecord(m_peer->url());
    ScriptedPeer other;
    sample::serve(other, sample::snapshot());
    QVERIFY(connectAndLoad(*m_controller, other.url()));
    QCOMPARE(sealedRecord(m_peer->url()), record);
    QVERIFY(!sealedRecord(other.url()).isEmpty());
}

void ConnectionTest::anAlteredRecordStopsBeforeAnyRequest() {
    QVERIFY(load());
    m_controller.reset();
    QByteArray record = sealedRecord(m_peer->url());
    record[record.size() - 1] = static_cast<char>(record.back() ^ 1);
    replaceSealedRecord(m_peer->url(), record);
    m_controller = std::make_unique<Controller>();
    m_peer->forgetRequests();
    m_controller->connectServer(m_peer->url());
    QTRY_VERIFY(!m_controller->busy());
    QCOMPARE(m_controller->message(),
             QStringLiteral(
                 "Encrypted account/queue could not be authenticated; no identity fallback was attempted"));
    QVERIFY(!m_controller->secureStorage());
    QVERIFY(!m_controller->persist());
    QVERIFY(m_peer->requests().isEmpty());
    QCOMPARE(sealedRecord(m_peer->url()), record);
}

void ConnectionTest::twoServersKeepTheirStatesApart() {
    ScriptedPeer other;
    sample::serve(other, sample::snapshot());
    QVERIFY(load());
    QCOMPARE(m_controller->entries().size(), 1);
    QVERIFY(connectAndLoad(*m_controller, other.url()));
    QVERIFY(m_controller->entries().isEmpty());
    m_peer->goOffline();
    m_controller->connectServer(m_peer->url());
    QTRY_VERIFY(!m_controller->busy());
    QCOMPARE(m_controller->entries().size(), 1);
}

QTEST_MAIN(ConnectionTest)
#include "connection.moc"
