// SPDX-License-Identifier: MIT
#include "devserver/http/deadlines.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

#include <memory>

using namespace devserver;
using namespace std::chrono_literals;

/// Who sends or reads too slowly is let go; everybody else is not.
class TestDevserverDeadlines : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void onlyConnectionsThatDawdleAreEnded();
};

void TestDevserverDeadlines::onlyConnectionsThatDawdleAreEnded() {
    QTcpServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    QTcpSocket dawdling;
    QTcpSocket working;
    std::vector<std::unique_ptr<QTcpSocket>> accepted;
    for (QTcpSocket* client : {&dawdling, &working}) {
        client->connectToHost(QHostAddress::LocalHost, server.serverPort());
        QVERIFY(client->waitForConnected());
        QVERIFY(server.waitForNewConnection(30'000));
        accepted.emplace_back(server.nextPendingConnection());
    }
    // Long enough that the next line comes before the second look.
    Deadlines deadlines(server.serverPort(), 500ms, 1h);
    deadlines.received(peerName("127.0.0.1", working.localPort()));
    QTRY_COMPARE_WITH_TIMEOUT(dawdling.state(), QTcpSocket::UnconnectedState, 30'000);
    QCOMPARE(working.state(), QTcpSocket::ConnectedState);
    QTcpSocket late;
    late.connectToHost(QHostAddress::LocalHost, server.serverPort());
    QVERIFY2(late.waitForConnected(), "nobody listens any more");
    QVERIFY(server.waitForNewConnection(30'000));
    deadlines.answered(peerName("127.0.0.1", working.localPort()));
    QTRY_COMPARE_WITH_TIMEOUT(working.state(), QTcpSocket::UnconnectedState, 30'000);
}

QTEST_GUILESS_MAIN(TestDevserverDeadlines)
#include "deadlines.moc"
