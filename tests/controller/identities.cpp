// SPDX-License-Identifier: MIT
#include "tests/support/client.h"
#include "tests/support/desk.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString identityFailure =
    u"Session unavailable or revoked. Cached work retained; no developer fallback was attempted."_s;
const QString listFailure = u"Unable to list workspaces for this account"_s;

void addNoId() {
    QTest::addColumn<QJsonValue>("id");
    QTest::newRow("missing") << QJsonValue(QJsonValue::Undefined);
    QTest::newRow("null") << QJsonValue();
    QTest::newRow("empty") << QJsonValue(QString());
    QTest::newRow("a number") << QJsonValue(7);
    QTest::newRow("an object") << QJsonValue(QJsonObject());
}

QJsonObject named(const QJsonValue& id) {
    QJsonObject object{{u"name"_s, u"Nobody"_s}, {u"email"_s, u"nobody@example.org"_s}};
    if (!id.isUndefined()) {
        object.insert(u"id", id);
    }
    return object;
}

void record(Controller& controller) {
    controller.addManual(u"Meanwhile"_s, {}, u"2026-03-02T10:00:00Z"_s, u"2026-03-02T11:00:00Z"_s, false);
}

} // namespace

/// Whose work it is must be known before any is recorded or sent.
class IdentitiesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }

    void anIdentityWithoutIdIsNotAdopted_data() { addNoId(); }
    void anIdentityWithoutIdIsNotAdopted();
    void aListWithAWorkspaceWithoutIdIsNotAdopted_data() { addNoId(); }
    void aListWithAWorkspaceWithoutIdIsNotAdopted();
    void nobodysWorkIsNotPushed();
    void anotherIdentityRecordsNothingBeforeItsWorkspaceIsKnown();
    void anotherServerRecordsNothingBeforeItsWorkspaceIsKnown();
    void theSameIdentityKeepsItsWorkspace();
};

void IdentitiesTest::anIdentityWithoutIdIsNotAdopted() {
    QFETCH(const QJsonValue, id);
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    const QJsonObject before = desk.controller->durableState();
    desk.peer.answer("GET", u"/v1/me"_s, PeerReply::json(named(id)));
    desk.controller->connectServer(desk.peer.url());
    QTRY_COMPARE(desk.controller->message(), identityFailure);
    QVERIFY(!desk.controller->busy());
    QCOMPARE(desk.controller->durableState(), before);

    Controller fresh;
    fresh.setReadOnly(true);
    fresh.connectServer(desk.peer.url());
    QTRY_COMPARE(fresh.message(), identityFailure);
    QCOMPARE(fresh.accountName(), QString());
}

void IdentitiesTest::aListWithAWorkspaceWithoutIdIsNotAdopted() {
    QFETCH(const QJsonValue, id);
    const QJsonObject good = sample::workspaces().value(u"items").toArray().first().toObject();
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    const QJsonObject before = desk.controller->durableState();
    for (const QJsonArray& items : {QJsonArray{named(id)}, QJsonArray{good, named(id)}}) {
        desk.peer.answer("GET", u"/v1/workspaces"_s, PeerReply::json({{u"items"_s, items}}));
        desk.controller->connectServer(desk.peer.url());
        QTRY_COMPARE(desk.controller->message(), listFailure);
        QVERIFY(!desk.controller->busy());
        QCOMPARE(desk.controller->durableState(), before);
    }
    Controller fresh;
    fresh.setReadOnly(true);
    fresh.connectServer(desk.peer.url());
    QTRY_COMPARE(fresh.message(), listFailure);
    QVERIFY(!fresh.busy());
    QCOMPARE(fresh.workspace(), QString());
}

void IdentitiesTest::nobodysWorkIsNotPushed() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    QJsonObject state = desk.controller->durableState();
    state.insert(u"me", named(QJsonValue::Undefined));
    state.insert(u"queue", QJsonArray{sample::queueItem(u"entry.update"_s, u"e1"_s, {})});
    desk.controller->applyDurable(state);
    desk.peer.answer("GET", u"/v1/me"_s, PeerReply::json(named(QJsonValue::Undefined)));
    desk.controller->synchronize();
    QTRY_COMPARE(desk.controller->message(), u"Account changed; queued work was NOT reassigned."_s);
    QVERIFY(waitForSilence(*desk.controller));
    QVERIFY(desk.peer.requests("POST", u"/v1/sync/push"_s).isEmpty());
}

void IdentitiesTest::anotherIdentityRecordsNothingBeforeItsWorkspaceIsKnown() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    desk.peer.answer("GET", u"/v1/me"_s, PeerReply::json({{u"id"_s, u"user-2"_s}}));
    desk.peer.answerOnce("GET", u"/v1/workspaces"_s,
                         PeerReply::json({{u"items"_s, QJsonArray{QJsonObject{{u"id"_s, u"ws-9"_s}}}}})
                             .delivered(PeerReply::Delivery::Hold));
    desk.controller->connectServer(desk.peer.url());
    QTRY_COMPARE(desk.peer.held(), 1);
    record(*desk.controller);
    QCOMPARE(desk.controller->message(), u"Connect to the server first"_s);
    QCOMPARE(desk.controller->pending(), 0);
    desk.peer.release();
    QTRY_COMPARE(desk.controller->workspace(), u"ws-9"_s);
    QTRY_COMPARE(desk.controller->message(), u"Connected to PostgreSQL"_s);
}

void IdentitiesTest::anotherServerRecordsNothingBeforeItsWorkspaceIsKnown() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    Desk other;
    other.peer.answer("GET", u"/v1/workspaces"_s, PeerReply::only(PeerReply::Delivery::Never));
    desk.controller->connectServer(other.peer.url());
    QTRY_COMPARE(other.peer.requests("GET", u"/v1/workspaces"_s).size(), 1);
    QCOMPARE(desk.controller->workspace(), QString());
    record(*desk.controller);
    QCOMPARE(desk.controller->message(), u"Connect to the server first"_s);
    QCOMPARE(desk.controller->pending(), 0);
}

void IdentitiesTest::theSameIdentityKeepsItsWorkspace() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    desk.peer.answer("GET", u"/v1/workspaces"_s, PeerReply::only(PeerReply::Delivery::Never));
    desk.controller->connectServer(desk.peer.url());
    QTRY_COMPARE(desk.peer.requests("GET", u"/v1/workspaces"_s).size(), 2);
    QCOMPARE(desk.controller->workspace(), u"ws-1"_s);
    desk.holdPushes();
    record(*desk.controller);
    QCOMPARE(mutationAt(*desk.controller, 0).value(u"workspace_id").toString(), u"ws-1"_s);
}

QTEST_MAIN(IdentitiesTest)
#include "identities.moc"
