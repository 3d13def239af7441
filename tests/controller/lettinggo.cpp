// SPDX-License-Identifier: MIT
#include "tests/controller/filelimit.h"
#include "tests/controller/resolver.h"
#include "tests/support/client.h"
#include "tests/support/vaultfile.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString connected = u"Connected to PostgreSQL"_s;
const QString notWritten = u"The copy could not be written; nothing was removed."_s;
const QString notRemoved =
    u"The copy was written, but the queue could not be saved securely; nothing was removed."_s;
const QString notTheSame =
    u"The session or the waiting changes are not the same any more; nothing was removed."_s;
const QString push = u"/v1/sync/push"_s;
const QString snapshotPath = u"/v1/sync/snapshot"_s;

QJsonObject mutationOf(const QJsonValue& item) {
    return item[u"mutation"].toObject();
}

} // namespace

/// How a refused change leaves the queue: into a file first, and never otherwise.
class LettingGoTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }

    void removingAsksForAFileAndNamesTheNumber_data();
    void removingAsksForAFileAndNamesTheNumber();
    void cancelledRemovalDoesNothing();
    void whatLeavesIsInTheFileAndTheRestGoesOn();
    void aRefusedStartLeavesWithItsStopAndTheServersTimerIsBack();
    void aRemovalSurvivesARestart();
    void aCopyThatCannotBeWrittenRemovesNothing_data();
    void aCopyThatCannotBeWrittenRemovesNothing();
    void aQueueThatCannotBeSavedKeepsEverything_data();
    void aQueueThatCannotBeSavedKeepsEverything();
    void aChangeOfTheSameEntryWhileTheFileIsChosenStopsTheRemoval();
    void otherWorkWhileTheFileIsChosenIsKept();
    void aRequestWhileTheFileIsChosenStopsTheRemoval();
    void theSecondOfTwoDialogsFindsNothingLeft();
};

void LettingGoTest::removingAsksForAFileAndNamesTheNumber_data() {
    QTest::addColumn<QJsonArray>("queue");
    QTest::addColumn<QString>("title");
    QTest::newRow("one") << QJsonArray{Resolver::edit(u"e1"_s, u"conflict"_s), Resolver::edit(u"e1"_s)}
                         << u"Save a copy and remove 1 change"_s;
    QTest::newRow("three") << QJsonArray{Resolver::start(u"t1"_s, u"conflict"_s), Resolver::stop(u"t1"_s),
                                         Resolver::edit(u"e2"_s), Resolver::edit(u"t1"_s)}
                           << u"Save a copy and remove 3 changes"_s;
}

void LettingGoTest::removingAsksForAFileAndNamesTheNumber() {
    QFETCH(const QJsonArray, queue);
    QFETCH(const QString, title);
    Resolver person;
    person.dialogs.cancel();
    QVERIFY(person.hold(queue));
    person.controller().removeRetained();
    QCOMPARE(person.dialogs.seen().size(), 1);
    const FileDialogs::Seen dialog = person.dialogs.seen().first();
    QCOMPARE(dialog.title, title);
    QCOMPARE(dialog.acceptMode, QFileDialog::AcceptSave);
    const QRegularExpression name(u"^timer-removed-changes-\\d{8}-\\d{6}\\.json$"_s);
    QVERIFY2(name.match(dialog.proposedName).hasMatch(), qPrintable(dialog.proposedName));
}

void LettingGoTest::cancelledRemovalDoesNothing() {
    Resolver person;
    person.dialogs.cancel();
    QVERIFY(person.hold({Resolver::edit(u"e1"_s, u"conflict"_s)}));
    const QJsonObject before = person.controller().durableState();
    const QByteArray sealed = sealedRecord(person.desk.peer.url());
    person.controller().removeRetained();
    QCOMPARE(person.controller().message(), u"Nothing was removed."_s);
    person.controller().removePending();
    QCOMPARE(person.controller().message(), u"Nothing was removed."_s);
    QCOMPARE(person.dialogs.seen().size(), 2);
    QCOMPARE(person.controller().durableState(), before);
    QCOMPARE(sealedRecord(person.desk.peer.url()), sealed);
    QCOMPARE(person.files(), QStringList());
}

void LettingGoTest::whatLeavesIsInTheFileAndTheRestGoesOn() {
    Resolver person;
    QJsonObject refused = Resolver::edit(u"e1"_s, u"conflict"_s);
    refused.insert(u"result"_s, QJsonObject{{u"message"_s, u"Too late"_s}});
    QJsonObject mutation = mutationOf(Resolver::edit(u"e1"_s));
    const int version = mutation.value(u"base_version").toInt();
    mutation.insert(u"base_version"_s, version + 1);
    QVERIFY(person.hold({refused, QJsonObject{{u"status"_s, u"pending"_s}, {u"mutation"_s, mutation}}}));
    QStringList messages;
    connect(&person.controller(), &Controller::changed, this,
            [&] { messages.append(person.controller().message()); });
    person.controller().removeRetained();
    QVERIFY(messages.contains(u"Copy saved; 1 change left the queue."_s));
    QVERIFY(person.controller().retained().isEmpty());
    QFile file(person.target);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(QJsonDocument::fromJson(file.readAll()).object(),
             (QJsonObject{{u"format"_s, u"timer-native-pending-v1"_s}, {u"queue"_s, QJsonArray{refused}}}));

    QTRY_COMPARE(person.controller().message(), connected);
    const QList<PeerRequest> pushes = person.desk.peer.requests("POST", push);
    QCOMPARE(pushes.size(), 1);
    // On the version that it has without the change that left.
    mutation.insert(u"base_version"_s, version);
    QCOMPARE(sample::pushed(pushes.first()), mutation);
    QVERIFY(person.desk.stored().value(u"queue").toArray().isEmpty());
}

void LettingGoTest::aRefusedStartLeavesWithItsStopAndTheServersTimerIsBack() {
    Resolver person;
    const QJsonObject running = sample::entry(u"t9"_s, u"2024-03-01T07:00:00Z"_s, QJsonValue());
    person.desk.peer.answer("GET", u"/v1/me/timer"_s, PeerReply::json({{u"timer"_s, running}}));
    const QJsonArray leaving{Resolver::start(u"t1"_s, u"conflict"_s), Resolver::stop(u"t1"_s)};
    const QJsonObject other = Resolver::start(u"t2"_s);
    QVERIFY(person.hold({leaving.at(0), other, leaving.at(1)}));
    QCOMPARE(person.controller().timer().value(u"id"_s).toString(), u"t2"_s);
    QCOMPARE(person.controller().retained().value(u"leaving"_s).toInt(), 2);
    person.desk.holdPushes();
    person.controller().removeRetained();
    QCOMPARE(person.copied(), leaving);
    QCOMPARE(queueOf(person.controller()), QJsonArray{other});

    QVERIFY(person.desk.holdQueue({Resolver::start(u"t1"_s, u"conflict"_s)}));
    QCOMPARE(person.controller().timer().value(u"id"_s).toString(), u"t9"_s);
}

void LettingGoTest::aRemovalSurvivesARestart() {
    Resolver person;
    const QJsonObject behind = Resolver::edit(u"e2"_s);
    QVERIFY(person.hold({Resolver::edit(u"e1"_s, u"rejected"_s), behind}));
    person.desk.holdPushes();
    person.controller().removeRetained();
    QCOMPARE(person.controller().message(), u"Copy saved; 1 change left the queue."_s);
    QCOMPARE(person.desk.stored().value(u"queue").toArray(), QJsonArray{behind});
    person.desk.peer.answer("GET", u"/v1/me"_s, PeerReply::json(sample::identity()));
    person.desk.restart();
    QVERIFY(person.desk.load());
    QTRY_COMPARE(person.controller().pending(), 0);
    QCOMPARE(person.desk.peer.requests("POST", push).size(), 1);
}

void LettingGoTest::aCopyThatCannotBeWrittenRemovesNothing_data() {
    QTest::addColumn<QString>("trouble");
    QTest::newRow("the folder is gone") << u"gone"_s;
    QTest::newRow("a folder has the name") << u"taken"_s;
    QTest::newRow("the disk is full") << u"full"_s;
}

void LettingGoTest::aCopyThatCannotBeWrittenRemovesNothing() {
    QFETCH(const QString, trouble);
    Resolver person;
    QJsonObject refused = Resolver::edit(u"e1"_s, u"conflict"_s);
    refused.insert(u"result"_s, QJsonObject{{u"message"_s, QString(400'000, u'x')}});
    QVERIFY(person.hold({refused, Resolver::edit(u"e2"_s)}));
    const QJsonObject before = person.controller().durableState();
    const QByteArray sealed = sealedRecord(person.desk.peer.url());
    std::unique_ptr<FileLimit> limit;
    person.dialogs.afterChoosing([&] {
        if (trouble == u"gone") {
            QVERIFY(person.folder.remove());
        } else if (trouble == u"taken") {
            QVERIFY(QDir().mkpath(person.target + u"/kept"_s));
        } else {
            limit = std::make_unique<FileLimit>(200'000);
        }
    });
    person.controller().removeRetained();
    limit.reset();
    QCOMPARE(person.controller().message(), notWritten);
    QVERIFY(!person.controller().busy());
    QCOMPARE(person.controller().durableState(), before);
    QCOMPARE(sealedRecord(person.desk.peer.url()), sealed);
    QVERIFY(person.desk.peer.requests().isEmpty());
    QCOMPARE(person.files(), QStringList());
}

void LettingGoTest::aQueueThatCannotBeSavedKeepsEverything_data() {
    QTest::addColumn<int>("how");
    QTest::newRow("refused") << static_cast<int>(SaveBlocker::How::Refuse);
    QTest::newRow("busy") << static_cast<int>(SaveBlocker::How::Busy);
}

void LettingGoTest::aQueueThatCannotBeSavedKeepsEverything() {
    QFETCH(const int, how);
    Resolver person;
    const QJsonArray queue{Resolver::edit(u"e1"_s, u"conflict"_s), Resolver::edit(u"e2"_s)};
    QVERIFY(person.hold(queue));
    const QJsonObject before = person.controller().durableState();
    for (const bool all : {false, true}) {
        const SaveBlocker blocker(person.desk.peer.url(), static_cast<SaveBlocker::How>(how));
        all ? person.controller().removePending() : person.controller().removeRetained();
        QCOMPARE(person.controller().message(), notRemoved);
        QCOMPARE(person.controller().durableState(), before);
        QCOMPARE(person.copied(), all ? queue : QJsonArray{queue.first()});
    }
    QVERIFY(!person.controller().retained().isEmpty());
    QCOMPARE(person.desk.stored(), before);
    QVERIFY(person.desk.peer.requests().isEmpty());
    // Nothing stands in the way of doing it once more.
    person.controller().removeRetained();
    QTRY_COMPARE(person.controller().pending(), 0);
}

void LettingGoTest::aChangeOfTheSameEntryWhileTheFileIsChosenStopsTheRemoval() {
    Resolver person;
    const QJsonObject created = sample::queueItem(u"entry.create"_s, u"e9"_s,
                                                  {{u"description"_s, u"Mine"_s},
                                                   {u"start_at"_s, u"2024-03-01T08:00:00Z"_s},
                                                   {u"stop_at"_s, u"2024-03-01T09:00:00Z"_s}},
                                                  u"rejected"_s);
    QVERIFY(person.hold({created}));
    person.dialogs.afterChoosing([&] { person.controller().editDescription(u"e9"_s, u"Corrected"_s); });
    person.controller().removeRetained();
    QCOMPARE(person.controller().message(), notTheSame);
    QCOMPARE(person.controller().pending(), 2);
    QCOMPARE(person.files(), QStringList());
}

void LettingGoTest::otherWorkWhileTheFileIsChosenIsKept() {
    Resolver person;
    QVERIFY(person.hold({Resolver::edit(u"e1"_s, u"conflict"_s)}));
    person.desk.holdPushes();
    person.dialogs.afterChoosing([&] { person.controller().editDescription(u"e2"_s, u"Other"_s); });
    person.controller().removeRetained();
    QCOMPARE(person.controller().pending(), 1);
    QCOMPARE(mutationAt(person.controller(), 0).value(u"entity_id").toString(), u"e2"_s);
    QCOMPARE(person.desk.stored(), person.controller().durableState());
}

void LettingGoTest::aRequestWhileTheFileIsChosenStopsTheRemoval() {
    Resolver person;
    QVERIFY(person.hold({Resolver::edit(u"e1"_s, u"conflict"_s)}));
    person.desk.peer.answer("GET", snapshotPath, PeerReply::only(PeerReply::Delivery::Hold));
    person.dialogs.afterChoosing([&] { person.controller().refresh(); });
    person.controller().removeRetained();
    QCOMPARE(person.controller().message(),
             u"Another request is under way; nothing was removed. Try again when it has ended."_s);
    QVERIFY(person.controller().busy());
    QCOMPARE(person.controller().pending(), 1);
    QCOMPARE(person.files(), QStringList());
}

void LettingGoTest::theSecondOfTwoDialogsFindsNothingLeft() {
    Resolver person;
    const QJsonArray leaving{Resolver::edit(u"e1"_s, u"conflict"_s)};
    QVERIFY(person.hold({leaving.first(), Resolver::edit(u"e1"_s)}));
    // The identity check answers at once, so that nothing is under way when the first dialog ends.
    person.desk.peer.goOffline();
    person.dialogs.afterChoosing([&] {
        person.controller().removeRetained();
        QVERIFY(waitForSilence(person.controller()));
    });
    person.controller().removeRetained();
    QCOMPARE(person.dialogs.seen().size(), 2);
    QCOMPARE(person.controller().message(), notTheSame);
    QCOMPARE(person.controller().pending(), 1);
    QCOMPARE(person.copied(), leaving);
}

QTEST_MAIN(LettingGoTest)
#include "lettinggo.moc"
