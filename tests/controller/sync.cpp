// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "tests/support/client.h"
#include "tests/support/devserver.h"
#include "tests/support/scriptedpeer.h"

#include <QSignalSpy>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

const QString connected = u"Connected to PostgreSQL"_s;
const QString blocked = u"Sync conflict retained with its original payload. Inspect or export "
                        "it; period locks cannot be bypassed."_s;
const QString morning = u"2024-03-01T08:00:00Z"_s;
const QString noon = u"2024-03-01T12:00:00Z"_s;

QJsonObject only(const QJsonArray& entries) {
    return entries.size() == 1 ? entries.first().toObject() : QJsonObject();
}

} // namespace

/// The client against the real development server.
class SyncTest : public QObject {
    Q_OBJECT

    [[nodiscard]] bool load(const QString& server);
    void serve(DevServer::Data data);
    void addManual(const QString& description);
    /// One entry on the server and in the client; its id.
    [[nodiscard]] QString addShared(const QString& description);

    std::unique_ptr<DevServer> m_server;
    std::unique_ptr<Controller> m_controller;

private Q_SLOTS:
    void init();
    void cleanup();

    void aYearOfWorkIsListed();
    void everyWriteArrivesExactlyOnce();
    void workWithoutTheServerSurvivesTheProgramAndArrivesOnce();
    void aServerKilledInBetweenLosesNothing();
    void aLostReplyIsAppliedOnce();
    void aLostReplyIsAppliedOnceAcrossARestart();
    void aConflictStaysWithAllBehindIt();
    void anEditOfATimeApprovedMeanwhileIsRejectedByTheServer();
    void anEditOfAnApprovedTimeIsRefusedHere();
    void aManualEntryInAnApprovedTimeIsRejectedByTheServer();
    void aTimerThatRunsElsewhereIsAConflict();
    void aWorkspaceIsChangedOnlyWithoutQueuedWork();
    void aTimerIsStoppedOnlyInItsWorkspace();
};

void SyncTest::init() {
    startClean();
    m_controller = std::make_unique<Controller>();
}

void SyncTest::cleanup() {
    m_controller.reset();
    m_server.reset();
}

void SyncTest::serve(DevServer::Data data) {
    m_server = std::make_unique<DevServer>(data);
    QVERIFY(m_server->start());
    QVERIFY(load(m_server->url()));
}

bool SyncTest::load(const QString& server) {
    return connectAndLoad(*m_controller, server);
}

void SyncTest::addManual(const QString& description) {
    m_controller->addManual(description, QString(), morning, noon, true);
}

QString SyncTest::addShared(const QString& description) {
    addManual(description);
    const bool pushed = QTest::qWaitFor(
        [this] { return m_controller->pending() == 0 && m_controller->message() == connected; });
    return pushed ? only(m_server->entriesNamed(description)).value(u"id").toString() : QString();
}

void SyncTest::aYearOfWorkIsListed() {
    serve(DevServer::Data::Demo);
    QCOMPARE(m_controller->message(), connected);
    QCOMPARE(m_controller->pending(), 0);
    QCOMPARE(m_controller->workspaces().size(), 2);
    QVERIFY(m_controller->projects().size() > 10);
    QVERIFY(m_controller->periods().size() >= 3);
    QVERIFY(m_controller->entries().size() > 2000);

    // Every entry of the user that is closed and not deleted, nobody else's.
    const QString me = m_controller->durableState().value(u"me").toObject().value(u"id").toString();
    const QJsonArray all = m_server->entries();
    qsizetype own = 0;
    for (const auto& entry : all) {
        const bool mine = entry.toObject().value(u"user_id").toString() == me;
        const bool closed = entry.toObject().value(u"stop_at").isString();
        own += mine && closed && !entry.toObject().value(u"deleted_at").isString() ? 1 : 0;
    }
    QCOMPARE(m_controller->entries().size(), own);
    QVERIFY(own < all.size());
}

void SyncTest::everyWriteArrivesExactlyOnce() {
    serve(DevServer::Data::Empty);
    m_controller->start(u"Running"_s, QString(), true);
    QTRY_COMPARE(m_controller->pending(), 0);
    const QJsonObject running = only(m_server->entriesNamed(u"Running"_s));
    QVERIFY(running.value(u"stop_at").isNull());
    QVERIFY(running.value(u"billable").toBool());
    QTRY_COMPARE(m_controller->message(), connected);
    QCOMPARE(m_controller->timer().value(u"id"_s).toString(), running.value(u"id").toString());

    m_controller->stop();
    QVERIFY(m_controller->timer().isEmpty());
    QTRY_COMPARE(m_controller->pending(), 0);
    QVERIFY(only(m_server->entriesNamed(u"Running"_s)).value(u"stop_at").isString());

    QTRY_COMPARE(m_controller->message(), connected);
    const QString manual = addShared(u"ידני"_s);
    QVERIFY(!manual.isEmpty());
    m_controller->editDescription(manual, u"Corrected"_s);
    QTRY_COMPARE(m_controller->pending(), 0);
    const QJsonObject corrected = only(m_server->entriesNamed(u"Corrected"_s));
    QCOMPARE(corrected.value(u"id").toString(), manual);
    QCOMPARE(corrected.value(u"version").toInt(), 2);
    QCOMPARE(corrected.value(u"duration_seconds").toInt(), 4 * 3600);
    QCOMPARE(m_server->entries().size(), 2);
    QTRY_COMPARE(m_controller->message(), connected);
    QVERIFY(!listedEntry(*m_controller, u"id"_s, manual).contains(u"local_pending"_s));
}

void SyncTest::workWithoutTheServerSurvivesTheProgramAndArrivesOnce() {
    serve(DevServer::Data::Empty);
    const QString known = addShared(u"Known"_s);
    QVERIFY(!known.isEmpty());
    m_controller->start(u"Timer"_s, QString(), false);
    QTRY_COMPARE(m_controller->pending(), 0);
    QTRY_COMPARE(m_controller->message(), connected);
    QVERIFY(m_server->stop());

    m_controller->stop();
    addManual(u"Manual"_s);
    m_controller->editDescription(known, u"Known better"_s);
    QCOMPARE(m_controller->pending(), 3);
    QTRY_COMPARE(m_controller->message(), u"Identity check unavailable; encrypted queue retained."_s);
    const QVariantList before = m_controller->entries();
    QCOMPARE(before.size(), 3);

    m_controller = std::make_unique<Controller>();
    m_controller->connectServer(m_server->url());
    QTRY_COMPARE(m_controller->pending(), 3);
    QTRY_VERIFY(!m_controller->busy());
    QCOMPARE(m_controller->entries(), before);
    for (const QVariant& entry : before) {
        QVERIFY(entry.toMap().value(u"local_pending"_s).toBool());
    }

    QVERIFY(m_server->start());
    m_controller->synchronize();
    QTRY_COMPARE(m_controller->pending(), 0);
    QTRY_COMPARE(m_controller->message(), connected);
    QCOMPARE(m_server->entries().size(), 3);
    QVERIFY(only(m_server->entriesNamed(u"Timer"_s)).value(u"stop_at").isString());
    QVERIFY(!only(m_server->entriesNamed(u"Manual"_s)).isEmpty());
    QCOMPARE(only(m_server->entriesNamed(u"Known better"_s)).value(u"id").toString(), known);
}

void SyncTest::aServerKilledInBetweenLosesNothing() {
    serve(DevServer::Data::Empty);
    for (int i = 0; i < 10; ++i) {
        addManual(u"Entry %1"_s.arg(i));
    }
    connect(m_controller.get(), &Controller::changed, this, [this] {
        if (m_controller->pending() == 7) {
            m_server->kill();
        }
    });
    QTRY_VERIFY(m_controller->message().contains(u"queue retained"_s));
    QCOMPARE(m_controller->pending(), 7);
    disconnect(m_controller.get(), &Controller::changed, this, nullptr);
    QVERIFY(m_server->start());
    m_controller->synchronize();
    QTRY_COMPARE(m_controller->pending(), 0);
    for (int i = 0; i < 10; ++i) {
        QCOMPARE(m_server->entriesNamed(u"Entry %1"_s.arg(i)).size(), 1);
    }
    QCOMPARE(m_server->entries().size(), 10);
}

void SyncTest::aLostReplyIsAppliedOnce() {
    m_server = std::make_unique<DevServer>();
    QVERIFY(m_server->start());
    ScriptedPeer peer;
    peer.forwardTo(m_server->url());
    QVERIFY(load(peer.url()));
    const QString push = u"/v1/sync/push"_s;
    for (const auto delivery : {PeerReply::Delivery::Cut, PeerReply::Delivery::Close}) {
        peer.answer("POST", push, PeerReply::forward(delivery));
        peer.forgetRequests();
        const QString description = u"Lost %1"_s.arg(static_cast<int>(delivery));
        addManual(description);
        QTRY_COMPARE(m_controller->message(),
                     u"Server did not acknowledge this request; original encrypted queue retained"_s);
        QCOMPARE(m_controller->pending(), 1);
        QCOMPARE(m_server->entriesNamed(description).size(), 1);

        peer.answer("POST", push, PeerReply::forward());
        m_controller->synchronize();
        QTRY_COMPARE(m_controller->pending(), 0);
        QTRY_COMPARE(m_controller->message(), connected);
        QCOMPARE(m_server->entriesNamed(description).size(), 1);
        const QList<PeerRequest> pushes = peer.requests("POST", push);
        QVERIFY(pushes.size() >= 2);
        for (const PeerRequest& request : pushes) {
            QCOMPARE(request.body, pushes.first().body);
            QCOMPARE(request.headers.value("idempotency-key"),
                     pushes.first().headers.value("idempotency-key"));
        }
    }
}

void SyncTest::aLostReplyIsAppliedOnceAcrossARestart() {
    m_server = std::make_unique<DevServer>();
    QVERIFY(m_server->start());
    ScriptedPeer peer;
    peer.forwardTo(m_server->url());
    QVERIFY(load(peer.url()));
    const QString push = u"/v1/sync/push"_s;
    peer.answerOnce("POST", push, PeerReply::forward(PeerReply::Delivery::Never));
    m_controller->start(u"Once"_s, QString(), false);
    QTRY_COMPARE(m_server->entriesNamed(u"Once"_s).size(), 1);
    QCOMPARE(m_controller->pending(), 1);

    m_controller = std::make_unique<Controller>();
    QVERIFY(load(peer.url()));
    QTRY_COMPARE(m_controller->pending(), 0);
    QTRY_COMPARE(m_controller->message(), connected);
    const QJsonObject entry = only(m_server->entriesNamed(u"Once"_s));
    QCOMPARE(entry.value(u"version").toInt(), 1);
    QCOMPARE(m_controller->timer().value(u"id"_s).toString(), entry.value(u"id").toString());
    QCOMPARE(peer.requests("POST", push).size(), 2);
}

void SyncTest::aConflictStaysWithAllBehindIt() {
    serve(DevServer::Data::Empty);
    const QString id = addShared(u"Shared"_s);
    const QJsonObject theirs = m_server->push(u"entry.update"_s, id, 1, {{u"description"_s, u"Theirs"_s}});
    QCOMPARE(theirs.value(u"status").toString(), u"accepted"_s);

    m_controller->editDescription(id, u"Mine"_s);
    QTRY_COMPARE(m_controller->message(), blocked);
    addManual(u"Behind"_s);
    QCOMPARE(m_controller->message(), blocked);
    QCOMPARE(m_controller->pending(), 2);
    const QJsonObject head = queueOf(*m_controller).first().toObject();
    QCOMPARE(head.value(u"status").toString(), u"conflict"_s);
    QCOMPARE(head.value(u"result").toObject().value(u"canonical").toObject().value(u"description").toString(),
             u"Theirs"_s);
    QVERIFY(m_controller->conflictDetails().contains(u"Mine"_s));
    QVERIFY(!m_controller->conflictDetails().contains(u"Behind"_s));

    m_controller = std::make_unique<Controller>();
    QVERIFY(load(m_server->url()));
    QTRY_COMPARE(m_controller->message(), blocked);
    QCOMPARE(m_controller->pending(), 2);
    QCOMPARE(m_server->entriesNamed(u"Theirs"_s).size(), 1);
    QCOMPARE(m_server->entries().size(), 1);
    const QVariantMap shown = listedEntry(*m_controller, u"id"_s, id);
    QCOMPARE(shown.value(u"description"_s).toString(), u"Mine"_s);
    QVERIFY(shown.value(u"local_conflict"_s).toBool());
}

void SyncTest::anEditOfATimeApprovedMeanwhileIsRejectedByTheServer() {
    serve(DevServer::Data::Empty);
    const QString id = addShared(u"Reported"_s);
    m_server->approve(QDateTime::fromString(morning, Qt::ISODate), QDateTime::fromString(noon, Qt::ISODate));
    m_controller->editDescription(id, u"Too late"_s);
    QTRY_COMPARE(m_controller->message(), blocked);
    QCOMPARE(queueOf(*m_controller).first().toObject().value(u"status").toString(), u"rejected"_s);
    QCOMPARE(m_server->entriesNamed(u"Reported"_s).size(), 1);
    QVERIFY(listedEntry(*m_controller, u"id"_s, id).value(u"period_locked"_s).toBool());
}

void SyncTest::anEditOfAnApprovedTimeIsRefusedHere() {
    serve(DevServer::Data::Empty);
    const QString id = addShared(u"Reported"_s);
    m_server->approve(QDateTime::fromString(morning, Qt::ISODate), QDateTime::fromString(noon, Qt::ISODate));
    QSignalSpy ready(m_controller.get(), &Controller::ready);
    m_controller->refresh();
    QVERIFY(ready.wait());
    const QJsonObject state = m_controller->durableState();
    m_controller->editDescription(id, u"Too late"_s);
    QCOMPARE(m_controller->message(),
             u"This entry is submitted or approved. Reopen its period in the Web workbench first."_s);
    QCOMPARE(m_controller->durableState(), state);
}

void SyncTest::aManualEntryInAnApprovedTimeIsRejectedByTheServer() {
    serve(DevServer::Data::Empty);
    m_server->approve(QDateTime::fromString(morning, Qt::ISODate), QDateTime::fromString(noon, Qt::ISODate));
    addManual(u"Forgotten"_s);
    QTRY_COMPARE(m_controller->message(), blocked);
    QCOMPARE(queueOf(*m_controller).first().toObject().value(u"status").toString(), u"rejected"_s);
    QVERIFY(m_server->entries().isEmpty());
    QCOMPARE(listedEntry(*m_controller, u"description"_s, u"Forgotten"_s).value(u"local_conflict"_s).toBool(),
             true);
}

void SyncTest::aTimerThatRunsElsewhereIsAConflict() {
    serve(DevServer::Data::Empty);
    const QJsonObject elsewhere =
        m_server->push(u"timer.start"_s, u"11111111-2222-4333-8444-555555555555"_s, 0,
                       {{u"description"_s, u"Elsewhere"_s}, {u"start_at"_s, morning}});
    QCOMPARE(elsewhere.value(u"status").toString(), u"accepted"_s);
    m_controller->start(u"Here"_s, QString(), false);
    QTRY_COMPARE(m_controller->message(), blocked);
    QCOMPARE(queueOf(*m_controller).first().toObject().value(u"status").toString(), u"conflict"_s);
    QCOMPARE(m_controller->timer().value(u"description"_s).toString(), u"Elsewhere"_s);
    QVERIFY(m_server->entriesNamed(u"Here"_s).isEmpty());
}

void SyncTest::aWorkspaceIsChangedOnlyWithoutQueuedWork() {
    serve(DevServer::Data::Demo);
    const QString first = m_controller->workspace();
    const QString second = m_controller->workspaces().last().toMap().value(u"id"_s).toString();
    QVERIFY(first != second);
    QSignalSpy changed(m_controller.get(), &Controller::changed);
    m_controller->selectWorkspace(first);
    QCOMPARE(changed.size(), 0);

    QVERIFY(m_server->stop());
    addManual(u"Queued"_s);
    QTRY_COMPARE(m_controller->message(), u"Identity check unavailable; encrypted queue retained."_s);
    m_controller->selectWorkspace(second);
    QCOMPARE(m_controller->message(),
             u"Finish synchronizing pending work before switching the native workspace."_s);
    QCOMPARE(m_controller->workspace(), first);
    QVERIFY(!m_controller->busy());

    QVERIFY(m_server->start());
    m_controller->synchronize();
    QTRY_COMPARE(m_controller->pending(), 0);
    QTRY_COMPARE(m_controller->message(), connected);
    QSignalSpy ready(m_controller.get(), &Controller::ready);
    m_controller->selectWorkspace(second);
    QVERIFY(ready.wait());
    QCOMPARE(m_controller->workspace(), second);
    const QVariantList entries = m_controller->entries();
    for (const QVariant& entry : entries) {
        QCOMPARE(entry.toMap().value(u"workspace_id"_s).toString(), second);
    }
    QVERIFY(listedEntry(*m_controller, u"description"_s, u"Queued"_s).isEmpty());
}

void SyncTest::aTimerIsStoppedOnlyInItsWorkspace() {
    serve(DevServer::Data::Demo);
    const QString first = m_controller->workspace();
    const QString second = m_controller->workspaces().last().toMap().value(u"id"_s).toString();
    if (m_controller->timer().isEmpty()) {
        m_controller->start(u"Here"_s, QString(), false);
        QTRY_COMPARE(m_controller->pending(), 0);
        QTRY_COMPARE(m_controller->message(), connected);
    }
    const QVariantMap timer = m_controller->timer();
    QSignalSpy ready(m_controller.get(), &Controller::ready);
    m_controller->selectWorkspace(second);
    QVERIFY(ready.wait());
    QCOMPARE(m_controller->timer().value(u"id"_s), timer.value(u"id"_s));
    m_controller->stop();
    QCOMPARE(m_controller->message(),
             u"Select the running timer's workspace before stopping it in this native preview."_s);
    QCOMPARE(m_controller->pending(), 0);
    m_controller->selectWorkspace(first);
    QVERIFY(ready.wait());
    m_controller->stop();
    QTRY_COMPARE(m_controller->pending(), 0);
    QVERIFY(m_controller->timer().isEmpty());
}

QTEST_MAIN(SyncTest)
#include "sync.moc"
