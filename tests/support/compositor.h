// SPDX-License-Identifier: MIT
#pragma once

#include <QPoint>
#include <QProcess>
#include <QSize>
#include <QString>

class Program;

/// A Wayland compositor, in a window on the test's own X server: without a screen it would have neither
/// pointer nor keyboard, which no Wayland session of a person lacks. It begins in the corner of a screen
/// without a window manager, so that its points are those of the X server.
class Compositor {
public:
    /// Windows lie anywhere and have a frame, or each takes all of the screen.
    enum class Shell { Desktop, Kiosk };

    Compositor() = default;
    ~Compositor();
    Compositor(const Compositor&) = delete;
    Compositor& operator=(const Compositor&) = delete;

    [[nodiscard]] bool start(int scale = 1, Shell shell = Shell::Desktop, QSize size = {1920, 1200});
    /// Hands it the keyboard of the X server, which goes to nobody by itself.
    [[nodiscard]] static bool giveKeyboard();
    /// A click with the X server's pointer. The compositor adds up its steps, and may have missed the first
    /// ones: after a way to the corner both are at one place.
    [[nodiscard]] static bool click(QPoint point);
    /// Where a program starts that is to be seen here.
    static void show(Program& program);
    /// The clipboard, as another program of this compositor gets it, which needs the keyboard for it;
    /// empty when it does not get it soon.
    [[nodiscard]] static QString clipboard();

private:
    QProcess m_process;
};
