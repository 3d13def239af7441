// SPDX-License-Identifier: MIT
#include "tests/support/screen.h"

#include "tests/support/program.h"

#include <QRegularExpression>
#include <QSystemTrayIcon>
#include <QTest>

#include <algorithm>
#include <optional>

namespace {

/// What xdotool prints; nothing when it fails.
std::optional<QString> xdotool(const QStringList& arguments) {
    QProcess process;
    process.start(QStringLiteral("xdotool"), arguments);
    if (!process.waitForFinished(Screen::patienceMs) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0) {
        return std::nullopt;
    }
    return QString::fromUtf8(process.readAllStandardOutput());
}

/// What the program has on the screen, its icon in the tray included.
QStringList windowsOf(const Program& program) {
    const QString found = xdotool({QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                                   QStringLiteral("--pid"), QString::number(program.id())})
                              .value_or(QString());
    return found.split(u'\n', Qt::SkipEmptyParts);
}

QString windowNamed(const QString& title, const Program& program) {
    const QStringList windows = windowsOf(program);
    const auto named = std::find_if(windows.begin(), windows.end(), [&title](const QString& window) {
        return xdotool({QStringLiteral("getwindowname"), window}).value_or(QString()).trimmed() == title;
    });
    return named == windows.end() ? QString() : *named;
}

QRect areaOf(const QString& window) {
    if (window.isEmpty()) {
        return {};
    }
    const QString geometry =
        xdotool({QStringLiteral("getwindowgeometry"), QStringLiteral("--shell"), window}).value_or(QString());
    const auto number = [&geometry](const QString& key) {
        const QRegularExpression line(QStringLiteral("^%1=(-?[0-9]+)$").arg(key),
                                      QRegularExpression::MultilineOption);
        return line.match(geometry).captured(1).toInt();
    };
    return {number(QStringLiteral("X")), number(QStringLiteral("Y")), number(QStringLiteral("WIDTH")),
            number(QStringLiteral("HEIGHT"))};
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
    m_manager.start(QStringLiteral("openbox"), {QStringLiteral("--sm-disable")});
    const bool managed =
        QTest::qWaitFor([] { return xdotool({QStringLiteral("get_desktop")}).has_value(); }, patienceMs);
    if (!managed || !m_wantsTray) {
        return managed;
    }
    m_tray.start(QStringLiteral("trayer"), {QStringLiteral("--edge"), QStringLiteral("top")});
    return QTest::qWaitFor([] { return QSystemTrayIcon::isSystemTrayAvailable(); }, patienceMs);
}

bool Screen::click(QPoint point, Button button) const {
    return xdotool({QStringLiteral("mousemove"), QString::number(point.x()), QString::number(point.y()),
                    QStringLiteral("click"), QString::number(int(button))})
        .has_value();
}

bool Screen::type(const QString& text) const {
    return xdotool({QStringLiteral("type"), QStringLiteral("--delay"), QStringLiteral("20"), text})
        .has_value();
}

bool Screen::key(const QString& keys) const {
    return xdotool({QStringLiteral("key"), keys}).has_value();
}

QString Screen::window(const Program& program) const {
    return windowNamed(QStringLiteral("Timer.Kelvaro · Native preview"), program);
}

bool Screen::isInFront(const Program& program) const {
    const QString shown = window(program);
    return !shown.isEmpty() &&
           xdotool({QStringLiteral("getactivewindow")}).value_or(QString()).trimmed() == shown &&
           xdotool({QStringLiteral("get_desktop_for_window"), shown}) ==
               xdotool({QStringLiteral("get_desktop")});
}

bool Screen::minimise(const Program& program) const {
    return xdotool({QStringLiteral("windowminimize"), QStringLiteral("--sync"), window(program)}).has_value();
}

bool Screen::goToDesktop(int number) const {
    return xdotool({QStringLiteral("set_desktop"), QString::number(number)}).has_value();
}

QRect Screen::trayIcon(const Program& program) const {
    return areaOf(windowNamed(QStringLiteral("TimerKelvaro"), program));
}

bool Screen::chooseInTray(const Program& program, int entry) const {
    const QPoint icon = trayIcon(program).center();
    const qsizetype before = windowsOf(program).size();
    // Again, since a click too soon after the last one makes a double click.
    if (!retry([&] { return click(icon, Button::Right); },
               [&] { return windowsOf(program).size() > before; })) {
        return false;
    }
    QStringList keys{QStringLiteral("key")};
    keys.append(QStringList(entry, QStringLiteral("Down")));
    keys.append(QStringLiteral("Return"));
    return xdotool(keys).has_value();
}

bool Screen::close(const Program& program) const {
    const auto act = [&] {
        const QString shown = window(program);
        return !shown.isEmpty() && xdotool({QStringLiteral("windowactivate"), QStringLiteral("--sync"), shown,
                                            QStringLiteral("key"), QStringLiteral("alt+F4")});
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

bool retry(const std::function<bool()>& act, const std::function<bool()>& outcome) {
    constexpr int attempts = 18;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        if (!QTest::qWaitFor(act, Screen::patienceMs)) {
            return false;
        }
        if (QTest::qWaitFor(outcome, Screen::patienceMs / attempts)) {
            return true;
        }
    }
    return false;
}
