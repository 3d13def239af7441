// SPDX-License-Identifier: MIT
#include "tests/support/client.h"
#include "tests/support/desk.h"
#include "tests/support/vaultfile.h"

#include <QSettings>
#include <QSignalSpy>
#include <QTest>
#include <QUuid>

using namespace Qt::StringLiterals;

namespace {

const QString saved = u"Saved securely on this device"_s;
const QString create = u"entry.create"_s;

QJsonObject payload(const QString& description) {
    return {{u"description"_s, description},
            {u"start_at"_s, u"2024-03-01T08:00:00Z"_s},
            {u"stop_at"_s, u"2024-03-01T09:00:00Z"_s}};
}

void record(const Desk& desk, const QString& entity) {
    desk.controller->enqueue(create, entity, 0, payload(entity));
}

} // namespace

class QueueTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }

    void withoutAnIdentityOrWorkspaceNothingIsRecorded_data();
    void withoutAnIdentityOrWorkspaceNothingIsRecorded();
    void aFailingSaveLeavesQueueViewsAndDiskAsTheyWere_data();
    void aFailingSaveLeavesQueueViewsAndDiskAsTheyWere();
    void anItemHasExactlyItsKeys();
    void twoWritesKeepTheirOrder();
    void aWriteIsOnDiskBeforeItIsShown();
    void aWriteSurvivesTheProgram();
    void aWriteStartsAPush();
    void aWriteDuringALoadLeavesItBusyAndIsPushedAfterwards();
    void aWriteDuringAPushOnlyAppends();
    void aRetainedHeadStillTakesNewWork_data();
    void aRetainedHeadStillTakesNewWork();
};

void QueueTest::withoutAnIdentityOrWorkspaceNothingIsRecorded_data() {
    QTest::addColumn<QString>("key");
    QTest::addColumn<QJsonValue>("value");
    QTest::newRow("signed out") << u"signed_out"_s << QJsonValue(true);
    QTest::newRow("no identity") << u"me"_s << QJsonValue(QJsonObject());
    QTest::newRow("no workspace") << u"workspace"_s << QJsonValue(QString());
    QTest::newRow("read-only") << QString() << QJsonValue();
}

void QueueTest::withoutAnIdentityOrWorkspaceNothingIsRecorded() {
    QFETCH(const QString, key);
    QFETCH(const QJsonValue, value);
    Desk desk;
    QVERIFY(desk.load());
    QJsonObject state = desk.controller->durableState();
    if (key.isEmpty()) {
        desk.controller->setReadOnly(true);
    } else {
        state.insert(key, value);
        desk.controller->applyDurable(state);
    }
    const QByteArray before = sealedRecord(desk.peer.url());
    desk.peer.forgetRequests();
    record(desk, u"new"_s);
    QCOMPARE(desk.controller->message(), u"Connect to the server first"_s);
    QVERIFY(!desk.controller->busy());
    QCOMPARE(desk.controller->durableState(), state);
    QVERIFY(desk.controller->entries().isEmpty());
    QCOMPARE(sealedRecord(desk.peer.url()), before);
    QVERIFY(waitForSilence(*desk.controller));
    QVERIFY(desk.peer.requests().isEmpty());
}

void QueueTest::aFailingSaveLeavesQueueViewsAndDiskAsTheyWere_data() {
    QTest::addColumn<int>("how");
    QTest::newRow("refused") << static_cast<int>(SaveBlocker::How::Refuse);
    QTest::newRow("busy") << static_cast<int>(SaveBlocker::How::Busy);
}

void QueueTest::aFailingSaveLeavesQueueViewsAndDiskAsTheyWere() {
    QFETCH(const int, how);
    Desk desk;
    QVERIFY(desk.load());
    desk.holdPushes();
    record(desk, u"first"_s);
    const QJsonObject state = desk.controller->durableState();
    const QVariantList entries = desk.controller->entries();
    const QByteArray before = sealedRecord(desk.peer.url());
    {
        const SaveBlocker blocker(desk.peer.url(), static_cast<SaveBlocker::How>(how));
        QSignalSpy changed(desk.controller.get(), &Controller::changed);
        record(desk, u"second"_s);
        QCOMPARE(changed.size(), 1);
    }
    QCOMPARE(desk.controller->message(),
             u"The write was not accepted because secure local storage failed."_s);
    QVERIFY(!desk.controller->busy());
    QCOMPARE(desk.controller->durableState(), state);
    QCOMPARE(desk.controller->entries(), entries);
    QCOMPARE(sealedRecord(desk.peer.url()), before);

    record(desk, u"third"_s);
    QCOMPARE(desk.controller->message(), saved);
    QCOMPARE(desk.controller->pending(), 2);
    QCOMPARE(desk.controller->entries().size(), 2);
}

void QueueTest::anItemHasExactlyItsKeys() {
    Desk desk;
    QVERIFY(desk.load());
    desk.holdPushes();
    desk.controller->enqueue(u"entry.update"_s, u"e1"_s, 7, payload(u"d"_s));
    const QJsonObject item = queueOf(*desk.controller).first().toObject();
    const QJsonObject mutation = item.value(u"mutation").toObject();
    const QString id = mutation.value(u"mutation_id").toString();
    QCOMPARE(QUuid::fromString(id).toString(QUuid::WithoutBraces), id);
    QCOMPARE(id.size(), 36);
    QCOMPARE(item, QJsonObject({{u"status"_s, u"pending"_s}, {u"mutation"_s, mutation}}));
    QCOMPARE(mutation, QJsonObject({{u"mutation_id"_s, id},
                                    {u"device_id"_s, QSettings().value(u"device"_s).toString()},
                                    {u"workspace_id"_s, u"ws-1"_s},
                                    {u"entity_id"_s, u"e1"_s},
                                    {u"base_version"_s, 7},
                                    {u"operation"_s, u"entry.update"_s},
                                    {u"payload"_s, payload(u"d"_s)}}));
    QVERIFY(mutation.value(u"base_version").isDouble());
}

void QueueTest::twoWritesKeepTheirOrder() {
    Desk desk;
    QVERIFY(desk.load());
    desk.holdPushes();
    record(desk, u"one"_s);
    record(desk, u"two"_s);
    QCOMPARE(desk.controller->pending(), 2);
    const QJsonObject first = mutationAt(*desk.controller, 0);
    const QJsonObject second = mutationAt(*desk.controller, 1);
    QCOMPARE(first.value(u"entity_id").toString(), u"one"_s);
    QCOMPARE(second.value(u"entity_id").toString(), u"two"_s);
    QVERIFY(first.value(u"mutation_id") != second.value(u"mutation_id"));
    QCOMPARE(first.value(u"device_id"), second.value(u"device_id"));
}

void QueueTest::aWriteIsOnDiskBeforeItIsShown() {
    Desk desk;
    QVERIFY(desk.load());
    desk.holdPushes();
    const QByteArray before = sealedRecord(desk.peer.url());
    QList<bool> storedWhenShown;
    connect(desk.controller.get(), &Controller::changed, desk.controller.get(),
            [&] { storedWhenShown.append(sealedRecord(desk.peer.url()) != before); });
    record(desk, u"one"_s);
    QVERIFY(storedWhenShown.contains(true));
    QVERIFY(!storedWhenShown.contains(false));
    QCOMPARE(desk.controller->message(), saved);
    QCOMPARE(desk.controller->entries().size(), 1);
}

void QueueTest::aWriteSurvivesTheProgram() {
    Desk desk;
    QVERIFY(desk.load());
    desk.holdPushes();
    record(desk, u"one"_s);
    const QJsonObject state = desk.controller->durableState();
    desk.restart();
    desk.peer.goOffline();
    desk.controller->connectServer(desk.peer.url());
    QTRY_COMPARE(desk.controller->durableState(), state);
    QCOMPARE(desk.controller->pending(), 1);
    QVERIFY(listedEntry(*desk.controller, u"id"_s, u"one"_s).value(u"local_pending"_s).toBool());
}

void QueueTest::aWriteStartsAPush() {
    Desk desk;
    QVERIFY(desk.load());
    desk.peer.forgetRequests();
    QSignalSpy ready(desk.controller.get(), &Controller::ready);
    record(desk, u"one"_s);
    QCOMPARE(desk.controller->message(), saved);
    QVERIFY(ready.wait());
    QCOMPARE(desk.controller->pending(), 0);
    QCOMPARE(desk.peer.requests("POST", u"/v1/sync/push"_s).size(), 1);
}

void QueueTest::aWriteDuringALoadLeavesItBusyAndIsPushedAfterwards() {
    Desk desk;
    QVERIFY(desk.load());
    desk.peer.answerOnce("GET", u"/v1/sync/snapshot"_s,
                         PeerReply::json(sample::snapshot()).delivered(PeerReply::Delivery::Hold));
    desk.controller->refresh();
    QTRY_COMPARE(desk.peer.held(), 1);
    record(desk, u"one"_s);
    QCOMPARE(desk.controller->message(), saved);
    QVERIFY(desk.controller->busy());
    QVERIFY(desk.peer.requests("POST", u"/v1/sync/push"_s).isEmpty());
    desk.peer.release();
    QTRY_COMPARE(desk.controller->pending(), 0);
}

void QueueTest::aWriteDuringAPushOnlyAppends() {
    Desk desk;
    QVERIFY(desk.load());
    const QString push = u"/v1/sync/push"_s;
    desk.peer.answer("POST", push, [](const PeerRequest& request) {
        return sample::accept(request).delivered(PeerReply::Delivery::Hold);
    });
    record(desk, u"one"_s);
    QTRY_COMPARE(desk.peer.held(), 1);
    const QJsonValue head = queueOf(*desk.controller).first();
    record(desk, u"two"_s);
    QCOMPARE(desk.controller->pending(), 2);
    QCOMPARE(queueOf(*desk.controller).first(), head);
    desk.peer.release();
    QTRY_COMPARE(desk.peer.requests("POST", push).size(), 2);
    QCOMPARE(desk.controller->pending(), 1);
    QTRY_COMPARE(desk.peer.held(), 1);
    desk.peer.release();
    QTRY_COMPARE(desk.controller->pending(), 0);
}

void QueueTest::aRetainedHeadStillTakesNewWork_data() {
    QTest::addColumn<QString>("status");
    QTest::newRow("conflict") << u"conflict"_s;
    QTest::newRow("rejected") << u"rejected"_s;
}

void QueueTest::aRetainedHeadStillTakesNewWork() {
    QFETCH(const QString, status);
    Desk desk;
    QVERIFY(desk.load());
    const QJsonObject head = sample::queueItem(create, u"old"_s, payload(QString()), status);
    QVERIFY(desk.holdQueue({head}));
    record(desk, u"new"_s);
    QCOMPARE(desk.controller->pending(), 2);
    QCOMPARE(queueOf(*desk.controller).first().toObject(), head);
    QCOMPARE(queueOf(*desk.controller).last().toObject().value(u"status").toString(), u"pending"_s);
    QCOMPARE(desk.stored().value(u"queue").toArray(), queueOf(*desk.controller));
    QVERIFY(desk.peer.requests().isEmpty());
}

QTEST_MAIN(QueueTest)
#include "queue.moc"
