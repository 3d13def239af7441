// SPDX-License-Identifier: MIT
#include "tests/controller/filedialogs.h"
#include "tests/controller/filelimit.h"
#include "tests/support/client.h"
#include "tests/support/desk.h"
#include "tests/support/vaultfile.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString blocked =
    u"Sync conflict retained with its original payload. Inspect or export it; period locks "
    "cannot be bypassed."_s;
const QString connected = u"Connected to PostgreSQL"_s;
const QString notWritten = u"The copy could not be written; nothing was removed."_s;
const QString notRemoved =
    u"The copy was written, but the queue could not be saved securely; nothing was removed."_s;
const QString notTheSame =
    u"The session or the waiting changes are not the same any more; nothing was removed."_s;
const QString push = u"/v1/sync/push"_s;
const QString snapshotPath = u"/v1/sync/snapshot"_s;

QJsonObject theirs(const QString& id, int version = 7) {
    QJsonObject entry = sample::entry(id, u"2024-03-01T08:00:00Z"_s, u"2024-03-01T09:00:00Z"_s);
    entry.insert(u"version"_s, version);
    return entry;
}

QJsonObject edit(const QString& entity, const QString& status = u"pending"_s) {
    return sample::queueItem(u"entry.update"_s, entity, {{u"description"_s, u"Mine"_s}}, status);
}

QJsonObject start(const QString& entity, const QString& status = u"pending"_s) {
    return sample::queueItem(u"timer.start"_s, entity,
                             {{u"description"_s, u"Mine"_s},
                              {u"project_id"_s, u"project-1"_s},
                              {u"billable"_s, true},
                              {u"start_at"_s, u"2024-03-01T08:00:00Z"_s}},
                             status);
}

QJsonObject stop(const QString& entity) {
    return sample::queueItem(u"timer.stop"_s, entity, {{u"stop_at"_s, u"2024-03-01T09:00:00Z"_s}});
}

QJsonObject mutationOf(const QJsonValue& item) {
    return item[u"mutation"].toObject();
}

/// Somebody at a client whose change the server refused, and the file that a copy goes to.
struct Resolver {
    Desk desk{sample::snapshot({theirs(u"e1"_s), theirs(u"e2"_s)})};
    FileDialogs dialogs;
    QTemporaryDir folder;
    const QString target = folder.filePath(u"copy.json"_s);

    Resolver() { dialogs.choose(target); }

    [[nodiscard]] Controller& controller() { return *desk.controller; }
    [[nodiscard]] bool hold(const QJsonArray& queue) { return desk.load() && desk.holdQueue(queue); }
    [[nodiscard]] QJsonArray copied() const {
        QFile file(target);
        return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll())[u"queue"].toArray()
                                              : QJsonArray{u"no file"_s};
    }
    [[nodiscard]] QStringList files() const {
        return QDir(folder.path()).entryList(QDir::Files | QDir::Hidden);
    }
};

} // namespace

/// What a person can do with the change that the server refused.
class ResolvingTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }

    void theRefusedChangeIsShownBesideTheServersEntry();
    void theServersSideFollowsTheReloads();
    void timesFollowTheAccountsZone();

    void sendingAgainTakesTheHeadsPlaceAsANewChange();
    void sendingAgainSurvivesARestart();
    void sendingAgainCanBeRefusedAgain();
    void sendingAgainThatCannotBeStoredChangesNothing_data();
    void sendingAgainThatCannotBeStoredChangesNothing();
    void whatTheServerDidNotRefuseStays();
    void nothingIsResolvedWhileARequestIsUnderWay();

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

void ResolvingTest::theRefusedChangeIsShownBesideTheServersEntry() {
    Resolver person;
    QVERIFY(person.hold({start(u"e1"_s), stop(u"e1"_s)}));
    QVERIFY(person.controller().retained().isEmpty());
    person.desk.peer.answer("POST", push, [](const PeerRequest& request) {
        QJsonObject result = sample::result(sample::pushed(request), u"conflict"_s, theirs(u"e1"_s));
        result.insert(u"message"_s, u"An entry with this id exists already."_s);
        return sample::pushReply({result});
    });
    person.controller().synchronize();
    QTRY_COMPARE(person.controller().message(), blocked);

    const auto field = [](const QString& name, const QJsonValue& recorded, const QJsonValue& server) {
        return QJsonObject{{u"name"_s, name}, {u"recorded"_s, recorded}, {u"server"_s, server}};
    };
    const QJsonObject expected{
        {u"operation"_s, u"timer.start"_s},
        {u"status"_s, u"conflict"_s},
        {u"sentence"_s, u"An entry with this id exists already."_s},
        {u"leaving"_s, 2},
        {u"pending"_s, 2},
        {u"fields"_s,
         QJsonArray{field(u"description"_s, u"Mine"_s, u"Entry e1"_s),
                    field(u"project"_s, u"Garden"_s, QJsonValue()), field(u"billable"_s, true, false),
                    field(u"start_at"_s, u"2024-03-01 09:00:00"_s, u"2024-03-01 09:00:00"_s),
                    field(u"stop_at"_s, QJsonValue(), u"2024-03-01 10:00:00"_s)}}};
    QCOMPARE(QJsonObject::fromVariantMap(person.controller().retained()), expected);
    QCOMPARE(person.controller().property("retained").toMap(), person.controller().retained());
}

void ResolvingTest::theServersSideFollowsTheReloads() {
    Resolver person;
    QVERIFY(person.hold({edit(u"e1"_s, u"conflict"_s)}));
    const auto server = [&person] {
        const QVariantList fields = person.controller().retained().value(u"fields"_s).toList();
        return fields.value(0).toMap().value(u"server"_s).toString();
    };
    QCOMPARE(server(), u"Entry e1"_s);
    QJsonObject changed = theirs(u"e1"_s, 8);
    changed.insert(u"description"_s, u"Changed once more"_s);
    person.desk.peer.answer("GET", snapshotPath, PeerReply::json(sample::snapshot({changed})));
    QString atChanged;
    connect(&person.controller(), &Controller::changed, this, [&] { atChanged = server(); });
    person.controller().refresh();
    QTRY_COMPARE(atChanged, u"Changed once more"_s);
}

void ResolvingTest::timesFollowTheAccountsZone() {
    Resolver person;
    QVERIFY(person.hold({edit(u"e1"_s, u"conflict"_s)}));
    const auto startTime = [&person] {
        const QVariantList fields = person.controller().retained().value(u"fields"_s).toList();
        return fields.value(1).toMap().value(u"server"_s).toString();
    };
    QCOMPARE(startTime(), u"2024-03-01 09:00:00"_s);
    QJsonObject moved = sample::identity();
    moved.insert(u"timezone"_s, u"America/New_York"_s);
    person.desk.peer.answer("GET", u"/v1/me"_s, PeerReply::json(moved));
    person.desk.peer.answer("GET", u"/v1/workspaces"_s, PeerReply::json({}, 503));
    person.controller().fetchIdentity();
    QTRY_COMPARE(person.controller().message(), u"Unable to list workspaces for this account"_s);
    QCOMPARE(startTime(), u"2024-03-01 03:00:00"_s);
}

void ResolvingTest::sendingAgainTakesTheHeadsPlaceAsANewChange() {
    Resolver person;
    QJsonObject refused = edit(u"e1"_s, u"conflict"_s);
    refused.insert(u"result"_s, QJsonObject{{u"status"_s, u"conflict"_s}});
    const QJsonObject behind = edit(u"e2"_s);
    QVERIFY(person.hold({refused, behind}));
    person.controller().resendRetained();
    QVERIFY(person.controller().retained().isEmpty());
    const QJsonObject sent = mutationAt(person.controller(), 0);
    QJsonObject expected = mutationOf(refused);
    expected.insert(u"mutation_id"_s, sent.value(u"mutation_id"));
    expected.insert(u"base_version"_s, 7);
    QCOMPARE(sent, expected);
    QVERIFY(sent.value(u"mutation_id") != mutationOf(refused).value(u"mutation_id"));

    QTRY_COMPARE(person.controller().message(), connected);
    const QList<PeerRequest> pushes = person.desk.peer.requests("POST", push);
    QCOMPARE(pushes.size(), 2);
    QCOMPARE(sample::pushed(pushes.at(0)), sent);
    QCOMPARE(QString::fromLatin1(pushes.at(0).headers.value("idempotency-key")),
             sent.value(u"mutation_id").toString());
    QCOMPARE(sample::pushed(pushes.at(1)), mutationOf(behind));
    QVERIFY(person.desk.stored().value(u"queue").toArray().isEmpty());
}

void ResolvingTest::sendingAgainSurvivesARestart() {
    Resolver person;
    QVERIFY(person.hold({edit(u"e1"_s, u"rejected"_s)}));
    person.desk.restart();
    QVERIFY(person.desk.load());
    QTRY_COMPARE(person.controller().message(), blocked);
    QVERIFY(!person.controller().retained().isEmpty());
    person.desk.holdPushes();
    person.controller().resendRetained();
    QCOMPARE(person.controller().message(), u"The change is sent again as a new one."_s);
    const QJsonObject sent = mutationAt(person.controller(), 0);
    QCOMPARE(person.desk.stored(), person.controller().durableState());

    person.desk.peer.answer("GET", u"/v1/me"_s, PeerReply::json(sample::identity()));
    person.desk.restart();
    QVERIFY(person.desk.load());
    QTRY_COMPARE(person.controller().pending(), 0);
    QCOMPARE(person.desk.peer.requests("POST", push).size(), 1);
    QCOMPARE(sample::pushed(person.desk.peer.requests("POST", push).first()), sent);
}

void ResolvingTest::sendingAgainCanBeRefusedAgain() {
    Resolver person;
    QVERIFY(person.hold({edit(u"e1"_s, u"rejected"_s)}));
    person.desk.peer.answer("POST", push, [](const PeerRequest& request) {
        QJsonObject result = sample::result(sample::pushed(request), u"rejected"_s);
        result.insert(u"message"_s, u"Still closed."_s);
        return sample::pushReply({result});
    });
    person.controller().resendRetained();
    QTRY_COMPARE(person.controller().message(), blocked);
    QCOMPARE(person.controller().retained().value(u"sentence"_s).toString(), u"Still closed."_s);
    QCOMPARE(person.controller().pending(), 1);
}

void ResolvingTest::sendingAgainThatCannotBeStoredChangesNothing_data() {
    QTest::addColumn<int>("how");
    QTest::newRow("refused") << static_cast<int>(SaveBlocker::How::Refuse);
    QTest::newRow("busy") << static_cast<int>(SaveBlocker::How::Busy);
}

void ResolvingTest::sendingAgainThatCannotBeStoredChangesNothing() {
    QFETCH(const int, how);
    Resolver person;
    QVERIFY(person.hold({edit(u"e1"_s, u"conflict"_s), edit(u"e2"_s)}));
    const QJsonObject before = person.controller().durableState();
    const QVariantMap shown = person.controller().retained();
    {
        const SaveBlocker blocker(person.desk.peer.url(), static_cast<SaveBlocker::How>(how));
        person.controller().resendRetained();
    }
    QCOMPARE(person.controller().message(),
             u"The change could not be saved for sending again; it is retained as it was."_s);
    QVERIFY(!person.controller().busy());
    QCOMPARE(person.controller().durableState(), before);
    QCOMPARE(person.controller().retained(), shown);
    QCOMPARE(person.desk.stored(), before);
    QVERIFY(person.desk.peer.requests().isEmpty());
}

void ResolvingTest::whatTheServerDidNotRefuseStays() {
    Resolver person;
    QVERIFY(person.hold({edit(u"e1"_s), edit(u"e2"_s, u"conflict"_s)}));
    QSignalSpy changed(&person.controller(), &Controller::changed);
    person.controller().resendRetained();
    person.controller().removeRetained();
    QVERIFY(changed.isEmpty());
    QVERIFY(person.dialogs.seen().isEmpty());
}

void ResolvingTest::nothingIsResolvedWhileARequestIsUnderWay() {
    Resolver person;
    QVERIFY(person.hold({edit(u"e1"_s, u"conflict"_s)}));
    person.desk.peer.answer("GET", snapshotPath, PeerReply::only(PeerReply::Delivery::Never));
    person.controller().refresh();
    QVERIFY(person.controller().busy());
    const QJsonObject before = person.controller().durableState();
    QSignalSpy changed(&person.controller(), &Controller::changed);
    person.controller().resendRetained();
    person.controller().removeRetained();
    person.controller().removePending();
    QVERIFY(changed.isEmpty());
    QVERIFY(person.dialogs.seen().isEmpty());
    QCOMPARE(person.controller().durableState(), before);
}

void ResolvingTest::removingAsksForAFileAndNamesTheNumber_data() {
    QTest::addColumn<QJsonArray>("queue");
    QTest::addColumn<QString>("title");
    QTest::newRow("one") << QJsonArray{edit(u"e1"_s, u"conflict"_s), edit(u"e1"_s)}
                         << u"Save a copy and remove 1 change"_s;
    QTest::newRow("three") << QJsonArray{start(u"t1"_s, u"conflict"_s), stop(u"t1"_s), edit(u"e2"_s),
                                         edit(u"t1"_s)}
                           << u"Save a copy and remove 3 changes"_s;
}

void ResolvingTest::removingAsksForAFileAndNamesTheNumber() {
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

void ResolvingTest::cancelledRemovalDoesNothing() {
    Resolver person;
    person.dialogs.cancel();
    QVERIFY(person.hold({edit(u"e1"_s, u"conflict"_s)}));
    const QJsonObject before = person.controller().durableState();
    const QByteArray sealed = sealedRecord(person.desk.peer.url());
    QSignalSpy changed(&person.controller(), &Controller::changed);
    person.controller().removeRetained();
    person.controller().removePending();
    QCOMPARE(person.dialogs.seen().size(), 2);
    QVERIFY(changed.isEmpty());
    QCOMPARE(person.controller().durableState(), before);
    QCOMPARE(sealedRecord(person.desk.peer.url()), sealed);
    QCOMPARE(person.files(), QStringList());
}

void ResolvingTest::whatLeavesIsInTheFileAndTheRestGoesOn() {
    Resolver person;
    QJsonObject refused = edit(u"e1"_s, u"conflict"_s);
    refused.insert(u"result"_s, QJsonObject{{u"message"_s, u"Too late"_s}});
    const QJsonObject behind = edit(u"e1"_s);
    QVERIFY(person.hold({refused, behind}));
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
    QCOMPARE(sample::pushed(pushes.first()), mutationOf(behind));
    QVERIFY(person.desk.stored().value(u"queue").toArray().isEmpty());
}

void ResolvingTest::aRefusedStartLeavesWithItsStopAndTheServersTimerIsBack() {
    Resolver person;
    const QJsonObject running = sample::entry(u"t9"_s, u"2024-03-01T07:00:00Z"_s, QJsonValue());
    person.desk.peer.answer("GET", u"/v1/me/timer"_s, PeerReply::json({{u"timer"_s, running}}));
    const QJsonArray leaving{start(u"t1"_s, u"conflict"_s), stop(u"t1"_s)};
    const QJsonObject other = start(u"t2"_s);
    QVERIFY(person.hold({leaving.at(0), other, leaving.at(1)}));
    QCOMPARE(person.controller().timer().value(u"id"_s).toString(), u"t2"_s);
    QCOMPARE(person.controller().retained().value(u"leaving"_s).toInt(), 2);
    person.desk.holdPushes();
    person.controller().removeRetained();
    QCOMPARE(person.copied(), leaving);
    QCOMPARE(queueOf(person.controller()), QJsonArray{other});

    QVERIFY(person.desk.holdQueue({start(u"t1"_s, u"conflict"_s)}));
    QCOMPARE(person.controller().timer().value(u"id"_s).toString(), u"t9"_s);
}

void ResolvingTest::aRemovalSurvivesARestart() {
    Resolver person;
    const QJsonObject behind = edit(u"e2"_s);
    QVERIFY(person.hold({edit(u"e1"_s, u"rejected"_s), behind}));
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

void ResolvingTest::aCopyThatCannotBeWrittenRemovesNothing_data() {
    QTest::addColumn<QString>("trouble");
    QTest::newRow("the folder is gone") << u"gone"_s;
    QTest::newRow("a folder has the name") << u"taken"_s;
    QTest::newRow("the disk is full") << u"full"_s;
}

void ResolvingTest::aCopyThatCannotBeWrittenRemovesNothing() {
    QFETCH(const QString, trouble);
    Resolver person;
    QJsonObject refused = edit(u"e1"_s, u"conflict"_s);
    refused.insert(u"result"_s, QJsonObject{{u"message"_s, QString(400'000, u'x')}});
    QVERIFY(person.hold({refused, edit(u"e2"_s)}));
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

void ResolvingTest::aQueueThatCannotBeSavedKeepsEverything_data() {
    sendingAgainThatCannotBeStoredChangesNothing_data();
}

void ResolvingTest::aQueueThatCannotBeSavedKeepsEverything() {
    QFETCH(const int, how);
    Resolver person;
    const QJsonArray queue{edit(u"e1"_s, u"conflict"_s), edit(u"e2"_s)};
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

void ResolvingTest::aChangeOfTheSameEntryWhileTheFileIsChosenStopsTheRemoval() {
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

void ResolvingTest::otherWorkWhileTheFileIsChosenIsKept() {
    Resolver person;
    QVERIFY(person.hold({edit(u"e1"_s, u"conflict"_s)}));
    person.desk.holdPushes();
    person.dialogs.afterChoosing([&] { person.controller().editDescription(u"e2"_s, u"Other"_s); });
    person.controller().removeRetained();
    QCOMPARE(person.controller().pending(), 1);
    QCOMPARE(mutationAt(person.controller(), 0).value(u"entity_id").toString(), u"e2"_s);
    QCOMPARE(person.desk.stored(), person.controller().durableState());
}

void ResolvingTest::aRequestWhileTheFileIsChosenStopsTheRemoval() {
    Resolver person;
    QVERIFY(person.hold({edit(u"e1"_s, u"conflict"_s)}));
    person.desk.peer.answer("GET", snapshotPath, PeerReply::only(PeerReply::Delivery::Hold));
    person.dialogs.afterChoosing([&] { person.controller().refresh(); });
    person.controller().removeRetained();
    QCOMPARE(person.controller().message(),
             u"Another request is under way; nothing was removed. Try again when it has ended."_s);
    QVERIFY(person.controller().busy());
    QCOMPARE(person.controller().pending(), 1);
    QCOMPARE(person.files(), QStringList());
}

void ResolvingTest::theSecondOfTwoDialogsFindsNothingLeft() {
    Resolver person;
    const QJsonArray leaving{edit(u"e1"_s, u"conflict"_s)};
    QVERIFY(person.hold({leaving.first(), edit(u"e1"_s)}));
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

QTEST_MAIN(ResolvingTest)
#include "resolving.moc"
