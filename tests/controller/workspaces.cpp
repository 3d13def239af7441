// SPDX-License-Identifier: MIT
#include "tests/support/client.h"
#include "tests/support/desk.h"

#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString snapshotPath = u"/v1/sync/snapshot"_s;
const QString start = u"2024-03-01T08:00:00Z"_s;
const QString stop = u"2024-03-01T09:00:00Z"_s;

QJsonObject entryOfTheOther() {
    QJsonObject entry = sample::entry(u"other"_s, start, stop);
    entry.insert(u"workspace_id", u"ws-2"_s);
    return entry;
}

/// Each workspace with an entry of its own.
PeerReply snapshotOf(const PeerRequest& request) {
    const bool first = request.query == u"workspace_id=ws-1"_s;
    return PeerReply::json(
        sample::snapshot({first ? sample::entry(u"first"_s, start, stop) : entryOfTheOther()}));
}

QString onlyEntry(const Controller& controller) {
    const QVariantList entries = controller.entries();
    return entries.size() == 1 ? entries.first().toMap().value(u"id"_s).toString() : QString();
}

} // namespace

class WorkspacesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }

    void anotherWorkspaceIsLoadedAndStored();
    void theSelectedOneIsNotLoadedAgain();
    void withQueuedWorkTheSelectionStays();
    void nothingOfTheWorkspaceLeftIsChangedWhileTheNextOneLoads();
    void nothingOfAWorkspaceThatIsNoLongerListedIsChanged();
    void aFailedLoadShowsNothingOfTheWorkspaceLeft();
    void aLateSnapshotOfTheWorkspaceLeftIsDropped();
    void aLateTimerOfTheWorkspaceLeftEndsNoOtherLoad();
    void onlyProjectsAndPeriodsOfTheSelectedOneAreShown_data();
    void onlyProjectsAndPeriodsOfTheSelectedOneAreShown();
    void projectsAreStillOnlyItsOwnAfterARestart();
};

void WorkspacesTest::anotherWorkspaceIsLoadedAndStored() {
    Desk desk;
    desk.peer.answer("GET", snapshotPath, snapshotOf);
    QVERIFY(desk.load());
    QCOMPARE(onlyEntry(*desk.controller), u"first"_s);
    desk.peer.forgetRequests();
    QSignalSpy ready(desk.controller.get(), &Controller::ready);
    desk.controller->selectWorkspace(u"ws-2"_s);
    QVERIFY(desk.controller->busy());
    QVERIFY(ready.wait());
    QCOMPARE(desk.peer.log(), QStringList({u"GET /v1/sync/snapshot"_s, u"GET /v1/me/timer"_s}));
    QCOMPARE(onlyEntry(*desk.controller), u"other"_s);
    QCOMPARE(desk.stored().value(u"workspace").toString(), u"ws-2"_s);
}

void WorkspacesTest::theSelectedOneIsNotLoadedAgain() {
    Desk desk;
    QVERIFY(desk.load());
    desk.peer.forgetRequests();
    QSignalSpy changed(desk.controller.get(), &Controller::changed);
    desk.controller->selectWorkspace(u"ws-1"_s);
    QCOMPARE(changed.size(), 0);
    QVERIFY(waitForSilence(*desk.controller));
    QVERIFY(desk.peer.requests().isEmpty());
}

void WorkspacesTest::withQueuedWorkTheSelectionStays() {
    Desk desk;
    QVERIFY(desk.load());
    QVERIFY(desk.holdQueue({sample::queueItem(u"entry.update"_s, u"e1"_s, {})}));
    const QJsonObject state = desk.controller->durableState();
    desk.controller->selectWorkspace(u"ws-2"_s);
    QCOMPARE(desk.controller->message(),
             u"Finish synchronizing pending work before switching the native workspace."_s);
    QVERIFY(!desk.controller->busy());
    QCOMPARE(desk.controller->durableState(), state);
    QVERIFY(waitForSilence(*desk.controller));
    QVERIFY(desk.peer.requests().isEmpty());
}

void WorkspacesTest::nothingOfTheWorkspaceLeftIsChangedWhileTheNextOneLoads() {
    Desk desk;
    desk.peer.answer("GET", snapshotPath, snapshotOf);
    QVERIFY(desk.load());
    desk.peer.answer("GET", snapshotPath, PeerReply::only(PeerReply::Delivery::Never));
    desk.controller->selectWorkspace(u"ws-2"_s);
    QVERIFY(desk.controller->entries().isEmpty());
    // A refusal ends the wait that keeps everything else from being recorded.
    desk.controller->addManual(QString(), QString(), stop, start, false);
    QVERIFY(!desk.controller->busy());
    desk.controller->editDescription(u"first"_s, u"renamed"_s);
    QCOMPARE(desk.controller->message(), u"Entry not found in this workspace"_s);
    QCOMPARE(desk.controller->pending(), 0);
}

void WorkspacesTest::nothingOfAWorkspaceThatIsNoLongerListedIsChanged() {
    Desk desk;
    desk.peer.answer("GET", snapshotPath, snapshotOf);
    QVERIFY(desk.load());
    desk.peer.answer("GET", snapshotPath, PeerReply::only(PeerReply::Delivery::Never));
    desk.peer.answer("GET", u"/v1/workspaces"_s,
                     PeerReply::json({{u"items"_s, QJsonArray{QJsonObject{{u"id"_s, u"ws-2"_s}}}}}));
    desk.controller->connectServer(desk.controller->server());
    QTRY_COMPARE(desk.controller->workspace(), u"ws-2"_s);
    QVERIFY(desk.controller->entries().isEmpty());
}

void WorkspacesTest::aFailedLoadShowsNothingOfTheWorkspaceLeft() {
    Desk desk;
    desk.peer.answer("GET", snapshotPath, snapshotOf);
    QVERIFY(desk.load());
    desk.peer.goOffline();
    desk.controller->selectWorkspace(u"ws-2"_s);
    QTRY_COMPARE(desk.controller->message(), u"Server unavailable. Encrypted cached data retained."_s);
    QVERIFY(!desk.controller->busy());
    QVERIFY(desk.controller->entries().isEmpty());
    // The selection is stored with the next save only.
    QCOMPARE(desk.stored().value(u"workspace").toString(), u"ws-1"_s);
}

void WorkspacesTest::aLateTimerOfTheWorkspaceLeftEndsNoOtherLoad() {
    const QString timerPath = u"/v1/me/timer"_s;
    Desk desk;
    desk.peer.answer("GET", snapshotPath, snapshotOf);
    QVERIFY(desk.load());
    desk.peer.answerOnce("GET", timerPath, PeerReply::json({}).delivered(PeerReply::Delivery::Hold));
    desk.controller->refresh();
    QTRY_COMPARE(desk.peer.held(), 1);
    desk.controller->addManual(QString(), QString(), stop, start, false);
    desk.peer.answerOnce("GET", snapshotPath, PeerReply::only(PeerReply::Delivery::Never));
    QSignalSpy ready(desk.controller.get(), &Controller::ready);
    desk.controller->selectWorkspace(u"ws-2"_s);
    desk.peer.release();
    // What is asked after the release is answered after it.
    bool answered = false;
    desk.controller->send("GET", timerPath, {}, [&answered](const QJsonObject&, int) { answered = true; });
    QTRY_VERIFY(answered);
    QCOMPARE(ready.size(), 0);
    QVERIFY(desk.controller->busy());
}

void WorkspacesTest::aLateSnapshotOfTheWorkspaceLeftIsDropped() {
    Desk desk;
    desk.peer.answer("GET", snapshotPath, snapshotOf);
    QVERIFY(desk.load());
    PeerReply late = PeerReply::json(sample::snapshot({sample::entry(u"late"_s, start, stop)}));
    desk.peer.answerOnce("GET", snapshotPath, late.delivered(PeerReply::Delivery::Hold));
    desk.controller->refresh();
    QTRY_COMPARE(desk.peer.held(), 1);
    // A refused entry clears busy while the load is still under way.
    desk.controller->addManual(QString(), QString(), stop, start, false);
    QSignalSpy ready(desk.controller.get(), &Controller::ready);
    desk.controller->selectWorkspace(u"ws-2"_s);
    QVERIFY(ready.wait());
    desk.peer.release();
    QVERIFY(waitForSilence(*desk.controller));
    QCOMPARE(onlyEntry(*desk.controller), u"other"_s);
    QCOMPARE(desk.controller->durableState().value(u"snapshot").toObject().value(u"time_entries").toArray(),
             QJsonArray{entryOfTheOther()});
}

void WorkspacesTest::onlyProjectsAndPeriodsOfTheSelectedOneAreShown_data() {
    QTest::addColumn<QJsonValue>("named");
    QTest::newRow("the snapshot names its workspace") << QJsonValue(u"ws-1"_s);
    QTest::newRow("it does not") << QJsonValue();
}

void WorkspacesTest::onlyProjectsAndPeriodsOfTheSelectedOneAreShown() {
    QFETCH(const QJsonValue, named);
    QJsonObject snapshot = sample::oneEntry();
    snapshot.insert(u"workspace_id", named);
    snapshot.insert(u"timesheet_periods", QJsonArray{QJsonObject{{u"id"_s, u"period-1"_s}}});
    Desk desk(snapshot);
    QVERIFY(desk.load());
    QCOMPARE(desk.controller->projects().size(), 1);
    QCOMPARE(desk.controller->periods().size(), 1);
    const QJsonObject cached = desk.controller->durableState().value(u"snapshot").toObject();

    desk.peer.goOffline();
    desk.controller->selectWorkspace(u"ws-2"_s);
    QVERIFY(desk.controller->projects().isEmpty());
    QTRY_VERIFY(!desk.controller->busy());
    QVERIFY(desk.controller->projects().isEmpty());
    QVERIFY(desk.controller->periods().isEmpty());
    QVERIFY(desk.controller->periodSums().isEmpty());
    QCOMPARE(desk.controller->durableState().value(u"snapshot").toObject(), cached);
    desk.controller->selectWorkspace(u"ws-1"_s);
    QTRY_VERIFY(!desk.controller->busy());
    QCOMPARE(desk.controller->projects().size(), 1);
    QCOMPARE(desk.controller->entries().size(), 1);
}

void WorkspacesTest::projectsAreStillOnlyItsOwnAfterARestart() {
    QJsonObject snapshot = sample::oneEntry();
    snapshot.insert(u"workspace_id", u"ws-1"_s);
    Desk desk(snapshot);
    QVERIFY(desk.load());
    desk.peer.goOffline();
    desk.controller->selectWorkspace(u"ws-2"_s);
    QTRY_VERIFY(!desk.controller->busy());
    QVERIFY(desk.controller->persist());
    desk.restart();
    desk.controller->connectServer(desk.peer.url());
    QTRY_VERIFY(!desk.controller->busy());
    QCOMPARE(desk.controller->workspace(), u"ws-2"_s);
    QVERIFY(desk.controller->projects().isEmpty());
    QVERIFY(desk.controller->durableState().value(u"snapshot").toObject() == snapshot);
}

QTEST_MAIN(WorkspacesTest)
#include "workspaces.moc"
