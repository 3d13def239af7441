// SPDX-License-Identifier: MIT
#pragma once

#include <QMenu>
#include <QPointer>
#include <QSystemTrayIcon>

class Controller;
class QQuickWindow;

/// The icon in the system tray, which tells whether a timer runs, with the menu
/// that shows the window, stops the timer and quits. Built in any case; shown only where a tray is available.
class Tray {
public:
    /// `window` may be null; both must outlive the tray.
    Tray(Controller& controller, QQuickWindow* window);

    /// Keeps the program running in the tray once its window is closed.
    void install();

private:
    void followTimer(bool running);
    void showWindow() const;
    void stopTimer();
    /// Who stopped the timer from here is shown why it still runs.
    void followStop();

    Controller& m_controller;
    QPointer<QQuickWindow> m_window;
    QMenu m_menu;
    QSystemTrayIcon m_icon;
    bool m_running = false;
    bool m_stopping = false;
};
