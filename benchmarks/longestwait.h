// SPDX-License-Identifier: MIT
#pragma once

#include <QElapsedTimer>
#include <QFile>
#include <QTimer>

#include <algorithm>

/// The longest that the event loop is kept from anything else while this exists: a window stands still for
/// so long. What others on the machine take of the processor meanwhile does not count; waiting for a disk
/// does.
class LongestWait {
public:
    LongestWait() {
        m_clock.start();
        m_last = now();
        QObject::connect(&m_beat, &QTimer::timeout, &m_beat, [this] {
            const double time = now();
            m_longest = std::max(m_longest, time - m_last);
            m_last = time;
        });
        m_beat.start(0); // the loop never sleeps
    }

    [[nodiscard]] double seconds() const { return m_longest; }

private:
    [[nodiscard]] double now() const {
        using namespace Qt::StringLiterals;
        QFile file(u"/proc/thread-self/schedstat"_s);
        if (!file.open(QIODevice::ReadOnly)) {
            qFatal("the kernel does not tell how long a thread waits for a processor");
        }
        const double queued = file.readAll().split(' ').value(1).toDouble();
        return (static_cast<double>(m_clock.nsecsElapsed()) - queued) / 1e9;
    }

    QTimer m_beat;
    QElapsedTimer m_clock;
    double m_last = 0;
    double m_longest = 0;
};
