// SPDX-License-Identifier: MIT
#include "app/polledidle.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QPointer>

#include <utility>

using namespace Qt::StringLiterals;

PolledIdle::PolledIdle(Ask ask, Pace pace, MachineClock clock, QObject* parent)
    : IdleSource(parent), m_ask(std::move(ask)), m_pace(pace), m_clock(std::move(clock)), m_next(this) {
    m_next.setSingleShot(true);
    // An early look is repeated, and a late one can miss a rest that was long enough.
    m_next.setTimerType(Qt::PreciseTimer);
    connect(&m_next, &QTimer::timeout, this, &PolledIdle::look);
}

void PolledIdle::start() {
    stop();
    m_answered = false;
    m_idle = 0;
    m_restBegan.reset();
    look();
}

void PolledIdle::stop() {
    ++m_run;
    m_next.stop();
}

void PolledIdle::look() {
    m_ask([self = QPointer(this), run = m_run](std::optional<qint64> idle) {
        if (self && self->m_run == run) {
            self->take(idle);
        }
    });
}

void PolledIdle::take(std::optional<qint64> idle) {
    if (idle) {
        m_next.start(follow(*idle));
    } else if (m_answered) {
        m_next.start(m_pace.rest);
    }
    if (!std::exchange(m_answered, true)) {
        Q_EMIT answered(idle.has_value());
    }
}

std::chrono::milliseconds PolledIdle::follow(qint64 idle) {
    const qint64 now = m_clock().passed;
    const bool touched = idle < std::exchange(m_idle, idle);
    if (m_restBegan && touched) {
        Q_EMIT returned(now - *std::exchange(m_restBegan, std::nullopt));
    }
    if (idle < m_pace.rest.count()) {
        return m_pace.rest - std::chrono::milliseconds(idle);
    }
    if (!m_restBegan) {
        m_restBegan = now - idle;
    }
    return m_pace.whileAway;
}

PolledIdle::Ask askScreenSaver() {
    return [](const PolledIdle::Answer& answer) {
        QDBusMessage message = QDBusMessage::createMethodCall(
            u"org.freedesktop.ScreenSaver"_s, u"/org/freedesktop/ScreenSaver"_s,
            u"org.freedesktop.ScreenSaver"_s, u"GetSessionIdleTime"_s);
        message.setAutoStartService(false);
        auto* watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(message));
        QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher, [watcher, answer] {
            watcher->deleteLater();
            // Milliseconds. Who answers in seconds, as some do, never tells of a rest.
            const QDBusPendingReply<uint> reply = *watcher;
            answer(reply.isValid() ? std::optional<qint64>(reply.value()) : std::nullopt);
        });
    };
}
