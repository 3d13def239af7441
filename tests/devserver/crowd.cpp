// SPDX-License-Identifier: MIT
#include "tests/devserver/pushfixture.h"

#include <QTcpSocket>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <atomic>
#include <memory>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

/// As long as a client of this server waits without progress.
constexpr int clientPatience = 12;

/// Connections that hold the server up as well as they can. It sends each away in time; that one comes back.
class Crowd {
public:
    Crowd(int port, int idle, int dripping)
        : m_port(static_cast<quint16>(port)), m_sent(std::size_t(idle + dripping), 0) {
        for (int i = 0; i < idle + dripping; ++i) {
            m_sockets.push_back(std::make_unique<QTcpSocket>());
            m_sockets.back()->connectToHost(QHostAddress::LocalHost, m_port);
            m_dripping.push_back(i >= idle);
        }
        QObject::connect(&m_drip, &QTimer::timeout, &m_drip, [this] { drip(); });
        m_drip.start(100);
    }

    /// How many are connected.
    [[nodiscard]] std::ptrdiff_t present() const {
        return std::count_if(m_sockets.begin(), m_sockets.end(), [](const auto& socket) {
            return socket->state() == QAbstractSocket::ConnectedState;
        });
    }

private:
    /// One byte more each of a request that never ends.
    void drip() {
        static const QByteArray request = "POST /v1/sync/push HTTP/1.1\r\nContent-Length: 900000\r\n\r\n";
        for (std::size_t i = 0; i < m_sockets.size(); ++i) {
            QTcpSocket& socket = *m_sockets[i];
            if (socket.state() == QAbstractSocket::UnconnectedState) {
                socket.connectToHost(QHostAddress::LocalHost, m_port);
                m_sent[i] = 0;
            } else if (m_dripping[i]) {
                socket.write(m_sent[i] < request.size() ? request.sliced(m_sent[i], 1) : " "_ba);
                ++m_sent[i];
            }
        }
    }

    quint16 m_port;
    std::vector<std::unique_ptr<QTcpSocket>> m_sockets;
    std::vector<bool> m_dripping;
    std::vector<qsizetype> m_sent;
    QTimer m_drip;
};

/// People who work, each on a connection of their own, until told to stop.
class Workers {
public:
    Workers(int port, int count) {
        for (int i = 0; i < count; ++i) {
            m_threads.emplace_back([this, port] {
                TestClient client(port);
                while (!m_over) {
                    m_served += client.get("/v1/me").status == 200 ? 1 : 0;
                }
            });
        }
    }
    ~Workers() {
        m_over = true;
        for (std::thread& thread : m_threads) {
            thread.join();
        }
    }
    Q_DISABLE_COPY_MOVE(Workers)

    [[nodiscard]] int served() const { return m_served; }

private:
    std::atomic<bool> m_over = false;
    std::atomic<int> m_served = 0;
    std::vector<std::thread> m_threads;
};

} // namespace

/// Many at once, of whom most only take up room.
class TestDevserverCrowd : public PushFixture {
    Q_OBJECT

private Q_SLOTS:
    void aClientWorksAmongTwoHundredConnections();
};

void TestDevserverCrowd::aClientWorksAmongTwoHundredConnections() {
    const Crowd crowd(m_server.port(), 100, 34);
    QTRY_COMPARE_WITH_TIMEOUT(crowd.present(), 134, 30'000);
    const Workers workers(m_server.port(), 65);
    QTRY_VERIFY_WITH_TIMEOUT(workers.served() > 65, 120'000);

    std::atomic<int> done = 0;
    std::thread person([this, &done] {
        TestClient client(m_server.port());
        client.waitFor(clientPatience);
        for (int i = 0; i < 5; ++i) {
            const auto record = mutation(m_world.workspace, u"entry.create"_s, World::newId(), 0,
                                         closed(u"2025-06-01T08:00:00Z"_s, u"2025-06-01T09:00:00Z"_s));
            done += statusOf(client.push(record)) == u"accepted"_s ? 1 : 0;
            done +=
                client.get("/v1/sync/snapshot?workspace_id=" + m_world.workspace.toStdString()).status == 200
                    ? 1
                    : 0;
        }
    });
    const auto end = qScopeGuard([&person] { person.join(); });
    QTRY_COMPARE_WITH_TIMEOUT(done.load(), 10, 120'000);
    QTRY_COMPARE_WITH_TIMEOUT(crowd.present(), 134, 30'000);
}

QTEST_GUILESS_MAIN(TestDevserverCrowd)
#include "crowd.moc"
