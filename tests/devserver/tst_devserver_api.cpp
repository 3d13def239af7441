// SPDX-License-Identifier: MIT
#include "tests/devserver/testworld.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>
#include <QVariant>

using namespace Qt::StringLiterals;

/// What every request answers, and how each error looks.
class TestDevserverApi : public QObject {
    Q_OBJECT

    [[nodiscard]] QJsonObject snapshot(const QString& workspace, const QByteArray& token = {});

    TestDatabase database_;
    World world_{database_};
    TestServer server_;

private Q_SLOTS:
    void initTestCase();
    void init();
    void theDevelopmentUserNeedsNoToken();
    void aTokenIsItsSessionsUser();
    void unknownOrRevokedTokensAreRefused_data();
    void unknownOrRevokedTokensAreRefused();
    void workspacesAreTheCallersOwn();
    void theSnapshotHoldsTheWholeWorkspace();
    void anEmptyDescriptionAndAnotherUsersEntryAreInTheSnapshot();
    void snapshotsOfOtherWorkspacesAreNotFound_data();
    void snapshotsOfOtherWorkspacesAreNotFound();
    void theRunningTimerIsTheUsersInAnyWorkspace();
    void theRootNamesTheServer();
    void otherAddressesAreNotFound();
    void webPagesCannotReachTheServerByAName();
    void pushesMustBeJson_data();
    void pushesMustBeJson();
    void malformedPushesAreRefused_data();
    void malformedPushesAreRefused();
    void theKeyMustBeThereAndMatch();
    void aRequestOverOneMebibyteIsTooLarge();
};

void TestDevserverApi::initTestCase() {
    QVERIFY(server_.start(database_));
}

void TestDevserverApi::init() {
    database_.run(u"DELETE FROM time_entries"_s);
    database_.run(u"DELETE FROM mutations"_s);
}

QJsonObject TestDevserverApi::snapshot(const QString& workspace, const QByteArray& token) {
    TestClient client(server_.port(), token);
    const Reply reply = client.get("/v1/sync/snapshot?workspace_id=" + workspace.toStdString());
    return reply.status == 200 ? reply.body : QJsonObject();
}

void TestDevserverApi::theDevelopmentUserNeedsNoToken() {
    const Reply reply = TestClient(server_.port()).get("/v1/me");
    QCOMPARE(reply.status, 200);
    QCOMPARE(reply.body, (QJsonObject{{u"id"_s, world_.developer},
                                      {u"email"_s, u"developer@localhost"_s},
                                      {u"display_name"_s, u"Developer"_s},
                                      {u"timezone"_s, u"Asia/Jerusalem"_s},
                                      {u"auth_mode"_s, u"development"_s}}));
}

void TestDevserverApi::aTokenIsItsSessionsUser() {
    const Reply reply = TestClient(server_.port(), world_.otherToken).get("/v1/me");
    QCOMPARE(reply.status, 200);
    QCOMPARE(reply.body.value(u"id"), world_.other);
    QCOMPARE(reply.body.value(u"auth_mode"), u"session"_s);
}

void TestDevserverApi::unknownOrRevokedTokensAreRefused_data() {
    QTest::addColumn<QByteArray>("authorization");
    QTest::newRow("unknown") << QByteArray("Bearer nobody's");
    QTest::newRow("revoked") << "Bearer " + world_.revokedToken;
    QTest::newRow("empty token") << QByteArray("Bearer ");
    QTest::newRow("another scheme") << QByteArray("Basic dXNlcjpwYXNz");
}

void TestDevserverApi::unknownOrRevokedTokensAreRefused() {
    QFETCH(QByteArray, authorization);
    TestClient client(server_.port());
    const httplib::Headers headers{{"Authorization", authorization.toStdString()},
                                   {"Content-Type", "application/json"}};
    for (const Reply& reply :
         {client.get("/v1/me", headers), client.get("/v1/workspaces", headers),
          client.get("/v1/me/timer", headers), client.post("{}", headers),
          client.get("/v1/sync/snapshot?workspace_id=" + world_.workspace.toStdString(), headers)}) {
        QCOMPARE(reply.status, 401);
        QCOMPARE(reply.errorCode(), u"unauthorized"_s);
    }
}

void TestDevserverApi::workspacesAreTheCallersOwn() {
    const Reply developer = TestClient(server_.port()).get("/v1/workspaces");
    const QJsonObject shared{{u"id"_s, world_.workspace}, {u"name"_s, u"Development"_s}};
    const QJsonObject second{{u"id"_s, world_.secondWorkspace}, {u"name"_s, u"Second"_s}};
    QCOMPARE(developer.body, (QJsonObject{{u"items"_s, QJsonArray{shared, second}}}));
    const Reply other = TestClient(server_.port(), world_.otherToken).get("/v1/workspaces");
    const QJsonObject foreign{{u"id"_s, world_.foreignWorkspace}, {u"name"_s, u"Foreign"_s}};
    QCOMPARE(other.body, (QJsonObject{{u"items"_s, QJsonArray{shared, foreign}}}));
}

void TestDevserverApi::theSnapshotHoldsTheWholeWorkspace() {
    const QString id = World::newId();
    QJsonObject payload = closed(u"2025-06-01T08:00:00Z"_s, u"2025-06-01T09:30:00Z"_s, u"שיחה \"דחופה\"\n"_s);
    payload[u"project_id"] = world_.project;
    payload[u"billable"] = true;
    QCOMPARE(
        TestClient(server_.port()).push(mutation(world_.workspace, u"entry.create"_s, id, 0, payload)).status,
        200);

    const QJsonObject all = snapshot(world_.workspace);
    QCOMPARE(all.keys(),
             (QStringList{u"catalog"_s, u"time_entries"_s, u"timesheet_periods"_s, u"workspace_id"_s}));
    QCOMPARE(all.value(u"workspace_id"), world_.workspace);
    const QJsonObject entry{{u"id"_s, id},
                            {u"workspace_id"_s, world_.workspace},
                            {u"user_id"_s, world_.developer},
                            {u"description"_s, u"שיחה \"דחופה\"\n"_s},
                            {u"project_id"_s, world_.project},
                            {u"tag_ids"_s, QJsonArray()},
                            {u"billable"_s, true},
                            {u"start_at"_s, u"2025-06-01T08:00:00Z"_s},
                            {u"stop_at"_s, u"2025-06-01T09:30:00Z"_s},
                            {u"deleted_at"_s, QJsonValue::Null},
                            {u"version"_s, 1},
                            {u"duration_seconds"_s, 5400}};
    QCOMPARE(all.value(u"time_entries").toArray(), QJsonArray{entry});
    const QJsonObject catalog = all.value(u"catalog").toObject();
    QCOMPARE(catalog.value(u"clients").toArray().size(), 2);
    const QJsonArray projects = catalog.value(u"projects").toArray();
    QCOMPARE(projects.size(), 1);
    QCOMPARE(projects[0].toObject().keys(),
             (QStringList{u"client_id"_s, u"client_name"_s, u"color"_s, u"id"_s, u"name"_s}));
    QCOMPARE(projects[0][u"id"], world_.project);
    const QJsonArray periods = all.value(u"timesheet_periods").toArray();
    QCOMPARE(periods.size(), 4);
    QJsonObject approved = periods[0].toObject();
    QVERIFY(!approved.take(u"id").toString().isEmpty());
    QCOMPARE(approved, (QJsonObject{{u"workspace_id"_s, world_.workspace},
                                    {u"user_id"_s, world_.developer},
                                    {u"status"_s, u"approved"_s},
                                    {u"from_date"_s, u"2024-01-01"_s},
                                    {u"to_date"_s, u"2024-01-07"_s},
                                    {u"timezone"_s, u"UTC"_s},
                                    {u"start_at"_s, u"2024-01-01T00:00:00Z"_s},
                                    {u"end_at"_s, u"2024-01-08T00:00:00Z"_s},
                                    {u"version"_s, 2},
                                    {u"last_reason"_s, QJsonValue::Null}}));
}

void TestDevserverApi::anEmptyDescriptionAndAnotherUsersEntryAreInTheSnapshot() {
    TestClient other(server_.port(), world_.otherToken);
    const auto later = mutation(world_.workspace, u"entry.create"_s, World::newId(), 0,
                                closed(u"2025-06-02T08:00:00Z"_s, u"2025-06-02T09:00:00Z"_s));
    QCOMPARE(other.push(later).result().value(u"status"), u"accepted"_s);
    const auto earlier =
        mutation(world_.workspace, u"timer.start"_s, World::newId(), 0, started(u"2025-06-01T08:00:00Z"_s));
    QCOMPARE(TestClient(server_.port()).push(earlier).result().value(u"status"), u"accepted"_s);
    const QJsonArray entries = snapshot(world_.workspace).value(u"time_entries").toArray();
    QCOMPARE(entries.size(), 2);
    QCOMPARE(entries[0][u"user_id"], world_.developer);
    QVERIFY(entries[0][u"stop_at"].isNull() && entries[0][u"duration_seconds"].isNull());
    QCOMPARE(entries[1][u"user_id"], world_.other);
    QCOMPARE(entries[1][u"description"], u""_s);
    QVERIFY(entries[1][u"project_id"].isNull());
    QCOMPARE(snapshot(world_.workspace, world_.otherToken).value(u"time_entries").toArray(), entries);
}

void TestDevserverApi::snapshotsOfOtherWorkspacesAreNotFound_data() {
    QTest::addColumn<QString>("query");
    QTest::addColumn<int>("status");
    QTest::newRow("someone else's") << u"?workspace_id="_s + world_.foreignWorkspace << 404;
    QTest::newRow("nobody's") << u"?workspace_id="_s + World::newId() << 404;
    QTest::newRow("not an id") << u"?workspace_id=%00'x"_s << 404;
    QTest::newRow("empty") << u"?workspace_id="_s << 400;
    QTest::newRow("missing") << QString() << 400;
}

void TestDevserverApi::snapshotsOfOtherWorkspacesAreNotFound() {
    QFETCH(QString, query);
    const Reply reply = TestClient(server_.port()).get("/v1/sync/snapshot" + query.toStdString());
    QTEST(reply.status, "status");
    QCOMPARE(reply.errorCode(), reply.status == 404 ? u"not_found"_s : u"malformed"_s);
}

void TestDevserverApi::theRunningTimerIsTheUsersInAnyWorkspace() {
    TestClient client(server_.port());
    QCOMPARE(client.get("/v1/me/timer").body, (QJsonObject{{u"timer"_s, QJsonValue::Null}}));
    const Reply start = client.push(mutation(world_.secondWorkspace, u"timer.start"_s, World::newId(), 0,
                                             started(u"2025-06-01T08:00:00Z"_s)));
    const QJsonObject running = start.result().value(u"canonical").toObject();
    QCOMPARE(running.value(u"workspace_id"), world_.secondWorkspace);
    QCOMPARE(client.get("/v1/me/timer").body, (QJsonObject{{u"timer"_s, running}}));
    QVERIFY(TestClient(server_.port(), world_.otherToken).get("/v1/me/timer").body.value(u"timer").isNull());
}

void TestDevserverApi::theRootNamesTheServer() {
    const Reply reply = TestClient(server_.port()).get("/");
    QCOMPARE(reply.status, 200);
    QCOMPARE(reply.body, (QJsonObject{{u"name"_s, u"Timer.Kelvaro development server"_s},
                                      {u"version"_s, QStringLiteral(TIMER_VERSION)}}));
}

void TestDevserverApi::otherAddressesAreNotFound() {
    TestClient client(server_.port());
    for (const char* path : {"/v1", "/v1/me/", "/v1/nothing", "/v1/sync/push", "/me", "/v1/auth/login"}) {
        const Reply reply = client.get(path);
        QCOMPARE(reply.status, 404);
        QCOMPARE(reply.errorCode(), u"not_found"_s);
    }
}

void TestDevserverApi::webPagesCannotReachTheServerByAName() {
    TestClient client(server_.port());
    for (const char* host : {"attacker.example", "attacker.example:18080", "8.8.8.8"}) {
        const Reply reply = client.get("/v1/me", {{"Host", host}});
        QCOMPARE(reply.status, 400);
        QCOMPARE(reply.errorCode(), u"bad_host"_s);
    }
    QCOMPARE(client.get("/v1/me", {{"Host", "localhost:1"}}).status, 200);
}

void TestDevserverApi::pushesMustBeJson_data() {
    QTest::addColumn<QString>("type");
    QTest::addColumn<bool>("taken");
    QTest::newRow("json") << u"application/json"_s << true;
    QTest::newRow("with a charset") << u"Application/JSON; charset=utf-8"_s << true;
    QTest::newRow("text") << u"text/plain"_s << false;
    QTest::newRow("form") << u"application/x-www-form-urlencoded"_s << false;
    QTest::newRow("looks like it") << u"text/plain; application/json"_s << false;
}

void TestDevserverApi::pushesMustBeJson() {
    QFETCH(QString, type);
    QFETCH(bool, taken);
    const auto record =
        mutation(world_.workspace, u"timer.start"_s, World::newId(), 0, started(u"2025-06-01T08:00:00Z"_s));
    const QByteArray body = QJsonDocument(QJsonObject{{u"mutations"_s, QJsonArray{record}}}).toJson();
    const Reply reply =
        TestClient(server_.port())
            .post(body.toStdString(), {{"Content-Type", type.toStdString()},
                                       {"Idempotency-Key", record[u"mutation_id"].toString().toStdString()}});
    QCOMPARE(reply.status, taken ? 200 : 415);
    QCOMPARE(database_.value(u"SELECT COUNT(*) FROM time_entries"_s).toInt(), taken ? 1 : 0);
    if (!taken)
        QCOMPARE(reply.errorCode(), u"unsupported_media_type"_s);
}

void TestDevserverApi::malformedPushesAreRefused_data() {
    QTest::addColumn<QByteArray>("body");
    const auto row = [](const char* name, const QJsonValue& mutations) {
        QTest::newRow(name) << QJsonDocument(QJsonObject{{u"mutations"_s, mutations}}).toJson();
    };
    const QJsonObject good = mutation(world_.workspace, u"entry.delete"_s, World::newId(), 1);
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("not JSON") << QByteArray("{\"mutations\":[");
    QTest::newRow("an array") << QByteArray("[]");
    QTest::newRow("nested without end") << QByteArray(100'000, '[');
    row("no list", QJsonValue::Null);
    row("no mutation", QJsonArray());
    row("two mutations", QJsonArray{good, good});
    row("not an object", QJsonArray{1});
    for (const QString& key : good.keys()) {
        QJsonObject without = good;
        without.remove(key);
        row(qPrintable(u"without "_s + key), QJsonArray{without});
        QJsonObject wrong = good;
        wrong[key] = QJsonArray();
        row(qPrintable(u"wrong type of "_s + key), QJsonArray{wrong});
    }
    for (const QJsonValue& version :
         {QJsonValue(1.5), QJsonValue(-1), QJsonValue(u"1"_s), QJsonValue(1e300)}) {
        QJsonObject wrong = good;
        wrong[u"base_version"] = version;
        row(qPrintable(u"base_version "_s + version.toVariant().toString()), QJsonArray{wrong});
    }
    QJsonObject braces = good;
    braces[u"mutation_id"] = QString(u'{' + good[u"mutation_id"].toString() + u'}');
    row("an id with braces", QJsonArray{braces});
}

void TestDevserverApi::malformedPushesAreRefused() {
    QFETCH(QByteArray, body);
    const Reply reply =
        TestClient(server_.port())
            .post(body.toStdString(), {{"Content-Type", "application/json"}, {"Idempotency-Key", "any"}});
    QCOMPARE(reply.status, 400);
    QCOMPARE(reply.errorCode(), u"malformed"_s);
    QCOMPARE(database_.value(u"SELECT COUNT(*) FROM mutations"_s).toInt(), 0);
}

void TestDevserverApi::theKeyMustBeThereAndMatch() {
    const auto record =
        mutation(world_.workspace, u"timer.start"_s, World::newId(), 0, started(u"2025-06-01T08:00:00Z"_s));
    const std::string body =
        QJsonDocument(QJsonObject{{u"mutations"_s, QJsonArray{record}}}).toJson().toStdString();
    TestClient client(server_.port());
    const Reply missing = client.post(body, {{"Content-Type", "application/json"}});
    QCOMPARE(missing.status, 400);
    QCOMPARE(missing.errorCode(), u"idempotency_key_missing"_s);
    const Reply mismatch = client.post(
        body, {{"Content-Type", "application/json"}, {"Idempotency-Key", World::newId().toStdString()}});
    QCOMPARE(mismatch.status, 400);
    QCOMPARE(mismatch.errorCode(), u"idempotency_key_mismatch"_s);
    QCOMPARE(database_.value(u"SELECT COUNT(*) FROM time_entries"_s).toInt(), 0);
}

void TestDevserverApi::aRequestOverOneMebibyteIsTooLarge() {
    const httplib::Headers headers{{"Content-Type", "application/json"}, {"Idempotency-Key", "any"}};
    constexpr size_t kMebibyte = size_t{1024} * 1024;
    const Reply fits = TestClient(server_.port()).post(std::string(kMebibyte, ' '), headers);
    QCOMPARE(fits.status, 400);
    for (const size_t size : {kMebibyte + 1, 5 * kMebibyte, 9 * kMebibyte}) {
        const Reply larger = TestClient(server_.port()).post(std::string(size, ' '), headers);
        QCOMPARE(larger.status, 413);
        QCOMPARE(larger.errorCode(), u"too_large"_s);
    }
}

QTEST_GUILESS_MAIN(TestDevserverApi)
#include "tst_devserver_api.moc"
