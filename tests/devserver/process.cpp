// SPDX-License-Identifier: MIT
#include "devserver/store/schema.h"
#include "tests/devserver/testworld.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QVariant>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <mutex>
#include <set>
#include <thread>

using namespace Qt::StringLiterals;

namespace {

/// Several clients that push entries as fast as they can, and again what fails, until the server is gone
/// or it is enough.
class Load {
public:
    explicit Load(int port) {
        for (int i = 0; i < 4; ++i) {
            m_threads.emplace_back([this, port] { pushUntilDead(port); });
        }
    }
    ~Load() { end(); }
    Q_DISABLE_COPY_MOVE(Load)

    void join() {
        for (std::thread& thread : m_threads) {
            if (thread.joinable()) {
                thread.join();
            }
        }
    }

    void end() {
        m_ends = true;
        join();
    }

    [[nodiscard]] int acknowledged() const { return m_acknowledged; }

    struct Sent {
        QJsonObject mutation;
        std::string answer; ///< empty: never acknowledged
    };
    [[nodiscard]] const std::vector<Sent>& sent() const { return m_sent; }

private:
    void pushUntilDead(int port) {
        TestClient client(port);
        for (bool alive = true; alive && !m_ends;) {
            const auto record =
                mutation(devserver::developmentWorkspace, u"entry.create"_s, World::newId(), 0,
                         closed(u"2025-06-01T08:00:00Z"_s, u"2025-06-01T09:00:00Z"_s, u"עומס"_s));
            Reply reply = client.push(record);
            while (reply.status == 500 && !m_ends) {
                reply = client.push(record);
            }
            const bool acknowledged = reply.status == 200;
            alive = reply.status != 0;
            m_acknowledged += acknowledged ? 1 : 0;
            const std::lock_guard lock(m_mutex);
            m_sent.push_back({record, acknowledged ? reply.text : std::string()});
        }
    }

    std::mutex m_mutex;
    std::vector<Sent> m_sent;
    std::atomic<int> m_acknowledged = 0;
    std::atomic<bool> m_ends = false;
    std::vector<std::thread> m_threads;
};

/// A PostgreSQL that takes connections and never says a word.
QString addressOf(const QTcpServer& silent) {
    return u"postgresql://nobody@127.0.0.1:%1/test"_s.arg(silent.serverPort());
}

quint16 freePort() {
    QTcpServer server;
    return server.listen(QHostAddress::LocalHost) ? server.serverPort() : 0;
}

bool holdsOpen(qint64 process, const QString& file) {
    const QDir descriptors(u"/proc/%1/fd"_s.arg(process));
    const QFileInfoList links =
        descriptors.entryInfoList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System);
    return std::any_of(links.begin(), links.end(),
                       [&file](const QFileInfo& link) { return link.symLinkTarget() == file; });
}

} // namespace

/// The program as a process: how it starts, refuses to start, ends and dies.
class TestDevserverProcess : public QObject {
    Q_OBJECT

    /// There were `before` entries before that load.
    void verifyRecovered(const TestDatabase& database, const Load& load, qulonglong before = 0);

private Q_SLOTS:
    void helpAndVersionArePrinted();
    void openNetworksAreRefused_data();
    void openNetworksAreRefused();
    void aPortInUseIsOneSentence();
    void aDatabaseThatCannotBeOpenedIsOneSentence();
    void aDatabaseOfANewerVersionIsRefused();
    void anEmptyDatabaseGetsADeveloperAndAWorkspace();
    void startingAgainKeepsTheDataAndMigratesOnce();
    void theDatabaseFileIsTheOwnersAlone();
    void signalsEndItCleanly_data();
    void signalsEndItCleanly();
    void signalsEndTheWaitForASilentDatabase_data();
    void signalsEndTheWaitForASilentDatabase();
    void signalsEndTheWaitForALockedDatabase();
    void aSilentDatabaseIsOneSentence();
    void aSignalUnderLoadLosesNothing();
    void allAcknowledgedSurvivesSigkill();
    void allAcknowledgedSurvivesARestartOfItsDatabase();
    void aLostDatabaseIsAnErrorAndThenForgotten();
};

void TestDevserverProcess::helpAndVersionArePrinted() {
    for (const auto& asked : {u"--help"_s, u"--help-all"_s}) {
        TestServer help;
        QVERIFY2(help.runToEnd({asked}), qPrintable(asked));
        QCOMPARE(help.exitCode(), 0);
        const QByteArray text = help.process().readAllStandardOutput();
        for (const char* option : {"--listen", "--database", "--demo", "--help", "--version"}) {
            QVERIFY(text.contains(option));
        }
    }
    TestServer version;
    QVERIFY(version.runToEnd({u"--version"_s}));
    QCOMPARE(version.exitCode(), 0);
    QCOMPARE(version.process().readAllStandardOutput(),
             QByteArray("timer-kelvaro-devserver " TIMER_VERSION "\n"));
}

void TestDevserverProcess::openNetworksAreRefused_data() {
    QTest::addColumn<QString>("address");
    for (const char* address :
         {"0.0.0.0:0", "[::]:0", "8.8.8.8:0", "172.32.0.1:0", "[2001:db8::1]:0", "169.254.1.1:0"}) {
        QTest::newRow(address) << QString::fromLatin1(address);
    }
}

void TestDevserverProcess::openNetworksAreRefused() {
    QFETCH(QString, address);
    const TestDatabase database;
    TestServer server;
    QVERIFY(server.runToEnd({u"--listen"_s, address, u"--database"_s, database.option()}));
    QCOMPARE(server.exitCode(), 1);
    const QString text = server.standardError();
    QVERIFY2(text.endsWith(u"is neither loopback nor private; this server is not for the open network.\n"),
             qPrintable(text));
    QCOMPARE(server.process().readAllStandardOutput(), QByteArray());
}

void TestDevserverProcess::aPortInUseIsOneSentence() {
    const TestDatabase database;
    TestServer first;
    QVERIFY(first.start(database));
    const QString address = u"127.0.0.1:%1"_s.arg(first.port());
    TestServer second;
    QVERIFY(second.runToEnd({u"--listen"_s, address, u"--database"_s, database.option()}));
    QCOMPARE(second.exitCode(), 1);
    QCOMPARE(second.standardError(),
             u"Cannot listen on %1; another program uses this port already.\n"_s.arg(address));
    QCOMPARE(TestClient(first.port()).get("/v1/me").status, 200);
}

void TestDevserverProcess::aDatabaseThatCannotBeOpenedIsOneSentence() {
    QTemporaryDir folder;
    QFile text(folder.filePath(u"text"_s));
    QVERIFY(text.open(QIODevice::WriteOnly));
    QVERIFY(text.write(QByteArray(5000, 'x')) == 5000);
    text.close();
    for (const QString& database : {u"sqlite:"_s + folder.path(), u"sqlite:"_s + text.fileName(),
                                    u"sqlite:"_s + text.fileName() + u"/below/it.sqlite"_s,
                                    u"postgresql://nobody@127.0.0.1:1/nothing"_s}) {
        TestServer server;
        QVERIFY(server.runToEnd({u"--listen"_s, u"127.0.0.1:0"_s, u"--database"_s, database}));
        QCOMPARE(server.exitCode(), 1);
        const QString error = server.standardError();
        QVERIFY2(error.startsWith(u"Cannot use the database ") && error.count(u'\n') == 1, qPrintable(error));
    }
    QVERIFY(text.open(QIODevice::ReadOnly));
    QCOMPARE(text.readAll(), QByteArray(5000, 'x'));
}

void TestDevserverProcess::aDatabaseOfANewerVersionIsRefused() {
    const TestDatabase database;
    const World world(database);
    database.run(u"INSERT INTO schema_migrations (version, applied_at) VALUES (9999, 0)"_s);
    TestServer server;
    QVERIFY(server.runToEnd({u"--listen"_s, u"127.0.0.1:0"_s, u"--database"_s, database.option()}));
    QCOMPARE(server.exitCode(), 1);
    QVERIFY(server.standardError().endsWith(u": it was made by a newer version of this program.\n"));
}

void TestDevserverProcess::anEmptyDatabaseGetsADeveloperAndAWorkspace() {
    const TestDatabase database;
    TestServer server;
    QVERIFY(server.start(database));
    const QJsonArray workspaces =
        TestClient(server.port()).get("/v1/workspaces").body.value(u"items").toArray();
    QCOMPARE(workspaces.size(), 1);
    const std::string path =
        "/v1/sync/snapshot?workspace_id=" + workspaces[0][u"id"].toString().toStdString();
    const Reply snapshot = TestClient(server.port()).get(path);
    QCOMPARE(snapshot.status, 200);
    QCOMPARE(snapshot.body.value(u"time_entries"), QJsonArray());
    QCOMPARE(snapshot.body.value(u"catalog"),
             (QJsonObject{{u"projects"_s, QJsonArray()}, {u"clients"_s, QJsonArray()}}));
    QVERIFY(server.terminate());
    QCOMPARE(server.exitCode(), 0);
}

void TestDevserverProcess::startingAgainKeepsTheDataAndMigratesOnce() {
    const TestDatabase database;
    const auto record = mutation(devserver::developmentWorkspace, u"timer.start"_s, World::newId(), 0,
                                 started(u"2025-06-01T08:00:00Z"_s));
    std::string answer;
    for (int run = 0; run < 3; ++run) {
        TestServer server;
        QVERIFY(server.start(database));
        const Reply reply = TestClient(server.port()).push(record);
        QCOMPARE(reply.result().value(u"status"), u"accepted"_s);
        answer = answer.empty() ? reply.text : answer;
        QCOMPARE(reply.text, answer);
        QVERIFY(server.terminate());
        QCOMPARE(server.exitCode(), 0);
    }
    QCOMPARE(database.value(u"SELECT COUNT(*) FROM users"_s).toInt(), 1);
    QCOMPARE(database.value(u"SELECT COUNT(*) FROM workspaces"_s).toInt(), 1);
    QCOMPARE(database.value(u"SELECT COUNT(*) FROM schema_migrations"_s),
             database.value(u"SELECT MAX(version) FROM schema_migrations"_s));
}

void TestDevserverProcess::theDatabaseFileIsTheOwnersAlone() {
    if (TestDatabase::isPostgresql()) {
        QSKIP("PostgreSQL keeps its own files");
    }
    const TestDatabase database;
    TestServer server;
    QVERIFY(server.start(database));
    QCOMPARE(TestClient(server.port()).get("/v1/me").status, 200); // the database is in use now
    const auto owners =
        QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadUser | QFileDevice::WriteUser;
    for (const char* suffix : {"", "-wal", "-shm"}) {
        const QFileInfo file(database.address().name + QString::fromLatin1(suffix));
        QVERIFY2(file.exists(), qPrintable(file.filePath()));
        QCOMPARE(file.permissions(), owners);
    }
}

void TestDevserverProcess::signalsEndItCleanly_data() {
    QTest::addColumn<int>("signal");
    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGINT") << SIGINT;
}

void TestDevserverProcess::signalsEndItCleanly() {
    QFETCH(int, signal);
    const TestDatabase database;
    TestServer server;
    QVERIFY(server.start(database));
    TestClient idle(server.port());
    QCOMPARE(idle.get("/v1/me").status, 200);
    QCOMPARE(::kill(static_cast<pid_t>(server.process().processId()), signal), 0);
    QVERIFY(server.process().waitForFinished());
    QCOMPARE(server.exitCode(), 0);
    QCOMPARE(server.standardError(), QString());
    QCOMPARE(idle.get("/v1/me").status, 0);
    if (!TestDatabase::isPostgresql()) {
        QVERIFY2(!QFile::exists(database.address().name + u"-wal"_s), "the database was not closed");
    }
}

void TestDevserverProcess::signalsEndTheWaitForASilentDatabase_data() {
    signalsEndItCleanly_data();
}

void TestDevserverProcess::signalsEndTheWaitForASilentDatabase() {
    QFETCH(int, signal);
    QTcpServer silent;
    QVERIFY(silent.listen(QHostAddress::LocalHost));
    const quint16 port = freePort();
    TestServer server;
    server.launch({u"--listen"_s, u"127.0.0.1:%1"_s.arg(port), u"--database"_s, addressOf(silent)});
    QVERIFY(silent.waitForNewConnection(30'000));
    QTcpSocket early;
    early.connectToHost(QHostAddress::LocalHost, port);
    QVERIFY2(!early.waitForConnected(), "a client would wait for an answer that cannot come yet");
    QCOMPARE(::kill(static_cast<pid_t>(server.process().processId()), signal), 0);
    QVERIFY(server.process().waitForFinished());
    QCOMPARE(server.exitCode(), 0);
    QCOMPARE(server.standardError(), QString());
}

void TestDevserverProcess::signalsEndTheWaitForALockedDatabase() {
    if (TestDatabase::isPostgresql()) {
        QSKIP("SQLite alone locks the whole file");
    }
    const TestDatabase database;
    const World world(database);
    devserver::Connection holder(database.address());
    holder.run(u"BEGIN EXCLUSIVE"_s);
    TestServer server;
    server.launch({u"--listen"_s, u"127.0.0.1:0"_s, u"--database"_s, database.option()});
    QVERIFY(server.process().waitForStarted());
    QTRY_VERIFY_WITH_TIMEOUT(holdsOpen(server.process().processId(), database.address().name), 30'000);
    QVERIFY(server.terminate());
    QCOMPARE(server.exitCode(), 0);
    QCOMPARE(server.standardError(), QString());
    holder.run(u"COMMIT"_s);
    TestServer again;
    QVERIFY(again.start(database));
}

void TestDevserverProcess::aSilentDatabaseIsOneSentence() {
    QTcpServer silent;
    QVERIFY(silent.listen(QHostAddress::LocalHost));
    TestServer server;
    QVERIFY(server.runToEnd({u"--listen"_s, u"127.0.0.1:0"_s, u"--database"_s, addressOf(silent)}));
    QCOMPARE(server.exitCode(), 1);
    const QString error = server.standardError();
    QVERIFY2(error.startsWith(u"Cannot use the database test: ") && error.count(u'\n') == 1,
             qPrintable(error));
}

void TestDevserverProcess::verifyRecovered(const TestDatabase& database, const Load& load,
                                           qulonglong before) {
    TestServer server;
    QVERIFY(server.start(database));
    TestClient client(server.port());
    std::set<QString> ids;
    for (const Load::Sent& sent : load.sent()) {
        if (!sent.answer.empty()) {
            QCOMPARE(database
                         .value(u"SELECT COUNT(*) FROM time_entries WHERE id = ?"_s,
                                {sent.mutation[u"entity_id"].toString()})
                         .toInt(),
                     1);
        }
        const Reply replay = client.push(sent.mutation);
        QCOMPARE(replay.result().value(u"status"), u"accepted"_s);
        if (!sent.answer.empty()) {
            QCOMPARE(replay.text, sent.answer);
        }
        ids.insert(sent.mutation[u"entity_id"].toString());
    }
    QCOMPARE(database.value(u"SELECT COUNT(*) FROM time_entries"_s).toULongLong(), before + ids.size());
    QCOMPARE(database.value(u"SELECT COUNT(*) FROM time_entries WHERE version <> 1"_s).toInt(), 0);
}

void TestDevserverProcess::aSignalUnderLoadLosesNothing() {
    const TestDatabase database;
    TestServer server;
    QVERIFY(server.start(database));
    Load load(server.port());
    QTRY_VERIFY_WITH_TIMEOUT(load.acknowledged() >= 100, 60'000);
    QVERIFY(server.terminate());
    QCOMPARE(server.exitCode(), 0);
    load.join();
    verifyRecovered(database, load);
}

void TestDevserverProcess::allAcknowledgedSurvivesSigkill() {
    const TestDatabase database;
    for (int round = 0; round < 6; ++round) {
        TestServer server;
        QVERIFY(server.start(database));
        const auto before = database.value(u"SELECT COUNT(*) FROM time_entries"_s).toULongLong();
        Load load(server.port());
        QTRY_VERIFY_WITH_TIMEOUT(load.acknowledged() >= 20, 60'000);
        QVERIFY(server.kill());
        load.join();
        verifyRecovered(database, load, before);
        if (QTest::currentTestFailed()) {
            return;
        }
    }
}

void TestDevserverProcess::allAcknowledgedSurvivesARestartOfItsDatabase() {
    if (!TestDatabase::isPostgresql()) {
        QSKIP("SQLite has no server that could be restarted");
    }
    const TestDatabase database;
    TestServer server;
    QVERIFY(server.start(database));
    Load load(server.port());
    for (const QString& how : {u"fast"_s, u"immediate"_s, u"immediate"_s}) {
        const int before = load.acknowledged();
        QTRY_VERIFY_WITH_TIMEOUT(load.acknowledged() >= before + 30, 60'000);
        QCOMPARE(QProcess::execute(u"pg_ctlcluster"_s, {u"-m"_s, how, qEnvironmentVariable("PGVERSION"),
                                                        u"regress"_s, u"restart"_s}),
                 0);
    }
    const int before = load.acknowledged();
    QTRY_VERIFY_WITH_TIMEOUT(load.acknowledged() >= before + 30, 60'000);
    load.end();
    QVERIFY(server.terminate());
    verifyRecovered(database, load);
}

void TestDevserverProcess::aLostDatabaseIsAnErrorAndThenForgotten() {
    const TestDatabase database;
    TestServer server;
    QVERIFY(server.start(database));
    TestClient client(server.port());
    database.run(u"ALTER TABLE users RENAME TO lost"_s);
    const Reply failed = client.get("/v1/me");
    QCOMPARE(failed.status, 500);
    QCOMPARE(failed.errorCode(), u"internal"_s);
    QCOMPARE(failed.body[u"error"][u"message"], u"The server could not complete the request."_s);
    QVERIFY2(!failed.text.empty() && failed.text.find("users") == std::string::npos, failed.text.c_str());
    const auto record = mutation(devserver::developmentWorkspace, u"timer.start"_s, World::newId(), 0,
                                 started(u"2025-06-01T08:00:00Z"_s));
    database.run(u"ALTER TABLE lost RENAME TO users"_s);
    database.run(u"ALTER TABLE mutations RENAME TO lost"_s);
    QCOMPARE(client.push(record).status, 500);
    database.run(u"ALTER TABLE lost RENAME TO mutations"_s);
    QCOMPARE(database.value(u"SELECT COUNT(*) FROM time_entries"_s).toInt(), 0);
    QCOMPARE(client.get("/v1/me").status, 200);
    QCOMPARE(client.push(record).result().value(u"status"), u"accepted"_s);
}

QTEST_GUILESS_MAIN(TestDevserverProcess)
#include "process.moc"
