// SPDX-License-Identifier: MIT
#include "tests/support/client.h"
#include "tests/support/desk.h"

#include <QJsonDocument>
#include <QSignalSpy>
#include <QTest>

#include <functional>

using namespace Qt::StringLiterals;

namespace {

const QString awaiting = u"Local changes await acknowledgement"_s;
const QString blocked = u"Sync conflict retained with its original payload. Inspect or export "
                        "it; period locks cannot be bypassed."_s;
const QString push = u"/v1/sync/push"_s;

QJsonObject closedEntry(const QString& id) {
    return sample::entry(id, u"2024-03-01T08:00:00Z"_s, u"2024-03-01T09:00:00Z"_s);
}

QJsonObject runningEntry(const QString& id) {
    return sample::entry(id, u"2024-03-01T08:00:00Z"_s, QJsonValue());
}

QJsonObject edit(const QString& entity) {
    return sample::queueItem(u"entry.update"_s, entity, {{u"description"_s, u"Mine"_s}});
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
    desk.peer.answer("GET", u"/v1/sync/snapshot"_s, PeerReply::only(PeerReply::Delivery::Hold));
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
    void aStopThatIsKeptBackIsRecordedOnce();
    void anotherEntrysTimerStays();
    void anEntryOfAnotherWorkspaceLeavesTheSnapshotAlone();
    void conflictDetailsListRetainedItemsOnly();
};

void ConflictsTest::aRefusedHeadIsRetainedWithTheVerdict_data() {
    QTest::addColumn<QString>("status");
    QTest::newRow("conflict") << u"conflict"_s;
    QTest::newRow("rejected") << u"rejected"_s;
}

void ConflictsTest::aRefusedHeadIsRetainedWithTheVerdict() {
    QFETCH(const QString, status);
    Desk desk(sample::snapshot({closedEntry(u"e1"_s)}));
    QVERIFY(desk.load());
    const QJsonObject item = edit(u"e1"_s);
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
    const QVariantMap shown = listedEntry(*desk.controller, u"id"_s, u"e1"_s);
    QCOMPARE(shown.value(u"description"_s).toString(), u"Mine"_s);
    QVERIFY(shown.value(u"local_conflict"_s).toBool());
    QVERIFY(shown.value(u"local_pending"_s).toBool());
    QVERIFY(desk.controller->conflictDetails().contains(status));
    QCOMPARE(desk.stored(), expected);
}

void ConflictsTest::aRefusedHeadHoldsEverythingBehindIt() {
    Desk desk(sample::snapshot({closedEntry(u"e1"_s), closedEntry(u"e2"_s)}));
    QVERIFY(desk.load());
    const QJsonArray queue{edit(u"e1"_s), edit(u"e2"_s)};
    QVERIFY(desk.holdQueue(queue));
    desk.peer.answer("POST", push, [](const PeerRequest& request) {
        return sample::pushReply({sample::result(sample::pushed(request), u"conflict"_s)});
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
    Desk desk(sample::snapshot({closedEntry(u"e1"_s)}));
    QVERIFY(desk.load());
    QJsonObject refused = edit(u"e1"_s);
    refused.insert(u"status"_s, u"conflict"_s);
    QVERIFY(desk.holdQueue({refused}));
    QJsonObject changed = closedEntry(u"e1"_s);
    changed.insert(u"description"_s, u"Theirs"_s);
    changed.insert(u"version"_s, 7);
    desk.peer.answer("GET", u"/v1/sync/snapshot"_s, PeerReply::json(sample::snapshot({changed})));
    desk.controller->synchronize();
    const auto description = [&desk] {
        return desk.controller->retained().value(u"fields"_s).toList().value(0).toMap();
    };
    QTRY_COMPARE(description().value(u"server"_s).toString(), u"Theirs"_s);
    QTRY_VERIFY(!desk.controller->busy());
    desk.controller->resendRetained();
    QCOMPARE(mutationAt(*desk.controller, 0).value(u"base_version").toInt(), 7);
}

void ConflictsTest::aRefusalBringsTheServersEntry() {
    Desk desk(sample::snapshot({closedEntry(u"e1"_s)}));
    QVERIFY(desk.load());
    QVERIFY(desk.holdQueue({edit(u"e1"_s)}));
    QJsonObject theirs = closedEntry(u"e1"_s);
    theirs.insert(u"description", u"Theirs"_s);
    theirs.insert(u"version", 9);
    answerPush(desk, u"conflict"_s, theirs);
    desk.controller->synchronize();
    QTRY_COMPARE(desk.peer.held(), 1);
    QCOMPARE(storedEntries(*desk.controller), QJsonArray{theirs});
    QCOMPARE(desk.controller->pending(), 1);
}

void ConflictsTest::anAcceptedStartBecomesTheTimer() {
    Desk desk;
    QVERIFY(desk.load());
    QVERIFY(desk.holdQueue({sample::queueItem(u"timer.start"_s, u"t1"_s, {})}));
    answerPush(desk, u"accepted"_s, runningEntry(u"t1"_s));
    desk.controller->synchronize();
    QTRY_COMPARE(desk.peer.held(), 1);
    QCOMPARE(desk.controller->durableState().value(u"timer").toObject(), runningEntry(u"t1"_s));
    QCOMPARE(desk.controller->timer().value(u"id"_s).toString(), u"t1"_s);
    QCOMPARE(desk.controller->pending(), 0);
    QCOMPARE(storedEntries(*desk.controller), QJsonArray{runningEntry(u"t1"_s)});
}

void ConflictsTest::anAcceptedStopEndsTheTimer() {
    Desk desk(sample::snapshot({runningEntry(u"t1"_s)}));
    desk.peer.answer("GET", u"/v1/me/timer"_s, PeerReply::json({{u"timer"_s, runningEntry(u"t1"_s)}}));
    QVERIFY(desk.load());
    QVERIFY(desk.holdQueue({sample::queueItem(u"timer.stop"_s, u"t1"_s, {})}));
    answerPush(desk, u"accepted"_s, closedEntry(u"t1"_s));
    desk.controller->synchronize();
    QTRY_COMPARE(desk.peer.held(), 1);
    QVERIFY(desk.controller->durableState().value(u"timer").toObject().isEmpty());
    QVERIFY(desk.controller->timer().isEmpty());
    QVERIFY(!listedEntry(*desk.controller, u"id"_s, u"t1"_s).isEmpty());
}

void ConflictsTest::aRefusedStopEndsTheTimerOfThatEntry() {
    Desk desk(sample::snapshot({runningEntry(u"t1"_s)}));
    desk.peer.answer("GET", u"/v1/me/timer"_s, PeerReply::json({{u"timer"_s, runningEntry(u"t1"_s)}}));
    QVERIFY(desk.load());
    QVERIFY(desk.holdQueue({sample::queueItem(u"timer.stop"_s, u"t1"_s, {})}));
    answerPush(desk, u"rejected"_s, runningEntry(u"t1"_s));
    desk.controller->synchronize();
    QTRY_COMPARE(desk.peer.held(), 1);
    QVERIFY(desk.controller->durableState().value(u"timer").toObject().isEmpty());
}

void ConflictsTest::aStopThatIsKeptBackIsRecordedOnce() {
    Desk desk(sample::snapshot({runningEntry(u"t1"_s)}));
    desk.peer.answer("GET", u"/v1/me/timer"_s, PeerReply::json({{u"timer"_s, runningEntry(u"t1"_s)}}));
    QVERIFY(desk.load());
    const QJsonObject change = edit(u"t1"_s);
    QVERIFY(desk.holdQueue({change}));
    desk.peer.answer("POST", push, [](const PeerRequest& request) {
        return sample::pushReply({sample::result(sample::pushed(request), u"conflict"_s)});
    });
    desk.controller->synchronize();
    QTRY_COMPARE(desk.controller->message(), blocked);
    QVERIFY(waitForSilence(*desk.controller));
    desk.controller->stop(); // behind the refused change, where it waits for what becomes of that
    QCOMPARE(desk.controller->pending(), 2);
    QVERIFY(!desk.controller->timer().isEmpty());
    const auto pressAgain = [&](const std::function<void(Controller&)>& way) {
        desk.controller->fail({});
        way(*desk.controller);
        QCOMPARE(desk.controller->message(),
                 u"This timer's stop is kept back; decide about the refused change first."_s);
        QCOMPARE(desk.controller->pending(), 2);
    };
    pressAgain([](Controller& controller) { controller.stop(); });
    pressAgain([](Controller& controller) { controller.stopTimer(); });
    pressAgain([](Controller& controller) { controller.toggleTimer({}, {}, false); });
    pressAgain([](Controller& controller) { controller.stopTimerAt({}); });
    pressAgain([](Controller& controller) { controller.restartTimerFrom({}); });
    // It does not go on for anybody who is away.
    desk.controller->noteAbsence(Absences::Kind::Sleep, 60 * 60 * 1000);
    QVERIFY(desk.controller->absence().isEmpty());
}

void ConflictsTest::anotherEntrysTimerStays() {
    Desk desk(sample::snapshot({closedEntry(u"e1"_s), runningEntry(u"t1"_s)}));
    const QJsonObject running = runningEntry(u"t1"_s);
    desk.peer.answer("GET", u"/v1/me/timer"_s, PeerReply::json({{u"timer"_s, running}}));
    QVERIFY(desk.load());
    QVERIFY(desk.holdQueue({edit(u"e1"_s)}));
    answerPush(desk, u"accepted"_s, closedEntry(u"e1"_s));
    desk.controller->synchronize();
    QTRY_COMPARE(desk.peer.held(), 1);
    QCOMPARE(desk.controller->durableState().value(u"timer").toObject(), running);
}

void ConflictsTest::anEntryOfAnotherWorkspaceLeavesTheSnapshotAlone() {
    Desk desk(sample::snapshot({closedEntry(u"e1"_s)}));
    QVERIFY(desk.load());
    const QJsonValue elsewhere = u"ws-2"_s;
    QJsonObject item = sample::queueItem(u"timer.start"_s, u"t1"_s, {});
    QJsonObject mutation = item.value(u"mutation").toObject();
    mutation.insert(u"workspace_id", elsewhere);
    item.insert(u"mutation", mutation);
    QVERIFY(desk.holdQueue({item}));
    const QJsonArray before = storedEntries(*desk.controller);
    QJsonObject running = runningEntry(u"t1"_s);
    running.insert(u"workspace_id", elsewhere);
    answerPush(desk, u"accepted"_s, running);
    desk.controller->synchronize();
    QTRY_COMPARE(desk.peer.held(), 1);
    QCOMPARE(storedEntries(*desk.controller), before);
    QCOMPARE(desk.controller->durableState().value(u"timer").toObject(), running);
    QCOMPARE(desk.controller->pending(), 0);
}

void ConflictsTest::conflictDetailsListRetainedItemsOnly() {
    Controller controller;
    const QString none = u"[\n]"_s;
    QCOMPARE(controller.conflictDetails(), none);
    const QJsonObject pending = edit(u"e1"_s);
    controller.applyDurable(sample::durable(sample::snapshot(), {pending}));
    QCOMPARE(controller.conflictDetails(), none);

    QJsonObject conflict =
        sample::queueItem(u"entry.update"_s, u"e2"_s, {{u"description"_s, u"תיאור"_s}}, u"conflict"_s);
    conflict.insert(u"result", QJsonObject{{u"message"_s, u"Too late"_s}});
    const QJsonObject rejected = sample::queueItem(u"entry.update"_s, u"e3"_s, {}, u"rejected"_s);
    controller.applyDurable(sample::durable(sample::snapshot(), {conflict, pending, rejected}));
    const QString details = controller.conflictDetails();
    QCOMPARE(QJsonDocument::fromJson(details.toUtf8()).array(), QJsonArray({conflict, rejected}));
    QCOMPARE(details, QString::fromUtf8(QJsonDocument(QJsonArray{conflict, rejected}).toJson()).trimmed());
    QVERIFY(details.contains(u"תיאור"_s));
}

QTEST_MAIN(ConflictsTest)
#include "conflicts.moc"
