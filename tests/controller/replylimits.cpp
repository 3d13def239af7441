// SPDX-License-Identifier: MIT
#include "controller/replyreader.h"
#include "tests/controller/flood.h"
#include "tests/support/client.h"
#include "tests/support/desk.h"

#include <QNetworkReply>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QTimer>

#include <memory>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype largestReply = 52428800;
constexpr qsizetype largestSnapshot = 50331616;
constexpr int deadlineMs = 120000;

const QString snapshotPath = u"/v1/sync/snapshot"_s;
const QString unavailable = u"Server unavailable. Encrypted cached data retained."_s;

QByteArray snapshotNested(int levels) {
    const int below = levels - 1;
    return R"({"time_entries":[],"deep":)" + QByteArray(below, '[') + QByteArray(below, ']') + '}';
}

QJsonObject snapshotWithVersion(qint64 version) {
    QJsonObject entry = sample::entry(u"e2"_s, u"2024-03-01T08:00:00Z"_s, u"2024-03-01T09:00:00Z"_s);
    entry.insert(u"version", version);
    return sample::snapshot({entry});
}

QByteArray snapshotOf(qsizetype bytes) {
    const QByteArray before = R"({"time_entries":[],"pad":")";
    return before + QByteArray(bytes - before.size() - 2, 'x') + R"("})";
}

/// Valid JSON that compresses to about an eighth.
QByteArray compressible(qsizetype size) {
    QByteArray bytes = R"({"pad":")";
    while (bytes.size() < size - 2) {
        bytes += QByteArray::number(QRandomGenerator::global()->generate64(), 16).leftJustified(80, 'x');
    }
    bytes.resize(size - 2);
    return bytes + R"("})";
}

PeerReply compressed(const QByteArray& body) {
    // Without the four bytes of size that Qt puts before it.
    return PeerReply::text(qCompress(body, 1).sliced(4)).with("Content-Encoding", "deflate");
}

} // namespace

/// Replies that must not be taken, however they come.
class ReplyLimitsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }

    void aReplyTooDeepForTheDocumentIsRefused();
    void theDeepestReplyIsStoredAndFoundAgain();
    void aVersionThatNoChangeCanBeBasedOnIsRefused();
    void aSnapshotThatLeavesNoRoomForWorkIsRefused();
    void workCanBeKeptBesideTheLargestSnapshot();
    void anEndlessReplyIsReadUpToTheLimit();
    void aReplyThatTricklesIsEnded();
    void aReplyThatFallsSilentHasNoBody();
    void aCompressedReplyIsReadWhole();
    void aCompressedReplyAboveTheLimitIsRefused();
};

void ReplyLimitsTest::aReplyTooDeepForTheDocumentIsRefused() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    const QJsonObject before = desk.controller->durableState();
    desk.peer.answer("GET", snapshotPath, PeerReply::text(snapshotNested(1024)));
    desk.controller->refresh();
    QTRY_COMPARE(desk.controller->message(), unavailable);
    QVERIFY(!desk.controller->busy());
    QCOMPARE(desk.controller->durableState(), before);
}

void ReplyLimitsTest::theDeepestReplyIsStoredAndFoundAgain() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    desk.peer.answer("GET", snapshotPath, PeerReply::text(snapshotNested(1023)));
    QSignalSpy ready(desk.controller.get(), &Controller::ready);
    desk.controller->refresh();
    QVERIFY(ready.wait());
    const QJsonObject state = desk.controller->durableState();
    QVERIFY(state.value(u"snapshot").toObject().contains(u"deep"));
    desk.restart();
    QCOMPARE(desk.stored(), state);
}

void ReplyLimitsTest::aVersionThatNoChangeCanBeBasedOnIsRefused() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    const QJsonObject before = desk.controller->durableState();
    desk.peer.answer("GET", snapshotPath, PeerReply::json(snapshotWithVersion(2147483648)));
    desk.controller->refresh();
    QTRY_COMPARE(desk.controller->message(), unavailable);
    QCOMPARE(desk.controller->durableState(), before);

    desk.peer.answer("GET", snapshotPath, PeerReply::json(snapshotWithVersion(2147483647)));
    QSignalSpy ready(desk.controller.get(), &Controller::ready);
    desk.controller->refresh();
    QVERIFY(ready.wait());
    desk.holdPushes();
    desk.controller->editDescription(u"e2"_s, u"The last one"_s);
    QCOMPARE(mutationAt(*desk.controller, 0).value(u"base_version").toInt(), 2147483647);
}

void ReplyLimitsTest::aSnapshotThatLeavesNoRoomForWorkIsRefused() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    const QJsonObject before = desk.controller->durableState();
    desk.peer.answer("GET", snapshotPath, PeerReply::text(snapshotOf(largestReply)));
    desk.controller->refresh();
    QTRY_COMPARE_WITH_TIMEOUT(desk.controller->message(), unavailable, 60000);
    QVERIFY(!desk.controller->busy());
    QCOMPARE(desk.controller->durableState(), before);
    desk.holdPushes();
    desk.controller->start(u"Kept"_s, {}, false);
    QCOMPARE(desk.controller->pending(), 1);
    QCOMPARE(desk.stored(), desk.controller->durableState());
}

void ReplyLimitsTest::workCanBeKeptBesideTheLargestSnapshot() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    desk.peer.answer("GET", snapshotPath, PeerReply::text(snapshotOf(largestSnapshot + 1)));
    desk.controller->refresh();
    QTRY_COMPARE_WITH_TIMEOUT(desk.controller->message(), unavailable, 60000);

    desk.peer.answer("GET", snapshotPath, PeerReply::text(snapshotOf(largestSnapshot)));
    QSignalSpy ready(desk.controller.get(), &Controller::ready);
    desk.controller->refresh();
    QVERIFY(ready.wait(60000));
    desk.holdPushes();
    desk.controller->start(QString(2'000'000, u'x'), {}, false);
    QCOMPARE(desk.controller->message(), u"Saved securely on this device"_s);
    QVERIFY(desk.stored() == desk.controller->durableState());
}

void ReplyLimitsTest::anEndlessReplyIsReadUpToTheLimit() {
    Flood flood(Flood::Pace::Torrent);
    Controller controller;
    controller.setReadOnly(true);
    controller.connectServer(flood.url());
    QTRY_VERIFY_WITH_TIMEOUT(!controller.busy(), 60000);
    QVERIFY(controller.message().startsWith(u"Session unavailable"));
    QTRY_COMPARE(flood.clients(), 0);
    // Beyond the limit only what the connection itself holds.
    QVERIFY2(flood.taken() < largestReply + 16000000, qPrintable(QString::number(flood.taken())));
}

void ReplyLimitsTest::aReplyThatTricklesIsEnded() {
    Flood flood(Flood::Pace::OneByte);
    Controller controller;
    controller.setReadOnly(true);
    controller.connectServer(flood.url());
    QTimer* deadline = nullptr;
    const auto deadlineRuns = [&] {
        const QList<QTimer*> timers = networkOf(controller).findChildren<QTimer*>();
        for (QTimer* timer : timers) {
            deadline = timer->interval() == deadlineMs ? timer : deadline;
        }
        return deadline != nullptr;
    };
    QVERIFY(deadlineRuns());
    QTRY_COMPARE(flood.clients(), 1);
    QVERIFY(controller.busy());
    deadline->setInterval(0);
    QTRY_VERIFY(!controller.busy());
    QVERIFY(controller.message().startsWith(u"Session unavailable"));
    QTRY_COMPARE(flood.clients(), 0);
}

// Whatever the release of Qt calls the end of it.
void ReplyLimitsTest::aReplyThatFallsSilentHasNoBody() {
    QTcpServer server;
    connect(&server, &QTcpServer::newConnection, &server, [&server] {
        server.nextPendingConnection()->write("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n{}");
    });
    QVERIFY(server.listen(QHostAddress::LocalHost));
    QNetworkAccessManager network;
    QNetworkRequest request(QUrl(u"http://127.0.0.1:%1/"_s.arg(server.serverPort())));
    request.setTransferTimeout(4000);
    const std::unique_ptr<QNetworkReply> reply(network.get(request));
    const auto* const reader = new ReplyReader(*reply);
    QTRY_COMPARE(reader->body(), "{}"_ba);
    QTRY_VERIFY_WITH_TIMEOUT(reply->isFinished(), 30000);
    QVERIFY(reader->timedOut());
    QCOMPARE(reader->body(), QByteArray());
}

void ReplyLimitsTest::aCompressedReplyIsReadWhole() {
    Desk desk;
    desk.controller->setReadOnly(true);
    QVERIFY(desk.load());
    const QByteArray body = compressible(9000000);
    desk.peer.answer("GET", u"/v1/probe"_s, compressed(body));
    std::optional<QJsonObject> answer;
    desk.controller->send("GET", u"/probe"_s, {},
                          [&answer](const QJsonObject& reply, int) { answer = reply; });
    QTRY_VERIFY_WITH_TIMEOUT(answer, 30000);
    QCOMPARE(answer->value(u"pad").toString().size(), body.size() - 10);
}

void ReplyLimitsTest::aCompressedReplyAboveTheLimitIsRefused() {
    Desk desk;
    desk.controller->setReadOnly(true);
    QVERIFY(desk.load());
    desk.peer.answer("GET", u"/v1/probe"_s, compressed(compressible(largestReply + 1)));
    std::optional<int> status;
    desk.controller->send("GET", u"/probe"_s, {}, [&status](const QJsonObject&, int code) { status = code; });
    QTRY_VERIFY_WITH_TIMEOUT(status, 30000);
    QCOMPARE(*status, 0);
}

QTEST_MAIN(ReplyLimitsTest)
#include "replylimits.moc"
