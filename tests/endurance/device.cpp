// SPDX-License-Identifier: MIT
#include "tests/endurance/device.h"

#include "tests/support/vaultfile.h"

#include <QFile>
#include <QProcessEnvironment>
#include <QTest>

#include <csignal>

using namespace Qt::StringLiterals;

namespace {

/// Longer than any request may take.
constexpr int patienceMs = 30000;
const QString clockLibrary = QStringLiteral(CLOCK_LIBRARY);

} // namespace

Device::Device(const QString& server) : m_server(server) {
    const QString file = vaultFile(server);
    for (const char* suffix : {"", "-wal", "-shm"}) {
        QFile::remove(file + QString::fromLatin1(suffix));
    }
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QObject::connect(&m_process, &QProcess::readyReadStandardOutput, &m_process, [this] { read(); });
    if (canSetClock()) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"LD_PRELOAD"_s, clockLibrary);
        environment.insert(u"FAKETIME_TIMESTAMP_FILE"_s, m_clock.filePath(u"clock"_s));
        environment.insert(u"FAKETIME_NO_CACHE"_s, u"1"_s);
        environment.insert(u"FAKETIME_DONT_FAKE_MONOTONIC"_s, u"1"_s);
        m_process.setProcessEnvironment(environment);
    }
    setClock(0);
}

Device::~Device() {
    kill();
}

bool Device::canSetClock() {
    return !clockLibrary.isEmpty();
}

void Device::setClock(qint64 seconds) {
    // Renamed into place: the program reads it in any moment.
    const QString name = m_clock.filePath(u"clock"_s);
    QFile file(name + u".new"_s);
    const QByteArray text = (seconds < 0 ? "" : "+") + QByteArray::number(seconds);
    const bool written = file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
    file.close();
    if (!written || std::rename(qPrintable(file.fileName()), qPrintable(name)) != 0) {
        qFatal("The device's clock cannot be set.");
    }
}

void Device::start() {
    m_view = {};
    m_input.clear();
    m_acts = 0;
    m_process.start(QStringLiteral(DEVICE_PROGRAM), QStringList());
    act(u"connect "_s + m_server);
}

bool Device::kill() {
    m_process.kill();
    m_process.waitForFinished();
    read();
    return m_process.exitStatus() == QProcess::CrashExit && m_process.exitCode() == SIGKILL;
}

bool Device::quit() {
    m_process.write("\n");
    return m_process.waitForFinished(patienceMs) && m_process.exitStatus() == QProcess::NormalExit &&
           m_process.exitCode() == 0;
}

QString Device::end() const {
    return u"status %1, code %2, %3"_s.arg(m_process.exitStatus())
        .arg(m_process.exitCode())
        .arg(m_process.errorString());
}

void Device::act(const QString& what) {
    m_process.write(what.toUtf8() + '\n');
    m_process.waitForBytesWritten();
    ++m_acts;
}

void Device::read() {
    m_input += m_process.readAllStandardOutput();
    // What breaks off in the middle was never seen.
    for (qsizetype end = m_input.indexOf('\n'); end >= 0; end = m_input.indexOf('\n')) {
        m_view = DeviceView::from(m_input.first(end));
        m_input.remove(0, end + 1);
        told(m_view);
    }
}

bool Device::hasAnswered() {
    return QTest::qWaitFor([this] { return m_view.done == m_acts || !isRunning(); }, patienceMs);
}

bool Device::isCalm() {
    return hasAnswered() &&
           QTest::qWaitFor([this] { return (!m_view.busy && !m_view.syncing) || !isRunning(); }, patienceMs);
}
