// SPDX-License-Identifier: MIT
#include "tests/support/client.h"
#include "tests/support/desk.h"
#include "tests/support/vaultfile.h"

#include <QSettings>
#include <QSignalSpy>
#include <QTest>
#include <QUuid>

namespace {

const QString saved = QStringLiteral("Saved securely on this device");
const QString create = QStringLiteral("entry.create");

QJsonObject payload(const QString& description) {
    return {{QStringLiteral("description"), description},
            {QStringLiteral("start_at"), QStringLiteral("2024-03-01T08:00:00Z")},
            {QStringLiteral("stop_at"), QStringLiteral("2024-03-01T09:00:00Z")}};
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
    QTest::newRow("signed out") << QStringLiteral("signed_out") << QJsonValue(true);
    QTest::newRow("no identity") << QStringLiteral("me") << QJsonValue(QJsonObject());
    QTest::newRow("no workspace") << QStringLiteral("workspace") << QJsonValue(QString());
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
    record(desk, QStringLiteral("new"));
    QCOMPARE(desk.controller->message(), QStringLiteral("Connect to the server first"));
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
    record(desk, QStringLiteral("first"));
    const QJsonObject state = desk.controller->durableState();
    const QVariantList entries = desk.controller->entries();
    const QByteArray before = sealedRecord(desk.peer.url());
    {
        const SaveBlocker blocker(desk.peer.url(), static_cast<SaveBlocker::How>(how));
        QSignalSpy changed(desk.controller.get(), &Controller::changed);
        record(desk, QStringLiteral("second"));
        QCOMPARE(changed.size(), 1);
    }
    QCOMPARE(desk.controller->message(),
             QStringLiteral("The write was not accepted because secure local storage failed."));
    QVERIFY(!desk.controller->busy());
    QCOMPARE(desk.controller->durableState(), state);
    QCOMPARE(desk.controller->entries(), entries);
    QCOMPARE(sealedRecord(desk.peer.url()), before);

    record(desk, QStringLiteral("third"));
    QCOMPARE(desk.controller->message(), saved);
    QCOMPARE(desk.controller->pending(), 2);
    QCOMPARE(desk.controller->entries().size(), 2);
}

void QueueTest::anItemHasExactlyItsKeys() {
    Desk desk;
    QVERIFY(desk.load());
    desk.holdPushes();
    desk.controller->enqueue(QStringLiteral("entry.update"), QStringLiteral("e1"), 7,
                             payload(QStringLiteral("d")));
    const QJsonObject item = queueOf(*desk.controller).first().toObject();
    const QJsonObject mutation = item.value(u"mutation").toObject();
    const QString id = mutation.value(u"mutation_id").toString();
    QCOMPARE(QUuid::fromString(id).toString(QUuid::WithoutBraces), id);
    QCOMPARE(id.size(), 36);
    QCOMPARE(item, QJsonObject({{QStringLiteral("status"), QStringLiteral("pending")},
                                {QStringLiteral("mutation"), mutation}}));
    QCOMPARE(mutation, QJsonObject({{QStringLiteral("mutation_id"), id},
                                    {QStringLiteral("device_id"),
                                     QSettings().value(QStringLiteral("device")).toString()},
                                    {QStringLiteral("workspace_id"), QStringLiteral("ws-1")},
                                    {QStringLiteral("entity_id"), QStringLiteral("e1")},
                                    {QStringLiteral("base_version"), 7},
                                    {QStringLiteral("operation"), QStringLiteral("entry.update")},
                                    {QStringLiteral("payload"), payload(QStringLiteral("d"))}}));
    QVERIFY(mutation.value(u"base_version").isDouble());
}

void QueueTest::twoWritesKeepTheirOrder() {
    Desk desk;
    QVERIFY(desk.load());
    desk.holdPushes();
    record(desk, QStringLiteral("one"));
    record(desk, QStringLiteral("two"));
    QCOMPARE(desk.controller->pending(), 2);
    const QJsonObject first = mutationAt(*desk.controller, 0);
    const QJsonObject second = mutationAt(*desk.controller, 1);
    QCOMPARE(first.value(u"entity_id").toString(), QStringLiteral("one"));
    QCOMPARE(second.value(u"entity_id").toString(), QStringLiteral("two"));
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
    record(desk, QStringLiteral("one"));
    QVERIFY(storedWhenShown.contains(true));
    QVERIFY(!storedWhenShown.contains(false));
    QCOMPARE(desk.controller->message(), saved);
    QCOMPARE(desk.controller->entries().size(), 1);
}

void QueueTest::aWriteSurvivesTheProgram() {
    Desk desk;
    QVERIFY(desk.load());
    desk.holdPushes();
    record(desk, QStringLiteral("one"));
    const QJsonObject state = desk.controller->durableState();
    desk.restart();
    desk.peer.goOffline();
    desk.controller->connectServer(desk.peer.url());
    QTRY_COMPARE(desk.controller->durableState(), state);
    QCOMPARE(desk.controller->pending(), 1);
    QVERIFY(listedEntry(*desk.controller, QStringLiteral("id"), QStringLiteral("one"))
                .value(QStringLiteral("local_pending"))
                .toBool());
}

void QueueTest::aWriteStartsAPush() {
    Desk desk;
    QVERIFY(desk.load());
    desk.peer.forgetRequests();
    QSignalSpy ready(desk.controller.get(), &Controller::ready);
    record(desk, QStringLiteral("one"));
    QCOMPARE(desk.controller->message(), saved);
    QVERIFY(ready.wait());
    QCOMPARE(desk.controller->pending(), 0);
    QCOMPARE(desk.peer.requests("POST", QStringLiteral("/v1/sync/push")).size(), 1);
}

void QueueTest::aWriteDuringALoadLeavesItBusyAndIsPushedAfterwards() {
    Desk desk;
    QVERIFY(desk.load());
    desk.peer.answerOnce("GET", QStringLiteral("/v1/sync/snapshot"),
                         PeerReply::json(sample::snapshot()).delivered(PeerReply::Delivery::Hold));
    desk.controller->refresh();
    QTRY_COMPARE(desk.peer.held(), 1);
    record(desk, QStringLiteral("one"));
    QCOMPARE(desk.controller->message(), saved);
    QVERIFY(desk.controller->busy());
    QVERIFY(desk.peer.requests("POST", QStringLiteral("/v1/sync/push")).isEmpty());
    desk.peer.release();
    QTRY_COMPARE(desk.controller->pending(), 0);
}

void QueueTest::aWriteDuringAPushOnlyAppends() {
    Desk desk;
    QVERIFY(desk.load());
    const QString push = QStringLiteral("/v1/sync/push");
    desk.peer.answer("POST", push, [](const PeerRequest& request) {
        return sample::accept(request).delivered(PeerReply::Delivery::Hold);
    });
    record(desk, QStringLiteral("one"));
    QTRY_COMPARE(desk.peer.held(), 1);
    const QJsonValue head = queueOf(*desk.controller).first();
    record(desk, QStringLiteral("two"));
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
    QTest::newRow("conflict") << QStringLiteral("conflict");
    QTest::newRow("rejected") << QStringLiteral("rejected");
}

void QueueTest::aRetainedHeadStillTakesNewWork() {
    QFETCH(const QString, status);
    Desk desk;
    QVERIFY(desk.load());
    const QJsonObject head = sample::queueItem(create, QStringLiteral("old"), payload(QString()), status);
    QVERIFY(desk.holdQueue({head}));
    record(desk, QStringLiteral("new"));
    QCOMPARE(desk.controller->pending(), 2);
    QCOMPARE(queueOf(*desk.controller).first().toObject(), head);
    QCOMPARE(queueOf(*desk.controller).last().toObject().value(u"status").toString(),
             QStringLiteral("pending"));
    QCOMPARE(desk.stored().value(u"queue").toArray(), queueOf(*desk.controller));
    QVERIFY(desk.peer.requests().isEmpty());
}

QTEST_MAIN(QueueTest)
#include "queue.moc"
