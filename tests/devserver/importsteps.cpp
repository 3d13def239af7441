// SPDX-License-Identifier: MIT
#include "tests/devserver/importfixture.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QSet>
#include <QTest>
#include <QVariant>

using namespace Qt::StringLiterals;

/// How a staged import is written, step by step.
class TestDevserverImportSteps : public ImportFixture {
    Q_OBJECT

    QJsonObject snapshot();
    [[nodiscard]] static QJsonObject named(const QJsonValue& list, const QString& key, const QString& name);

private Q_SLOTS:
    void sixtyRecordsTakeThreeSteps();
    void theLimitIsTheCallersChoice_data();
    void theLimitIsTheCallersChoice();
    void entriesAreWrittenWhole();
    void whatExistsIsUsed();
    void namesMatchExactlyAndProjectsWithTheirClient();
    void requestsThatCannotBeUsedAreRefused_data();
    void requestsThatCannotBeUsedAreRefused();
    void anImportBelongsToWhoMadeIt();
    void anImportWithInvalidRowsIsRefused();
    void aPeriodClosedMeanwhileStopsTheStep_data();
    void aPeriodClosedMeanwhileStopsTheStep();
    void aProjectArchivedMeanwhileStopsTheStep();
    void aMembershipThatEndedStopsTheStep();
};

QJsonObject TestDevserverImportSteps::snapshot() {
    return m_client->get("/v1/sync/snapshot?workspace_id=" + m_world.workspace.toStdString()).body;
}

QJsonObject TestDevserverImportSteps::named(const QJsonValue& list, const QString& key, const QString& name) {
    QJsonObject found;
    const QJsonArray items = list.toArray();
    for (const auto& item : items) {
        if (item[key].toString() == name) {
            found = found.isEmpty() ? item.toObject() : QJsonObject{{u"more than one"_s, true}};
        }
    }
    return found;
}

void TestDevserverImportSteps::sixtyRecordsTakeThreeSteps() {
    const Reply staged = preview(records(60));
    QCOMPARE(numbersOf(staged), u"60 60 0 0"_s);
    Reply reply = staged;
    QStringList progress;
    for (const bool more : {true, true, false}) {
        reply = apply(reply);
        QCOMPARE(reply.status, 200);
        QCOMPARE(reply.body.value(u"id"), staged.body.value(u"id"));
        QCOMPARE(reply.body.value(u"checksum"), staged.body.value(u"checksum"));
        QCOMPARE(reply.body.value(u"invalid"), 0);
        QCOMPARE(reply.body.value(u"has_more"), more);
        QCOMPARE(count(u"time_entries"_s), reply.body.value(u"checkpoint").toInt());
        progress += progressOf(reply);
    }
    QCOMPARE(progress, (QStringList{u"importing 25/60"_s, u"importing 50/60"_s, u"completed 60/60"_s}));
    QCOMPARE(reply.body.value(u"written"), 60);
    QCOMPARE(reply.body.value(u"skipped"), 0);
    QCOMPARE(descriptions().size(), 60);
    QCOMPARE(descriptions().last(), u"work 59"_s);
    QCOMPARE(count(u"import_records"_s), 0);
}

void TestDevserverImportSteps::theLimitIsTheCallersChoice_data() {
    QTest::addColumn<int>("limit");
    QTest::addColumn<QString>("progress");
    QTest::newRow("one") << 1 << u"importing 1/600"_s;
    QTest::newRow("most") << 500 << u"importing 500/600"_s;
}

void TestDevserverImportSteps::theLimitIsTheCallersChoice() {
    QFETCH(const int, limit);
    QFETCH(const QString, progress);
    const Reply reply = apply(preview(records(600)), limit);
    QCOMPARE(progressOf(reply), progress);
    QCOMPARE(count(u"time_entries"_s), limit);
    QCOMPARE(progressOf(applyAll(reply)), u"completed 600/600"_s);
    QCOMPARE(count(u"time_entries"_s), 600);
}

void TestDevserverImportSteps::entriesAreWrittenWhole() {
    const Reply staged =
        preview(u"Client,Project,Task,Description,Billable,Start date,Start time,End date,End time,Tags\n"
                "גינון,Trees,Cut,\"two\nlines\",Yes,01/06/2025,09:00,13/06/2025,10:00:30,\"red, green\"\n"
                "גינון,Trees,Cut,,No,02/06/2025,09:00,02/06/2025,09:00,red\n"
                ",Own,,plain,No,03/06/2025,09:00,03/06/2025,10:00,\n"
                ",,,bare,No,04/06/2025,09:00,04/06/2025,10:00,\n"_s);
    QCOMPARE(progressOf(apply(staged)), u"completed 4/4"_s);
    const QJsonObject world = snapshot();
    const QJsonObject client = named(world[u"catalog"][u"clients"], u"name"_s, u"גינון"_s);
    const QJsonObject trees = named(world[u"catalog"][u"projects"], u"name"_s, u"Trees"_s);
    const QJsonObject own = named(world[u"catalog"][u"projects"], u"name"_s, u"Own"_s);
    QCOMPARE(trees[u"client_id"], client[u"id"]);
    QVERIFY(own[u"client_id"].isNull());
    QVERIFY(trees[u"color"].toString().startsWith(u'#') && trees[u"color"] != own[u"color"]);

    QJsonObject entry = named(world[u"time_entries"], u"description"_s, u"two\nlines"_s);
    const QString red = m_database.value(u"SELECT id FROM tags WHERE name = 'red'"_s).toString();
    const QString green = m_database.value(u"SELECT id FROM tags WHERE name = 'green'"_s).toString();
    QCOMPARE(entry.take(u"id").toString().size(), 36);
    QCOMPARE(entry, (QJsonObject{{u"workspace_id"_s, m_world.workspace},
                                 {u"user_id"_s, m_world.developer},
                                 {u"description"_s, u"two\nlines"_s},
                                 {u"project_id"_s, trees[u"id"]},
                                 {u"tag_ids"_s, QJsonArray{green, red}},
                                 {u"billable"_s, true},
                                 {u"start_at"_s, u"2025-06-01T09:00:00Z"_s},
                                 {u"stop_at"_s, u"2025-06-13T10:00:30Z"_s},
                                 {u"deleted_at"_s, QJsonValue::Null},
                                 {u"version"_s, 1},
                                 {u"duration_seconds"_s, 12 * 86400 + 3630}}));
    QCOMPARE(named(world[u"time_entries"], u"description"_s, u""_s)[u"tag_ids"].toArray(), QJsonArray{red});
    QCOMPARE(named(world[u"time_entries"], u"description"_s, u"plain"_s)[u"project_id"], own[u"id"]);
    QVERIFY(named(world[u"time_entries"], u"description"_s, u"bare"_s)[u"project_id"].isNull());
    QCOMPARE(count(u"tags"_s), 2);
    QCOMPARE(count(u"tasks WHERE name = 'Cut' AND project_id = '%1'"_s.arg(trees[u"id"].toString())), 1);
    QCOMPARE(count(u"time_entries e JOIN tasks t ON t.id = e.task_id AND t.project_id = e.project_id"_s), 2);
}

void TestDevserverImportSteps::whatExistsIsUsed() {
    const int clients = count(u"clients"_s);
    const int projects = count(u"projects"_s);
    const QString content = u"Client,Project,Task,Start date,Start time,Duration,Tags\n"
                            "Client,Open,Plan,2025-06-0%1,09:00,1:00,red\n"_s;
    for (int day = 1; day <= 3; ++day) {
        QCOMPARE(progressOf(apply(preview(content.arg(day)))), u"completed 1/1"_s);
    }
    QCOMPARE(count(u"clients"_s), clients);
    QCOMPARE(count(u"projects"_s), projects);
    QCOMPARE(count(u"tasks"_s), 1);
    QCOMPARE(count(u"tags"_s), 1);
    QCOMPARE(count(u"time_entries WHERE project_id = '%1'"_s.arg(m_world.project)), 3);
}

void TestDevserverImportSteps::namesMatchExactlyAndProjectsWithTheirClient() {
    const Reply staged = preview(u"Client,Project,Start date,Start time,Duration\n"
                                 "Client,open,2025-06-01,09:00,1:00\n"
                                 "client,Open,2025-06-01,09:00,1:00\n"
                                 ",Open,2025-06-01,09:00,1:00\n"
                                 "Client,Elsewhere,2025-06-01,09:00,1:00\n"_s);
    QCOMPARE(staged.body.value(u"new_projects"),
             (QJsonArray{u"open"_s, u"Open"_s, u"Open"_s, u"Elsewhere"_s}));
    QCOMPARE(staged.body.value(u"new_clients"), QJsonArray{u"client"_s});
    QCOMPARE(progressOf(apply(staged)), u"completed 4/4"_s);
    QCOMPARE(count(u"(SELECT DISTINCT project_id FROM time_entries) AS used"_s), 4);
    QCOMPARE(count(u"time_entries WHERE project_id IN ('%1', '%2')"_s.arg(m_world.project,
                                                                          m_world.foreignProject)),
             0);
}

void TestDevserverImportSteps::requestsThatCannotBeUsedAreRefused_data() {
    QTest::addColumn<QJsonObject>("change");
    QTest::addColumn<QString>("key");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("code");
    const QString key = u"a-key"_s;
    for (const QJsonValue& limit : {QJsonValue(0), QJsonValue(-1), QJsonValue(501), QJsonValue(1.5),
                                    QJsonValue(u"25"_s), QJsonValue(5e9), QJsonValue()}) {
        QTest::addRow("limit %s", qPrintable(limit.toVariant().toString()))
            << QJsonObject{{u"limit"_s, limit}} << key << 422 << u"invalid_import"_s;
    }
    for (const QJsonValue& checksum : {QJsonValue(QString(64, u'0')), QJsonValue(), QJsonValue(u""_s)}) {
        QTest::addRow("checksum %s", qPrintable(checksum.toString()))
            << QJsonObject{{u"preview_checksum"_s, checksum}} << key << 409 << u"checksum_mismatch"_s;
    }
    QTest::newRow("no key") << QJsonObject() << QString() << 400 << u"idempotency_key_missing"_s;
    QTest::newRow("long key") << QJsonObject() << QString(256, u'k') << 400 << u"malformed"_s;
}

void TestDevserverImportSteps::requestsThatCannotBeUsedAreRefused() {
    QFETCH(const QJsonObject, change);
    QFETCH(const QString, key);
    QFETCH(const int, status);
    QFETCH(const QString, code);
    const Reply staged = preview(records(3));
    QJsonObject body{{u"preview_checksum"_s, staged.body.value(u"checksum")}, {u"limit"_s, 25}};
    for (auto field = change.begin(); field != change.end(); ++field) {
        body.insert(field.key(), field.value());
    }
    httplib::Headers headers;
    if (!key.isEmpty()) {
        headers.emplace("Idempotency-Key", key.toStdString());
    }
    const Reply refused = m_client->postTo(
        "/v1/imports/" + staged.body.value(u"id").toString().toStdString() + "/apply", body, headers);
    QCOMPARE(refused.status, status);
    QCOMPARE(refused.errorCode(), code);
    QCOMPARE(count(u"time_entries"_s), 0);
    // A refusal uses no key up.
    QCOMPARE(progressOf(applyAs(*m_client, staged, 25, u"a-key"_s)), u"completed 3/3"_s);
}

void TestDevserverImportSteps::anImportBelongsToWhoMadeIt() {
    const Reply staged = preview(records(3));
    Reply unknown = staged;
    unknown.body[u"id"] = World::newId();
    Reply noId = staged;
    noId.body[u"id"] = u"no-id"_s;
    for (const Reply& refused : {applyAs(*m_other, staged, 25, u"k"_s), apply(unknown), apply(noId)}) {
        QCOMPARE(refused.status, 404);
        QCOMPARE(refused.errorCode(), u"not_found"_s);
    }
    TestClient revoked(m_server.port(), m_world.revokedToken);
    QCOMPARE(applyAs(revoked, staged, 25, u"k"_s).status, 401);
    QCOMPARE(count(u"time_entries"_s), 0);
}

void TestDevserverImportSteps::anImportWithInvalidRowsIsRefused() {
    const Reply staged = preview(records(3) + u"\nbad,,,,\n"_s);
    QCOMPARE(numbersOf(staged), u"4 3 1 0"_s);
    const Reply refused = apply(staged);
    QCOMPARE(refused.status, 409);
    QCOMPARE(refused.errorCode(), u"import_invalid"_s);
    QCOMPARE(count(u"time_entries"_s), 0);
}

void TestDevserverImportSteps::aPeriodClosedMeanwhileStopsTheStep_data() {
    QTest::addColumn<QString>("status");
    QTest::newRow("submitted") << u"submitted"_s;
    QTest::newRow("approved") << u"approved"_s;
}

void TestDevserverImportSteps::aPeriodClosedMeanwhileStopsTheStep() {
    QFETCH(const QString, status);
    const Reply first = apply(preview(records(60)));
    QCOMPARE(progressOf(first), u"importing 25/60"_s);
    // Records 0 to 30 lie before 2025-06-02T07:00.
    addPeriod(status, u"2025-06-02T06:00:00Z"_s, u"2025-06-02T07:00:00Z"_s);
    const Reply refused = applyAs(*m_client, first, 25, u"again"_s);
    QCOMPARE(refused.status, 409);
    QCOMPARE(refused.errorCode(), u"import_blocked"_s);
    QCOMPARE(refused.body[u"error"][u"message"].toString(),
             u"Row 32 can no longer be imported, nor the step that it is in: "
             "This time lies in a timesheet period that was submitted or approved."_s);
    QCOMPARE(count(u"time_entries"_s), 25);
    QCOMPARE(count(u"imported_records"_s), 25);
    // A smaller step reaches what can still be written.
    QCOMPARE(progressOf(apply(first, 5)), u"importing 30/60"_s);
    m_database.run(u"UPDATE timesheet_periods SET status = 'open' WHERE version = 77"_s);
    QCOMPARE(progressOf(applyAs(*m_client, first, 25, u"again"_s)), u"importing 55/60"_s);
    QCOMPARE(progressOf(applyAll(first)), u"completed 60/60"_s);
    QCOMPARE(count(u"time_entries"_s), 60);
}

void TestDevserverImportSteps::aProjectArchivedMeanwhileStopsTheStep() {
    const Reply staged = preview(u"Client,Project,Start date,Start time,Duration\n"
                                 ",New,2025-06-01,09:00,1:00\nClient,Open,2025-06-01,09:00,1:00\n"_s);
    QCOMPARE(numbersOf(staged), u"2 2 0 0"_s);
    m_database.run(u"UPDATE projects SET archived = 1 WHERE id = ?"_s, {m_world.project});
    const int projects = count(u"projects"_s);
    const Reply refused = apply(staged);
    QCOMPARE(refused.status, 409);
    QCOMPARE(refused.errorCode(), u"import_blocked"_s);
    QCOMPARE(count(u"projects"_s), projects);
    QCOMPARE(count(u"time_entries"_s), 0);
    m_database.run(u"UPDATE projects SET archived = 0 WHERE id = ?"_s, {m_world.project});
    QCOMPARE(progressOf(apply(staged)), u"completed 2/2"_s);
}

void TestDevserverImportSteps::aMembershipThatEndedStopsTheStep() {
    const Reply staged = preview(records(3));
    const QVariantList membership{m_world.workspace, m_world.developer};
    m_database.run(u"DELETE FROM members WHERE workspace_id = ? AND user_id = ?"_s, membership);
    const Reply refused = apply(staged);
    m_database.run(u"INSERT INTO members (workspace_id, user_id) VALUES (?, ?)"_s, membership);
    QCOMPARE(refused.status, 409);
    QCOMPARE(refused.errorCode(), u"import_blocked"_s);
    QCOMPARE(count(u"time_entries"_s), 0);
    QCOMPARE(progressOf(apply(staged)), u"completed 3/3"_s);
}

QTEST_GUILESS_MAIN(TestDevserverImportSteps)
#include "importsteps.moc"
