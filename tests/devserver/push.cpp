// SPDX-License-Identifier: MIT
#include "tests/devserver/pushfixture.h"

#include <QJsonArray>
#include <QTest>
#include <QVariant>

using namespace Qt::StringLiterals;

/// What becomes of each mutation.
class TestDevserverPush : public PushFixture {
    Q_OBJECT

private Q_SLOTS:
    void aTimerIsStartedAndStopped();
    void anEntryIsCreatedChangedDeletedAndRestored();
    void anUpdateChangesOnlyWhatItNames();
    void aTimerMayStopInTheSecondOfItsStartAndInTheFuture();
    void overlappingEntriesAreAccepted();
    void unusablePayloadsAreRejected_data();
    void unusablePayloadsAreRejected();
    void aDescriptionOfTwoMebibytesIsRejectedWithItsSentence();
    void unreadableRecordsAreRejected_data();
    void unreadableRecordsAreRejected();
    void closedPeriodsLockByTheirHalfOpenInterval_data();
    void closedPeriodsLockByTheirHalfOpenInterval();
    void anUpdateIsLockedByTheOldAndByTheNewInterval_data();
    void anUpdateIsLockedByTheOldAndByTheNewInterval();
    void everyChangeOfALockedEntryIsRejected();
    void anOutdatedBaseVersionIsAConflict();
    void anExistingIdIsAConflict();
    void aSecondTimerIsAConflict();
    void foreignAndMissingEntriesAreRejected();
    void deletedEntriesAreRejected();
    void operationsOutOfPlaceAreRejected();
    void foreignProjectsAreRejected_data();
    void foreignProjectsAreRejected();
    void anArchivedProjectStaysOnItsEntry();
    void unknownWorkspacesAndIdsAreRejected_data();
    void unknownWorkspacesAndIdsAreRejected();
};

void TestDevserverPush::aTimerIsStartedAndStopped() {
    const QString id = World::newId();
    const QJsonObject running =
        canonicalOf(push(u"timer.start"_s, id, 0, started(u"2025-06-01T08:00:00Z"_s)));
    QCOMPARE(running[u"id"], id);
    QCOMPARE(running[u"version"], 1);
    QVERIFY(running[u"stop_at"].isNull());
    const Reply stop = push(u"timer.stop"_s, id, 1, {{u"stop_at"_s, u"2025-06-01T08:00:30Z"_s}});
    QCOMPARE(statusOf(stop), u"accepted"_s);
    QVERIFY(!stop.result().contains(u"message"));
    QCOMPARE(canonicalOf(stop)[u"version"], 2);
    QCOMPARE(canonicalOf(stop)[u"duration_seconds"], 30);
}

void TestDevserverPush::anEntryIsCreatedChangedDeletedAndRestored() {
    const QString id = World::newId();
    const auto payload = closed(u"2025-06-01T10:00:00+02:00"_s, u"2025-06-01T09:00:00.900Z"_s, u"first"_s);
    const QJsonObject created = canonicalOf(push(u"entry.create"_s, id, 0, payload));
    QCOMPARE(created[u"start_at"], u"2025-06-01T08:00:00Z"_s);
    QCOMPARE(created[u"stop_at"], u"2025-06-01T09:00:00Z"_s);
    const QJsonObject updated =
        canonicalOf(push(u"entry.update"_s, id, 1, {{u"description"_s, u"second"_s}}));
    QCOMPARE(updated[u"description"], u"second"_s);
    QCOMPARE(updated[u"version"], 2);
    const QJsonObject deleted = canonicalOf(push(u"entry.delete"_s, id, 2));
    QVERIFY(deleted[u"deleted_at"].isString());
    QCOMPARE(deleted[u"version"], 3);
    const QJsonObject restored = canonicalOf(push(u"entry.restore"_s, id, 3));
    QVERIFY(restored[u"deleted_at"].isNull());
    QCOMPARE(restored[u"version"], 4);
    QCOMPARE(restored[u"description"], u"second"_s);
}

void TestDevserverPush::anUpdateChangesOnlyWhatItNames() {
    const QString id = stored(u"2025-06-01T08:00:00Z"_s, u"2025-06-01T09:00:00Z"_s);
    const QString tag = World::newId();
    const QJsonObject payload{{u"project_id"_s, m_world.project},
                              {u"tag_ids"_s, QJsonArray{tag}},
                              {u"billable"_s, true},
                              {u"start_at"_s, u"2025-06-01T07:00:00Z"_s}};
    const QJsonObject entry = canonicalOf(push(u"entry.update"_s, id, 5, payload));
    QCOMPARE(entry[u"description"], u"stored"_s);
    QCOMPARE(entry[u"project_id"], m_world.project);
    QCOMPARE(entry[u"tag_ids"].toArray(), QJsonArray{tag});
    QCOMPARE(entry[u"billable"], true);
    QCOMPARE(entry[u"duration_seconds"], 7200);
    QCOMPARE(entry[u"version"], 6);
    const QJsonObject cleared =
        canonicalOf(push(u"entry.update"_s, id, 6, {{u"project_id"_s, QJsonValue::Null}}));
    QVERIFY(cleared[u"project_id"].isNull());
    QCOMPARE(cleared[u"billable"], true);
}

void TestDevserverPush::aTimerMayStopInTheSecondOfItsStartAndInTheFuture() {
    const QString at = u"2025-06-01T08:00:00Z"_s;
    const QString first = World::newId();
    QCOMPARE(statusOf(push(u"timer.start"_s, first, 0, started(at))), u"accepted"_s);
    QCOMPARE(canonicalOf(push(u"timer.stop"_s, first, 1, {{u"stop_at"_s, at}}))[u"duration_seconds"], 0);
    const QString second = World::newId();
    QCOMPARE(statusOf(push(u"timer.start"_s, second, 0, started(at))), u"accepted"_s);
    const Reply future = push(u"timer.stop"_s, second, 1, {{u"stop_at"_s, u"2999-01-01T00:00:00Z"_s}});
    QCOMPARE(statusOf(future), u"accepted"_s);
}

void TestDevserverPush::overlappingEntriesAreAccepted() {
    stored(u"2025-06-01T08:00:00Z"_s, u"2025-06-01T09:00:00Z"_s);
    const auto payload = closed(u"2025-06-01T08:30:00Z"_s, u"2025-06-01T09:30:00Z"_s);
    QCOMPARE(statusOf(push(u"entry.create"_s, World::newId(), 0, payload)), u"accepted"_s);
}

void TestDevserverPush::unusablePayloadsAreRejected_data() {
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QJsonObject>("payload");
    const auto create = closed(u"2025-06-01T08:00:00Z"_s, u"2025-06-01T09:00:00Z"_s);
    const auto row = [&](const char* name, const QString& key, const QJsonValue& value) {
        QJsonObject payload = create;
        payload[key] = value;
        QTest::newRow(name) << u"entry.create"_s << payload;
    };
    row("description not text", u"description"_s, 7);
    row("description with a null character", u"description"_s, QString(QChar(0)));
    row("description beyond all reason", u"description"_s, QString(100'001, u'א'));
    row("project not an id", u"project_id"_s, u""_s);
    row("project a number", u"project_id"_s, 1);
    row("tags not a list", u"tag_ids"_s, QJsonValue::Null);
    row("tags not ids", u"tag_ids"_s, QJsonArray{u"urgent"_s});
    row("billable not a truth value", u"billable"_s, 1);
    row("start without a zone", u"start_at"_s, u"2025-06-01T08:00:00"_s);
    row("stop null", u"stop_at"_s, QJsonValue::Null);
    row("stop before start", u"stop_at"_s, u"2025-06-01T07:59:59Z"_s);
    row("unknown field", u"user_id"_s, m_world.other);
    QJsonObject endless = create;
    endless.remove(u"stop_at"_s);
    QTest::newRow("create without stop") << u"entry.create"_s << endless;
    QTest::newRow("start with stop") << u"timer.start"_s << create;
    QTest::newRow("start without start") << u"timer.start"_s << QJsonObject();
    QTest::newRow("unknown operation") << u"entry.merge"_s << create;
    QTest::newRow("operation in other letters") << u"Entry.Create"_s << create;
}

void TestDevserverPush::unusablePayloadsAreRejected() {
    QFETCH(QString, operation);
    QFETCH(QJsonObject, payload);
    const Reply reply = push(operation, World::newId(), 0, payload);
    QCOMPARE(statusOf(reply), u"rejected"_s);
    QVERIFY(reply.result().value(u"message").toString().endsWith(u'.'));
    QVERIFY(!reply.result().contains(u"canonical"));
    QCOMPARE(count(u"time_entries"_s), 0);
}

void TestDevserverPush::aDescriptionOfTwoMebibytesIsRejectedWithItsSentence() {
    const QString id = stored(u"2025-06-01T08:00:00Z"_s, u"2025-06-01T09:00:00Z"_s);
    const QString text(qsizetype{2} * 1024 * 1024, u'x');
    const Reply reply = push(u"entry.update"_s, id, 5, {{u"description"_s, text}});
    QCOMPARE(statusOf(reply), u"rejected"_s);
    QCOMPARE(reply.result().value(u"message"), u"The description is longer than 100000 characters."_s);
    QCOMPARE(canonicalOf(reply)[u"description"], u"stored"_s);
}

void TestDevserverPush::unreadableRecordsAreRejected_data() {
    QTest::addColumn<QString>("key");
    QTest::addColumn<QJsonValue>("value");
    for (const QString& key : mutation({}, {}, {}, 0).keys()) {
        if (key != u"mutation_id") {
            QTest::newRow(qPrintable(u"without "_s + key)) << key << QJsonValue(QJsonValue::Undefined);
            QTest::newRow(qPrintable(u"wrong type of "_s + key)) << key << QJsonValue(QJsonArray());
        }
    }
    QTest::newRow("payload null") << u"payload"_s << QJsonValue();
    for (const QJsonValue& version :
         {QJsonValue(1.5), QJsonValue(-1), QJsonValue(u"1"_s), QJsonValue(1e300)}) {
        QTest::newRow(qPrintable(u"base_version "_s + version.toVariant().toString()))
            << u"base_version"_s << version;
    }
}

void TestDevserverPush::unreadableRecordsAreRejected() {
    QFETCH(QString, key);
    QFETCH(QJsonValue, value);
    const QString id = stored(u"2025-06-01T08:00:00Z"_s, u"2025-06-01T09:00:00Z"_s);
    QJsonObject record = mutation(m_world.workspace, u"entry.delete"_s, id, 5);
    record[key] = value;
    const Reply reply = m_client->push(record);
    QCOMPARE(reply.status, 200);
    QCOMPARE(statusOf(reply), u"rejected"_s);
    const QString message = reply.result().value(u"message").toString();
    QVERIFY2(message.contains(key) && message.endsWith(u'.'), qPrintable(message));
    const bool found = key != u"entity_id" && key != u"workspace_id";
    QCOMPARE(canonicalOf(reply).value(u"version").toInt(), found ? 5 : 0);
    QCOMPARE(m_client->push(record).text, reply.text);
    QCOMPARE(count(u"mutations"_s), 1);
}

void TestDevserverPush::closedPeriodsLockByTheirHalfOpenInterval_data() {
    QTest::addColumn<QString>("start");
    QTest::addColumn<QString>("stop");
    QTest::addColumn<QString>("status");
    const QString accepted = u"accepted"_s;
    const QString rejected = u"rejected"_s;
    QTest::newRow("over the end") << u"2024-01-07T23:00:00Z"_s << u"2024-01-08T01:00:00Z"_s << rejected;
    QTest::newRow("over the start") << u"2023-12-31T23:00:00Z"_s << u"2024-01-01T00:00:01Z"_s << rejected;
    QTest::newRow("around") << u"2023-12-01T00:00:00Z"_s << u"2024-01-20T00:00:00Z"_s << rejected;
    QTest::newRow("submitted") << u"2024-02-03T08:00:00Z"_s << u"2024-02-03T09:00:00Z"_s << rejected;
    QTest::newRow("by another offset")
        << u"2024-01-08T01:00:00+02:00"_s << u"2024-01-08T05:00:00Z"_s << rejected;
    QTest::newRow("from its end") << u"2024-01-08T00:00:00Z"_s << u"2024-01-08T01:00:00Z"_s << accepted;
    QTest::newRow("up to its start") << u"2023-12-31T23:00:00Z"_s << u"2024-01-01T00:00:00Z"_s << accepted;
    QTest::newRow("open") << u"2024-03-03T08:00:00Z"_s << u"2024-03-03T09:00:00Z"_s << accepted;
    QTest::newRow("another user's") << u"2024-04-03T08:00:00Z"_s << u"2024-04-03T09:00:00Z"_s << accepted;
    QTest::newRow("running, from before") << u"2024-01-31T00:00:00Z"_s << QString() << rejected;
    QTest::newRow("running, from within") << u"2024-02-07T23:59:59Z"_s << QString() << rejected;
    QTest::newRow("running, from its end") << u"2024-02-08T00:00:00Z"_s << QString() << accepted;
}

void TestDevserverPush::closedPeriodsLockByTheirHalfOpenInterval() {
    QFETCH(QString, start);
    QFETCH(QString, stop);
    const Reply reply = stop.isEmpty() ? push(u"timer.start"_s, World::newId(), 0, started(start))
                                       : push(u"entry.create"_s, World::newId(), 0, closed(start, stop));
    QTEST(statusOf(reply), "status");
    QCOMPARE(count(u"time_entries"_s), statusOf(reply) == u"accepted" ? 1 : 0);
}

void TestDevserverPush::anUpdateIsLockedByTheOldAndByTheNewInterval_data() {
    QTest::addColumn<QString>("month");
    QTest::addColumn<QString>("newMonth");
    QTest::newRow("out of a closed period") << u"2024-01"_s << u"2024-03"_s;
    QTest::newRow("into a closed period") << u"2024-03"_s << u"2024-02"_s;
}

void TestDevserverPush::anUpdateIsLockedByTheOldAndByTheNewInterval() {
    QFETCH(QString, month);
    QFETCH(QString, newMonth);
    const QString id = stored(month + u"-03T08:00:00Z"_s, month + u"-03T09:00:00Z"_s);
    const Reply reply = push(u"entry.update"_s, id, 5,
                             {{u"start_at"_s, QString(newMonth + u"-03T08:00:00Z"_s)},
                              {u"stop_at"_s, QString(newMonth + u"-03T09:00:00Z"_s)}});
    QCOMPARE(statusOf(reply), u"rejected"_s);
    QCOMPARE(canonicalOf(reply)[u"version"], 5);
    QCOMPARE(canonicalOf(reply)[u"start_at"], QString(month + u"-03T08:00:00Z"_s));
}

void TestDevserverPush::everyChangeOfALockedEntryIsRejected() {
    const QString within = stored(u"2024-01-03T08:00:00Z"_s, u"2024-01-03T09:00:00Z"_s);
    QCOMPARE(statusOf(push(u"entry.update"_s, within, 5, {{u"description"_s, u"late"_s}})), u"rejected"_s);
    QCOMPARE(statusOf(push(u"entry.delete"_s, within, 5)), u"rejected"_s);
    m_database.run(u"UPDATE time_entries SET deleted_at = 1"_s);
    QCOMPARE(statusOf(push(u"entry.restore"_s, within, 5)), u"rejected"_s);
    const QString running = stored(u"2024-01-31T08:00:00Z"_s, {});
    const Reply stop = push(u"timer.stop"_s, running, 5, {{u"stop_at"_s, u"2024-01-31T09:00:00Z"_s}});
    QCOMPARE(statusOf(stop), u"rejected"_s);
    QVERIFY(canonicalOf(stop)[u"stop_at"].isNull());
    QCOMPARE(m_database.value(u"SELECT SUM(version) FROM time_entries"_s).toInt(), 10);
}

void TestDevserverPush::anOutdatedBaseVersionIsAConflict() {
    const QString id = stored(u"2025-06-01T08:00:00Z"_s, u"2025-06-01T09:00:00Z"_s);
    for (const int version : {0, 4, 6}) {
        const Reply reply = push(u"entry.update"_s, id, version, {{u"description"_s, u"mine"_s}});
        QCOMPARE(statusOf(reply), u"conflict"_s);
        QCOMPARE(canonicalOf(reply)[u"description"], u"stored"_s);
        QVERIFY(reply.result().value(u"message").toString().endsWith(u'.'));
    }
    const auto payload = closed(u"2025-06-01T08:00:00Z"_s, u"2025-06-01T09:00:00Z"_s);
    QCOMPARE(statusOf(push(u"entry.create"_s, World::newId(), 1, payload)), u"conflict"_s);
}

void TestDevserverPush::anExistingIdIsAConflict() {
    const QString id = stored(u"2025-06-01T08:00:00Z"_s, u"2025-06-01T09:00:00Z"_s);
    const Reply own = push(u"timer.start"_s, id, 0, started(u"2025-06-01T10:00:00Z"_s));
    QCOMPARE(statusOf(own), u"conflict"_s);
    QCOMPARE(canonicalOf(own)[u"version"], 5);
    const auto record =
        mutation(m_world.workspace, u"timer.start"_s, id, 0, started(u"2025-06-01T10:00:00Z"_s));
    const Reply foreign = m_other->push(record);
    QCOMPARE(statusOf(foreign), u"conflict"_s);
    QVERIFY(!foreign.result().contains(u"canonical"));
    // A canonical entry of another workspace than the mutation's would not be taken by a client.
    const auto elsewhere =
        mutation(m_world.secondWorkspace, u"timer.start"_s, id, 0, started(u"2025-06-01T10:00:00Z"_s));
    const Reply second = m_client->push(elsewhere);
    QCOMPARE(statusOf(second), u"conflict"_s);
    QVERIFY(!second.result().contains(u"canonical"));
}

void TestDevserverPush::aSecondTimerIsAConflict() {
    const QString running = stored(u"2025-06-01T08:00:00Z"_s, {});
    const QString other = World::newId();
    const auto elsewhere =
        mutation(m_world.secondWorkspace, u"timer.start"_s, other, 0, started(u"2025-06-01T10:00:00Z"_s));
    const Reply reply = m_client->push(elsewhere);
    QCOMPARE(statusOf(reply), u"conflict"_s);
    QVERIFY(!reply.result().contains(u"canonical"));
    // A deleted running entry leaves room for a timer, and then has none to come back to.
    QCOMPARE(statusOf(push(u"entry.delete"_s, running, 5)), u"accepted"_s);
    QCOMPARE(statusOf(push(u"timer.start"_s, other, 0, started(u"2025-06-01T10:00:00Z"_s))), u"accepted"_s);
    QCOMPARE(statusOf(push(u"entry.restore"_s, running, 6)), u"conflict"_s);
    // Another user's timer is another matter.
    const auto theirs =
        mutation(m_world.workspace, u"timer.start"_s, World::newId(), 0, started(u"2025-06-01T10:00:00Z"_s));
    QCOMPARE(statusOf(m_other->push(theirs)), u"accepted"_s);
}

void TestDevserverPush::foreignAndMissingEntriesAreRejected() {
    const QString id = stored(u"2025-06-01T08:00:00Z"_s, u"2025-06-01T09:00:00Z"_s);
    const auto edit = [&id](const QString& workspace, const QString& entity = {}) {
        return mutation(workspace, u"entry.update"_s, entity.isEmpty() ? id : entity, 5,
                        {{u"description"_s, u"x"_s}});
    };
    for (const Reply& reply :
         {m_other->push(edit(m_world.workspace)), m_client->push(edit(m_world.secondWorkspace)),
          m_client->push(edit(m_world.workspace, World::newId()))}) {
        QCOMPARE(statusOf(reply), u"rejected"_s);
        QVERIFY(!reply.result().contains(u"canonical"));
    }
    QCOMPARE(m_database.value(u"SELECT description FROM time_entries"_s), u"stored"_s);
}

void TestDevserverPush::deletedEntriesAreRejected() {
    const QString id = stored(u"2025-06-01T08:00:00Z"_s, {}, u"deleted_at = 1748768400"_s);
    for (const int version : {4, 5}) {
        const Reply edit = push(u"entry.update"_s, id, version, {{u"description"_s, u"x"_s}});
        QCOMPARE(statusOf(edit), u"rejected"_s);
        QVERIFY(canonicalOf(edit)[u"deleted_at"].isString());
    }
    QCOMPARE(statusOf(push(u"timer.stop"_s, id, 5, {{u"stop_at"_s, u"2025-06-01T09:00:00Z"_s}})),
             u"rejected"_s);
    QCOMPARE(statusOf(push(u"entry.delete"_s, id, 5)), u"rejected"_s);
}

void TestDevserverPush::operationsOutOfPlaceAreRejected() {
    const QString id = stored(u"2025-06-01T08:00:00Z"_s, u"2025-06-01T09:00:00Z"_s);
    const QJsonObject stop{{u"stop_at"_s, u"2025-06-01T10:00:00Z"_s}};
    QCOMPARE(statusOf(push(u"timer.stop"_s, id, 5, stop)), u"rejected"_s);
    QCOMPARE(statusOf(push(u"entry.restore"_s, id, 5)), u"rejected"_s);
    QCOMPARE(statusOf(push(u"entry.update"_s, id, 5)), u"rejected"_s);
    QCOMPARE(statusOf(push(u"entry.delete"_s, id, 5, stop)), u"rejected"_s);
    QCOMPARE(statusOf(push(u"entry.update"_s, id, 5, {{u"stop_at"_s, QJsonValue::Null}})), u"rejected"_s);
    QCOMPARE(statusOf(push(u"entry.update"_s, id, 5, {{u"start_at"_s, u"2025-06-01T09:00:01Z"_s}})),
             u"rejected"_s);
    QCOMPARE(m_database.value(u"SELECT version FROM time_entries"_s).toInt(), 5);
}

void TestDevserverPush::foreignProjectsAreRejected_data() {
    QTest::addColumn<QString>("project");
    QTest::newRow("another workspace's") << m_world.foreignProject;
    QTest::newRow("archived") << m_world.archivedProject;
    QTest::newRow("nobody's") << World::newId();
}

void TestDevserverPush::foreignProjectsAreRejected() {
    QFETCH(QString, project);
    QJsonObject payload = started(u"2025-06-01T08:00:00Z"_s);
    payload[u"project_id"] = project;
    QCOMPARE(statusOf(push(u"timer.start"_s, World::newId(), 0, payload)), u"rejected"_s);
    const QString id = stored(u"2025-06-01T08:00:00Z"_s, u"2025-06-01T09:00:00Z"_s);
    const Reply update = push(u"entry.update"_s, id, 5, {{u"project_id"_s, project}});
    QCOMPARE(statusOf(update), u"rejected"_s);
    QVERIFY(canonicalOf(update)[u"project_id"].isNull());
}

void TestDevserverPush::anArchivedProjectStaysOnItsEntry() {
    const QString id = stored(u"2025-06-01T08:00:00Z"_s, u"2025-06-01T09:00:00Z"_s,
                              u"project_id = '%1'"_s.arg(m_world.archivedProject));
    const Reply reply = push(u"entry.update"_s, id, 5, {{u"description"_s, u"x"_s}});
    QCOMPARE(statusOf(reply), u"accepted"_s);
    QCOMPARE(canonicalOf(reply)[u"project_id"], m_world.archivedProject);
}

void TestDevserverPush::unknownWorkspacesAndIdsAreRejected_data() {
    QTest::addColumn<QString>("workspace");
    QTest::addColumn<QString>("entity");
    QTest::newRow("someone else's") << m_world.foreignWorkspace << World::newId();
    QTest::newRow("nobody's") << World::newId() << World::newId();
    QTest::newRow("no workspace") << QString() << World::newId();
    QTest::newRow("workspace with a null character") << QString(QChar(0)) << World::newId();
    QTest::newRow("no entry") << m_world.workspace << QString();
    QTest::newRow("entry with a null character") << m_world.workspace << QString(36, QChar(0));
    QTest::newRow("upper case") << m_world.workspace << World::newId().toUpper();
}

void TestDevserverPush::unknownWorkspacesAndIdsAreRejected() {
    QFETCH(QString, workspace);
    QFETCH(QString, entity);
    const auto payload = closed(u"2025-06-01T08:00:00Z"_s, u"2025-06-01T09:00:00Z"_s);
    const Reply create = m_client->push(mutation(workspace, u"entry.create"_s, entity, 0, payload));
    QCOMPARE(statusOf(create), u"rejected"_s);
    QCOMPARE(statusOf(m_client->push(mutation(workspace, u"entry.delete"_s, entity, 1))), u"rejected"_s);
    QCOMPARE(count(u"time_entries"_s), 0);
}

QTEST_GUILESS_MAIN(TestDevserverPush)
#include "push.moc"
