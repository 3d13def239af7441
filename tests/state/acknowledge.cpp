// SPDX-License-Identifier: MIT
#include "state/syncstate.h"
#include "tests/state/fixtures.h"

#include <QTest>

using namespace Qt::StringLiterals;

class AcknowledgeTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void followsTheRules_data() { addCases(u"acknowledge.json"_s); }
    void followsTheRules();
    void worksWithoutAnErrorText_data() { addCases(u"acknowledge.json"_s); }
    void worksWithoutAnErrorText();
    void aFailedSaveLeavesEverythingForReplay_data();
    void aFailedSaveLeavesEverythingForReplay();
    void theStateIsReplacedOnlyAfterTheSave();
    void acknowledgesTheWholeQueueInOrder();
};

namespace {

/// One case of the fixture file: what goes in and what must come out.
struct Case {
    explicit Case(const QJsonObject& given)
        : state(given.value("state"_L1).toObject()),
          item(given.value("item"_L1).toObject(state.value("queue"_L1).toArray().at(0).toObject())),
          result(given.value("result"_L1).toObject()), expected(given.value("expected"_L1).toObject()),
          error(given.value("error"_L1).toString()) {}

    QJsonObject state;
    QJsonObject item;
    QJsonObject result;
    QJsonObject expected;
    QString error; ///< null when the result is applied
};

/// A store that counts, keeps what it was given and answers as told.
struct Store {
    bool answer = true;
    int calls = 0;
    QJsonObject stored;

    PersistState persist() {
        return [this](const QJsonObject& candidate) {
            ++calls;
            stored = candidate;
            return answer;
        };
    }
};

} // namespace

void AcknowledgeTest::followsTheRules() {
    QFETCH(const QJsonObject, given);
    Case c(given);
    const QJsonObject before = c.state;
    Store store;
    QString error = u"an older error"_s;
    const bool applied = SyncState::acknowledge(c.state, c.item, c.result, store.persist(), &error);

    QCOMPARE(applied, c.error.isNull());
    QCOMPARE(error, c.error);
    QCOMPARE(error.isNull(), applied);
    QCOMPARE(store.calls, applied ? 1 : 0);
    const QString found = differences(applied ? c.expected : before, c.state);
    QVERIFY2(found.isEmpty(), qPrintable(found));
    if (applied) {
        QCOMPARE(store.stored, c.state);
    }
}

void AcknowledgeTest::worksWithoutAnErrorText() {
    QFETCH(const QJsonObject, given);
    Case c(given);
    const QJsonObject before = c.state;
    Store store;
    const bool applied = SyncState::acknowledge(c.state, c.item, c.result, store.persist(), nullptr);
    QCOMPARE(applied, c.error.isNull());
    QCOMPARE(c.state, applied ? c.expected : before);
}

void AcknowledgeTest::aFailedSaveLeavesEverythingForReplay_data() {
    QTest::addColumn<QJsonObject>("given");
    for (const auto& element : casesOf(u"acknowledge.json"_s)) {
        const QJsonObject given = element.toObject();
        if (Case(given).error.isNull()) {
            QTest::newRow(qPrintable(given.value("name"_L1).toString())) << given;
        }
    }
}

void AcknowledgeTest::aFailedSaveLeavesEverythingForReplay() {
    QFETCH(const QJsonObject, given);
    Case c(given);
    const QJsonObject before = c.state;
    Store store;
    store.answer = false;
    QString error;
    QVERIFY(!SyncState::acknowledge(c.state, c.item, c.result, store.persist(), &error));
    QCOMPARE(error, u"Secure local acknowledgement save failed; original queue retained for replay"_s);
    QCOMPARE(c.state, before);
    QCOMPARE(store.calls, 1);
    QVERIFY(!SyncState::acknowledge(c.state, c.item, c.result, store.persist(), nullptr));
    QCOMPARE(c.state, before);

    store.answer = true;
    QVERIFY(SyncState::acknowledge(c.state, c.item, c.result, store.persist(), &error));
    QVERIFY(error.isNull());
    QCOMPARE(c.state, c.expected);
}

void AcknowledgeTest::theStateIsReplacedOnlyAfterTheSave() {
    Case c(casesOf(u"acknowledge.json"_s).at(0).toObject());
    const QJsonObject before = c.state;
    QJsonObject duringSave;
    const auto look = [&](const QJsonObject&) {
        duringSave = c.state;
        return true;
    };
    QVERIFY(SyncState::acknowledge(c.state, c.item, c.result, look, nullptr));
    QCOMPARE(duringSave, before);
    QVERIFY(c.state != before);
}

void AcknowledgeTest::acknowledgesTheWholeQueueInOrder() {
    QJsonArray queue;
    for (const QString& id : {u"a"_s, u"b"_s, u"a"_s}) {
        const QJsonObject mutation{{u"mutation_id"_s, u"m%1"_s.arg(queue.size())},
                                   {u"workspace_id"_s, u"w"_s},
                                   {u"entity_id"_s, id}};
        queue.append(QJsonObject{{u"status"_s, u"pending"_s}, {u"mutation"_s, mutation}});
    }
    QJsonObject state{
        {u"workspace"_s, u"w"_s}, {u"me"_s, QJsonObject{{u"id"_s, u"u"_s}}}, {u"queue"_s, queue}};
    Store store;
    for (int version = 1; version <= 3; ++version) {
        const QJsonObject head = state.value("queue"_L1).toArray().at(0).toObject();
        const QJsonObject mutation = head.value("mutation"_L1).toObject();
        const QJsonObject canonical{{u"id"_s, mutation.value("entity_id"_L1)},
                                    {u"workspace_id"_s, u"w"_s},
                                    {u"user_id"_s, u"u"_s},
                                    {u"version"_s, version},
                                    {u"stop_at"_s, u"s"_s}};
        const QJsonObject result{{u"mutation_id"_s, mutation.value("mutation_id"_L1)},
                                 {u"status"_s, u"accepted"_s},
                                 {u"canonical"_s, canonical}};
        QVERIFY(SyncState::acknowledge(state, head, result, store.persist(), nullptr));
    }
    QVERIFY(state.value("queue"_L1).toArray().isEmpty());
    const QJsonArray entries = state.value("snapshot"_L1).toObject().value("time_entries"_L1).toArray();
    QCOMPARE(entries.size(), 2);
    QCOMPARE(entries.at(0)[u"version"].toInt(), 3);
    QCOMPARE(entries.at(1)[u"version"].toInt(), 2);
}

QTEST_GUILESS_MAIN(AcknowledgeTest)
#include "acknowledge.moc"
