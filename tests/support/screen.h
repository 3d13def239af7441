// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/element.h"

#include <QPoint>
#include <QProcess>
#include <QRect>
#include <QString>

#include <functional>

class Program;

/// A desktop on the test's own X server: a window manager and, where asked for,
/// a tray; and the hands of a person, who uses mouse and keyboard.
class Screen {
public:
    enum class Tray { None, Shown };

    /// Each end of a wait on another program; generous, since machines are busy.
    static constexpr int patienceMs = 90'000;

    explicit Screen(Tray tray = Tray::None) : m_wantsTray(tray == Tray::Shown) {}
    ~Screen();
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    /// Waits until window manager and tray are at work.
    [[nodiscard]] bool start();

    enum class Button { Left = 1, Middle = 2, Right = 3 };
    [[nodiscard]] bool click(QPoint point, Button button = Button::Left) const;
    /// Types characters of the US layout.
    [[nodiscard]] bool type(const QString& text) const;
    /// "ctrl+a", "Return" and the like.
    [[nodiscard]] bool key(const QString& keys) const;

    /// The program's window; empty unless it is on the screen.
    [[nodiscard]] QString window(const Program& program) const;
    /// Whether the program's window is on the current desktop, and has the keyboard.
    [[nodiscard]] bool isInFront(const Program& program) const;
    [[nodiscard]] bool minimise(const Program& program) const;
    /// Counted from 0.
    [[nodiscard]] bool goToDesktop(int number) const;
    /// The program's icon in the tray; null when there is none.
    [[nodiscard]] QRect trayIcon(const Program& program) const;
    /// Opens the icon's menu, which AT-SPI does not show, and chooses the entry of
    /// this number, from 1, with the keyboard.
    [[nodiscard]] bool chooseInTray(const Program& program, int entry) const;
    /// Waits for the program's window, and closes it with the window manager's shortcut.
    [[nodiscard]] bool close(const Program& program) const;
    /// Clicks on the element once it can be used, until that did what it is for.
    [[nodiscard]] bool clickUntil(const Program& program, Element::Role role, const QString& name,
                                  const std::function<bool()>& outcome) const;
    /// Whether the program's window is on the screen, and tells desktops this class.
    [[nodiscard]] bool isOfClass(const Program& program, const QString& name) const;

private:
    bool m_wantsTray;
    QProcess m_manager;
    QProcess m_tray;
};

/// Acts, and acts again when the outcome stays away: at the moment of a click or
/// a press the program may have been busy with its server. Both are tried with
/// patience; `act` says whether it could act at all.
[[nodiscard]] bool retry(const std::function<bool()>& act, const std::function<bool()>& outcome);
