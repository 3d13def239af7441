// SPDX-License-Identifier: MIT
#include "app/idlewatch.h"

#include "app/mutteridle.h"
#include "app/polledidle.h"
#if TIMER_X11_IDLE
#include "app/x11idle.h"
#endif
#include "tests/support/scriptedservice.h"

#include <QProcess>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr qint64 minute = 60'000;
constexpr int patienceMs = 30'000;

QString busAddress() {
    return qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS");
}

/// GNOME's monitor: it numbers its watches, and fires them when the test says so.
class ScriptedMutter : public ScriptedService {
public:
    ScriptedMutter()
        : ScriptedService(busAddress(), u"org.gnome.Mutter.IdleMonitor"_s,
                          u"/org/gnome/Mutter/IdleMonitor/Core"_s) {
        const auto number = [this](const QVariantList& /*arguments*/) { return QVariantList{++watches}; };
        answer(u"AddIdleWatch"_s, number);
        answer(u"AddUserActiveWatch"_s, number);
        answer(u"RemoveWatch"_s, [](const QVariantList& /*arguments*/) { return QVariantList(); });
    }
    void fire(uint watch) { emitSignal(u"WatchFired"_s, {watch}); }

    uint watches = 0;
};

/// KDE's, which only answers how long the rest is.
class ScriptedScreenSaver : public ScriptedService {
public:
    ScriptedScreenSaver()
        : ScriptedService(busAddress(), u"org.freedesktop.ScreenSaver"_s, u"/org/freedesktop/ScreenSaver"_s) {
        answer(u"GetSessionIdleTime"_s,
               [this](const QVariantList& /*arguments*/) { return QVariantList{idle}; });
    }

    uint idle = 0;
};

} // namespace

/// Who tells that keyboard and mouse rest, each as it does on its desktop.
class IdleWatchTest : public QObject {
    Q_OBJECT

    MachineTime m_now{1'000'000, 1'000'000};
    [[nodiscard]] MachineClock clock() {
        return [this] { return m_now; };
    }

private Q_SLOTS:
    void init() { m_now = {1'000'000, 1'000'000}; }

    void mutterTellsOfTheReturn();
    void mutterTellsEachRestOnce();
    void mutterIsWatchedOnlyWhileItIsWanted();
    void mutterThatStartsAgainIsWatchedAgain();
    void withoutMutterItSaysSo();

    void anAskedSourceTellsOfTheReturn();
    void anAskedSourceIsLeftAloneUntilARestCanBeLongEnough();
    void shortRestsAreNotTold();
    void sleepDuringTheRestCounts();
    void whoDoesNotKnowIsAskedAgainLater();
    void aStoppedSourceAsksNoMore();
    void theScreenSaverIsAskedOverTheBus();

    void theFirstThatAnswersIsTaken_data();
    void theFirstThatAnswersIsTaken();
    void withoutAnySourceNothingHappens();

#if TIMER_X11_IDLE
    void theXServerTellsHowLongTheHandsRested();
    void theXServerIsAskedBeforeTheScreenSaver();
    void belowWaylandTheXServerIsNotBelieved();
#endif
};

void IdleWatchTest::mutterTellsOfTheReturn() {
    ScriptedMutter mutter;
    QVERIFY(mutter.appear());
    MutterIdle source(10min, clock());
    QSignalSpy answered(&source, &IdleSource::answered);
    QSignalSpy returned(&source, &IdleSource::returned);
    source.start();
    QTRY_COMPARE(answered.size(), 1);
    QCOMPARE(answered.first().first().toBool(), true);
    QCOMPARE(mutter.calls().size(), 1);
    QCOMPARE(mutter.calls().first().member, u"AddIdleWatch"_s);
    QCOMPARE(mutter.calls().first().arguments, QVariantList{qulonglong(10 * minute)});

    mutter.fire(1);
    QTRY_COMPARE(mutter.count(u"AddUserActiveWatch"_s), 1);
    QCOMPARE(returned.size(), 0);
    m_now.passed += 25 * minute;
    const auto isBack = [&] {
        mutter.fire(2); // its number can arrive later than the question
        return QTest::qWaitFor([&] { return returned.size() > 0; }, 100);
    };
    QTRY_VERIFY(isBack());
    QCOMPARE(returned.size(), 1);
    QCOMPARE(returned.first().first().toLongLong(), 35 * minute);
}

void IdleWatchTest::mutterTellsEachRestOnce() {
    ScriptedMutter mutter;
    QVERIFY(mutter.appear());
    MutterIdle source(10min, clock());
    QSignalSpy answered(&source, &IdleSource::answered);
    QSignalSpy returned(&source, &IdleSource::returned);
    source.start();
    QVERIFY(answered.wait());
    for (uint rest = 0; rest < 3; ++rest) {
        returned.clear();
        mutter.fire(1);
        mutter.fire(77); // somebody else's
        QTRY_COMPARE(mutter.watches, rest + 2);
        const auto isBack = [&] {
            mutter.fire(rest + 2);
            return QTest::qWaitFor([&] { return returned.size() > 0; }, 100);
        };
        QTRY_VERIFY(isBack());
        QCOMPARE(returned.size(), 1);
        QCOMPARE(returned.first().first().toLongLong(), 10 * minute);
    }
}

void IdleWatchTest::mutterIsWatchedOnlyWhileItIsWanted() {
    ScriptedMutter mutter;
    QVERIFY(mutter.appear());
    MutterIdle source(10min, clock());
    QSignalSpy answered(&source, &IdleSource::answered);
    source.start();
    QVERIFY(answered.wait());
    source.stop();
    QTRY_COMPARE(mutter.count(u"RemoveWatch"_s), 1);
    QCOMPARE(mutter.calls().last().arguments, QVariantList{1U});
    // What was asked for just before the end is given back as well.
    source.start();
    source.stop();
    QTRY_COMPARE(mutter.count(u"RemoveWatch"_s), 2);
    QCOMPARE(mutter.calls().last().arguments, QVariantList{2U});
    QCOMPARE(answered.size(), 1);
}

void IdleWatchTest::mutterThatStartsAgainIsWatchedAgain() {
    ScriptedMutter mutter;
    QVERIFY(mutter.appear());
    MutterIdle source(10min, clock());
    QSignalSpy answered(&source, &IdleSource::answered);
    source.start();
    QVERIFY(answered.wait());
    QVERIFY(mutter.disappear());
    QVERIFY(mutter.appear());
    QTRY_COMPARE(mutter.count(u"AddIdleWatch"_s), 2);
}

void IdleWatchTest::withoutMutterItSaysSo() {
    MutterIdle source(10min, clock());
    QSignalSpy answered(&source, &IdleSource::answered);
    source.start();
    QVERIFY(answered.wait());
    QCOMPARE(answered.first().first().toBool(), false);
}

void IdleWatchTest::anAskedSourceTellsOfTheReturn() {
    qint64 idle = 0;
    int asked = 0;
    PolledIdle source(
        [&](const PolledIdle::Answer& answer) {
            ++asked;
            answer(idle);
        },
        {10ms, 1ms}, clock());
    QSignalSpy returned(&source, &IdleSource::returned);
    source.start();
    idle = 40;
    QTRY_VERIFY(asked > 3);
    QCOMPARE(returned.size(), 0);
    m_now.passed += 5000;
    idle = 5040;
    const int before = asked;
    QTRY_VERIFY(asked > before + 1);
    QCOMPARE(returned.size(), 0);
    m_now.passed += 1000;
    idle = 3;
    QTRY_COMPARE(returned.size(), 1);
    QCOMPARE(returned.first().first().toLongLong(), 6040);
    idle = 2;
    const int after = asked;
    QTRY_VERIFY(asked > after + 1);
    QCOMPARE(returned.size(), 1);
}

void IdleWatchTest::anAskedSourceIsLeftAloneUntilARestCanBeLongEnough() {
    int asked = 0;
    PolledIdle source(
        [&](const PolledIdle::Answer& answer) {
            ++asked;
            answer(minute);
        },
        {10min}, clock());
    source.start();
    const auto* const next = source.findChild<QTimer*>();
    QVERIFY(next->isActive());
    QVERIFY(next->isSingleShot());
    QCOMPARE(next->intervalAsDuration(), 9min);
    QCOMPARE(asked, 1);
    source.stop();
    QVERIFY(!next->isActive());
}

void IdleWatchTest::shortRestsAreNotTold() {
    qint64 idle = 0;
    int asked = 0;
    PolledIdle source(
        [&](const PolledIdle::Answer& answer) {
            ++asked;
            answer(idle);
        },
        {20ms, 1ms}, clock());
    QSignalSpy returned(&source, &IdleSource::returned);
    source.start();
    for (const qint64 next : {19, 5, 18, 0}) {
        idle = next;
        const int before = asked;
        QTRY_VERIFY(asked > before);
    }
    QCOMPARE(returned.size(), 0);
}

void IdleWatchTest::sleepDuringTheRestCounts() {
    qint64 idle = 20;
    PolledIdle source([&](const PolledIdle::Answer& answer) { answer(idle); }, {10ms, 1ms}, clock());
    QSignalSpy returned(&source, &IdleSource::returned);
    source.start();
    m_now.passed += 3'600'000; // which the source does not see
    idle = 1;
    QTRY_COMPARE(returned.size(), 1);
    QCOMPARE(returned.first().first().toLongLong(), 3'600'020);
}

void IdleWatchTest::whoDoesNotKnowIsAskedAgainLater() {
    std::optional<qint64> idle = 20;
    int asked = 0;
    PolledIdle source(
        [&](const PolledIdle::Answer& answer) {
            ++asked;
            answer(idle);
        },
        {10ms, 1ms}, clock());
    QSignalSpy answered(&source, &IdleSource::answered);
    QSignalSpy returned(&source, &IdleSource::returned);
    source.start();
    idle.reset();
    const int before = asked;
    QTRY_VERIFY(asked > before + 1);
    idle = 1;
    QTRY_COMPARE(returned.size(), 1);
    QCOMPARE(answered.size(), 1);
    QCOMPARE(answered.first().first().toBool(), true);
}

void IdleWatchTest::aStoppedSourceAsksNoMore() {
    PolledIdle::Answer late;
    PolledIdle source([&](const PolledIdle::Answer& answer) { late = answer; }, {1ms, 1ms}, clock());
    QSignalSpy answered(&source, &IdleSource::answered);
    source.start();
    source.stop();
    late(5);
    QCOMPARE(answered.size(), 0);
    QVERIFY(!source.findChild<QTimer*>()->isActive());
}

void IdleWatchTest::theScreenSaverIsAskedOverTheBus() {
    ScriptedScreenSaver saver;
    QVERIFY(saver.appear());
    saver.idle = 30;
    PolledIdle source(askScreenSaver(), {10ms, 1ms}, clock());
    QSignalSpy answered(&source, &IdleSource::answered);
    QSignalSpy returned(&source, &IdleSource::returned);
    source.start();
    QVERIFY(answered.wait());
    QCOMPARE(answered.first().first().toBool(), true);
    m_now.passed += 700;
    saver.idle = 2;
    QTRY_COMPARE(returned.size(), 1);
    QCOMPARE(returned.first().first().toLongLong(), 730);
}

void IdleWatchTest::theFirstThatAnswersIsTaken_data() {
    QTest::addColumn<bool>("hasMutter");
    QTest::addColumn<bool>("hasScreenSaver");
    QTest::newRow("both") << true << true;
    QTest::newRow("mutter") << true << false;
    QTest::newRow("screen saver") << false << true;
}

void IdleWatchTest::theFirstThatAnswersIsTaken() {
    QFETCH(const bool, hasMutter);
    QFETCH(const bool, hasScreenSaver);
    // There the X server does not know, which otherwise comes before the screen saver.
    qputenv("WAYLAND_DISPLAY", "none");
    const auto restored = qScopeGuard([] { qunsetenv("WAYLAND_DISPLAY"); });
    ScriptedMutter mutter;
    ScriptedScreenSaver saver;
    QVERIFY(!hasMutter || mutter.appear());
    QVERIFY(!hasScreenSaver || saver.appear());
    IdleWatch watch(IdleWatch::known(10min));
    QSignalSpy returned(&watch, &IdleWatch::returned);
    watch.start();
    if (hasMutter) {
        QTRY_COMPARE(mutter.count(u"AddIdleWatch"_s), 1);
        mutter.fire(1);
        QTRY_COMPARE(mutter.count(u"AddUserActiveWatch"_s), 1);
        const auto isBack = [&] {
            mutter.fire(2);
            return QTest::qWaitFor([&] { return returned.size() > 0; }, 100);
        };
        QTRY_VERIFY(isBack());
        QCOMPARE(saver.calls().size(), 0);
        watch.stop();
        QTRY_COMPARE(mutter.count(u"RemoveWatch"_s), 1);
    } else {
        QTRY_COMPARE(saver.calls().size(), 1);
        watch.stop();
    }
}

void IdleWatchTest::withoutAnySourceNothingHappens() {
    IdleWatch::Sources sources;
    sources.push_back(std::make_unique<MutterIdle>(10min));
    sources.push_back(std::make_unique<PolledIdle>(askScreenSaver(), PolledIdle::Pace{10min}));
    QSignalSpy mutter(sources.front().get(), &IdleSource::answered);
    QSignalSpy saver(sources.back().get(), &IdleSource::answered);
    IdleWatch watch(std::move(sources));
    QSignalSpy returned(&watch, &IdleWatch::returned);
    watch.start();
    QTRY_COMPARE(saver.size(), 1);
    QCOMPARE(mutter.size(), 1);
    QCOMPARE(returned.size(), 0);
    watch.stop();
    watch.start();
    QTRY_COMPARE(saver.size(), 2);
    IdleWatch none({});
    none.start();
    none.stop();
}

#if TIMER_X11_IDLE
void IdleWatchTest::theXServerTellsHowLongTheHandsRested() {
    const auto move = [](int to) {
        return QProcess::execute(u"xdotool"_s, {u"mousemove"_s, QString::number(to), u"100"_s}) == 0;
    };
    PolledIdle source(askX11(), {300ms, 10ms});
    QSignalSpy answered(&source, &IdleSource::answered);
    QSignalSpy returned(&source, &IdleSource::returned);
    QVERIFY(move(100));
    source.start();
    QCOMPARE(answered.size(), 1);
    QCOMPARE(answered.first().first().toBool(), true);
    std::optional<qint64> idle;
    const auto rests = [&idle] {
        askX11()([&idle](std::optional<qint64> now) { idle = now; });
        return idle && *idle > 400;
    };
    QTRY_VERIFY_WITH_TIMEOUT(rests(), patienceMs);
    QCOMPARE(returned.size(), 0);
    QVERIFY(move(200));
    QTRY_COMPARE_WITH_TIMEOUT(returned.size(), 1, patienceMs);
    QVERIFY(returned.first().first().toLongLong() >= 400);
}

void IdleWatchTest::theXServerIsAskedBeforeTheScreenSaver() {
    ScriptedScreenSaver saver;
    QVERIFY(saver.appear());
    const IdleWatch::Sources sources = IdleWatch::known(10min);
    IdleSource& second = *sources.at(1);
    const QSignalSpy answered(&second, &IdleSource::answered);
    second.start();
    QTRY_COMPARE(answered.size(), 1);
    QCOMPARE(answered.first().first().toBool(), true);
    QCOMPARE(saver.calls().size(), 0);
    second.stop();
}

void IdleWatchTest::belowWaylandTheXServerIsNotBelieved() {
    qputenv("WAYLAND_DISPLAY", "wayland-0");
    PolledIdle source(askX11(), {10min});
    QSignalSpy answered(&source, &IdleSource::answered);
    source.start();
    qunsetenv("WAYLAND_DISPLAY");
    QCOMPARE(answered.size(), 1);
    QCOMPARE(answered.first().first().toBool(), false);
}
#endif

QTEST_MAIN(IdleWatchTest)
#include "idlewatch.moc"
