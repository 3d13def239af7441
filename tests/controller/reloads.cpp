// SPDX-License-Identifier: MIT
#include "tests/support/client.h"
#include "tests/support/desk.h"

#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString snapshotPath = u"/v1/sync/snapshot"_s;
const QString timerPath = u"/v1/me/timer"_s;
const QString pushPath = u"/v1/sync/push"_s;

} // namespace

/// A load that an acknowledgement overtakes brings what was true before it.
class ReloadsTest : public QObject {
    Q_OBJECT

    /// Accepts a push and remembers its entry, as a server does.
    PeerReply accept(const PeerRequest& request);
    void record(const QString& description);
    /// A push under way, whose answer waits, and a load that was asked for after it.
    void leaveBothUnderWay();
    [[nodiscard]] bool lists(const QString& description) const;

    std::unique_ptr<Desk> m_desk;
    QJsonArray m_entries;

private Q_SLOTS:
    void init();
    void cleanup() { m_desk.reset(); }

    void aSnapshotFromBeforeTheLastAcknowledgementIsDropped();
    void aSnapshotFromBeforeAnAcknowledgementIsAskedForAgain();
    void aTimerFromBeforeAnAcknowledgementIsAskedForAgain();
    void aFailedLoadFromBeforeAnAcknowledgementEndsBusy();
};

void ReloadsTest::init() {
    startClean();
    m_entries = {};
    m_desk = std::make_unique<Desk>();
    QVERIFY(m_desk->load());
    m_desk->peer.answer("POST", pushPath, [this](const PeerRequest& request) { return accept(request); });
    m_desk->peer.answer("GET", snapshotPath,
                        [this](const PeerRequest&) { return PeerReply::json(sample::snapshot(m_entries)); });
    QVERIFY(waitForSilence(*m_desk->controller));
    m_desk->peer.forgetRequests();
}

PeerReply ReloadsTest::accept(const PeerRequest& request) {
    m_entries.append(sample::canonical(sample::pushed(request)));
    const bool first = m_desk->peer.requests("POST", pushPath).size() == 1;
    return sample::accept(request).delivered(first ? PeerReply::Delivery::Hold : PeerReply::Delivery::Send);
}

void ReloadsTest::record(const QString& description) {
    m_desk->controller->addManual(description, {}, u"2026-03-02T10:00:00Z"_s, u"2026-03-02T11:00:00Z"_s,
                                  false);
}

bool ReloadsTest::lists(const QString& description) const {
    return !listedEntry(*m_desk->controller, u"description"_s, description).isEmpty();
}

void ReloadsTest::leaveBothUnderWay() {
    record(u"First"_s);
    QTRY_COMPARE(m_desk->peer.held(), 1);
    m_desk->peer.answerOnce("GET", snapshotPath,
                            PeerReply::json(sample::snapshot()).delivered(PeerReply::Delivery::Hold));
    m_desk->controller->refresh();
    QTRY_COMPARE(m_desk->peer.held(), 2);
}

void ReloadsTest::aSnapshotFromBeforeTheLastAcknowledgementIsDropped() {
    leaveBothUnderWay();
    // The load that follows the acknowledgement is kept back as well.
    m_desk->peer.answerOnce(
        "GET", snapshotPath,
        PeerReply::json(sample::snapshot(m_entries)).delivered(PeerReply::Delivery::Hold));
    QSignalSpy ready(m_desk->controller.get(), &Controller::ready);
    m_desk->peer.release();
    QTRY_COMPARE(m_desk->controller->pending(), 0);
    QTRY_COMPARE(m_desk->peer.held(), 1);
    // What is asked after the release is answered after it.
    bool answered = false;
    m_desk->controller->send("GET", timerPath, {}, [&answered](const QJsonObject&, int) { answered = true; });
    QTRY_VERIFY(answered);
    QVERIFY(lists(u"First"_s));
    QVERIFY(m_desk->controller->busy());
    QCOMPARE(ready.size(), 0);

    m_desk->peer.release();
    QVERIFY(ready.wait());
    QVERIFY(waitForSilence(*m_desk->controller));
    QVERIFY(lists(u"First"_s));
    QVERIFY(!m_desk->controller->busy());
    QCOMPARE(ready.size(), 1);
    QCOMPARE(m_desk->peer.requests("GET", snapshotPath).size(), 2);
}

void ReloadsTest::aSnapshotFromBeforeAnAcknowledgementIsAskedForAgain() {
    leaveBothUnderWay();
    record(u"Second"_s);
    bool alwaysListed = true;
    connect(m_desk->controller.get(), &Controller::changed, this,
            [&] { alwaysListed = alwaysListed && lists(u"First"_s) && lists(u"Second"_s); });
    m_desk->peer.release();
    QTRY_COMPARE(m_desk->controller->message(), u"Connected to PostgreSQL"_s);
    QVERIFY(waitForSilence(*m_desk->controller));
    QVERIFY(alwaysListed);
    QCOMPARE(m_desk->controller->pending(), 0);
    QVERIFY(!m_desk->controller->busy());
    QCOMPARE(m_desk->peer.requests("POST", pushPath).size(), 2);
    // The one dropped, the one in its place, the one behind the queue.
    QCOMPARE(m_desk->peer.requests("GET", snapshotPath).size(), 3);
}

void ReloadsTest::aTimerFromBeforeAnAcknowledgementIsAskedForAgain() {
    m_desk->controller->start(u"First"_s, {}, false);
    QTRY_COMPARE(m_desk->peer.held(), 1);
    record(u"Second"_s);
    m_desk->peer.answerOnce(
        "GET", timerPath,
        PeerReply::json({{u"timer"_s, QJsonObject()}}).delivered(PeerReply::Delivery::Hold));
    m_desk->peer.answer("GET", timerPath, [this](const PeerRequest&) {
        return PeerReply::json({{u"timer"_s, m_entries.first()}});
    });
    m_desk->controller->refresh();
    QTRY_COMPARE(m_desk->peer.held(), 2);
    bool alwaysRuns = true;
    connect(m_desk->controller.get(), &Controller::changed, this, [&] {
        alwaysRuns = alwaysRuns && m_desk->controller->timer().value(u"description"_s) == u"First"_s;
    });
    m_desk->peer.release();
    QTRY_COMPARE(m_desk->controller->message(), u"Connected to PostgreSQL"_s);
    QVERIFY(alwaysRuns);
    QCOMPARE(m_desk->controller->pending(), 0);
}

void ReloadsTest::aFailedLoadFromBeforeAnAcknowledgementEndsBusy() {
    record(u"First"_s);
    QTRY_COMPARE(m_desk->peer.held(), 1);
    record(u"Second"_s);
    m_desk->peer.answerOnce("GET", snapshotPath,
                            PeerReply::json({}, 503).delivered(PeerReply::Delivery::Hold));
    m_desk->controller->refresh();
    QTRY_COMPARE(m_desk->peer.held(), 2);
    m_desk->peer.release();
    QTRY_VERIFY(!m_desk->controller->busy());
    QVERIFY(lists(u"First"_s));
    m_desk->controller->synchronize();
    QTRY_COMPARE(m_desk->controller->pending(), 0);
}

QTEST_MAIN(ReloadsTest)
#include "reloads.moc"
