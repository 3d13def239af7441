// SPDX-License-Identifier: MIT
#include "tests/support/client.h"
#include "tests/support/desk.h"

#include <QJsonDocument>
#include <QSignalSpy>
#include <QTest>

namespace {

const QString awaiting = QStringLiteral("Local changes await acknowledgement");
const QString blocked = QStringLiteral("Sync conflict retained with its original payload. Inspect or export "
                                       "it; period locks cannot be bypassed.");
const QString push = QStringLiteral("/v1/sync/push");

QJsonObject closedEntry(const QString& id) {
    return sample::entry(id, QStringLiteral("2024-03-01T08:00:00Z"), QStringLiteral("2024-03-01T09:00:00Z"));
}

QJsonObject runningEntry(const QString& id) {
    return sample::entry(id, QStringLiteral("2024-03-01T08:00:00Z"), QJsonValue());
}

QJsonObject edit(const QString& entity) {
    return sample::queueItem(QStringLiteral("entry.update"), entity,
                             {{QStringLiteral("description"), QStringLiteral("Mine")}});
}

QJsonArray storedEntries(const Controller& controller) {
    return controller.durableState().value(u"snapshot").toObject().value(u"time_entries").toArray();
}

/// Answers the next push like this and holds the reload that follows, so that
/// the acknowledged state itself is what the test sees.
void answerPush(Desk& desk, const QString& status, const QJsonObject& canonical) {
    desk.peer.answer("POST", push, [status, canonical](const PeerRequest& request) {
        return sample::pushReply({sample::result(sample::pushed(request), status, canonical)});
    });
    desk.peer.answer("GET", QStringLiteral("/v1/sync/snapshot"), PeerReply::only(PeerReply::Delivery::Hold));
}

} // namespace

/// What becomes of the queue's head, the snapshot and the timer with each verdict of the server.
class ConflictsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }

    void aRefusedHeadIsRetainedWithTheVerdict_data();
    void aRefusedHeadIsRetainedWithTheVerdict();
    void aRefusedHeadHoldsEverythingBehindIt();
    void whatTheServerHasIsFollowedWhileAChangeIsRetained();
    void aRefusalBringsTheServersEntry();
    void anAcceptedStartBecomesTheTimer();
    void anAcceptedStopEndsTheTimer();
    void aRefusedStopEndsTheTimerOfThatEntry();
    void anotherEntrysTimerStays();
    void anEntryOfAnotherWorkspaceLeavesTheSnapshotAlone();
    void conflictDetailsListRetainedItemsOnly();
};

void ConflictsTest::aRefusedHeadIsRetainedWithTheVerdict_data() {
    QTest::addColumn<QString>("status");
    QTest::newRow("conflict") << QStringLiteral("conflict");
    QTest::newRow("rejected") << QStringLiteral("rejected");
}

void ConflictsTest::aRefusedHeadIsRetainedWithTheVerdict() {
    QFETCH(const QString, status);
    Desk desk(sample::snapshot({closedEntry(QStringLiteral("e1"))}));
    QVERIFY(desk.load());
    const QJsonObject item = edit(QStringLiteral("e1"));
    QVERIFY(desk.holdQueue({item}));
    const QJsonObject before = desk.controller->durableState();
    answerPush(desk, status, {});
    desk.controller->synchronize();
    QTRY_COMPARE(desk.peer.held(), 1);

    QJsonObject retained = item;
    retained.insert(u"status", status);
    retained.insert(u"result", sample::result(item.value(u"mutation").toObject(), status));
    QJsonObject expected = before;
    expected.insert(u"queue", QJsonArray{retained});
    QCOMPARE(desk.controller->durableState(), expected);
    const QVariantMap shown = listedEntry(*desk.controller, QStringLiteral("id"), QStringLiteral("e1"));
    QCOMPARE(shown.value(QStringLiteral("description")).toString(), QStringLiteral("Mine"));
    QVERIFY(shown.value(QStringLiteral("local_conflict")).toBool());
    QVERIFY(shown.value(QStringLiteral("local_pending")).toBool());
    QVERIFY(desk.controller->conflictDetails().contains(status));
    QCOMPARE(desk.stored(), expected);
}

void ConflictsTest::aRefusedHeadHoldsEverythingBehindIt() {
    Desk desk(sample::snapshot({closedEntry(QStringLiteral("e1")), closedEntry(QStringLiteral("e2"))}));
    QVERIFY(desk.load());
    const QJsonArray queue{edit(QStringLiteral("e1")), edit(QStringLiteral("e2"))};
    QVERIFY(desk.holdQueue(queue));
    desk.peer.answer("POST", push, [](const PeerRequest& request) {
        return sample::pushReply({sample::result(sample::pushed(request), QStringLiteral("conflict"))});
    });
    QStringList atReady;
    connect(desk.controller.get(), &Controller::ready, this,
            [&] { atReady.append(desk.controller->message()); });
    desk.controller->synchronize();
    QTRY_COMPARE(desk.controller->message(), blocked);
    QCOMPARE(atReady, QStringList{awaiting});
    QCOMPARE(desk.controller->pending(), 2);
    QCOMPARE(queueOf(*desk.controller).last(), queue.last());

    // Neither a request nor a restart moves it.
    desk.peer.forgetRequests();
    desk.controller->synchronize();
    QCOMPARE(desk.controller->message(), blocked);
    QTRY_VERIFY(!desk.controller->busy());
    QCOMPARE(desk.controller->message(), blocked);
    QVERIFY(desk.peer.requests("POST", push).isEmpty());
    desk.restart();
    QVERIFY(desk.load());
    QTRY_COMPARE(desk.controller->message(), blocked);
    QCOMPARE(desk.controller->pending(), 2);
    QVERIFY(desk.peer.requests("POST", push).isEmpty());
}

void ConflictsTest::whatTheServerHasIsFollowedWhileAChangeIsRetained() {
    Desk desk(sample::snapshot({closedEntry(QStringLiteral("e1"))}));
    QVERIFY(desk.load());
    QJsonObject refused = edit(QStringLiteral("e1"));
    refused.insert(QStringLiteral("status"), QStringLiteral("conflict"));
    QVERIFY(desk.holdQueue({refused}));
    QJsonObject changed = closedEntry(QStringLiteral("e1"));
    changed.insert(QStringLiteral("description"), QStringLiteral("Theirs"));
    changed.insert(QStringLiteral("version"), 7);
    desk.peer.answer("GET", QStringLiteral("/v1/sync/snapshot"),
                     PeerReply::json(sample::snapshot({changed})));
    desk.controller->synchronize();
    const auto description = [&desk] {
        return desk.controller->retained().value(QStringLiteral("fields")).toList().value(0).toMap();
    };
    QTRY_COMPARE(description().value(QStringLiteral("server")).toString(), QStringLiteral("Theirs"));
    QTRY_VERIFY(!desk.controller->busy());
    desk.controller->resendRetained();
    QCOMPARE(mutationAt(*desk.controller, 0).value(u"base_version").toInt(), 7);
}

void ConflictsTest::aRefusalBringsTheServersEntry() {
    Desk desk(sample::snapshot({closedEntry(QStringLiteral("e1"))}));
    QVERIFY(desk.load());
    QVERIFY(desk.holdQueue({edit(QStringLiteral("e1"))}));
    QJsonObject theirs = closedEntry(QStringLiteral("e1"));
    theirs.insert(u"description", QStringLiteral("Theirs"));
    theirs.insert(u"version", 9);
    answerPush(desk, QStringLiteral("conflict"), theirs);
    desk.controller->synchronize();
    QTRY_COMPARE(desk.peer.held(), 1);
    QCOMPARE(storedEntries(*desk.controller), QJsonArray{theirs});
    QCOMPARE(desk.controller->pending(), 1);
}

void ConflictsTest::anAcceptedStartBecomesTheTimer() {
    Desk desk;
    QVERIFY(desk.load());
    QVERIFY(desk.holdQueue({sample::queueItem(QStringLiteral("timer.start"), QStringLiteral("t1"), {})}));
    answerPush(desk, QStringLiteral("accepted"), runningEntry(QStringLiteral("t1")));
    desk.controller->synchronize();
    QTRY_COMPARE(desk.peer.held(), 1);
    QCOMPARE(desk.controller->durableState().value(u"timer").toObject(), runningEntry(QStringLiteral("t1")));
    QCOMPARE(desk.controller->timer().value(QStringLiteral("id")).toString(), QStringLiteral("t1"));
    QCOMPARE(desk.controller->pending(), 0);
    QCOMPARE(storedEntries(*desk.controller), QJsonArray{runningEntry(QStringLiteral("t1"))});
}

void ConflictsTest::anAcceptedStopEndsTheTimer() {
    Desk desk(sample::snapshot({runningEntry(QStringLiteral("t1"))}));
    desk.peer.answer("GET", QStringLiteral("/v1/me/timer"),
                     PeerReply::json({{QStringLiteral("timer"), runningEntry(QStringLiteral("t1"))}}));
    QVERIFY(desk.load());
    QVERIFY(desk.holdQueue({sample::queueItem(QStringLiteral("timer.stop"), QStringLiteral("t1"), {})}));
    answerPush(desk, QStringLiteral("accepted"), closedEntry(QStringLiteral("t1")));
    desk.controller->synchronize();
    QTRY_COMPARE(desk.peer.held(), 1);
    QVERIFY(desk.controller->durableState().value(u"timer").toObject().isEmpty());
    QVERIFY(desk.controller->timer().isEmpty());
    QVERIFY(!listedEntry(*desk.controller, QStringLiteral("id"), QStringLiteral("t1")).isEmpty());
}

void ConflictsTest::aRefusedStopEndsTheTimerOfThatEntry() {
    Desk desk(sample::snapshot({runningEntry(QStringLiteral("t1"))}));
    desk.peer.answer("GET", QStringLiteral("/v1/me/timer"),
                     PeerReply::json({{QStringLiteral("timer"), runningEntry(QStringLiteral("t1"))}}));
    QVERIFY(desk.load());
    QVERIFY(desk.holdQueue({sample::queueItem(QStringLiteral("timer.stop"), QStringLiteral("t1"), {})}));
    answerPush(desk, QStringLiteral("rejected"), runningEntry(QStringLiteral("t1")));
    desk.controller->synchronize();
    QTRY_COMPARE(desk.peer.held(), 1);
    QVERIFY(desk.controller->durableState().value(u"timer").toObject().isEmpty());
}

void ConflictsTest::anotherEntrysTimerStays() {
    Desk desk(sample::snapshot({closedEntry(QStringLiteral("e1")), runningEntry(QStringLiteral("t1"))}));
    const QJsonObject running = runningEntry(QStringLiteral("t1"));
    desk.peer.answer("GET", QStringLiteral("/v1/me/timer"),
                     PeerReply::json({{QStringLiteral("timer"), running}}));
    QVERIFY(desk.load());
    QVERIFY(desk.holdQueue({edit(QStringLiteral("e1"))}));
    answerPush(desk, QStringLiteral("accepted"), closedEntry(QStringLiteral("e1")));
    desk.controller->synchronize();
    QTRY_COMPARE(desk.peer.held(), 1);
    QCOMPARE(desk.controller->durableState().value(u"timer").toObject(), running);
}

void ConflictsTest::anEntryOfAnotherWorkspaceLeavesTheSnapshotAlone() {
    Desk desk(sample::snapshot({closedEntry(QStringLiteral("e1"))}));
    QVERIFY(desk.load());
    const QJsonValue elsewhere = QStringLiteral("ws-2");
    QJsonObject item = sample::queueItem(QStringLiteral("timer.start"), QStringLiteral("t1"), {});
    QJsonObject mutation = item.value(u"mutation").toObject();
    mutation.insert(u"workspace_id", elsewhere);
    item.insert(u"mutation", mutation);
    QVERIFY(desk.holdQueue({item}));
    const QJsonArray before = storedEntries(*desk.controller);
    QJsonObject running = runningEntry(QStringLiteral("t1"));
    running.insert(u"workspace_id", elsewhere);
    answerPush(desk, QStringLiteral("accepted"), running);
    desk.controller->synchronize();
    QTRY_COMPARE(desk.peer.held(), 1);
    QCOMPARE(storedEntries(*desk.controller), before);
    QCOMPARE(desk.controller->durableState().value(u"timer").toObject(), running);
    QCOMPARE(desk.controller->pending(), 0);
}

void ConflictsTest::conflictDetailsListRetainedItemsOnly() {
    Controller controller;
    const QString none = QStringLiteral("[\n]");
    QCOMPARE(controller.conflictDetails(), none);
    const QJsonObject pending = edit(QStringLiteral("e1"));
    controller.applyDurable(sample::durable(sample::snapshot(), {pending}));
    QCOMPARE(controller.conflictDetails(), none);

    QJsonObject conflict = sample::queueItem(QStringLiteral("entry.update"), QStringLiteral("e2"),
                                             {{QStringLiteral("description"), QStringLiteral("תיאור")}},
                                             QStringLiteral("conflict"));
    conflict.insert(u"result", QJsonObject{{QStringLiteral("message"), QStringLiteral("Too late")}});
    const QJsonObject rejected = sample::queueItem(QStringLiteral("entry.update"), QStringLiteral("e3"), {},
                                                   QStringLiteral("rejected"));
    controller.applyDurable(sample::durable(sample::snapshot(), {conflict, pending, rejected}));
    const QString details = controller.conflictDetails();
    QCOMPARE(QJsonDocument::fromJson(details.toUtf8()).array(), QJsonArray({conflict, rejected}));
    QCOMPARE(details, QString::fromUtf8(QJsonDocument(QJsonArray{conflict, rejected}).toJson()).trimmed());
    QVERIFY(details.contains(QStringLiteral("תיאור")));
}

QTEST_MAIN(ConflictsTest)
#include "conflicts.moc"
