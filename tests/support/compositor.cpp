// SPDX-License-Identifier: MIT
#include "tests/support/compositor.h"

#include "tests/support/program.h"
#include "tests/support/screen.h"

#include <QDir>
#include <QFile>
#include <QProcessEnvironment>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString socket = u"wayland-test"_s;

/// One that waits for what does not come is ended, for another attempt.
bool succeeds(QProcess& process, const QString& file, const QStringList& arguments) {
    constexpr int attemptMs = 5000;
    process.start(file, arguments);
    if (!process.waitForFinished(attemptMs)) {
        process.kill();
        process.waitForFinished();
    }
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

} // namespace

Compositor::~Compositor() {
    m_process.terminate();
    m_process.waitForFinished();
}

bool Compositor::start(int scale, Shell shell, QSize size) {
    const QString module = shell == Shell::Kiosk ? u"kiosk-shell.so"_s : u"desktop-shell.so"_s;
    m_process.start(u"weston"_s, {u"--backend=x11-backend.so"_s, u"--shell="_s + module, u"--use-pixman"_s,
                                  u"--no-config"_s, u"--idle-time=0"_s, u"--width=%1"_s.arg(size.width()),
                                  u"--height=%1"_s.arg(size.height()), u"--scale=%1"_s.arg(scale),
                                  u"--socket="_s + socket});
    const QString path = QDir(qEnvironmentVariable("XDG_RUNTIME_DIR")).filePath(socket);
    return QTest::qWaitFor([&path] { return QFile::exists(path); }, Screen::patienceMs);
}

bool Compositor::giveKeyboard() {
    QProcess xdotool;
    return succeeds(
        xdotool, u"xdotool"_s,
        {u"search"_s, u"--sync"_s, u"--class"_s, u"^Weston Compositor"_s, u"windowfocus"_s, u"--sync"_s});
}

bool Compositor::click(QPoint point) {
    QProcess xdotool;
    return succeeds(xdotool, u"xdotool"_s,
                    {u"mousemove"_s, u"0"_s, u"0"_s, u"mousemove"_s, QString::number(point.x()),
                     QString::number(point.y()), u"click"_s, u"1"_s});
}

void Compositor::show(Program& program) {
    program.unsetVariable(u"DISPLAY"_s);
    program.setVariable(u"QT_QPA_PLATFORM"_s, u"wayland"_s);
    program.setVariable(u"WAYLAND_DISPLAY"_s, socket);
}

QString Compositor::clipboard() {
    if (!giveKeyboard()) {
        return {};
    }
    QProcess paste;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"WAYLAND_DISPLAY"_s, socket);
    paste.setProcessEnvironment(environment);
    return succeeds(paste, u"wl-paste"_s, {u"--no-newline"_s})
               ? QString::fromUtf8(paste.readAllStandardOutput())
               : QString();
}
