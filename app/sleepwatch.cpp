// SPDX-License-Identifier: MIT
#include "app/sleepwatch.h"

#include <QDBusConnection>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

const QString service = u"org.freedesktop.login1"_s;
const QString path = u"/org/freedesktop/login1"_s;
const QString interface = u"org.freedesktop.login1.Manager"_s;
const QString member = u"PrepareForSleep"_s;

} // namespace

SleepWatch::SleepWatch(MachineClock clock, QObject* parent) : QObject(parent), m_clock(std::move(clock)) {
}

void SleepWatch::start() {
    m_began.reset();
    m_sleepBefore = sleepSoFar();
    QDBusConnection::systemBus().connect(service, path, interface, member, this, SLOT(prepareForSleep(bool)));
}

void SleepWatch::stop() {
    QDBusConnection::systemBus().disconnect(service, path, interface, member, this,
                                            SLOT(prepareForSleep(bool)));
}

void SleepWatch::prepareForSleep(bool begins) {
    const qint64 now = m_clock().passed;
    if (begins) {
        m_began = now;
        return;
    }
    // The word of the beginning may have been read only after the end: then the clocks know better.
    const qint64 told = m_began ? now - *m_began : 0;
    const qint64 measured = sleepSoFar() - m_sleepBefore;
    m_began.reset();
    m_sleepBefore = sleepSoFar();
    Q_EMIT woke(std::max(told, measured));
}

qint64 SleepWatch::sleepSoFar() const {
    const MachineTime now = m_clock();
    return now.passed - now.awake;
}
