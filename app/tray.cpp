// SPDX-License-Identifier: MIT
#include "app/tray.h"

#include "app/foreground.h"
#include "controller/controller.h"

#include <QGuiApplication>
#include <QIcon>
#include <QQuickWindow>

using namespace Qt::StringLiterals;

namespace {

QIcon iconFor(bool running) {
    return QIcon(running ? u":/qt/qml/TimerKelvaro/timer-running.svg"_s
                         : u":/qt/qml/TimerKelvaro/timer.svg"_s);
}

} // namespace

Tray::Tray(Controller& controller, QQuickWindow* window)
    : m_controller(controller), m_window(window), m_icon(iconFor(false)) {
    const QString name = u"Timer.Kelvaro"_s;
    QObject::connect(m_menu.addAction(name), &QAction::triggered, &m_menu, [this] { showWindow(); });
    QObject::connect(m_menu.addAction(u"Stop timer"_s), &QAction::triggered, &m_menu,
                     [this] { stopTimer(); });
    m_menu.addSeparator();
    // With widgets linked it asks them alone: a window of ours, which would only hide, is not asked.
    QObject::connect(m_menu.addAction(u"Quit"_s), &QAction::triggered, qApp, &QCoreApplication::quit);

    const auto follow = [this] {
        followTimer(!m_controller.timer().isEmpty());
        // Later: what waits for the end of `busy` is carried out on the next turn of the event loop.
        QMetaObject::invokeMethod(
            &m_menu, [this] { followStop(); }, Qt::QueuedConnection);
    };
    QObject::connect(&controller, &Controller::changed, &m_menu, follow);
    follow();

    m_icon.setContextMenu(&m_menu);
    m_icon.setToolTip(name);
    QObject::connect(&m_icon, &QSystemTrayIcon::activated, &m_menu,
                     [this](QSystemTrayIcon::ActivationReason reason) {
                         if (reason == QSystemTrayIcon::Trigger) {
                             showWindow();
                         }
                     });
}

void Tray::install() {
    QGuiApplication::setQuitOnLastWindowClosed(false);
    m_icon.show();
}

void Tray::followTimer(bool running) {
    if (running != m_running) {
        m_running = running;
        m_icon.setIcon(iconFor(running));
    }
}

void Tray::stopTimer() {
    m_stopping = !m_controller.timer().isEmpty();
    m_controller.stopTimer();
}

void Tray::followStop() {
    if (!m_stopping || m_controller.busy()) {
        return;
    }
    m_stopping = false;
    if (!m_controller.timer().isEmpty()) {
        showWindow(); // its status line says why
    }
}

void Tray::showWindow() const {
    if (m_window) {
        bringToFront(*m_window);
    }
}
