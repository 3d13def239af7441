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
