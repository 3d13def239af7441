// SPDX-License-Identifier: MIT
#include "tests/support/client.h"
#include "tests/support/desk.h"

#include <QSignalSpy>
#include <QTest>

namespace {

const QString snapshotPath = QStringLiteral("/v1/sync/snapshot");
const QString start = QStringLiteral("2024-03-01T08:00:00Z");
const QString stop = QStringLiteral("2024-03-01T09:00:00Z");

QJsonObject entryOfTheOther() {
    QJsonObject entry = sample::entry(QStringLiteral("other"), start, stop);
    entry.insert(u"workspace_id", QStringLiteral("ws-2"));
    return entry;
}

/// Each workspace with an entry of its own.
PeerReply snapshotOf(const PeerRequest& request) {
    const bool first = request.query == QStringLiteral("workspace_id=ws-1");
    return PeerReply::json(
        sample::snapshot({first ? sample::entry(QStringLiteral("first"), start, stop) : entryOfTheOther()}));
}

QString onlyEntry(const Controller& controller) {
    const QVariantList entries = controller.entries();
    return entries.size() == 1 ? entries.first().toMap().value(QStringLiteral("id")).toString() : QString();
}

} // namespace

class WorkspacesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }

    void anotherWorkspaceIsLoadedAndStored();
    void theSelectedOneIsNotLoadedAgain();
    void withQueuedWorkTheSelectionStays();
    void aFailedLoadShowsNothingOfTheWorkspaceLeft();
    void aLateSnapshotOfTheWorkspaceLeftIsDropped();
    void aLateTimerOfTheWorkspaceLeftEndsNoOtherLoad();
    void onlyProjectsOfTheSelectedOneAreOffered_data();
    void onlyProjectsOfTheSelectedOneAreOffered();
    void projectsAreStillOnlyItsOwnAfterARestart();
};

void WorkspacesTest::anotherWorkspaceIsLoadedAndStored() {
    Desk desk;
    desk.peer.answer("GET", snapshotPath, snapshotOf);
    QVERIFY(desk.load());
    QCOMPARE(onlyEntry(*desk.controller), QStringLiteral("first"));
    desk.peer.forgetRequests();
    QSignalSpy ready(desk.controller.get(), &Controller::ready);
    desk.controller->selectWorkspace(QStringLiteral("ws-2"));
    QVERIFY(desk.controller->busy());
    QVERIFY(ready.wait());
    QCOMPARE(desk.peer.log(),
             QStringList({QStringLiteral("GET /v1/sync/snapshot"), QStringLiteral("GET /v1/me/timer")}));
    QCOMPARE(onlyEntry(*desk.controller), QStringLiteral("other"));
    QCOMPARE(desk.stored().value(u"workspace").toString(), QStringLiteral("ws-2"));
}

void WorkspacesTest::theSelectedOneIsNotLoadedAgain() {
    Desk desk;
    QVERIFY(desk.load());
    desk.peer.forgetRequests();
    QSignalSpy changed(desk.controller.get(), &Controller::changed);
    desk.controller->selectWorkspace(QStringLiteral("ws-1"));
    QCOMPARE(changed.size(), 0);
    QVERIFY(waitForSilence(*desk.controller));
    QVERIFY(desk.peer.requests().isEmpty());
}

void WorkspacesTest::withQueuedWorkTheSelectionStays() {
    Desk desk;
    QVERIFY(desk.load());
    QVERIFY(desk.holdQueue({sample::queueItem(QStringLiteral("entry.update"), QStringLiteral("e1"), {})}));
    const QJsonObject state = desk.controller->durableState();
    desk.controller->selectWorkspace(QStringLiteral("ws-2"));
    QCOMPARE(desk.controller->message(),
             QStringLiteral("Finish synchronizing pending work before switching the native workspace."));
    QVERIFY(!desk.controller->busy());
    QCOMPARE(desk.controller->durableState(), state);
    QVERIFY(waitForSilence(*desk.controller));
    QVERIFY(desk.peer.requests().isEmpty());
}

void WorkspacesTest::aFailedLoadShowsNothingOfTheWorkspaceLeft() {
    Desk desk;
    desk.peer.answer("GET", snapshotPath, snapshotOf);
    QVERIFY(desk.load());
    desk.peer.goOffline();
    desk.controller->selectWorkspace(QStringLiteral("ws-2"));
    QTRY_COMPARE(desk.controller->message(),
                 QStringLiteral("Server unavailable. Encrypted cached data retained."));
    QVERIFY(!desk.controller->busy());
    QVERIFY(desk.controller->entries().isEmpty());
    // The selection is stored with the next save only.
    QCOMPARE(desk.stored().value(u"workspace").toString(), QStringLiteral("ws-1"));
}

void WorkspacesTest::aLateTimerOfTheWorkspaceLeftEndsNoOtherLoad() {
    const QString timerPath = QStringLiteral("/v1/me/timer");
    Desk desk;
    desk.peer.answer("GET", snapshotPath, snapshotOf);
    QVERIFY(desk.load());
    desk.peer.answerOnce("GET", timerPath, PeerReply::json({}).delivered(PeerReply::Delivery::Hold));
    desk.controller->refresh();
    QTRY_COMPARE(desk.peer.held(), 1);
    desk.controller->addManual(QString(), QString(), stop, start, false);
    desk.peer.answerOnce("GET", snapshotPath, PeerReply::only(PeerReply::Delivery::Never));
    QSignalSpy ready(desk.controller.get(), &Controller::ready);
    desk.controller->selectWorkspace(QStringLiteral("ws-2"));
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
    PeerReply late = PeerReply::json(sample::snapshot({sample::entry(QStringLiteral("late"), start, stop)}));
    desk.peer.answerOnce("GET", snapshotPath, late.delivered(PeerReply::Delivery::Hold));
    desk.controller->refresh();
    QTRY_COMPARE(desk.peer.held(), 1);
    // A refused entry clears busy while the load is still under way.
    desk.controller->addManual(QString(), QString(), stop, start, false);
    QSignalSpy ready(desk.controller.get(), &Controller::ready);
    desk.controller->selectWorkspace(QStringLiteral("ws-2"));
    QVERIFY(ready.wait());
    desk.peer.release();
    QVERIFY(waitForSilence(*desk.controller));
    QCOMPARE(onlyEntry(*desk.controller), QStringLiteral("other"));
    QCOMPARE(desk.controller->durableState().value(u"snapshot").toObject().value(u"time_entries").toArray(),
             QJsonArray{entryOfTheOther()});
}

void WorkspacesTest::onlyProjectsOfTheSelectedOneAreOffered_data() {
    QTest::addColumn<QJsonValue>("named");
    QTest::newRow("the snapshot names its workspace") << QJsonValue(QStringLiteral("ws-1"));
    QTest::newRow("it does not") << QJsonValue();
}

void WorkspacesTest::onlyProjectsOfTheSelectedOneAreOffered() {
    QFETCH(const QJsonValue, named);
    QJsonObject snapshot = sample::oneEntry();
    snapshot.insert(u"workspace_id", named);
    Desk desk(snapshot);
    QVERIFY(desk.load());
    QCOMPARE(desk.controller->projects().size(), 1);
    const QJsonObject cached = desk.controller->durableState().value(u"snapshot").toObject();

    desk.peer.goOffline();
    desk.controller->selectWorkspace(QStringLiteral("ws-2"));
    QVERIFY(desk.controller->projects().isEmpty());
    QTRY_VERIFY(!desk.controller->busy());
    QVERIFY(desk.controller->projects().isEmpty());
    QCOMPARE(desk.controller->durableState().value(u"snapshot").toObject(), cached);
    desk.controller->selectWorkspace(QStringLiteral("ws-1"));
    QTRY_VERIFY(!desk.controller->busy());
    QCOMPARE(desk.controller->projects().size(), 1);
    QCOMPARE(desk.controller->entries().size(), 1);
}

void WorkspacesTest::projectsAreStillOnlyItsOwnAfterARestart() {
    QJsonObject snapshot = sample::oneEntry();
    snapshot.insert(u"workspace_id", QStringLiteral("ws-1"));
    Desk desk(snapshot);
    QVERIFY(desk.load());
    desk.peer.goOffline();
    desk.controller->selectWorkspace(QStringLiteral("ws-2"));
    QTRY_VERIFY(!desk.controller->busy());
    QVERIFY(desk.controller->persist());
    desk.restart();
    desk.controller->connectServer(desk.peer.url());
    QTRY_VERIFY(!desk.controller->busy());
    QCOMPARE(desk.controller->workspace(), QStringLiteral("ws-2"));
    QVERIFY(desk.controller->projects().isEmpty());
    QVERIFY(desk.controller->durableState().value(u"snapshot").toObject() == snapshot);
}

QTEST_MAIN(WorkspacesTest)
#include "workspaces.moc"
