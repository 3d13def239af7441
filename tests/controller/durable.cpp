// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "tests/support/client.h"
#include "tests/support/desk.h"
#include "tests/support/sample.h"
#include "tests/support/scriptedpeer.h"
#include "tests/support/vaultfile.h"

#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString saveFailed = u"Secure local save failed; the retained queue was not acknowledged locally."_s;

QJsonObject emptyDocument() {
    return {{u"auth"_s, QJsonObject()},      {u"signed_out"_s, false},    {u"me"_s, QJsonObject()},
            {u"workspaces"_s, QJsonArray()}, {u"workspace"_s, QString()}, {u"snapshot"_s, QJsonObject()},
            {u"timer"_s, QJsonObject()},     {u"queue"_s, QJsonArray()}};
}

QJsonObject makeFullDocument() {
    const QString start = u"2024-03-01T08:00:00Z"_s;
    QJsonObject state =
        sample::durable(sample::snapshot({sample::entry(u"e1"_s, start, u"2024-03-01T09:00:00Z"_s)}),
                        {sample::queueItem(u"entry.update"_s, u"e1"_s, {{u"description"_s, u"Edited"_s}})});
    state.insert(u"auth", QJsonObject{{u"token"_s, u"t"_s}, {u"user_id"_s, u"user-1"_s}});
    state.insert(u"signed_out", true);
    state.insert(u"timer", sample::entry(u"t1"_s, start, QJsonValue()));
    return state;
}

const QJsonObject& fullDocument() {
    static const QJsonObject document = makeFullDocument();
    return document;
}

} // namespace

class DurableTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }

    void aNewControllerHasAllEightKeysEmpty();
    void applyingAnEmptyObjectClearsEveryMember();
    void applyingWhatWasBuiltChangesNothing();
    void wrongTypesBecomeEmpty();
    void unknownKeysAreIgnored();
    void applyingRecomputesTheViewsAndSaysNothing();
    void readOnlyNeverPersists();
    void withoutStorageNothingIsPersisted();
    void persistingSurvivesTheProgram();
    void aFailedSaveKeepsTheMembersAndTheOldRecord_data();
    void aFailedSaveKeepsTheMembersAndTheOldRecord();
    void aRecordThatCouldNotBeReadIsNotReplaced();
    void aRecordThatCannotBeReadIsRenamedWhenItIsAskedFor();
    void whatWaitsGoesIntoANewFileWhereTheOldOneIsSpoiled();
};

void DurableTest::aNewControllerHasAllEightKeysEmpty() {
    QCOMPARE(Controller().durableState(), emptyDocument());
}

void DurableTest::applyingAnEmptyObjectClearsEveryMember() {
    Controller controller;
    controller.applyDurable(fullDocument());
    QVERIFY(controller.durableState() != emptyDocument());
    controller.applyDurable({});
    QCOMPARE(controller.durableState(), emptyDocument());
    QVERIFY(controller.entries().isEmpty());
    QVERIFY(controller.timer().isEmpty());
    QVERIFY(controller.projects().isEmpty());
    QCOMPARE(controller.pending(), 0);
}

void DurableTest::applyingWhatWasBuiltChangesNothing() {
    Controller controller;
    controller.applyDurable(fullDocument());
    QCOMPARE(controller.durableState(), fullDocument());
    controller.applyDurable(controller.durableState());
    QCOMPARE(controller.durableState(), fullDocument());
}

void DurableTest::wrongTypesBecomeEmpty() {
    Controller controller;
    for (const QJsonValue& wrong : {QJsonValue(7), QJsonValue(QJsonValue::Null), QJsonValue(1.5)}) {
        QJsonObject state;
        const QStringList keys = fullDocument().keys();
        for (const QString& key : keys) {
            state.insert(key, wrong);
        }
        controller.applyDurable(fullDocument());
        controller.applyDurable(state);
        QCOMPARE(controller.durableState(), emptyDocument());
    }
    controller.applyDurable({{u"workspace"_s, 12}});
    QCOMPARE(controller.workspace(), QString());
}

void DurableTest::unknownKeysAreIgnored() {
    Controller controller;
    QJsonObject state = fullDocument();
    state.insert(u"later", u"version"_s);
    controller.applyDurable(state);
    QCOMPARE(controller.durableState(), fullDocument());
}

void DurableTest::applyingRecomputesTheViewsAndSaysNothing() {
    Controller controller;
    controller.fail(u"As it was"_s);
    QSignalSpy changed(&controller, &Controller::changed);
    controller.applyDurable(fullDocument());
    QCOMPARE(changed.size(), 0);
    QCOMPARE(controller.message(), u"As it was"_s);
    QCOMPARE(controller.server(), QString());
    QCOMPARE(controller.pending(), 1);
    QCOMPARE(controller.projects().size(), 1);
    QCOMPARE(controller.timer().value(u"id"_s).toString(), u"t1"_s);
    const QVariantMap edited = listedEntry(controller, u"id"_s, u"e1"_s);
    QCOMPARE(edited.value(u"description"_s).toString(), u"Edited"_s);
    QVERIFY(edited.value(u"local_pending"_s).toBool());
}

void DurableTest::readOnlyNeverPersists() {
    ScriptedPeer peer;
    sample::serve(peer, sample::snapshot());
    Controller controller;
    QVERIFY(connectAndLoad(controller, peer.url()));
    const QByteArray record = sealedRecord(peer.url());
    controller.setReadOnly(true);
    controller.fail(u"As it was"_s);
    controller.applyDurable(fullDocument());
    QVERIFY(!controller.persist());
    QCOMPARE(controller.message(), u"As it was"_s);
    QCOMPARE(sealedRecord(peer.url()), record);
    controller.setReadOnly(false);
    QVERIFY(controller.persist());
    QVERIFY(sealedRecord(peer.url()) != record);
}

void DurableTest::withoutStorageNothingIsPersisted() {
    Controller controller;
    controller.fail(u"As it was"_s);
    QSignalSpy changed(&controller, &Controller::changed);
    QVERIFY(!controller.persist());
    QCOMPARE(controller.message(), u"As it was"_s);
    QCOMPARE(changed.size(), 0);
}

void DurableTest::persistingSurvivesTheProgram() {
    ScriptedPeer peer;
    sample::serve(peer, sample::snapshot());
    {
        Controller controller;
        QVERIFY(connectAndLoad(controller, peer.url()));
        controller.applyDurable(fullDocument());
        QVERIFY(controller.persist());
    }
    QVERIFY(!sealedRecord(peer.url()).contains("Edited"));
    Controller controller;
    controller.connectServer(peer.url());
    QTRY_COMPARE(controller.durableState(), fullDocument());
}

void DurableTest::aFailedSaveKeepsTheMembersAndTheOldRecord_data() {
    QTest::addColumn<int>("how");
    QTest::newRow("refused") << static_cast<int>(SaveBlocker::How::Refuse);
    QTest::newRow("busy") << static_cast<int>(SaveBlocker::How::Busy);
}

void DurableTest::aFailedSaveKeepsTheMembersAndTheOldRecord() {
    QFETCH(const int, how);
    ScriptedPeer peer;
    sample::serve(peer, sample::snapshot());
    Controller controller;
    QVERIFY(connectAndLoad(controller, peer.url()));
    const QByteArray record = sealedRecord(peer.url());
    controller.applyDurable(fullDocument());
    QSignalSpy changed(&controller, &Controller::changed);
    {
        const SaveBlocker blocker(peer.url(), static_cast<SaveBlocker::How>(how));
        QVERIFY(!controller.persist());
    }
    QCOMPARE(controller.message(), saveFailed);
    QVERIFY(!controller.busy());
    QCOMPARE(changed.size(), 1);
    QCOMPARE(controller.durableState(), fullDocument());
    QCOMPARE(sealedRecord(peer.url()), record);
    QVERIFY(controller.persist());
    QVERIFY(sealedRecord(peer.url()) != record);
}

void DurableTest::aRecordThatCouldNotBeReadIsNotReplaced() {
    Desk desk;
    QVERIFY(desk.load());
    QVERIFY(desk.holdQueue({sample::queueItem(u"timer.start"_s, u"kept"_s, {})}));
    desk.restart();
    const QByteArray record = sealedRecord(desk.peer.url());
    // The table cannot be read for a while, then it is whole again.
    SqliteFile file(vaultFile(desk.peer.url()));
    file.run(u"ALTER TABLE vault RENAME TO aside"_s);
    file.run(u"CREATE VIEW vault AS SELECT * FROM missing"_s);
    desk.controller->connectServer(desk.peer.url());
    QTRY_VERIFY(!desk.controller->busy());
    QCOMPARE(desk.controller->message(),
             u"Encrypted account/queue could not be authenticated; no identity fallback was "
             "attempted"_s);
    file.run(u"DROP VIEW vault"_s);
    file.run(u"ALTER TABLE aside RENAME TO vault"_s);

    desk.controller->applyDurable(sample::durable(sample::snapshot()));
    QVERIFY(desk.controller->secureStorage());
    QVERIFY(!desk.controller->queueReady());
    QVERIFY(!desk.controller->persist());
    desk.controller->start(u"new"_s, QString(), false);
    QCOMPARE(desk.controller->pending(), 0);
    QCOMPARE(sealedRecord(desk.peer.url()), record);
}

void DurableTest::aRecordThatCannotBeReadIsRenamedWhenItIsAskedFor() {
    Desk desk;
    QVERIFY(desk.load());
    QVERIFY(desk.holdQueue({sample::queueItem(u"timer.start"_s, u"kept"_s, {})}));
    desk.controller->setRecordAside();
    QVERIFY(!desk.controller->recordStuck());
    QVERIFY(desk.controller->queueReady());
    desk.restart();
    SqliteFile(vaultFile(desk.peer.url())).run(u"UPDATE vault SET payload=x'00'"_s);
    desk.controller->connectServer(desk.peer.url());
    QTRY_VERIFY(desk.controller->recordStuck());
    QVERIFY(!desk.controller->queueReady());

    desk.controller->setRecordAside();
    QTRY_VERIFY(desk.controller->message().startsWith(u"The encrypted record for this server is missing"_s));
    QVERIFY(!desk.controller->recordStuck());
    desk.controller->connectServer(desk.peer.url());
    QTRY_VERIFY(desk.controller->queueReady() && !desk.controller->busy());
    QVERIFY(!desk.controller->workspace().isEmpty());
    QCOMPARE(desk.controller->pending(), 0);
    const QFileInfo file(vaultFile(desk.peer.url()));
    QCOMPARE(file.dir().entryList({file.fileName() + u".aside-*[0-9]"_s}).size(), 1);
}

void DurableTest::whatWaitsGoesIntoANewFileWhereTheOldOneIsSpoiled() {
    Desk desk;
    QVERIFY(desk.load());
    QVERIFY(desk.holdQueue({sample::queueItem(u"timer.start"_s, u"kept"_s, {})}));
    const QString path = vaultFile(desk.peer.url());
    for (const QString& suffix : {QString(), u"-wal"_s, u"-shm"_s}) {
        QVERIFY(QFile::remove(path + suffix));
    }
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(QByteArray(5000, 'g')) == 5000);
    file.close();
    QVERIFY(!desk.controller->persist());
    QVERIFY(!desk.controller->persist());
    QVERIFY(desk.controller->recordStuck());

    desk.peer.goOffline();
    QStringList messages;
    connect(desk.controller.get(), &Controller::changed, this,
            [&] { messages.append(desk.controller->message()); });
    desk.controller->setRecordAside();
    QVERIFY(messages.contains(u"The old file has another name; everything is saved in a new one."_s));
    QVERIFY(!desk.controller->recordStuck());
    QVERIFY(waitForSilence(*desk.controller));
    QCOMPARE(desk.controller->pending(), 1);
    QCOMPARE(desk.stored().value(u"queue").toArray().size(), 1);
}

QTEST_MAIN(DurableTest)
#include "durable.moc"
