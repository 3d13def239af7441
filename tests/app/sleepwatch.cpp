// SPDX-License-Identifier: MIT
#include "app/sleepwatch.h"

#include "tests/support/scriptedservice.h"

#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString sleeping = u"PrepareForSleep"_s;

} // namespace

/// What logind says of the machine's sleep, on a system bus of the test's own.
class SleepWatchTest : public QObject {
    Q_OBJECT

    /// Tells it, and waits until that has arrived.
    [[nodiscard]] bool tell(bool begins);
    Q_SLOT void hear(bool /*begins*/) { ++m_heard; }

    PrivateBus m_bus;
    std::unique_ptr<ScriptedService> m_logind;
    int m_heard = 0;
    MachineTime m_now{1'000'000, 1'000'000};
    std::unique_ptr<SleepWatch> m_watch;
    std::unique_ptr<QSignalSpy> m_woke;

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void theSleepIsToldWhenTheMachineWakes();
    void aBeginningThatIsReadTooLateIsMeasured();
    void eachSleepCountsByItself();
    void sleepBeforeTheStartDoesNotCount();
    void onlyLogindIsBelieved();
    void afterStopNothingIsTold();
    void withoutLogindNothingIsTold();
    void withoutASystemBusNothingHappens();
};

void SleepWatchTest::initTestCase() {
    QVERIFY(m_bus.start());
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", m_bus.address().toUtf8());
    QVERIFY(QDBusConnection::systemBus().connect(QString(), u"/org/freedesktop/login1"_s,
                                                 u"org.freedesktop.login1.Manager"_s, sleeping, this,
                                                 SLOT(hear(bool))));
}

void SleepWatchTest::init() {
    m_logind =
        std::make_unique<ScriptedService>(m_bus.address(), u"org.freedesktop.login1"_s,
                                          u"/org/freedesktop/login1"_s, u"org.freedesktop.login1.Manager"_s);
    QVERIFY(m_logind->appear());
    m_now = {1'000'000, 1'000'000};
    m_watch = std::make_unique<SleepWatch>([this] { return m_now; });
    m_woke = std::make_unique<QSignalSpy>(m_watch.get(), &SleepWatch::woke);
    m_watch->start();
}

void SleepWatchTest::cleanup() {
    m_woke.reset();
    m_watch.reset();
    m_logind.reset();
}

bool SleepWatchTest::tell(bool begins) {
    const int before = m_heard;
    m_logind->emitSignal(sleeping, {begins});
    return QTest::qWaitFor([&] { return m_heard > before; });
}

void SleepWatchTest::theSleepIsToldWhenTheMachineWakes() {
    QVERIFY(tell(true));
    QCOMPARE(m_woke->size(), 0);
    // Where the clock that leaves sleep out is none.
    m_now.passed += 600'000;
    m_now.awake += 600'000;
    QVERIFY(tell(false));
    QCOMPARE(m_woke->size(), 1);
    QCOMPARE(m_woke->first().first().toLongLong(), 600'000);
}

void SleepWatchTest::aBeginningThatIsReadTooLateIsMeasured() {
    m_now.passed += 20'000; // awake all the time
    m_now.awake += 20'000;
    m_now.passed += 5 * 3'600'000;
    m_logind->emitSignal(sleeping, {true});
    m_logind->emitSignal(sleeping, {false});
    QTRY_COMPARE(m_woke->size(), 1);
    QCOMPARE(m_woke->first().first().toLongLong(), 5 * 3'600'000);
}

void SleepWatchTest::eachSleepCountsByItself() {
    for (const qint64 slept : {600'000, 60'000}) {
        m_now.passed += slept;
        m_woke->clear();
        m_logind->emitSignal(sleeping, {true});
        m_logind->emitSignal(sleeping, {false});
        QTRY_COMPARE(m_woke->size(), 1);
        QCOMPARE(m_woke->first().first().toLongLong(), slept);
    }
}

void SleepWatchTest::sleepBeforeTheStartDoesNotCount() {
    m_watch->stop();
    m_now.passed += 600'000;
    m_watch->start();
    m_now.passed += 1000;
    m_logind->emitSignal(sleeping, {false});
    QTRY_COMPARE(m_woke->size(), 1);
    QCOMPARE(m_woke->first().first().toLongLong(), 1000);
}

void SleepWatchTest::onlyLogindIsBelieved() {
    ScriptedService stranger(m_bus.address(), u"org.example.stranger"_s, u"/org/freedesktop/login1"_s,
                             u"org.freedesktop.login1.Manager"_s);
    QVERIFY(stranger.appear());
    const int before = m_heard;
    stranger.emitSignal(sleeping, {true});
    stranger.emitSignal(sleeping, {false});
    QTRY_COMPARE(m_heard, before + 2);
    QCOMPARE(m_woke->size(), 0);
}

void SleepWatchTest::afterStopNothingIsTold() {
    m_watch->stop();
    QVERIFY(tell(true));
    QVERIFY(tell(false));
    QCOMPARE(m_woke->size(), 0);
}

void SleepWatchTest::withoutLogindNothingIsTold() {
    QVERIFY(m_logind->disappear());
    m_watch->stop();
    m_watch->start();
    // It comes later.
    QVERIFY(m_logind->appear());
    m_now.passed += 2000;
    m_logind->emitSignal(sleeping, {true});
    m_logind->emitSignal(sleeping, {false});
    QTRY_COMPARE(m_woke->size(), 1);
    QCOMPARE(m_woke->first().first().toLongLong(), 2000);
}

void SleepWatchTest::withoutASystemBusNothingHappens() {
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/dev/null");
    QDBusConnection::disconnectFromBus(u"qt_default_system_bus"_s);
    SleepWatch watch;
    QSignalSpy woke(&watch, &SleepWatch::woke);
    watch.start();
    watch.stop();
    QCOMPARE(woke.size(), 0);
}

QTEST_GUILESS_MAIN(SleepWatchTest)
#include "sleepwatch.moc"
