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
    Deadlines deadlines(server.serverPort(), 50ms, 1h);
    deadlines.received(peerName("127.0.0.1", working.localPort()));
    QTRY_COMPARE(dawdling.state(), QTcpSocket::UnconnectedState);
    QCOMPARE(working.state(), QTcpSocket::ConnectedState);
    QTcpSocket late;
    late.connectToHost(QHostAddress::LocalHost, server.serverPort());
    QVERIFY2(late.waitForConnected(), "nobody listens any more");
    QVERIFY(server.waitForNewConnection(30'000));
    deadlines.answered(peerName("127.0.0.1", working.localPort()));
    QTRY_COMPARE(working.state(), QTcpSocket::UnconnectedState);
}

QTEST_GUILESS_MAIN(TestDevserverDeadlines)
#include "deadlines.moc"
