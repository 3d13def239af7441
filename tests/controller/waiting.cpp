// SPDX-License-Identifier: MIT
#include "tests/support/client.h"
#include "tests/support/desk.h"

#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString snapshotPath = u"/v1/sync/snapshot"_s;
const QString timerPath = u"/v1/me/timer"_s;

QJsonObject runningElsewhere(const QString& id) {
    return sample::entry(id, u"2026-03-02T10:00:00Z"_s, QJsonValue());
}

} // namespace

/// The timer from the shortcut and the tray: what is pressed while a request is
/// under way is done once, when it has ended, if it still is what was meant.
class WaitingTest : public QObject {
    Q_OBJECT

    void load(const QJsonObject& timer = {});
    void serveTimer(const QJsonObject& timer);
    /// A reload whose answer waits for release().
    void makeBusy();
    void endBusy();
    void toggle(const QString& description = u"Pressed"_s) {
        m_desk->controller->toggleTimer(description, {}, true);
    }
    [[nodiscard]] QString operation(qsizetype index) const;

    std::unique_ptr<Desk> m_desk;

private Q_SLOTS:
    void init() { startClean(); }
    void cleanup() { m_desk.reset(); }

    void idleItIsDoneAtOnce();
    void aStartWaitsForTheEndOfBusy();
    void aStopWaitsForTheEndOfBusy_data();
    void aStopWaitsForTheEndOfBusy();
    void nothingIsPromisedBeforeAWorkspaceIsKnown();
    void twoPressesAreOne_data();
    void twoPressesAreOne();
    void stoppingTakesBackAStartThatWaits();
    void whatNoLongerAppliesIsDropped_data();
    void whatNoLongerAppliesIsDropped();
    void whatIsPressedMeansWhatIsOnTheScreen();
    void anotherWorkspaceDropsIt();
    void anotherAccountDropsIt();
    void anotherServerDropsIt();
    void startAndStopThemselvesDoNotWait();
    void theEndOfTheProgramRecordsWhatWaits();
};

void WaitingTest::load(const QJsonObject& timer) {
    m_desk = std::make_unique<Desk>();
    serveTimer(timer);
    QVERIFY(m_desk->load());
    m_desk->holdPushes();
}

void WaitingTest::serveTimer(const QJsonObject& timer) {
    m_desk->peer.answer("GET", timerPath, PeerReply::json({{u"timer"_s, timer}}));
}

void WaitingTest::makeBusy() {
    m_desk->peer.answerOnce("GET", snapshotPath,
                            PeerReply::json(sample::snapshot()).delivered(PeerReply::Delivery::Hold));
    m_desk->controller->refresh();
    QTRY_COMPARE(m_desk->peer.held(), 1);
    QVERIFY(m_desk->controller->busy());
}

void WaitingTest::endBusy() {
    QSignalSpy ready(m_desk->controller.get(), &Controller::ready);
    m_desk->peer.release();
    QVERIFY(ready.wait());
    QCoreApplication::processEvents();
    QVERIFY(!m_desk->controller->busy());
}

QString WaitingTest::operation(qsizetype index) const {
    return mutationAt(*m_desk->controller, index).value(u"operation").toString();
}

void WaitingTest::idleItIsDoneAtOnce() {
    load();
    toggle();
    QCOMPARE(operation(0), u"timer.start"_s);
    QCOMPARE(mutationAt(*m_desk->controller, 0).value(u"payload").toObject().value(u"description").toString(),
             u"Pressed"_s);
    toggle();
    QCOMPARE(operation(1), u"timer.stop"_s);
    m_desk->controller->stopTimer();
    QCOMPARE(m_desk->controller->pending(), 2);
    toggle();
    m_desk->controller->stopTimer();
    QCOMPARE(operation(3), u"timer.stop"_s);
}

void WaitingTest::aStartWaitsForTheEndOfBusy() {
    load();
    makeBusy();
    toggle();
    QCOMPARE(m_desk->controller->pending(), 0);
    QCOMPARE(m_desk->controller->message(),
             u"The server is being asked; the timer follows as soon as that has ended."_s);
    endBusy();
    QCOMPARE(m_desk->controller->pending(), 1);
    QCOMPARE(operation(0), u"timer.start"_s);
    makeBusy();
    endBusy();
    QCOMPARE(m_desk->controller->pending(), 1);
}

void WaitingTest::aStopWaitsForTheEndOfBusy_data() {
    QTest::addColumn<bool>("byTray");
    QTest::newRow("tray") << true;
    QTest::newRow("shortcut") << false;
}

void WaitingTest::aStopWaitsForTheEndOfBusy() {
    QFETCH(const bool, byTray);
    load(runningElsewhere(u"t1"_s));
    makeBusy();
    if (byTray) {
        m_desk->controller->stopTimer();
    } else {
        toggle();
    }
    QCOMPARE(m_desk->controller->pending(), 0);
    endBusy();
    QCOMPARE(m_desk->controller->pending(), 1);
    QCOMPARE(operation(0), u"timer.stop"_s);
    QCOMPARE(mutationAt(*m_desk->controller, 0).value(u"entity_id").toString(), u"t1"_s);
}

void WaitingTest::nothingIsPromisedBeforeAWorkspaceIsKnown() {
    m_desk = std::make_unique<Desk>();
    m_desk->controller->connectServer(m_desk->peer.url());
    QVERIFY(m_desk->controller->busy());
    toggle();
    QCOMPARE(m_desk->controller->message(), u"Connect to the server first"_s);
}

void WaitingTest::twoPressesAreOne_data() {
    QTest::addColumn<QJsonObject>("timer");
    QTest::addColumn<QString>("done");
    QTest::newRow("start") << QJsonObject() << u"timer.start"_s;
    QTest::newRow("stop") << runningElsewhere(u"t1"_s) << u"timer.stop"_s;
}

void WaitingTest::twoPressesAreOne() {
    QFETCH(const QJsonObject, timer);
    QFETCH(const QString, done);
    load(timer);
    makeBusy();
    toggle(u"First"_s);
    toggle(u"Last"_s);
    endBusy();
    QCOMPARE(m_desk->controller->pending(), 1);
    QCOMPARE(operation(0), done);
    if (timer.isEmpty()) {
        QCOMPARE(m_desk->controller->timer().value(u"description"_s).toString(), u"Last"_s);
    }
}

void WaitingTest::stoppingTakesBackAStartThatWaits() {
    load();
    makeBusy();
    toggle();
    m_desk->controller->stopTimer();
    endBusy();
    QCOMPARE(m_desk->controller->pending(), 0);
    QVERIFY(m_desk->controller->timer().isEmpty());
}

void WaitingTest::whatNoLongerAppliesIsDropped_data() {
    QTest::addColumn<QJsonObject>("before");
    QTest::addColumn<QJsonObject>("after");
    QTest::newRow("a timer runs by now") << QJsonObject() << runningElsewhere(u"t1"_s);
    QTest::newRow("it was stopped elsewhere") << runningElsewhere(u"t1"_s) << QJsonObject();
    QTest::newRow("another runs by now") << runningElsewhere(u"t1"_s) << runningElsewhere(u"t2"_s);
}

void WaitingTest::whatNoLongerAppliesIsDropped() {
    QFETCH(const QJsonObject, before);
    QFETCH(const QJsonObject, after);
    load(before);
    makeBusy();
    toggle();
    serveTimer(after);
    endBusy();
    QCOMPARE(m_desk->controller->pending(), 0);
    QCOMPARE(m_desk->controller->timer().value(u"id"_s).toString(), after.value(u"id").toString());
}

void WaitingTest::whatIsPressedMeansWhatIsOnTheScreen() {
    const QJsonObject running = runningElsewhere(u"t1"_s);
    load(running);
    QJsonObject stopped = running;
    stopped.insert(u"stop_at", u"2026-03-02T11:00:00Z"_s);
    m_desk->peer.answer("GET", snapshotPath, PeerReply::json(sample::snapshot({stopped})));
    m_desk->peer.answer("GET", timerPath,
                        PeerReply::json({{u"timer"_s, {}}}).delivered(PeerReply::Delivery::Hold));
    QString shown = u"t1"_s; // as a window has it, which reads only what it is told of
    connect(m_desk->controller.get(), &Controller::changed, this,
            [&] { shown = m_desk->controller->timer().value(u"id"_s).toString(); });
    m_desk->controller->refresh();
    QTRY_COMPARE(m_desk->peer.held(), 1);
    QVERIFY(m_desk->controller->busy());
    QCOMPARE(shown, m_desk->controller->timer().value(u"id"_s).toString());
    QCOMPARE(shown, QString());
    endBusy();
}

void WaitingTest::anotherWorkspaceDropsIt() {
    load();
    makeBusy();
    toggle();
    // A refused time clears busy; what waits comes after this call.
    m_desk->controller->addManual({}, {}, {}, {}, false);
    m_desk->controller->selectWorkspace(u"ws-2"_s);
    QSignalSpy ready(m_desk->controller.get(), &Controller::ready);
    QVERIFY(ready.wait());
    QCoreApplication::processEvents();
    QCOMPARE(m_desk->controller->pending(), 0);
}

void WaitingTest::anotherAccountDropsIt() {
    load();
    m_desk->peer.answerOnce("GET", u"/v1/me"_s,
                            PeerReply::json({{u"id"_s, u"user-2"_s}}).delivered(PeerReply::Delivery::Hold));
    m_desk->controller->connectServer(m_desk->peer.url());
    QTRY_COMPARE(m_desk->peer.held(), 1);
    toggle();
    endBusy();
    QCOMPARE(m_desk->controller->pending(), 0);
}

void WaitingTest::anotherServerDropsIt() {
    load();
    makeBusy();
    toggle();
    m_desk->controller->addManual({}, {}, {}, {}, false);
    Desk other;
    QVERIFY(connectAndLoad(*m_desk->controller, other.peer.url()));
    QCoreApplication::processEvents();
    QCOMPARE(m_desk->controller->pending(), 0);
    QVERIFY(m_desk->controller->timer().isEmpty());
    QVERIFY(other.peer.requests("POST", u"/v1/sync/push"_s).isEmpty());
}

void WaitingTest::startAndStopThemselvesDoNotWait() {
    load();
    makeBusy();
    m_desk->controller->start(u"Ignored"_s, {}, false);
    m_desk->controller->stop();
    endBusy();
    QCOMPARE(m_desk->controller->pending(), 0);
}

void WaitingTest::theEndOfTheProgramRecordsWhatWaits() {
    load(runningElsewhere(u"t1"_s));
    makeBusy();
    m_desk->controller->stopTimer();
    QVERIFY(QMetaObject::invokeMethod(QCoreApplication::instance(), "aboutToQuit"));
    m_desk->restart();
    m_desk->peer.goOffline();
    m_desk->controller->connectServer(m_desk->peer.url());
    QTRY_COMPARE(m_desk->controller->pending(), 1);
    QCOMPARE(operation(0), u"timer.stop"_s);
}

QTEST_MAIN(WaitingTest)
#include "waiting.moc"
