// SPDX-License-Identifier: MIT
#include "tests/devserver/pushfixture.h"

#include <QTest>
#include <QVariant>

#include <array>
#include <barrier>
#include <thread>

using namespace Qt::StringLiterals;

/// Each mutation is applied exactly once, whoever sends it how often and when.
class TestDevserverReplay : public PushFixture {
    Q_OBJECT

public:
    TestDevserverReplay();

private Q_SLOTS:
    void aReplayHearsTheFirstAnswer();
    void aRefusalIsRepeatedEvenWhenItsReasonIsGone();
    void theSameIdWithAnotherContentIsUnprocessable();
    void anotherUsersMutationIdSaysNothing();
    void aRestartedDatabaseIsOpenedAnew();
    void twoClientsPushingTheSameMutationApplyItOnce();
    void twoClientsChangingTheSameVersionGetOneAcceptance();
    void twoClientsStartingATimerGetOne();
};

// Whoever runs a PostgreSQL may have given it another level than its own, under which one of two
// changes at once would see nothing of the other, and fail.
TestDevserverReplay::TestDevserverReplay() {
    if (TestDatabase::isPostgresql()) {
        m_database.run(u"ALTER DATABASE %1 SET default_transaction_isolation TO 'repeatable read'"_s.arg(
            m_database.address().name));
    }
}

void TestDevserverReplay::aReplayHearsTheFirstAnswer() {
    const QString id = World::newId();
    const auto start = startOf(id);
    const Reply first = m_client->push(start);
    QCOMPARE(statusOf(first), u"accepted"_s);
    QCOMPARE(statusOf(push(u"timer.stop"_s, id, 1, {{u"stop_at"_s, u"2025-06-01T09:00:00Z"_s}})),
             u"accepted"_s);
    QCOMPARE(m_client->push(start).text, first.text);
    QCOMPARE(TestClient(m_server.port()).push(start).text, first.text);
    QCOMPARE(m_database.value(u"SELECT version FROM time_entries"_s).toInt(), 2);
}

void TestDevserverReplay::aRefusalIsRepeatedEvenWhenItsReasonIsGone() {
    const QString id = stored(u"2025-06-01T08:00:00Z"_s, u"2025-06-01T09:00:00Z"_s);
    const auto late = mutation(m_world.workspace, u"entry.update"_s, id, 4, {{u"description"_s, u"x"_s}});
    const Reply first = m_client->push(late);
    QCOMPARE(statusOf(first), u"conflict"_s);
    m_database.run(u"UPDATE time_entries SET version = 4"_s);
    QCOMPARE(m_client->push(late).text, first.text);
    QCOMPARE(m_database.value(u"SELECT description FROM time_entries"_s), u"stored"_s);
}

void TestDevserverReplay::theSameIdWithAnotherContentIsUnprocessable() {
    auto record = startOf(World::newId());
    const Reply first = m_client->push(record);
    QCOMPARE(statusOf(first), u"accepted"_s);
    const QJsonObject original = record;
    record[u"device_id"] = World::newId();
    const Reply reused = m_client->push(record);
    QCOMPARE(reused.status, 422);
    QCOMPARE(reused.errorCode(), u"idempotency_key_reused"_s);
    QCOMPARE(m_client->push(original).text, first.text);
    QCOMPARE(count(u"time_entries"_s), 1);
}

void TestDevserverReplay::anotherUsersMutationIdSaysNothing() {
    const auto record = startOf(World::newId());
    QCOMPARE(statusOf(m_client->push(record)), u"accepted"_s);
    const Reply other = m_other->push(record);
    QCOMPARE(statusOf(other), u"conflict"_s);
    QVERIFY(!other.result().contains(u"canonical"));
    QCOMPARE(count(u"time_entries"_s), 1);
}

void TestDevserverReplay::aRestartedDatabaseIsOpenedAnew() {
    if (!TestDatabase::isPostgresql()) {
        QSKIP("SQLite has no server that could be restarted");
    }
    for (int i = 0; i < 64; ++i) {
        QCOMPARE(m_client->get("/v1/me").status, 200); // each worker has its connection now
    }
    m_database.run(u"SELECT pg_terminate_backend(pid) FROM pg_stat_activity"
                   " WHERE datname = current_database() AND pid <> pg_backend_pid()"_s);
    for (int i = 0; i < 32; ++i) {
        QCOMPARE(m_client->get("/v1/me").status, 200);
        QCOMPARE(statusOf(push(u"entry.create"_s, World::newId(), 0,
                               closed(u"2025-06-01T08:00:00Z"_s, u"2025-06-01T09:00:00Z"_s))),
                 u"accepted"_s);
    }
    QCOMPARE(count(u"time_entries"_s), 32);
}

/// Lets two clients push at the same moment, many times over, and hands each
/// pair of replies to `check`.
template <typename Make, typename Check>
static void race(int port, int rounds, Make make, Check check) {
    for (int round = 0; round < rounds; ++round) {
        const std::array<QJsonObject, 2> records = make();
        std::array<Reply, 2> replies;
        std::barrier together(2);
        std::array<std::thread, 2> threads;
        for (size_t i = 0; i < 2; ++i) {
            threads[i] = std::thread([&, i] {
                TestClient client(port);
                const bool connected = client.get("/v1/me").status == 200;
                together.arrive_and_wait();
                if (connected) {
                    replies[i] = client.push(records[i]);
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        check(replies);
        if (QTest::currentTestFailed()) {
            return;
        }
    }
}

void TestDevserverReplay::twoClientsPushingTheSameMutationApplyItOnce() {
    constexpr int rounds = 60;
    const auto make = [this] {
        const auto record = mutation(m_world.workspace, u"entry.create"_s, World::newId(), 0,
                                     closed(u"2025-06-01T08:00:00Z"_s, u"2025-06-01T09:00:00Z"_s));
        return std::array{record, record};
    };
    race(m_server.port(), rounds, make, [](const std::array<Reply, 2>& replies) {
        QCOMPARE(statusOf(replies[0]), u"accepted"_s);
        QCOMPARE(replies[1].text, replies[0].text);
    });
    QCOMPARE(count(u"time_entries"_s), rounds);
    QCOMPARE(count(u"mutations"_s), rounds);
}

void TestDevserverReplay::twoClientsChangingTheSameVersionGetOneAcceptance() {
    const QString id = stored(u"2025-06-01T08:00:00Z"_s, u"2025-06-01T09:00:00Z"_s);
    int version = 5;
    const auto make = [&] {
        const auto record = [&](const QString& text) {
            return mutation(m_world.workspace, u"entry.update"_s, id, version, {{u"description"_s, text}});
        };
        return std::array{record(u"a"_s), record(u"b"_s)};
    };
    race(m_server.port(), 30, make, [&version](const std::array<Reply, 2>& replies) {
        QStringList statuses{statusOf(replies[0]), statusOf(replies[1])};
        statuses.sort();
        QCOMPARE(statuses, (QStringList{u"accepted"_s, u"conflict"_s}));
        ++version;
    });
    QCOMPARE(m_database.value(u"SELECT version FROM time_entries"_s).toInt(), 35);
}

void TestDevserverReplay::twoClientsStartingATimerGetOne() {
    const auto make = [this] {
        const auto record = [this] { return startOf(World::newId()); };
        return std::array{record(), record()};
    };
    race(m_server.port(), 30, make, [this](const std::array<Reply, 2>& replies) {
        QStringList statuses{statusOf(replies[0]), statusOf(replies[1])};
        statuses.sort();
        QCOMPARE(statuses, (QStringList{u"accepted"_s, u"conflict"_s}));
        m_database.run(u"UPDATE time_entries SET stop_at = start_at"_s);
    });
    QCOMPARE(count(u"time_entries"_s), 30);
}

QTEST_GUILESS_MAIN(TestDevserverReplay)
#include "replay.moc"
