// SPDX-License-Identifier: MIT
#include "tests/support/program.h"

#include "tests/support/screen.h"

#include <QProcessEnvironment>
#include <QTest>

using namespace Qt::StringLiterals;

Program::Program() : m_file(QStringLiteral(TIMER_PROGRAM)) {
    m_process.setProcessEnvironment(QProcessEnvironment::systemEnvironment());
    setVariable(u"QT_LINUX_ACCESSIBILITY_ALWAYS_ON"_s, u"1"_s);
    m_process.setProcessChannelMode(QProcess::MergedChannels);
}

Program::~Program() {
    kill();
}

void Program::setVariable(const QString& name, const QString& value) {
    QProcessEnvironment environment = m_process.processEnvironment();
    environment.insert(name, value);
    m_process.setProcessEnvironment(environment);
}

void Program::unsetVariable(const QString& name) {
    QProcessEnvironment environment = m_process.processEnvironment();
    environment.remove(name);
    m_process.setProcessEnvironment(environment);
}

void Program::start(const QStringList& arguments) {
    m_process.start(m_file, arguments);
}

bool Program::handsOver(const QStringList& arguments) {
    constexpr int attempts = 5;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        start(arguments);
        const int code = exitCode();
        const QByteArray said = output();
        if (code == 0 && said.isEmpty()) {
            return true;
        }
        qWarning("The second start ended with code %d: %s", code, said.constData());
        if (code != 1 || said != unanswered()) {
            return false;
        }
    }
    return false;
}

QByteArray Program::unanswered() {
    return "Timer.Kelvaro is already open but does not answer; end it, then start it again.\n"_ba;
}

void Program::kill() {
    if (m_process.state() == QProcess::NotRunning) {
        return;
    }
    m_process.kill();
    m_process.waitForFinished();
}

int Program::exitCode() {
    const bool ended =
        QTest::qWaitFor([this] { return m_process.state() == QProcess::NotRunning; }, Screen::patienceMs);
    const bool started = m_process.error() != QProcess::FailedToStart;
    return ended && started && m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}

Element Program::usable(Element::Role role, const QString& name) const {
    const Element element = elements().find(role, name);
    return element.isEnabled() ? element : Element();
}

bool Program::shows(Element::Role role, const QString& name) const {
    return !elements().find(role, name).isNull();
}
