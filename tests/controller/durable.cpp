// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "tests/support/client.h"
#include "tests/support/desk.h"
#include "tests/support/sample.h"
#include "tests/support/scriptedpeer.h"
#include "tests/support/vaultfile.h"

#include <QSignalSpy>
#include <QTest>

namespace {

const QString saveFailed =
    QStringLiteral("Secure local save failed; the retained queue was not acknowledged locally.");

QJsonObject emptyDocument() {
    return {{QStringLiteral("auth"), QJsonObject()},  {QStringLiteral("signed_out"), false},
            {QStringLiteral("me"), QJsonObject()},    {QStringLiteral("workspaces"), QJsonArray()},
            {QStringLiteral("workspace"), QString()}, {QStringLiteral("snapshot"), QJsonObject()},
            {QStringLiteral("timer"), QJsonObject()}, {QStringLiteral("queue"), QJsonArray()}};
}

QJsonObject makeFullDocument() {
    const QString start = QStringLiteral("2024-03-01T08:00:00Z");
    QJsonObject state =
        sample::durable(sample::snapshot({sample::entry(QStringLiteral("e1"), start,
                                                        QStringLiteral("2024-03-01T09:00:00Z"))}),
                        {sample::queueItem(QStringLiteral("entry.update"), QStringLiteral("e1"),
                                           {{QStringLiteral("description"), QStringLiteral("Edited")}})});
    state.insert(u"auth", QJsonObject{{QStringLiteral("token"), QStringLiteral("t")},
                                      {QStringLiteral("user_id"), QStringLiteral("user-1")}});
    state.insert(u"signed_out", true);
    state.insert(u"timer", sample::entry(QStringLiteral("t1"), start, QJsonValue()));
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
    controller.applyDurable({{QStringLiteral("workspace"), 12}});
    QCOMPARE(controller.workspace(), QString());
}

void DurableTest::unknownKeysAreIgnored() {
    Controller controller;
    QJsonObject state = fullDocument();
    state.insert(u"later", QStringLiteral("version"));
    controller.applyDurable(state);
    QCOMPARE(controller.durableState(), fullDocument());
}

void DurableTest::applyingRecomputesTheViewsAndSaysNothing() {
    Controller controller;
    controller.fail(QStringLiteral("As it was"));
    QSignalSpy changed(&controller, &Controller::changed);
    controller.applyDurable(fullDocument());
    QCOMPARE(changed.size(), 0);
    QCOMPARE(controller.message(), QStringLiteral("As it was"));
    QCOMPARE(controller.server(), QString());
    QCOMPARE(controller.pending(), 1);
    QCOMPARE(controller.projects().size(), 1);
    QCOMPARE(controller.timer().value(QStringLiteral("id")).toString(), QStringLiteral("t1"));
    const QVariantMap edited = listedEntry(controller, QStringLiteral("id"), QStringLiteral("e1"));
    QCOMPARE(edited.value(QStringLiteral("description")).toString(), QStringLiteral("Edited"));
    QVERIFY(edited.value(QStringLiteral("local_pending")).toBool());
}

void DurableTest::readOnlyNeverPersists() {
    ScriptedPeer peer;
    sample::serve(peer, sample::snapshot());
    Controller controller;
    QVERIFY(connectAndLoad(controller, peer.url()));
    const QByteArray record = sealedRecord(peer.url());
    controller.setReadOnly(true);
    controller.fail(QStringLiteral("As it was"));
    controller.applyDurable(fullDocument());
    QVERIFY(!controller.persist());
    QCOMPARE(controller.message(), QStringLiteral("As it was"));
    QCOMPARE(sealedRecord(peer.url()), record);
    controller.setReadOnly(false);
    QVERIFY(controller.persist());
    QVERIFY(sealedRecord(peer.url()) != record);
}

void DurableTest::withoutStorageNothingIsPersisted() {
    Controller controller;
    controller.fail(QStringLiteral("As it was"));
    QSignalSpy changed(&controller, &Controller::changed);
    QVERIFY(!controller.persist());
    QCOMPARE(controller.message(), QStringLiteral("As it was"));
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
    QVERIFY(desk.holdQueue({sample::queueItem(QStringLiteral("timer.start"), QStringLiteral("kept"), {})}));
    desk.restart();
    const QByteArray record = sealedRecord(desk.peer.url());
    // The table cannot be read for a while, then it is whole again.
    SqliteFile file(vaultFile(desk.peer.url()));
    file.run(QStringLiteral("ALTER TABLE vault RENAME TO aside"));
    file.run(QStringLiteral("CREATE VIEW vault AS SELECT * FROM missing"));
    desk.controller->connectServer(desk.peer.url());
    QTRY_VERIFY(!desk.controller->busy());
    QCOMPARE(desk.controller->message(),
             QStringLiteral("Encrypted account/queue could not be authenticated; no identity fallback was "
                            "attempted"));
    file.run(QStringLiteral("DROP VIEW vault"));
    file.run(QStringLiteral("ALTER TABLE aside RENAME TO vault"));

    desk.controller->applyDurable(sample::durable(sample::snapshot()));
    QVERIFY(desk.controller->secureStorage());
    QVERIFY(!desk.controller->queueReady());
    QVERIFY(!desk.controller->persist());
    desk.controller->start(QStringLiteral("new"), QString(), false);
    QCOMPARE(desk.controller->pending(), 0);
    QCOMPARE(sealedRecord(desk.peer.url()), record);
}

QTEST_MAIN(DurableTest)
#include "durable.moc"
