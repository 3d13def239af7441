// SPDX-License-Identifier: MIT
#include "tests/support/screen.h"

#include "tests/support/program.h"

#include <QRegularExpression>
#include <QSystemTrayIcon>
#include <QTest>

#include <algorithm>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

bool succeeds(QProcess& process, const QStringList& arguments) {
    process.start(u"xdotool"_s, arguments);
    return process.waitForFinished(Screen::patienceMs) && process.exitStatus() == QProcess::NormalExit &&
           process.exitCode() == 0;
}

/// What xdotool prints; nothing when it fails.
std::optional<QString> xdotool(const QStringList& arguments) {
    QProcess process;
    while (!succeeds(process, arguments)) {
        // Its search looks at every window of the display, and gives up when any of them goes meanwhile.
        if (arguments.first() != u"search"_s || !process.readAllStandardError().contains("BadWindow")) {
            return std::nullopt;
        }
    }
    return QString::fromUtf8(process.readAllStandardOutput());
}

/// What the program has on the screen, its icon in the tray included.
QStringList windowsOf(const Program& program) {
    const QString found =
        xdotool({u"search"_s, u"--onlyvisible"_s, u"--pid"_s, QString::number(program.id())})
            .value_or(QString());
    return found.split(u'\n', Qt::SkipEmptyParts);
}

QString windowNamed(const QString& title, const Program& program) {
    const QStringList windows = windowsOf(program);
    const auto named = std::find_if(windows.begin(), windows.end(), [&title](const QString& window) {
        return xdotool({u"getwindowname"_s, window}).value_or(QString()).trimmed() == title;
    });
    return named == windows.end() ? QString() : *named;
}

QRect areaOf(const QString& window) {
    if (window.isEmpty()) {
        return {};
    }
    const QString geometry = xdotool({u"getwindowgeometry"_s, u"--shell"_s, window}).value_or(QString());
    const auto number = [&geometry](const QString& key) {
        const QRegularExpression line(u"^%1=(-?[0-9]+)$"_s.arg(key), QRegularExpression::MultilineOption);
        return line.match(geometry).captured(1).toInt();
    };
    return {number(u"X"_s), number(u"Y"_s), number(u"WIDTH"_s), number(u"HEIGHT"_s)};
}

void end(QProcess& process) {
    process.terminate();
    if (process.state() != QProcess::NotRunning && !process.waitForFinished()) {
        process.kill();
        process.waitForFinished();
    }
}

} // namespace

Screen::~Screen() {
    end(m_tray);
    end(m_manager);
}

bool Screen::start() {
    m_manager.start(u"openbox"_s, {u"--sm-disable"_s});
    const bool managed = QTest::qWaitFor([] { return xdotool({u"get_desktop"_s}).has_value(); }, patienceMs);
    if (!managed || !m_wantsTray) {
        return managed;
    }
    m_tray.start(u"trayer"_s, {u"--edge"_s, u"top"_s});
    return QTest::qWaitFor([] { return QSystemTrayIcon::isSystemTrayAvailable(); }, patienceMs);
}

bool Screen::click(QPoint point, Button button) const {
    return xdotool({u"mousemove"_s, QString::number(point.x()), QString::number(point.y()), u"click"_s,
                    QString::number(int(button))})
        .has_value();
}

bool Screen::type(const QString& text) const {
    return xdotool({u"type"_s, u"--delay"_s, u"20"_s, text}).has_value();
}

bool Screen::key(const QString& keys) const {
    return xdotool({u"key"_s, keys}).has_value();
}

QString Screen::window(const Program& program) const {
    return windowNamed(u"Timer.Kelvaro · Native preview"_s, program);
}

bool Screen::isInFront(const Program& program) const {
    const QString shown = window(program);
    return !shown.isEmpty() && xdotool({u"getactivewindow"_s}).value_or(QString()).trimmed() == shown &&
           xdotool({u"get_desktop_for_window"_s, shown}) == xdotool({u"get_desktop"_s});
}

bool Screen::minimise(const Program& program) const {
    return xdotool({u"windowminimize"_s, u"--sync"_s, window(program)}).has_value();
}

bool Screen::goToDesktop(int number) const {
    return xdotool({u"set_desktop"_s, QString::number(number)}).has_value();
}

QRect Screen::trayIcon(const Program& program) const {
    return areaOf(windowNamed(u"TimerKelvaro"_s, program));
}

bool Screen::chooseInTray(const Program& program, int entry) const {
    const QPoint icon = trayIcon(program).center();
    const qsizetype before = windowsOf(program).size();
    // Again, since a click too soon after the last one makes a double click.
    if (!retry([&] { return click(icon, Button::Right); },
               [&] { return windowsOf(program).size() > before; })) {
        return false;
    }
    QStringList keys{u"key"_s};
    keys.append(QStringList(entry, u"Down"_s));
    keys.append(u"Return"_s);
    return xdotool(keys).has_value();
}

bool Screen::close(const Program& program) const {
    const auto act = [&] {
        const QString shown = window(program);
        return !shown.isEmpty() && xdotool({u"windowactivate"_s, u"--sync"_s, shown, u"key"_s, u"alt+F4"_s});
    };
    return retry(act, [&] { return window(program).isEmpty(); });
}

bool Screen::clickUntil(const Program& program, Element::Role role, const QString& name,
                        const std::function<bool()>& outcome) const {
    const auto act = [&] {
        const Element element = program.usable(role, name);
        return !element.isNull() && click(element.area().center());
    };
    return retry(act, outcome);
}

bool Screen::isOfClass(const Program& program, const QString& name) const {
    const QString found =
        xdotool({u"search"_s, u"--onlyvisible"_s, u"--class"_s, u"^%1$"_s.arg(name)}).value_or(QString());
    const QString shown = window(program);
    return !shown.isEmpty() && found.split(u'\n').contains(shown);
}

bool retry(const std::function<bool()>& act, const std::function<bool()>& outcome) {
    constexpr int attempts = 18;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        // What the last act was for may come only now, and leave nothing to act on, or something else.
        bool done = false;
        const auto actOrDone = [&] {
            done = attempt > 0 && outcome();
            return done || act();
        };
        if (!QTest::qWaitFor(actOrDone, Screen::patienceMs)) {
            return false;
        }
        if (done || QTest::qWaitFor(outcome, Screen::patienceMs / attempts)) {
            return true;
        }
    }
    return false;
}
