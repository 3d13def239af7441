// SPDX-License-Identifier: MIT
#include "tests/support/client.h"
#include "tests/support/desk.h"

#include <QNetworkInformation>
#include <QNetworkReply>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <functional>

using namespace Qt::StringLiterals;

namespace {

constexpr int stepSeconds = 15;
constexpr int timeoutSeconds = 12;

const QString snapshotPath = u"/v1/sync/snapshot"_s;

} // namespace

/// A server that accepts connections and never answers. Time is the test's: it
/// lets the timers fire and gives requests up as the time-out does.
class SilenceTest : public QObject {
    Q_OBJECT

    [[nodiscard]] QTimer* pause() const;
    [[nodiscard]] qsizetype reloads() const { return m_desk->peer.requests("GET", snapshotPath).size(); }
    void step() const { stepPeriodically(*m_desk->controller); }
    void giveUp() const;
    /// A periodic reload that nobody answers.
    void timeOut() const;

    std::unique_ptr<Desk> m_desk;

private Q_SLOTS:
    void init();
    void cleanup() { m_desk.reset(); }

    void periodicReloadsPauseLongerAndLonger();
    void startCanBePressedNineTenthsOfTheTime();
    void anAnswerEndsThePauses();
    void pressingSyncEndsThePauses();
    void connectingEndsThePauses();
    void aChangeOfTheNetworkEndsThePauses();
    void aSilentTimerRequestCountsToo();
    void otherFailuresChangeNothing_data();
    void otherFailuresChangeNothing();
    void onlyPeriodicReloadsCount();
    void waitingWorkIsPushedAllTheSame();
};

void SilenceTest::init() {
    startClean();
    m_desk = std::make_unique<Desk>();
    QVERIFY(m_desk->load());
    m_desk->peer.answer("GET", snapshotPath, PeerReply::only(PeerReply::Delivery::Never));
    m_desk->peer.forgetRequests();
    QVERIFY(pause());
}

QTimer* SilenceTest::pause() const {
    const QList<QTimer*> timers =
        m_desk->controller->findChildren<QTimer*>(QString(), Qt::FindDirectChildrenOnly);
    const auto pause = std::find_if(timers.begin(), timers.end(), std::mem_fn(&QTimer::isSingleShot));
    return pause == timers.end() ? nullptr : *pause;
}

void SilenceTest::giveUp() const {
    const QList<QNetworkReply*> replies = networkOf(*m_desk->controller).findChildren<QNetworkReply*>();
    for (QNetworkReply* reply : replies) {
        reply->abort();
    }
}

void SilenceTest::timeOut() const {
    const qsizetype before = reloads();
    step();
    QTRY_COMPARE(reloads(), before + 1);
    QVERIFY(m_desk->controller->busy());
    giveUp();
    QVERIFY(!m_desk->controller->busy());
    QCOMPARE(m_desk->controller->message(), u"Server unavailable. Encrypted cached data retained."_s);
}

void SilenceTest::periodicReloadsPauseLongerAndLonger() {
    for (const int seconds : {30, 60, 150, 300, 300}) {
        timeOut();
        QVERIFY(pause()->isActive());
        QCOMPARE(pause()->interval(), 1000 * seconds);
        step();
        QVERIFY(!m_desk->controller->busy());
        pause()->stop();
    }
}

void SilenceTest::startCanBePressedNineTenthsOfTheTime() {
    int busySeconds = 0;
    int pauseEnds = 0;
    for (int second = 0; second < 600; second += stepSeconds) {
        if (second >= pauseEnds) {
            pause()->stop();
        }
        step();
        if (m_desk->controller->busy()) {
            busySeconds += timeoutSeconds;
            giveUp();
            pauseEnds = second + timeoutSeconds + pause()->interval() / 1000;
        }
    }
    qInfo("Start can be pressed in %d of 600 seconds", 600 - busySeconds);
    QVERIFY(busySeconds > 0);
    QVERIFY(busySeconds <= 60);
}

void SilenceTest::anAnswerEndsThePauses() {
    timeOut();
    pause()->stop();
    timeOut();
    pause()->stop();
    m_desk->peer.answerOnce("GET", snapshotPath, PeerReply::json(sample::snapshot()));
    QSignalSpy ready(m_desk->controller.get(), &Controller::ready);
    step();
    QVERIFY(ready.wait());
    QVERIFY(!pause()->isActive());
    timeOut();
    QCOMPARE(pause()->interval(), 30000);
}

void SilenceTest::pressingSyncEndsThePauses() {
    timeOut();
    m_desk->controller->synchronize();
    QVERIFY(m_desk->controller->busy());
    QVERIFY(!pause()->isActive());
    QTRY_COMPARE(reloads(), 2);
    giveUp();
    // It was the person who asked: their reload makes none wait.
    QVERIFY(!pause()->isActive());
    timeOut();
    QCOMPARE(pause()->interval(), 30000);
}

void SilenceTest::connectingEndsThePauses() {
    timeOut();
    QVERIFY(pause()->isActive());
    m_desk->controller->connectServer(m_desk->peer.url());
    QVERIFY(!pause()->isActive());
}

void SilenceTest::aChangeOfTheNetworkEndsThePauses() {
    timeOut();
    QNetworkInformation* const network = QNetworkInformation::instance();
    if (!network) {
        QSKIP("No back end knows about the network here");
    }
    QVERIFY(pause()->isActive());
    Q_EMIT network->reachabilityChanged(QNetworkInformation::Reachability::Online);
    QVERIFY(!pause()->isActive());
    timeOut();
    QCOMPARE(pause()->interval(), 30000);
    Q_EMIT network->transportMediumChanged(QNetworkInformation::TransportMedium::WiFi);
    QVERIFY(!pause()->isActive());
}

void SilenceTest::aSilentTimerRequestCountsToo() {
    m_desk->peer.answerOnce("GET", snapshotPath, PeerReply::json(sample::snapshot()));
    m_desk->peer.answer("GET", u"/v1/me/timer"_s, PeerReply::only(PeerReply::Delivery::Never));
    step();
    QTRY_COMPARE(m_desk->peer.requests("GET", u"/v1/me/timer"_s).size(), 1);
    giveUp();
    QVERIFY(!m_desk->controller->busy());
    QVERIFY(pause()->isActive());
}

void SilenceTest::otherFailuresChangeNothing_data() {
    QTest::addColumn<PeerReply>("reply");
    QTest::newRow("no connection") << PeerReply::only(PeerReply::Delivery::Close);
    QTest::newRow("half a reply") << PeerReply::json(sample::oneEntry()).delivered(PeerReply::Delivery::Cut);
    QTest::newRow("503") << PeerReply::json({}, 503);
    QTest::newRow("not JSON") << PeerReply::text("<html>");
}

void SilenceTest::otherFailuresChangeNothing() {
    QFETCH(const PeerReply, reply);
    const auto failOtherwise = [&] {
        m_desk->peer.answer("GET", snapshotPath, reply);
        step();
        QTRY_VERIFY(!m_desk->controller->busy());
        m_desk->peer.answer("GET", snapshotPath, PeerReply::only(PeerReply::Delivery::Never));
    };
    failOtherwise();
    QVERIFY(!pause()->isActive());
    timeOut();
    pause()->stop();
    failOtherwise();
    timeOut();
    QCOMPARE(pause()->interval(), 60000);
}

void SilenceTest::onlyPeriodicReloadsCount() {
    m_desk->controller->refresh();
    giveUp();
    QVERIFY(!m_desk->controller->busy());
    QVERIFY(!pause()->isActive());
}

void SilenceTest::waitingWorkIsPushedAllTheSame() {
    timeOut();
    QVERIFY(m_desk->holdQueue({sample::queueItem(u"entry.update"_s, u"e1"_s, {})}));
    step();
    QTRY_COMPARE(m_desk->controller->pending(), 0);
}

QTEST_MAIN(SilenceTest)
#include "silence.moc"
