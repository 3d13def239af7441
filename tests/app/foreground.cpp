// SPDX-License-Identifier: MIT
#include "app/foreground.h"

#include "tests/support/screen.h"

#include <QApplication>
#include <QTest>
#include <QWindow>

using namespace Qt::StringLiterals;

/// A window that comes to the front is the window that was left.
class ForegroundTest : public QObject {
    Q_OBJECT

    Screen m_screen;

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_screen.start()); }
    void maximisedWindowStaysMaximised_data();
    void maximisedWindowStaysMaximised();
    void tokenOfAnotherWindowSystemIsNotInherited();
};

void ForegroundTest::maximisedWindowStaysMaximised_data() {
    QTest::addColumn<QWindow::Visibility>("left");
    QTest::newRow("hidden in the tray") << QWindow::Hidden;
    QTest::newRow("minimised") << QWindow::Minimized;
    QTest::newRow("in sight") << QWindow::Maximized;
}

void ForegroundTest::maximisedWindowStaysMaximised() {
    QFETCH(QWindow::Visibility, left);
    QWindow window;
    window.resize(300, 200);
    // Again, since a window manager that has only just begun can miss one.
    const auto show = [&window] {
        window.hide();
        window.showMaximized();
        return true;
    };
    QVERIFY(retry(show, [&window] { return window.isExposed(); }));
    QTRY_VERIFY_WITH_TIMEOUT(window.width() > 1000, Screen::patienceMs);
    // Again, since a window manager that is slow to see it go takes its state off the window that is back.
    const auto leaveAndComeBack = [&window, left] {
        if (left == QWindow::Minimized) {
            window.setWindowStates(window.windowStates() | Qt::WindowMinimized);
            if (!QTest::qWaitFor([&window] { return !window.isActive(); }, Screen::patienceMs)) {
                return false;
            }
        } else {
            window.setVisibility(left);
        }
        bringToFront(window);
        return true;
    };
    QVERIFY(retry(leaveAndComeBack, [&window] {
        return window.isActive() && window.visibility() == QWindow::Maximized && window.width() > 1000;
    }));
}

void ForegroundTest::tokenOfAnotherWindowSystemIsNotInherited() {
    QWindow window;
    bringToFront(window, {{u"activation-token"_s, u"token"_s}});
    QVERIFY(QTest::qWaitForWindowExposed(&window, Screen::patienceMs));
    QVERIFY(!qEnvironmentVariableIsSet("XDG_ACTIVATION_TOKEN"));
}

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    ForegroundTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "foreground.moc"
