// SPDX-License-Identifier: MIT
#include "app/tray.h"

#include "app/foreground.h"
#include "controller/controller.h"

#include <QGuiApplication>
#include <QIcon>
#include <QQuickWindow>

Tray::Tray(Controller& controller, QQuickWindow* window)
    : m_window(window), m_icon(QIcon(QStringLiteral(":/qt/qml/TimerKelvaro/timer.svg"))) {
    const QString name = QStringLiteral("Timer.Kelvaro");
    QObject::connect(m_menu.addAction(name), &QAction::triggered, &m_menu, [this] { showWindow(); });
    QObject::connect(m_menu.addAction(QStringLiteral("Stop timer")), &QAction::triggered, &controller,
                     &Controller::stop);
    m_menu.addSeparator();
    QObject::connect(m_menu.addAction(QStringLiteral("Quit")), &QAction::triggered, qApp,
                     &QCoreApplication::quit);

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

void Tray::showWindow() const {
    if (m_window) {
        bringToFront(*m_window);
    }
}
