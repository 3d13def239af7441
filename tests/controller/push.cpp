// SPDX-License-Identifier: MIT
#include "tests/support/client.h"
#include "tests/support/desk.h"
#include "tests/support/vaultfile.h"

#include <QJsonDocument>
#include <QSignalSpy>
#include <QTest>

namespace {

const QString awaiting = QStringLiteral("Local changes await acknowledgement");
const QString notAcknowledged =
    QStringLiteral("Server did not acknowledge this request; original encrypted queue retained");
const QString push = QStringLiteral("/v1/sync/push");
const QString update = QStringLiteral("entry.update");

QJsonObject base(const QString& id) {
    return sample::entry(id, QStringLiteral("2024-03-01T08:00:00Z"), QStringLiteral("2024-03-01T09:00:00Z"));
}

QJsonObject edit(const QString& entity) {
    return sample::queueItem(update, entity,
                             {{QStringLiteral("description"), QStringLiteral("Edited ") + entity}});
}

QJsonArray threeEdits() {
    return {edit(QStringLiteral("e1")), edit(QStringLiteral("e2")), edit(QStringLiteral("e3"))};
}

QJsonObject threeEntries() {
    return sample::snapshot(
        {base(QStringLiteral("e1")), base(QStringLiteral("e2")), base(QStringLiteral("e3"))});
}

QJsonObject mutationOf(const QJsonValue& item) {
    return item.toObject().value(u"mutation").toObject();
}

} // namespace

class PushTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }

    void theQueueIsPushedOneByOneInOrder();
    void theBodyIsTheStoredRecordUnderItsOwnKey();
    void anotherAccountGetsNothing();
    void withoutAnIdentityNothingIsPushed_data();
    void withoutAnIdentityNothingIsPushed();
    void aPushThatFailsIsSentAgainUnderTheSameKey_data();
    void aPushThatFailsIsSentAgainUnderTheSameKey();
    void anAnswerThatDoesNotFitChangesNothing_data();
    void anAnswerThatDoesNotFitChangesNothing();
    void aFailedSaveWhileAcknowledgingIsReplayedUnderTheSameKey();
    void aFailedSaveOfTheThirdKeepsTheFirstTwo();
    void aSecondRequestToSynchronizePushesNothingTwice();
    void whilePushingServerAndWorkspaceStay();
    void withoutStorageNothingIsPushed();
    void synchronizeRefusesWhenItMust_data();
    void synchronizeRefusesWhenItMust();
    void synchronizeWithNothingQueuedReloads();
    void theQueueOfTheLastRunIsPushedAfterTheLoad();
};

void PushTest::theQueueIsPushedOneByOneInOrder() {
    Desk desk(threeEntries());
    QVERIFY(desk.load());
    const QJsonArray queue = threeEdits();
    QVERIFY(desk.holdQueue(queue));
    QSignalSpy ready(desk.controller.get(), &Controller::ready);
    desk.controller->synchronize();
    QVERIFY(ready.wait());
    const QString me = QStringLiteral("GET /v1/me");
    const QString post = QStringLiteral("POST /v1/sync/push");
    QCOMPARE(desk.peer.log(),
             QStringList({me, post, me, post, me, post, QStringLiteral("GET /v1/sync/snapshot"),
                          QStringLiteral("GET /v1/me/timer")}));
    const QList<PeerRequest> pushes = desk.peer.requests("POST", push);
    for (qsizetype i = 0; i < queue.size(); ++i) {
        QCOMPARE(sample::pushed(pushes.at(i)), mutationOf(queue.at(i)));
    }
    QCOMPARE(desk.controller->message(), QStringLiteral("Connected to PostgreSQL"));
    QCOMPARE(desk.controller->pending(), 0);
    QVERIFY(desk.stored().value(u"queue").toArray().isEmpty());
}

void PushTest::theBodyIsTheStoredRecordUnderItsOwnKey() {
    Desk desk(threeEntries());
    QVERIFY(desk.load());
    const QJsonObject item = edit(QStringLiteral("e1"));
    QVERIFY(desk.holdQueue({item}));
    desk.controller->synchronize();
    QTRY_COMPARE(desk.controller->pending(), 0);
    const PeerRequest request = desk.peer.requests("POST", push).value(0);
    QCOMPARE(request.json(),
             QJsonObject({{QStringLiteral("mutations"), QJsonArray{item.value(u"mutation")}}}));
    QCOMPARE(QString::fromLatin1(request.headers.value("idempotency-key")),
             mutationOf(item).value(u"mutation_id").toString());
    QVERIFY(
        !desk.peer.requests("GET", QStringLiteral("/v1/me")).value(0).headers.contains("idempotency-key"));
}

void PushTest::anotherAccountGetsNothing() {
    Desk desk(threeEntries());
    QVERIFY(desk.load());
    QVERIFY(desk.holdQueue(threeEdits()));
    const QJsonObject state = desk.controller->durableState();
    for (const QJsonValue& id : {QJsonValue(QStringLiteral("user-2")), QJsonValue(1), QJsonValue()}) {
        QJsonObject other = sample::identity();
        other.insert(u"id", id);
        desk.peer.answer("GET", QStringLiteral("/v1/me"), PeerReply::json(other));
        desk.controller->fail(QString());
        desk.controller->synchronize();
        QTRY_COMPARE(desk.controller->message(),
                     QStringLiteral("Account changed; queued work was NOT reassigned."));
        QCOMPARE(desk.controller->durableState(), state);
    }
    QVERIFY(desk.peer.requests("POST", push).isEmpty());
}

void PushTest::withoutAnIdentityNothingIsPushed_data() {
    QTest::addColumn<int>("status");
    QTest::newRow("401") << 401;
    QTest::newRow("503") << 503;
    QTest::newRow("nobody listens") << 0;
}

void PushTest::withoutAnIdentityNothingIsPushed() {
    QFETCH(const int, status);
    Desk desk(threeEntries());
    QVERIFY(desk.load());
    QVERIFY(desk.holdQueue(threeEdits()));
    const QJsonObject state = desk.controller->durableState();
    if (status == 0) {
        desk.peer.goOffline();
    } else {
        desk.peer.answer("GET", QStringLiteral("/v1/me"), PeerReply::json(sample::identity(), status));
    }
    desk.controller->synchronize();
    QTRY_COMPARE(desk.controller->message(),
                 QStringLiteral("Identity check unavailable; encrypted queue retained."));
    QVERIFY(!desk.controller->busy());
    QCOMPARE(desk.controller->durableState(), state);
    QVERIFY(desk.peer.requests("POST", push).isEmpty());
}

void PushTest::aPushThatFailsIsSentAgainUnderTheSameKey_data() {
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("delivery");
    const int send = static_cast<int>(PeerReply::Delivery::Send);
    QTest::newRow("409") << 409 << send;
    QTest::newRow("500") << 500 << send;
    QTest::newRow("201 is not 200") << 201 << send;
    QTest::newRow("cut in the middle") << 200 << static_cast<int>(PeerReply::Delivery::Cut);
    QTest::newRow("closed without a byte") << 200 << static_cast<int>(PeerReply::Delivery::Close);
}

void PushTest::aPushThatFailsIsSentAgainUnderTheSameKey() {
    QFETCH(const int, status);
    QFETCH(const int, delivery);
    Desk desk(threeEntries());
    QVERIFY(desk.load());
    const QJsonObject item = edit(QStringLiteral("e1"));
    QVERIFY(desk.holdQueue({item}));
    const QJsonObject state = desk.controller->durableState();
    desk.peer.answer("POST", push, [status, delivery](const PeerRequest& request) {
        PeerReply reply = sample::accept(request).delivered(static_cast<PeerReply::Delivery>(delivery));
        reply.status = status;
        return reply;
    });
    desk.controller->synchronize();
    QTRY_COMPARE(desk.controller->message(), notAcknowledged);
    QCOMPARE(desk.controller->durableState(), state);

    desk.peer.answer("POST", push, sample::accept);
    desk.controller->synchronize();
    QTRY_COMPARE(desk.controller->pending(), 0);
    const QList<PeerRequest> pushes = desk.peer.requests("POST", push);
    QVERIFY(pushes.size() >= 2);
    for (const PeerRequest& request : pushes) {
        QCOMPARE(sample::pushed(request), mutationOf(item));
        QCOMPARE(QString::fromLatin1(request.headers.value("idempotency-key")),
                 mutationOf(item).value(u"mutation_id").toString());
    }
}

void PushTest::anAnswerThatDoesNotFitChangesNothing_data() {
    QTest::addColumn<QJsonArray>("overrides"); // one object per result, laid over an accepted one
    QTest::addColumn<QString>("message");
    const QString count = QStringLiteral("Unexpected acknowledgement count; queue retained");
    const QString unknown = QStringLiteral("Unknown acknowledgement status; queue retained");
    const QString scope = QStringLiteral("Canonical entry scope mismatch; queue retained");
    const auto canonical = [](const QString& key, const QJsonValue& value) {
        QJsonObject entry = sample::canonical(mutationOf(edit(QStringLiteral("e1"))));
        entry.insert(key, value);
        return QJsonArray{QJsonObject{{QStringLiteral("canonical"), entry}}};
    };
    const auto status = [](const QJsonValue& value) {
        return QJsonArray{QJsonObject{{QStringLiteral("status"), value}}};
    };
    QTest::newRow("no result") << QJsonArray() << count;
    QTest::newRow("two results") << QJsonArray{QJsonObject(), QJsonObject()} << count;
    QTest::newRow("another mutation")
        << QJsonArray{QJsonObject{{QStringLiteral("mutation_id"), QStringLiteral("other")}}}
        << QStringLiteral("Sync acknowledgement does not match the retained queue head");
    QTest::newRow("status in capitals") << status(QStringLiteral("Accepted")) << unknown;
    QTest::newRow("unknown status") << status(QStringLiteral("merged")) << unknown;
    QTest::newRow("status missing") << status(QJsonValue()) << unknown;
    QTest::newRow("another entry") << canonical(QStringLiteral("id"), QStringLiteral("e2")) << scope;
    QTest::newRow("another workspace")
        << canonical(QStringLiteral("workspace_id"), QStringLiteral("ws-2")) << scope;
    QTest::newRow("another user") << canonical(QStringLiteral("user_id"), QStringLiteral("user-2")) << scope;
    QTest::newRow("accepted without entry")
        << QJsonArray{QJsonObject{{QStringLiteral("canonical"), QJsonObject()}}}
        << QStringLiteral("Accepted mutation has no canonical entry; queue retained");
}

void PushTest::anAnswerThatDoesNotFitChangesNothing() {
    QFETCH(const QJsonArray, overrides);
    QFETCH(const QString, message);
    Desk desk(threeEntries());
    QVERIFY(desk.load());
    QVERIFY(desk.holdQueue(threeEdits()));
    const QJsonObject state = desk.controller->durableState();
    const QByteArray sealed = sealedRecord(desk.peer.url());
    desk.peer.answer("POST", push, [overrides](const PeerRequest& request) {
        const QJsonObject mutation = sample::pushed(request);
        QJsonArray results;
        for (const auto& over : overrides) {
            QJsonObject result =
                sample::result(mutation, QStringLiteral("accepted"), sample::canonical(mutation));
            const QJsonObject values = over.toObject();
            for (auto it = values.begin(); it != values.end(); ++it) {
                result.insert(it.key(), it.value());
            }
            results.append(result);
        }
        return sample::pushReply(results);
    });
    desk.controller->synchronize();
    QTRY_COMPARE(desk.controller->message(), message);
    QVERIFY(!desk.controller->busy());
    QCOMPARE(desk.controller->durableState(), state);
    QCOMPARE(sealedRecord(desk.peer.url()), sealed);
    QVERIFY(waitForSilence(*desk.controller));
    QCOMPARE(desk.peer.log(),
             QStringList({QStringLiteral("GET /v1/me"), QStringLiteral("POST /v1/sync/push")}));
}

void PushTest::aFailedSaveWhileAcknowledgingIsReplayedUnderTheSameKey() {
    Desk desk(threeEntries());
    QVERIFY(desk.load());
    const QJsonObject item = edit(QStringLiteral("e1"));
    QVERIFY(desk.holdQueue({item}));
    const QJsonObject state = desk.controller->durableState();
    const QByteArray sealed = sealedRecord(desk.peer.url());
    {
        const SaveBlocker blocker(desk.peer.url());
        desk.controller->synchronize();
        QTRY_COMPARE(
            desk.controller->message(),
            QStringLiteral("Secure local acknowledgement save failed; original queue retained for replay"));
    }
    QVERIFY(!desk.controller->busy());
    QCOMPARE(desk.controller->durableState(), state);
    QCOMPARE(sealedRecord(desk.peer.url()), sealed);

    desk.restart();
    QVERIFY(desk.load());
    QTRY_COMPARE(desk.controller->pending(), 0);
    const QList<PeerRequest> pushes = desk.peer.requests("POST", push);
    QCOMPARE(pushes.size(), 2);
    QCOMPARE(pushes.at(0).body, pushes.at(1).body);
    QCOMPARE(pushes.at(0).headers.value("idempotency-key"), pushes.at(1).headers.value("idempotency-key"));
    QCOMPARE(QString::fromLatin1(pushes.at(0).headers.value("idempotency-key")),
             mutationOf(item).value(u"mutation_id").toString());
}

void PushTest::aFailedSaveOfTheThirdKeepsTheFirstTwo() {
    Desk desk(threeEntries());
    QVERIFY(desk.load());
    const QJsonArray queue = threeEdits();
    QVERIFY(desk.holdQueue(queue));
    std::unique_ptr<SaveBlocker> blocker;
    desk.peer.answer("POST", push, [&](const PeerRequest& request) {
        if (desk.peer.requests("POST", push).size() == 3) {
            blocker = std::make_unique<SaveBlocker>(desk.peer.url());
        }
        return sample::accept(request);
    });
    desk.controller->synchronize();
    QTRY_COMPARE(
        desk.controller->message(),
        QStringLiteral("Secure local acknowledgement save failed; original queue retained for replay"));
    blocker.reset();
    QCOMPARE(queueOf(*desk.controller), QJsonArray{queue.at(2)});
    QCOMPARE(desk.stored(), desk.controller->durableState());
}

void PushTest::aSecondRequestToSynchronizePushesNothingTwice() {
    Desk desk(threeEntries());
    QVERIFY(desk.load());
    QVERIFY(desk.holdQueue({edit(QStringLiteral("e1"))}));
    desk.peer.answer("POST", push, [](const PeerRequest& request) {
        return sample::accept(request).delivered(PeerReply::Delivery::Hold);
    });
    desk.controller->synchronize();
    desk.controller->synchronize();
    QTRY_COMPARE(desk.peer.held(), 1);
    desk.controller->synchronize();
    desk.controller->nextMutation();
    desk.peer.release();
    QTRY_COMPARE(desk.controller->pending(), 0);
    QTRY_COMPARE(desk.controller->message(), QStringLiteral("Connected to PostgreSQL"));
    QCOMPARE(desk.peer.requests("POST", push).size(), 1);
    QCOMPARE(desk.peer.requests("GET", QStringLiteral("/v1/me")).size(), 1);
}

void PushTest::whilePushingServerAndWorkspaceStay() {
    Desk desk(threeEntries());
    QVERIFY(desk.load());
    QVERIFY(desk.holdQueue({edit(QStringLiteral("e1"))}));
    desk.peer.answer("POST", push, PeerReply::only(PeerReply::Delivery::Hold));
    desk.controller->synchronize();
    QTRY_COMPARE(desk.peer.held(), 1);
    QVERIFY(!desk.controller->busy());
    QSignalSpy changed(desk.controller.get(), &Controller::changed);
    desk.controller->connectServer(QStringLiteral("http://localhost:1"));
    desk.controller->selectWorkspace(QStringLiteral("ws-2"));
    QCOMPARE(changed.size(), 0);
    QCOMPARE(desk.controller->server(), desk.peer.url());
    QCOMPARE(desk.controller->workspace(), QStringLiteral("ws-1"));
}

void PushTest::withoutStorageNothingIsPushed() {
    Desk desk(threeEntries());
    desk.controller->applyDurable(sample::durable(threeEntries(), threeEdits()));
    QSignalSpy changed(desk.controller.get(), &Controller::changed);
    desk.controller->nextMutation();
    QCOMPARE(changed.size(), 0);
    QVERIFY(waitForSilence(*desk.controller));
    QVERIFY(desk.peer.requests().isEmpty());
    QCOMPARE(desk.controller->pending(), 3);
}

void PushTest::synchronizeRefusesWhenItMust_data() {
    QTest::addColumn<QString>("reason");
    QTest::newRow("no server") << QStringLiteral("no server");
    QTest::newRow("signed out") << QStringLiteral("signed out");
    QTest::newRow("read-only") << QStringLiteral("read-only");
    QTest::newRow("busy") << QStringLiteral("busy");
}

void PushTest::synchronizeRefusesWhenItMust() {
    QFETCH(const QString, reason);
    Desk desk(threeEntries());
    QJsonObject state = sample::durable(threeEntries(), threeEdits());
    if (reason != QStringLiteral("no server")) {
        QVERIFY(desk.load());
    }
    if (reason == QStringLiteral("busy")) {
        desk.peer.answer("GET", QStringLiteral("/v1/sync/snapshot"),
                         PeerReply::only(PeerReply::Delivery::Never));
        desk.controller->refresh();
        QTRY_COMPARE(desk.peer.requests("GET", QStringLiteral("/v1/sync/snapshot")).size(), 2);
    }
    state.insert(u"signed_out", reason == QStringLiteral("signed out"));
    desk.controller->setReadOnly(reason == QStringLiteral("read-only"));
    desk.controller->applyDurable(state);
    desk.peer.forgetRequests();
    const QString before = desk.controller->message();
    QSignalSpy changed(desk.controller.get(), &Controller::changed);
    desk.controller->synchronize();
    QCOMPARE(changed.size(), 0);
    QCOMPARE(desk.controller->message(), before);
    QCOMPARE(desk.controller->durableState(), state);
    QVERIFY(desk.peer.requests().isEmpty());
}

void PushTest::synchronizeWithNothingQueuedReloads() {
    Desk desk;
    QVERIFY(desk.load());
    desk.peer.forgetRequests();
    desk.peer.answer("GET", QStringLiteral("/v1/sync/snapshot"), PeerReply::json(threeEntries()));
    QSignalSpy ready(desk.controller.get(), &Controller::ready);
    desk.controller->synchronize();
    QVERIFY(ready.wait());
    QCOMPARE(desk.peer.log(),
             QStringList({QStringLiteral("GET /v1/sync/snapshot"), QStringLiteral("GET /v1/me/timer")}));
    QCOMPARE(desk.controller->entries().size(), 3);
}

void PushTest::theQueueOfTheLastRunIsPushedAfterTheLoad() {
    Desk desk(threeEntries());
    QVERIFY(desk.load());
    QVERIFY(desk.holdQueue(threeEdits()));
    desk.restart();
    QStringList messages;
    connect(desk.controller.get(), &Controller::ready, this,
            [&] { messages.append(desk.controller->message()); });
    QVERIFY(desk.load());
    QTRY_COMPARE(desk.controller->pending(), 0);
    QTRY_COMPARE(messages, QStringList({awaiting, QStringLiteral("Connected to PostgreSQL")}));
    QCOMPARE(desk.peer.requests("POST", push).size(), 3);
}

QTEST_MAIN(PushTest)
#include "push.moc"
