// SPDX-License-Identifier: MIT
#include "app/tray.h"

#include "controller/controller.h"
#include "tests/support/client.h"
#include "tests/support/desk.h"
#include "tests/support/devserver.h"
#include "tests/support/program.h"
#include "tests/support/screen.h"

#include <QAction>
#include <QApplication>
#include <QFile>
#include <QMouseEvent>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QTest>
#include <QWidget>

using namespace Qt::StringLiterals;

namespace {

// The entries of the menu, from the top; the separator is none.
constexpr int menuShow = 1;
constexpr int menuStop = 2;
constexpr int menuQuit = 3;

const QString connected = u"Connected to PostgreSQL"_s;

/// In the menu of the tray of this very process.
void chooseStop() {
    const QWidgetList widgets = QApplication::topLevelWidgets();
    for (const QWidget* widget : widgets) {
        const QList<QAction*> actions = widget->actions();
        for (QAction* action : actions) {
            if (action->text() == u"Stop timer"_s) {
                action->trigger();
            }
        }
    }
}

QJsonObject running(const QString& workspace = u"ws-1"_s) {
    QJsonObject timer = sample::entry(u"t1"_s, u"2026-01-05T08:00:00Z"_s, {});
    timer.insert(u"workspace_id"_s, workspace);
    return timer;
}

} // namespace

class TrayTest : public QObject {
    Q_OBJECT

    [[nodiscard]] bool start(Program& program) const;
    [[nodiscard]] bool hide(const Program& program) const;
    [[nodiscard]] bool isHidden(const Program& program) const;

    Screen m_screen{Screen::Tray::Shown};
    DevServer m_server;

private Q_SLOTS:
    void initTestCase();
    void init() { startClean(); }
    void closingHidesAndAClickShowsAgain();
    void menuStopsTheTimerOfAHiddenWindowAndShowsItAndQuits();
    void menuQuitsWhileTheWindowIsOpen();
    void aProbeEndsBesideATray();
    void menuStopsTheTimerOnceTheServerHasBeenAsked();
    void aRefusedStopBringsTheWindowThatSaysWhy_data();
    void aRefusedStopBringsTheWindowThatSaysWhy();
    void onlyAPlainClickShowsTheWindow_data();
    void onlyAPlainClickShowsTheWindow();
};

void TrayTest::initTestCase() {
    QVERIFY(m_screen.start());
    QVERIFY(m_server.start());
}

bool TrayTest::start(Program& program) const {
    program.start({u"--server"_s, m_server.url()});
    return QTest::qWaitFor([&] { return program.shows(Element::Role::Label, connected); },
                           Screen::patienceMs) &&
           QTest::qWaitFor([&] { return m_screen.trayIcon(program).isValid(); }, Screen::patienceMs);
}

bool TrayTest::isHidden(const Program& program) const {
    return program.isRunning() && m_screen.window(program).isEmpty();
}

bool TrayTest::hide(const Program& program) const {
    return m_screen.close(program) && QTest::qWaitFor([&] { return isHidden(program); }, Screen::patienceMs);
}

void TrayTest::closingHidesAndAClickShowsAgain() {
    Program program;
    QVERIFY(start(program));
    QVERIFY(hide(program));
    QVERIFY(m_screen.click(m_screen.trayIcon(program).center()));
    QVERIFY(QTest::qWaitFor([&] { return !m_screen.window(program).isEmpty(); }, Screen::patienceMs));
    QVERIFY(program.shows(Element::Role::Label, connected));
    QVERIFY(program.isRunning());
}

void TrayTest::menuStopsTheTimerOfAHiddenWindowAndShowsItAndQuits() {
    const QJsonObject timer{{u"description"_s, u"Left running"_s},
                            {u"start_at"_s, u"2026-01-05T08:00:00Z"_s}};
    const QString entry = u"8d9f8b0e-7a54-4d6c-9a43-0d3c6a4f2b11"_s;
    QCOMPARE(m_server.push(u"timer.start"_s, entry, 0, timer).value(u"status").toString(), u"accepted"_s);
    Program program;
    QVERIFY(start(program));
    QVERIFY(hide(program));

    QVERIFY(m_screen.chooseInTray(program, menuStop));
    const auto stopped = [&] {
        const QJsonArray entries = m_server.entriesNamed(u"Left running"_s);
        return entries.size() == 1 && entries.first().toObject().value(u"stop_at").isString();
    };
    QTRY_VERIFY_WITH_TIMEOUT(stopped(), Screen::patienceMs);
    QVERIFY(isHidden(program));

    QVERIFY(m_screen.chooseInTray(program, menuShow));
    QVERIFY(QTest::qWaitFor([&] { return !m_screen.window(program).isEmpty(); }, Screen::patienceMs));
    QVERIFY(hide(program));
    QVERIFY(m_screen.chooseInTray(program, menuQuit));
    QCOMPARE(program.exitCode(), 0);
    QCOMPARE(program.output(), QByteArray());
}

void TrayTest::menuQuitsWhileTheWindowIsOpen() {
    Program program;
    QVERIFY(start(program));
    QVERIFY(m_screen.chooseInTray(program, menuQuit));
    QCOMPARE(program.exitCode(), 0);
    QCOMPARE(program.output(), QByteArray());
}

void TrayTest::aProbeEndsBesideATray() {
    const QTemporaryDir folder;
    Program program;
    program.start({u"--server"_s, m_server.url(), u"--read-only-probe"_s, folder.filePath(u"probe.json"_s)});
    QCOMPARE(program.exitCode(), 0);
    QVERIFY(QFile::exists(folder.filePath(u"probe.json"_s)));
}

void TrayTest::menuStopsTheTimerOnceTheServerHasBeenAsked() {
    const QJsonObject snapshot = sample::snapshot({running()});
    Desk desk(snapshot);
    desk.peer.answer("GET", u"/v1/me/timer"_s, PeerReply::json({{u"timer"_s, running()}}));
    QVERIFY(desk.load());
    desk.holdPushes();
    desk.peer.answerOnce("GET", u"/v1/sync/snapshot"_s,
                         PeerReply::json(snapshot).delivered(PeerReply::Delivery::Hold));
    desk.controller->refresh();
    QTRY_COMPARE(desk.peer.held(), 1);
    QQuickWindow window;
    const Tray tray(*desk.controller, &window);
    chooseStop();
    QCOMPARE(desk.controller->pending(), 0);
    desk.peer.release();
    QTRY_COMPARE(desk.controller->pending(), 1);
    QCOMPARE(mutationAt(*desk.controller, 0).value(u"operation").toString(), u"timer.stop"_s);
    QVERIFY(desk.controller->timer().isEmpty());
    QCoreApplication::processEvents();
    QVERIFY(!window.isVisible());
    // Where none runs it stops none, and the next one is none that was to be stopped.
    chooseStop();
    desk.controller->start(u"Next"_s, {}, false);
    QVERIFY(!desk.controller->timer().isEmpty());
    QCoreApplication::processEvents();
    QVERIFY(!window.isVisible());
}

void TrayTest::aRefusedStopBringsTheWindowThatSaysWhy_data() {
    QTest::addColumn<bool>("waits");
    QTest::newRow("at once") << false;
    QTest::newRow("once the server has been asked") << true;
}

void TrayTest::aRefusedStopBringsTheWindowThatSaysWhy() {
    QFETCH(const bool, waits);
    Desk desk;
    desk.peer.answer("GET", u"/v1/me/timer"_s, PeerReply::json({{u"timer"_s, running(u"ws-2"_s)}}));
    QVERIFY(desk.load());
    QQuickWindow window;
    const Tray tray(*desk.controller, &window);
    if (waits) {
        desk.peer.answerOnce("GET", u"/v1/sync/snapshot"_s,
                             PeerReply::json({}, 503).delivered(PeerReply::Delivery::Hold));
        desk.controller->refresh();
        QTRY_COMPARE(desk.peer.held(), 1);
    }
    chooseStop();
    QVERIFY(!window.isVisible());
    desk.peer.release();
    QTRY_VERIFY(window.isVisible());
    QCOMPARE(desk.controller->message(),
             u"Select the running timer's workspace before stopping it in this native preview."_s);
    // Later changes of a timer that runs are no answer to it.
    window.hide();
    Q_EMIT desk.controller->changed();
    QCoreApplication::processEvents();
    QVERIFY(!window.isVisible());
}

void TrayTest::onlyAPlainClickShowsTheWindow_data() {
    QTest::addColumn<QEvent::Type>("type");
    QTest::addColumn<Qt::MouseButton>("button");
    QTest::addColumn<bool>("shows");
    QTest::newRow("click") << QEvent::MouseButtonPress << Qt::LeftButton << true;
    QTest::newRow("second of a double click") << QEvent::MouseButtonDblClick << Qt::LeftButton << false;
    QTest::newRow("middle click") << QEvent::MouseButtonPress << Qt::MiddleButton << false;
}

void TrayTest::onlyAPlainClickShowsTheWindow() {
    QFETCH(QEvent::Type, type);
    QFETCH(Qt::MouseButton, button);
    QFETCH(bool, shows);
    Controller controller;
    QQuickWindow window;
    Tray tray(controller, &window);
    tray.install();
    QWidget* icon = nullptr;
    const auto docked = [&icon] {
        const QWidgetList widgets = QApplication::topLevelWidgets();
        for (QWidget* widget : widgets) {
            if (widget->inherits("QSystemTrayIconSys") && widget->isVisible()) {
                icon = widget;
            }
        }
        return icon != nullptr;
    };
    QTRY_VERIFY_WITH_TIMEOUT(docked(), Screen::patienceMs);

    const QPointF center = icon->rect().center();
    QMouseEvent event(type, center, icon->mapToGlobal(center), button, button, Qt::NoModifier);
    QCoreApplication::sendEvent(icon, &event);
    QCOMPARE(window.isVisible(), shows);
    QGuiApplication::setQuitOnLastWindowClosed(true);
}

QTEST_MAIN(TrayTest)
#include "tray.moc"
