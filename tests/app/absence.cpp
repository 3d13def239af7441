// SPDX-License-Identifier: MIT
#include "tests/support/client.h"
#include "tests/support/devserver.h"
#include "tests/support/program.h"
#include "tests/support/screen.h"
#include "tests/support/scriptedservice.h"

#include <QTest>
#include <QUuid>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

using Role = Element::Role;

const QString description = u"Left alone"_s;
const QString keep = u"השאר את הזמן"_s;

QDateTime ago(int seconds) {
    return QDateTime::currentDateTimeUtc().addSecs(-seconds);
}

} // namespace

/// The real program, at its server, when the machine or the desktop says that nobody was there.
class AbsenceTest : public QObject {
    Q_OBJECT

    /// With a timer that runs since then.
    [[nodiscard]] bool open(const QDateTime& started);
    [[nodiscard]] bool isAsked() const { return m_program->shows(Role::PushButton, keep); }
    /// Presses the button whose name starts so.
    [[nodiscard]] bool press(const QString& name) const;
    [[nodiscard]] QJsonArray entries() const { return m_server->entriesNamed(description); }
    [[nodiscard]] QJsonObject closed() const;

    Screen m_screen;
    std::unique_ptr<DevServer> m_server;
    PrivateBus m_systemBus;
    std::unique_ptr<ScriptedService> m_logind;
    std::unique_ptr<ScriptedService> m_mutter;
    std::unique_ptr<Program> m_program;
    uint m_watches = 0;

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void afterTheMachineSleptTheTimerStopsWhereItBegan();
    void afterARestItStopsThereAndStartsAnew();
    void escapeKeepsTheTime();
    void anOldTimerIsAskedAbout();
    void nothingIsWatchedWhileNoTimerRuns();
};

void AbsenceTest::initTestCase() {
    startClean();
    QVERIFY(m_screen.start());
    QVERIFY(m_systemBus.start());
}

void AbsenceTest::init() {
    m_server = std::make_unique<DevServer>();
    QVERIFY(m_server->start());
    m_logind =
        std::make_unique<ScriptedService>(m_systemBus.address(), u"org.freedesktop.login1"_s,
                                          u"/org/freedesktop/login1"_s, u"org.freedesktop.login1.Manager"_s);
    QVERIFY(m_logind->appear());
    m_mutter = std::make_unique<ScriptedService>(qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS"),
                                                 u"org.gnome.Mutter.IdleMonitor"_s,
                                                 u"/org/gnome/Mutter/IdleMonitor/Core"_s);
    m_watches = 0;
    const auto number = [this](const QVariantList& /*arguments*/) { return QVariantList{++m_watches}; };
    m_mutter->answer(u"AddIdleWatch"_s, number);
    m_mutter->answer(u"AddUserActiveWatch"_s, number);
    QVERIFY(m_mutter->appear());
}

void AbsenceTest::cleanup() {
    m_program.reset();
    m_mutter.reset();
    m_logind.reset();
    m_server.reset();
}

bool AbsenceTest::open(const QDateTime& started) {
    const QString id = QUuid::createUuid().toString(QUuid::WithoutBraces);
    const QJsonObject timer{{u"description"_s, description}, {u"start_at"_s, started.toString(Qt::ISODate)}};
    if (m_server->push(u"timer.start"_s, id, 0, timer).value(u"status").toString() != u"accepted"_s) {
        return false;
    }
    m_program = std::make_unique<Program>();
    m_program->setVariable(u"DBUS_SYSTEM_BUS_ADDRESS"_s, m_systemBus.address());
    m_program->start({u"--server"_s, m_server->url()});
    return QTest::qWaitFor([&] { return m_watches == 1; }, Screen::patienceMs) &&
           QTest::qWaitFor([&] { return m_program->shows(Role::Label, u"Connected to PostgreSQL"_s); },
                           Screen::patienceMs);
}

bool AbsenceTest::press(const QString& name) const {
    return retry(
        [&] {
            const Element button = m_program->elements().findStarting(name);
            return !button.isNull() && button.press();
        },
        [&] { return !isAsked(); });
}

QJsonObject AbsenceTest::closed() const {
    const QJsonArray all = entries();
    for (const auto& entry : all) {
        if (entry.toObject().value(u"stop_at").isString()) {
            return entry.toObject();
        }
    }
    return {};
}

void AbsenceTest::afterTheMachineSleptTheTimerStopsWhereItBegan() {
    QVERIFY(open(ago(3600)));
    const QDateTime began = QDateTime::currentDateTimeUtc();
    m_logind->emitSignal(u"PrepareForSleep"_s, {true});
    m_logind->emitSignal(u"PrepareForSleep"_s, {false});
    QTRY_VERIFY_WITH_TIMEOUT(isAsked(), Screen::patienceMs);
    QVERIFY(press(u"עצור ב"_s));
    QTRY_VERIFY_WITH_TIMEOUT(!closed().isEmpty(), Screen::patienceMs);
    const QDateTime stopped = QDateTime::fromString(closed().value(u"stop_at").toString(), Qt::ISODate);
    QVERIFY(stopped >= began.addSecs(-1) && stopped <= QDateTime::currentDateTimeUtc());
    QCOMPARE(entries().size(), 1);
}

void AbsenceTest::afterARestItStopsThereAndStartsAnew() {
    QVERIFY(open(ago(3600)));
    m_mutter->emitSignal(u"WatchFired"_s, {1U});
    QTRY_COMPARE_WITH_TIMEOUT(m_watches, 2U, Screen::patienceMs);
    QVERIFY(!isAsked());
    const auto comesBack = [&] {
        m_mutter->emitSignal(u"WatchFired"_s, {2U});
        return QTest::qWaitFor([&] { return isAsked(); }, 1000);
    };
    QTRY_VERIFY_WITH_TIMEOUT(comesBack(), Screen::patienceMs);
    const auto buttons = m_program->elements().everything();
    const auto found = std::find_if(buttons.begin(), buttons.end(), [](const Element& element) {
        return element.name().contains(u"והתחל מחדש"_s);
    });
    QVERIFY(found != buttons.end());
    QVERIFY(found->press());
    QTRY_COMPARE_WITH_TIMEOUT(entries().size(), 2, Screen::patienceMs);
    const QDateTime stopped = QDateTime::fromString(closed().value(u"stop_at").toString(), Qt::ISODate);
    QVERIFY(stopped <= ago(600));
    QVERIFY(stopped >= ago(600 + 300));
    QTRY_VERIFY_WITH_TIMEOUT(!isAsked(), Screen::patienceMs);
}

void AbsenceTest::escapeKeepsTheTime() {
    QVERIFY(open(ago(3600)));
    m_logind->emitSignal(u"PrepareForSleep"_s, {true});
    m_logind->emitSignal(u"PrepareForSleep"_s, {false});
    QTRY_VERIFY_WITH_TIMEOUT(isAsked(), Screen::patienceMs);
    QVERIFY(QTest::qWaitFor([&] { return m_screen.isInFront(*m_program); }, Screen::patienceMs));
    QVERIFY(retry([&] { return m_screen.key(u"Escape"_s); }, [&] { return !isAsked(); }));
    QCOMPARE(entries().size(), 1);
    QVERIFY(closed().isEmpty());
    QVERIFY(m_program->shows(Role::PushButton, u"עצור"_s));
}

void AbsenceTest::anOldTimerIsAskedAbout() {
    QVERIFY(open(ago(11 * 3600)));
    QTRY_VERIFY_WITH_TIMEOUT(isAsked(), Screen::patienceMs);
    QVERIFY(press(keep));
    QVERIFY(closed().isEmpty());
}

void AbsenceTest::nothingIsWatchedWhileNoTimerRuns() {
    m_program = std::make_unique<Program>();
    m_program->setVariable(u"DBUS_SYSTEM_BUS_ADDRESS"_s, m_systemBus.address());
    m_program->start({u"--server"_s, m_server->url()});
    QTRY_VERIFY_WITH_TIMEOUT(m_program->shows(Role::Label, u"Connected to PostgreSQL"_s), Screen::patienceMs);
    QCOMPARE(m_mutter->calls().size(), 0);
    const auto start = [&] {
        const Element button = m_program->usable(Role::PushButton, u"התחל"_s);
        return !button.isNull() && button.press();
    };
    QVERIFY(retry(start, [&] { return m_watches > 0; })); // pressing can hit twice: stopped and started again
}

QTEST_MAIN(AbsenceTest)
#include "absence.moc"
