// SPDX-License-Identifier: MIT
#include "tests/devserver/testworld.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QScopeGuard>
#include <QTest>
#include <QVariant>

#include <csignal>
#include <memory>
#include <tuple>

using namespace Qt::StringLiterals;

namespace {

QByteArray chunkedHead(const QByteArray& path, const QByteArray& key) {
    return "POST " + path +
           " HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/json\r\nIdempotency-Key: " + key +
           "\r\nTransfer-Encoding: chunked\r\n\r\n";
}

QByteArray chunk(const QByteArray& data) {
    return QByteArray::number(data.size(), 16) + "\r\n" + data + "\r\n";
}

} // namespace

/// What every request answers, and how each error looks.
class TestDevserverApi : public QObject {
    Q_OBJECT

    [[nodiscard]] QJsonObject snapshot(const QString& workspace, const QByteArray& token = {});

    TestDatabase m_database;
    World m_world{m_database};
    TestServer m_server;

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
    void v1NamesTheServer();
    void otherAddressesAreNotFound();
    void webPagesCannotReachTheServerByAName();
    void pagesOfOtherSitesAreRefused_data();
    void pagesOfOtherSitesAreRefused();
    void idleConnectionsKeepNobodyWaiting();
    void manyMayConnectAtOnce();
    void pushesMustBeJson_data();
    void pushesMustBeJson();
    void malformedPushesAreRefused_data();
    void malformedPushesAreRefused();
    void theKeyMustBeThereAndMatch();
    void aRequestOverOneMebibyteIsTooLarge();
    void aBodyWithoutALengthIsTaken();
    void aLargeBodyWithoutALengthIsNotKept_data();
    void aLargeBodyWithoutALengthIsNotKept();
    void aBodyThatCannotBeReadIsNotTheNextRequest_data();
    void aBodyThatCannotBeReadIsNotTheNextRequest();
    void aPushHasRoomForAllThatAClientKeeps();
    void aTextOfMoreThanOneMebibyteIsTheMutationsOwnRejection();
};

void TestDevserverApi::initTestCase() {
    QVERIFY(m_server.start(m_database));
}

void TestDevserverApi::init() {
    m_database.run(u"DELETE FROM time_entries"_s);
    m_database.run(u"DELETE FROM mutations"_s);
}

QJsonObject TestDevserverApi::snapshot(const QString& workspace, const QByteArray& token) {
    TestClient client(m_server.port(), token);
    const Reply reply = client.get("/v1/sync/snapshot?workspace_id=" + workspace.toStdString());
    return reply.status == 200 ? reply.body : QJsonObject();
}

void TestDevserverApi::theDevelopmentUserNeedsNoToken() {
    const Reply reply = TestClient(m_server.port()).get("/v1/me");
    QCOMPARE(reply.status, 200);
    QCOMPARE(reply.body, (QJsonObject{{u"id"_s, m_world.developer},
                                      {u"email"_s, u"developer@localhost"_s},
                                      {u"display_name"_s, u"Developer"_s},
                                      {u"timezone"_s, u"Asia/Jerusalem"_s},
                                      {u"auth_mode"_s, u"development"_s}}));
}

void TestDevserverApi::aTokenIsItsSessionsUser() {
    const Reply reply = TestClient(m_server.port(), m_world.otherToken).get("/v1/me");
    QCOMPARE(reply.status, 200);
    QCOMPARE(reply.body.value(u"id"), m_world.other);
    QCOMPARE(reply.body.value(u"auth_mode"), u"session"_s);
}

void TestDevserverApi::unknownOrRevokedTokensAreRefused_data() {
    QTest::addColumn<QByteArray>("authorization");
    QTest::newRow("unknown") << QByteArray("Bearer nobody's");
    QTest::newRow("revoked") << "Bearer " + m_world.revokedToken;
    QTest::newRow("empty token") << QByteArray("Bearer ");
    QTest::newRow("another scheme") << QByteArray("Basic dXNlcjpwYXNz");
}

void TestDevserverApi::unknownOrRevokedTokensAreRefused() {
    QFETCH(QByteArray, authorization);
    TestClient client(m_server.port());
    const httplib::Headers headers{{"Authorization", authorization.toStdString()},
                                   {"Content-Type", "application/json"}};
    for (const Reply& reply :
         {client.get("/v1/me", headers), client.get("/v1/workspaces", headers),
          client.get("/v1/me/timer", headers), client.post("{}", headers),
          client.get("/v1/sync/snapshot?workspace_id=" + m_world.workspace.toStdString(), headers)}) {
        QCOMPARE(reply.status, 401);
        QCOMPARE(reply.errorCode(), u"unauthorized"_s);
    }
}

void TestDevserverApi::workspacesAreTheCallersOwn() {
    const Reply developer = TestClient(m_server.port()).get("/v1/workspaces");
    const QJsonObject shared{{u"id"_s, m_world.workspace}, {u"name"_s, u"Development"_s}};
    const QJsonObject second{{u"id"_s, m_world.secondWorkspace}, {u"name"_s, u"Second"_s}};
    QCOMPARE(developer.body, (QJsonObject{{u"items"_s, QJsonArray{shared, second}}}));
    const Reply other = TestClient(m_server.port(), m_world.otherToken).get("/v1/workspaces");
    const QJsonObject foreign{{u"id"_s, m_world.foreignWorkspace}, {u"name"_s, u"Foreign"_s}};
    QCOMPARE(other.body, (QJsonObject{{u"items"_s, QJsonArray{shared, foreign}}}));
}

void TestDevserverApi::theSnapshotHoldsTheWholeWorkspace() {
    const QString id = World::newId();
    QJsonObject payload = closed(u"2025-06-01T08:00:00Z"_s, u"2025-06-01T09:30:00Z"_s, u"שיחה \"דחופה\"\n"_s);
    payload[u"project_id"] = m_world.project;
    payload[u"billable"] = true;
    QCOMPARE(TestClient(m_server.port())
                 .push(mutation(m_world.workspace, u"entry.create"_s, id, 0, payload))
                 .status,
             200);

    const QJsonObject all = snapshot(m_world.workspace);
    QCOMPARE(all.keys(),
             (QStringList{u"catalog"_s, u"time_entries"_s, u"timesheet_periods"_s, u"workspace_id"_s}));
    QCOMPARE(all.value(u"workspace_id"), m_world.workspace);
    const QJsonObject entry{{u"id"_s, id},
                            {u"workspace_id"_s, m_world.workspace},
                            {u"user_id"_s, m_world.developer},
                            {u"description"_s, u"שיחה \"דחופה\"\n"_s},
                            {u"project_id"_s, m_world.project},
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
    QCOMPARE(projects[0][u"id"], m_world.project);
    const QJsonArray periods = all.value(u"timesheet_periods").toArray();
    QCOMPARE(periods.size(), 4);
    QJsonObject approved = periods[0].toObject();
    QVERIFY(!approved.take(u"id").toString().isEmpty());
    QCOMPARE(approved, (QJsonObject{{u"workspace_id"_s, m_world.workspace},
                                    {u"user_id"_s, m_world.developer},
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
    TestClient other(m_server.port(), m_world.otherToken);
    const auto later = mutation(m_world.workspace, u"entry.create"_s, World::newId(), 0,
                                closed(u"2025-06-02T08:00:00Z"_s, u"2025-06-02T09:00:00Z"_s));
    QCOMPARE(other.push(later).result().value(u"status"), u"accepted"_s);
    const auto earlier =
        mutation(m_world.workspace, u"timer.start"_s, World::newId(), 0, started(u"2025-06-01T08:00:00Z"_s));
    QCOMPARE(TestClient(m_server.port()).push(earlier).result().value(u"status"), u"accepted"_s);
    const QJsonArray entries = snapshot(m_world.workspace).value(u"time_entries").toArray();
    QCOMPARE(entries.size(), 2);
    QCOMPARE(entries[0][u"user_id"], m_world.developer);
    QVERIFY(entries[0][u"stop_at"].isNull() && entries[0][u"duration_seconds"].isNull());
    QCOMPARE(entries[1][u"user_id"], m_world.other);
    QCOMPARE(entries[1][u"description"], u""_s);
    QVERIFY(entries[1][u"project_id"].isNull());
    QCOMPARE(snapshot(m_world.workspace, m_world.otherToken).value(u"time_entries").toArray(), entries);
}

void TestDevserverApi::snapshotsOfOtherWorkspacesAreNotFound_data() {
    QTest::addColumn<QString>("query");
    QTest::addColumn<int>("status");
    QTest::newRow("someone else's") << u"?workspace_id="_s + m_world.foreignWorkspace << 404;
    QTest::newRow("nobody's") << u"?workspace_id="_s + World::newId() << 404;
    QTest::newRow("not an id") << u"?workspace_id=%00'x"_s << 404;
    QTest::newRow("empty") << u"?workspace_id="_s << 400;
    QTest::newRow("missing") << QString() << 400;
}

void TestDevserverApi::snapshotsOfOtherWorkspacesAreNotFound() {
    QFETCH(QString, query);
    const Reply reply = TestClient(m_server.port()).get("/v1/sync/snapshot" + query.toStdString());
    QTEST(reply.status, "status");
    QCOMPARE(reply.errorCode(), reply.status == 404 ? u"not_found"_s : u"malformed"_s);
}

void TestDevserverApi::theRunningTimerIsTheUsersInAnyWorkspace() {
    TestClient client(m_server.port());
    QCOMPARE(client.get("/v1/me/timer").body, (QJsonObject{{u"timer"_s, QJsonValue::Null}}));
    const Reply start = client.push(mutation(m_world.secondWorkspace, u"timer.start"_s, World::newId(), 0,
                                             started(u"2025-06-01T08:00:00Z"_s)));
    const QJsonObject running = start.result().value(u"canonical").toObject();
    QCOMPARE(running.value(u"workspace_id"), m_world.secondWorkspace);
    QCOMPARE(client.get("/v1/me/timer").body, (QJsonObject{{u"timer"_s, running}}));
    QVERIFY(
        TestClient(m_server.port(), m_world.otherToken).get("/v1/me/timer").body.value(u"timer").isNull());
}

void TestDevserverApi::v1NamesTheServer() {
    const Reply reply = TestClient(m_server.port()).get("/v1");
    QCOMPARE(reply.status, 200);
    QCOMPARE(reply.body, (QJsonObject{{u"name"_s, u"Timer.Kelvaro development server"_s},
                                      {u"version"_s, QStringLiteral(TIMER_VERSION)}}));
}

void TestDevserverApi::otherAddressesAreNotFound() {
    TestClient client(m_server.port());
    for (const char* path : {"/v1/", "/v1/me/", "/v1/nothing", "/v1/sync/push", "/me", "/v1/auth/login"}) {
        const Reply reply = client.get(path);
        QCOMPARE(reply.status, 404);
        QCOMPARE(reply.errorCode(), u"not_found"_s);
    }
}

void TestDevserverApi::webPagesCannotReachTheServerByAName() {
    TestClient client(m_server.port());
    for (const char* host : {"attacker.example", "attacker.example:18080", "8.8.8.8"}) {
        const Reply reply = client.get("/v1/me", {{"Host", host}});
        QCOMPARE(reply.status, 400);
        QCOMPARE(reply.errorCode(), u"bad_host"_s);
    }
    QCOMPARE(client.get("/v1/me", {{"Host", "localhost:1"}}).status, 200);
}

void TestDevserverApi::pagesOfOtherSitesAreRefused_data() {
    QTest::addColumn<QByteArray>("origin");
    QTest::addColumn<int>("status");
    const QByteArray own = "127.0.0.1:" + QByteArray::number(m_server.port());
    QTest::newRow("this server's own") << "http://" + own << 200;
    QTest::newRow("another port") << QByteArray("http://127.0.0.1:1") << 403;
    QTest::newRow("another site") << QByteArray("https://example.com") << 403;
    QTest::newRow("a site of this name") << "http://" + own + ".example.com" << 403;
    QTest::newRow("a file") << QByteArray("null") << 403;
}

void TestDevserverApi::pagesOfOtherSitesAreRefused() {
    QFETCH(const QByteArray, origin);
    QFETCH(const int, status);
    const httplib::Headers headers{{"Origin", origin.toStdString()}};
    for (const char* path : {"/v1/me", "/v1/workspaces"}) {
        const Reply reply = TestClient(m_server.port()).get(path, headers);
        QCOMPARE(reply.status, status);
        QVERIFY(status == 200 || reply.errorCode() == u"foreign_request"_s);
    }
}

void TestDevserverApi::idleConnectionsKeepNobodyWaiting() {
    std::vector<std::unique_ptr<QTcpSocket>> idle;
    for (int i = 0; i < 64; ++i) {
        idle.push_back(std::make_unique<QTcpSocket>());
        idle.back()->connectToHost(QHostAddress::LocalHost, static_cast<quint16>(m_server.port()));
        QVERIFY(idle.back()->waitForConnected());
        idle.back()->write("GET /v1 HT");
        QVERIFY(idle.back()->waitForBytesWritten());
    }
    QCOMPARE(TestClient(m_server.port()).get("/v1/me").status, 200);
    for (const auto& socket : idle) {
        std::ignore = socket->waitForReadyRead(0);             // lets it notice that it was closed
        QCOMPARE(socket->state(), QTcpSocket::ConnectedState); // so nobody had to go first
    }
}

void TestDevserverApi::manyMayConnectAtOnce() {
    const auto process = static_cast<pid_t>(m_server.process().processId());
    QCOMPARE(::kill(process, SIGSTOP), 0);
    const auto goOn = qScopeGuard([process] { ::kill(process, SIGCONT); });
    std::vector<std::unique_ptr<QTcpSocket>> waiting;
    for (int i = 0; i < 64; ++i) {
        waiting.push_back(std::make_unique<QTcpSocket>());
        waiting.back()->connectToHost(QHostAddress::LocalHost, static_cast<quint16>(m_server.port()));
    }
    for (const auto& socket : waiting) {
        QVERIFY(socket->waitForConnected());
    }
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
        mutation(m_world.workspace, u"timer.start"_s, World::newId(), 0, started(u"2025-06-01T08:00:00Z"_s));
    const QByteArray body = QJsonDocument(QJsonObject{{u"mutations"_s, QJsonArray{record}}}).toJson();
    const Reply reply =
        TestClient(m_server.port())
            .post(body.toStdString(), {{"Content-Type", type.toStdString()},
                                       {"Idempotency-Key", record[u"mutation_id"].toString().toStdString()}});
    QCOMPARE(reply.status, taken ? 200 : 415);
    QCOMPARE(m_database.value(u"SELECT COUNT(*) FROM time_entries"_s).toInt(), taken ? 1 : 0);
    if (!taken) {
        QCOMPARE(reply.errorCode(), u"unsupported_media_type"_s);
    }
}

void TestDevserverApi::malformedPushesAreRefused_data() {
    QTest::addColumn<QByteArray>("body");
    const auto row = [](const char* name, const QJsonValue& mutations) {
        QTest::newRow(name) << QJsonDocument(QJsonObject{{u"mutations"_s, mutations}}).toJson();
    };
    const QJsonObject good = mutation(m_world.workspace, u"entry.delete"_s, World::newId(), 1);
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("not JSON") << QByteArray("{\"mutations\":[");
    QTest::newRow("an array") << QByteArray("[]");
    QTest::newRow("nested without end") << QByteArray(100'000, '[');
    row("no list", QJsonValue::Null);
    row("no mutation", QJsonArray());
    row("two mutations", QJsonArray{good, good});
    row("not an object", QJsonArray{1});
    QJsonObject nameless = good;
    nameless.remove(u"mutation_id"_s);
    row("without an id", QJsonArray{nameless});
    for (const QJsonValue& id : {QJsonValue(1), QJsonValue(u"any"_s),
                                 QJsonValue(QString(u'{' + good[u"mutation_id"].toString() + u'}'))}) {
        QJsonObject wrong = good;
        wrong[u"mutation_id"] = id;
        row(qPrintable(u"with the id "_s + id.toVariant().toString()), QJsonArray{wrong});
    }
}

void TestDevserverApi::malformedPushesAreRefused() {
    QFETCH(QByteArray, body);
    const Reply reply =
        TestClient(m_server.port())
            .post(body.toStdString(), {{"Content-Type", "application/json"}, {"Idempotency-Key", "any"}});
    QCOMPARE(reply.status, 400);
    QCOMPARE(reply.errorCode(), u"malformed"_s);
    QCOMPARE(m_database.value(u"SELECT COUNT(*) FROM mutations"_s).toInt(), 0);
}

void TestDevserverApi::theKeyMustBeThereAndMatch() {
    const auto record =
        mutation(m_world.workspace, u"timer.start"_s, World::newId(), 0, started(u"2025-06-01T08:00:00Z"_s));
    const std::string body =
        QJsonDocument(QJsonObject{{u"mutations"_s, QJsonArray{record}}}).toJson().toStdString();
    TestClient client(m_server.port());
    const Reply missing = client.post(body, {{"Content-Type", "application/json"}});
    QCOMPARE(missing.status, 400);
    QCOMPARE(missing.errorCode(), u"idempotency_key_missing"_s);
    const Reply mismatch = client.post(
        body, {{"Content-Type", "application/json"}, {"Idempotency-Key", World::newId().toStdString()}});
    QCOMPARE(mismatch.status, 400);
    QCOMPARE(mismatch.errorCode(), u"idempotency_key_mismatch"_s);
    QCOMPARE(m_database.value(u"SELECT COUNT(*) FROM time_entries"_s).toInt(), 0);
}

void TestDevserverApi::aRequestOverOneMebibyteIsTooLarge() {
    const auto sendBytes = [this](qsizetype size) {
        const QJsonObject body{{u"a"_s, QString(size - 8, u'a')}}; // {"a":""}
        return TestClient(m_server.port()).postTo("/v1/auth/login", body);
    };
    constexpr qsizetype mebibyte = qsizetype{1024} * 1024;
    QCOMPARE(sendBytes(mebibyte).status, 422);
    for (const qsizetype size : {mebibyte + 1, 5 * mebibyte, 9 * mebibyte}) {
        const Reply larger = sendBytes(size);
        QCOMPARE(larger.status, 413);
        QCOMPARE(larger.errorCode(), u"too_large"_s);
    }
}

void TestDevserverApi::aBodyWithoutALengthIsTaken() {
    const auto record =
        mutation(m_world.workspace, u"timer.start"_s, World::newId(), 0, started(u"2025-06-01T08:00:00Z"_s));
    const QByteArray body = QJsonDocument(QJsonObject{{u"mutations"_s, QJsonArray{record}}}).toJson();
    RawConnection raw(m_server.port());
    raw.send(chunkedHead("/v1/sync/push", record[u"mutation_id"].toString().toLatin1()) +
             chunk(body.left(100)) + chunk(body.mid(100)) + chunk({}));
    QVERIFY(raw.readUntil("\"accepted\""));
    QVERIFY(raw.received().startsWith("HTTP/1.1 200 "));
}

void TestDevserverApi::aLargeBodyWithoutALengthIsNotKept_data() {
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<int>("status");
    QTest::newRow("a sign-in") << QByteArray("/v1/auth/login") << 413;
    QTest::newRow("elsewhere") << QByteArray("/v1/nothing") << 413;
}

void TestDevserverApi::aLargeBodyWithoutALengthIsNotKept() {
    QFETCH(QByteArray, path);
    RawConnection raw(m_server.port());
    const qint64 before = peakMemory(m_server.process().processId());
    QVERIFY(before > 0);
    raw.send(chunkedHead(path, "any"));
    const QByteArray mebibyte = chunk(QByteArray(qsizetype{1024} * 1024, ' '));
    for (int i = 0; i < 64; ++i) {
        raw.send(mebibyte);
    }
    raw.send(chunk({}));
    QVERIFY(raw.readUntil("The request is larger than 1 MiB."));
    QVERIFY(raw.received().startsWith("HTTP/1.1 413 "));
    QVERIFY(raw.received().contains("\"code\":\"too_large\""));
    const qint64 kept = peakMemory(m_server.process().processId()) - before;
    QVERIFY2(kept < qint64{16} * 1024, qPrintable(u"%1 KiB"_s.arg(kept)));
    raw.send("GET /v1/workspaces HTTP/1.1\r\nHost: localhost\r\n\r\n");
    QVERIFY2(raw.readUntil("\"items\""), "the connection is out of step");
}

void TestDevserverApi::aBodyThatCannotBeReadIsNotTheNextRequest_data() {
    QTest::addColumn<QByteArray>("head");
    QTest::addColumn<QByteArray>("status");
    QTest::newRow("form") << QByteArray(
                                 "Content-Type: multipart/form-data; boundary=x\r\nContent-Length: 45\r\n")
                          << QByteArray("415");
    QTest::newRow("bad chunk") << QByteArray(
                                      "Content-Type: application/json\r\nTransfer-Encoding: chunked\r\n")
                               << QByteArray("400");
}

void TestDevserverApi::aBodyThatCannotBeReadIsNotTheNextRequest() {
    QFETCH(QByteArray, head);
    QFETCH(QByteArray, status);
    RawConnection raw(m_server.port());
    raw.send("POST /v1/sync/push HTTP/1.1\r\nHost: localhost\r\n" + head + "\r\nno chunk's length\r\n");
    QVERIFY(raw.readUntil("}}"));
    raw.send("GET /v1/workspaces HTTP/1.1\r\nHost: localhost\r\n\r\n");
    QVERIFY2(raw.readToEnd(), "the connection stays open");
    QVERIFY2(raw.received().startsWith("HTTP/1.1 " + status), raw.received().constData());
    QCOMPARE(raw.received().count("HTTP/1.1 "), 1);
}

// One that the server does not read, the client would send again for ever.
void TestDevserverApi::aPushHasRoomForAllThatAClientKeeps() {
    const httplib::Headers headers{{"Content-Type", "application/json"}, {"Idempotency-Key", "any"}};
    constexpr size_t largest = size_t{56} * 1024 * 1024;
    const Reply fits = TestClient(m_server.port()).post(std::string(largest, ' '), headers);
    QCOMPARE(fits.status, 400);
    QCOMPARE(fits.errorCode(), u"malformed"_s);
    const Reply larger = TestClient(m_server.port()).post(std::string(largest + 1, ' '), headers);
    QCOMPARE(larger.status, 413);
    QCOMPARE(larger.errorCode(), u"too_large"_s);
}

void TestDevserverApi::aTextOfMoreThanOneMebibyteIsTheMutationsOwnRejection() {
    const QString text(qsizetype{1024} * 1024 + 1, u'd');
    const auto record = mutation(m_world.workspace, u"entry.create"_s, World::newId(), 0,
                                 closed(u"2025-06-01T08:00:00Z"_s, u"2025-06-01T09:00:00Z"_s, text));
    const Reply reply = TestClient(m_server.port()).push(record);
    QCOMPARE(reply.status, 200);
    QCOMPARE(reply.result().value(u"mutation_id"), record.value(u"mutation_id"));
    QCOMPARE(reply.result().value(u"status"), u"rejected"_s);
    QCOMPARE(reply.result().value(u"message"), u"The description is longer than 100000 characters."_s);
    QCOMPARE(m_database.value(u"SELECT count(*) FROM time_entries"_s).toInt(), 0);
}

QTEST_GUILESS_MAIN(TestDevserverApi)
#include "api.moc"
