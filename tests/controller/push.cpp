// SPDX-License-Identifier: MIT
#include "tests/support/client.h"
#include "tests/support/desk.h"
#include "tests/support/vaultfile.h"

#include <QJsonDocument>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString awaiting = u"Local changes await acknowledgement"_s;
const QString notAcknowledged =
    u"Server did not acknowledge this request; original encrypted queue retained"_s;
const QString push = u"/v1/sync/push"_s;
const QString update = u"entry.update"_s;

QJsonObject base(const QString& id) {
    return sample::entry(id, u"2024-03-01T08:00:00Z"_s, u"2024-03-01T09:00:00Z"_s);
}

QJsonObject edit(const QString& entity) {
    return sample::queueItem(update, entity, {{u"description"_s, u"Edited "_s + entity}});
}

QJsonArray threeEdits() {
    return {edit(u"e1"_s), edit(u"e2"_s), edit(u"e3"_s)};
}

QJsonObject threeEntries() {
    return sample::snapshot({base(u"e1"_s), base(u"e2"_s), base(u"e3"_s)});
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
    const QString me = u"GET /v1/me"_s;
    const QString post = u"POST /v1/sync/push"_s;
    QCOMPARE(desk.peer.log(),
             QStringList({me, post, me, post, me, post, u"GET /v1/sync/snapshot"_s, u"GET /v1/me/timer"_s}));
    const QList<PeerRequest> pushes = desk.peer.requests("POST", push);
    for (qsizetype i = 0; i < queue.size(); ++i) {
        QCOMPARE(sample::pushed(pushes.at(i)), mutationOf(queue.at(i)));
    }
    QCOMPARE(desk.controller->message(), u"Connected to PostgreSQL"_s);
    QCOMPARE(desk.controller->pending(), 0);
    QVERIFY(desk.stored().value(u"queue").toArray().isEmpty());
}

void PushTest::theBodyIsTheStoredRecordUnderItsOwnKey() {
    Desk desk(threeEntries());
    QVERIFY(desk.load());
    const QJsonObject item = edit(u"e1"_s);
    QVERIFY(desk.holdQueue({item}));
    desk.controller->synchronize();
    QTRY_COMPARE(desk.controller->pending(), 0);
    const PeerRequest request = desk.peer.requests("POST", push).value(0);
    QCOMPARE(request.json(), QJsonObject({{u"mutations"_s, QJsonArray{item.value(u"mutation")}}}));
    QCOMPARE(QString::fromLatin1(request.headers.value("idempotency-key")),
             mutationOf(item).value(u"mutation_id").toString());
    QVERIFY(!desk.peer.requests("GET", u"/v1/me"_s).value(0).headers.contains("idempotency-key"));
}

void PushTest::anotherAccountGetsNothing() {
    Desk desk(threeEntries());
    QVERIFY(desk.load());
    QVERIFY(desk.holdQueue(threeEdits()));
    const QJsonObject state = desk.controller->durableState();
    for (const QJsonValue& id : {QJsonValue(u"user-2"_s), QJsonValue(1), QJsonValue()}) {
        QJsonObject other = sample::identity();
        other.insert(u"id", id);
        desk.peer.answer("GET", u"/v1/me"_s, PeerReply::json(other));
        desk.controller->fail(QString());
        desk.controller->synchronize();
        QTRY_COMPARE(desk.controller->message(), u"Account changed; queued work was NOT reassigned."_s);
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
        desk.peer.answer("GET", u"/v1/me"_s, PeerReply::json(sample::identity(), status));
    }
    desk.controller->synchronize();
    QTRY_COMPARE(desk.controller->message(), u"Identity check unavailable; encrypted queue retained."_s);
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
    const QJsonObject item = edit(u"e1"_s);
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
    const QString count = u"Unexpected acknowledgement count; queue retained"_s;
    const QString unknown = u"Unknown acknowledgement status; queue retained"_s;
    const QString scope = u"Canonical entry scope mismatch; queue retained"_s;
    const auto canonical = [](const QString& key, const QJsonValue& value) {
        QJsonObject entry = sample::canonical(mutationOf(edit(u"e1"_s)));
        entry.insert(key, value);
        return QJsonArray{QJsonObject{{u"canonical"_s, entry}}};
    };
    const auto status = [](const QJsonValue& value) { return QJsonArray{QJsonObject{{u"status"_s, value}}}; };
    QTest::newRow("no result") << QJsonArray() << count;
    QTest::newRow("two results") << QJsonArray{QJsonObject(), QJsonObject()} << count;
    QTest::newRow("another mutation") << QJsonArray{QJsonObject{{u"mutation_id"_s, u"other"_s}}}
                                      << u"Sync acknowledgement does not match the retained queue head"_s;
    QTest::newRow("status in capitals") << status(u"Accepted"_s) << unknown;
    QTest::newRow("unknown status") << status(u"merged"_s) << unknown;
    QTest::newRow("status missing") << status(QJsonValue()) << unknown;
    QTest::newRow("another entry") << canonical(u"id"_s, u"e2"_s) << scope;
    QTest::newRow("another workspace") << canonical(u"workspace_id"_s, u"ws-2"_s) << scope;
    QTest::newRow("another user") << canonical(u"user_id"_s, u"user-2"_s) << scope;
    QTest::newRow("accepted without entry") << QJsonArray{QJsonObject{{u"canonical"_s, QJsonObject()}}}
                                            << u"Accepted mutation has no canonical entry; queue retained"_s;
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
            QJsonObject result = sample::result(mutation, u"accepted"_s, sample::canonical(mutation));
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
    QCOMPARE(desk.peer.log(), QStringList({u"GET /v1/me"_s, u"POST /v1/sync/push"_s}));
}

void PushTest::aFailedSaveWhileAcknowledgingIsReplayedUnderTheSameKey() {
    Desk desk(threeEntries());
    QVERIFY(desk.load());
    const QJsonObject item = edit(u"e1"_s);
    QVERIFY(desk.holdQueue({item}));
    const QJsonObject state = desk.controller->durableState();
    const QByteArray sealed = sealedRecord(desk.peer.url());
    {
        const SaveBlocker blocker(desk.peer.url());
        desk.controller->synchronize();
        QTRY_COMPARE(desk.controller->message(),
                     u"Secure local acknowledgement save failed; original queue retained for replay"_s);
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
    QTRY_COMPARE(desk.controller->message(),
                 u"Secure local acknowledgement save failed; original queue retained for replay"_s);
    blocker.reset();
    QCOMPARE(queueOf(*desk.controller), QJsonArray{queue.at(2)});
    QCOMPARE(desk.stored(), desk.controller->durableState());
}

void PushTest::aSecondRequestToSynchronizePushesNothingTwice() {
    Desk desk(threeEntries());
    QVERIFY(desk.load());
    QVERIFY(desk.holdQueue({edit(u"e1"_s)}));
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
    QTRY_COMPARE(desk.controller->message(), u"Connected to PostgreSQL"_s);
    QCOMPARE(desk.peer.requests("POST", push).size(), 1);
    QCOMPARE(desk.peer.requests("GET", u"/v1/me"_s).size(), 1);
}

void PushTest::whilePushingServerAndWorkspaceStay() {
    Desk desk(threeEntries());
    QVERIFY(desk.load());
    QVERIFY(desk.holdQueue({edit(u"e1"_s)}));
    desk.peer.answer("POST", push, PeerReply::only(PeerReply::Delivery::Hold));
    desk.controller->synchronize();
    QTRY_COMPARE(desk.peer.held(), 1);
    QVERIFY(!desk.controller->busy());
    QSignalSpy changed(desk.controller.get(), &Controller::changed);
    desk.controller->connectServer(u"http://localhost:1"_s);
    desk.controller->selectWorkspace(u"ws-2"_s);
    QCOMPARE(changed.size(), 0);
    QCOMPARE(desk.controller->server(), desk.peer.url());
    QCOMPARE(desk.controller->workspace(), u"ws-1"_s);
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
    QTest::newRow("no server") << u"no server"_s;
    QTest::newRow("signed out") << u"signed out"_s;
    QTest::newRow("read-only") << u"read-only"_s;
    QTest::newRow("busy") << u"busy"_s;
}

void PushTest::synchronizeRefusesWhenItMust() {
    QFETCH(const QString, reason);
    Desk desk(threeEntries());
    QJsonObject state = sample::durable(threeEntries(), threeEdits());
    if (reason != u"no server"_s) {
        QVERIFY(desk.load());
    }
    if (reason == u"busy"_s) {
        desk.peer.answer("GET", u"/v1/sync/snapshot"_s, PeerReply::only(PeerReply::Delivery::Never));
        desk.controller->refresh();
        QTRY_COMPARE(desk.peer.requests("GET", u"/v1/sync/snapshot"_s).size(), 2);
    }
    state.insert(u"signed_out", reason == u"signed out"_s);
    desk.controller->setReadOnly(reason == u"read-only"_s);
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
    desk.peer.answer("GET", u"/v1/sync/snapshot"_s, PeerReply::json(threeEntries()));
    QSignalSpy ready(desk.controller.get(), &Controller::ready);
    desk.controller->synchronize();
    QVERIFY(ready.wait());
    QCOMPARE(desk.peer.log(), QStringList({u"GET /v1/sync/snapshot"_s, u"GET /v1/me/timer"_s}));
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
    QTRY_COMPARE(messages, QStringList({awaiting, u"Connected to PostgreSQL"_s}));
    QCOMPARE(desk.peer.requests("POST", push).size(), 3);
}

QTEST_MAIN(PushTest)
#include "push.moc"
