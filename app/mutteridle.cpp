// SPDX-License-Identifier: MIT
#include "app/mutteridle.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

const QString service = u"org.gnome.Mutter.IdleMonitor"_s;
const QString path = u"/org/gnome/Mutter/IdleMonitor/Core"_s;
const QString interface = service;
const QString firedSignal = u"WatchFired"_s;

QDBusMessage request(const QString& method, const QVariantList& arguments) {
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
    message.setAutoStartService(false);
    message.setArguments(arguments);
    return message;
}

} // namespace

MutterIdle::MutterIdle(std::chrono::milliseconds rest, MachineClock clock, QObject* parent)
    : IdleSource(parent), m_rest(rest), m_clock(std::move(clock)) {
    // Who starts again has forgotten what was watched.
    m_presence.setWatchMode(QDBusServiceWatcher::WatchForRegistration);
    connect(&m_presence, &QDBusServiceWatcher::serviceRegistered, this, &MutterIdle::watchForRest);
}

MutterIdle::~MutterIdle() {
    MutterIdle::stop();
}

void MutterIdle::start() {
    stop();
    m_watching = true;
    QDBusConnection bus = QDBusConnection::sessionBus();
    bus.connect(service, path, interface, firedSignal, this, SLOT(fired(uint)));
    m_presence.setConnection(bus);
    m_presence.addWatchedService(service);
    watchForRest();
}

void MutterIdle::stop() {
    if (!std::exchange(m_watching, false)) {
        return;
    }
    ++m_run;
    m_presence.removeWatchedService(service);
    QDBusConnection::sessionBus().disconnect(service, path, interface, firedSignal, this, SLOT(fired(uint)));
    for (std::optional<uint>* watch : {&m_restWatch, &m_returnWatch}) {
        if (*watch) {
            remove(**watch);
        }
        watch->reset();
    }
    m_restBegan.reset();
}

void MutterIdle::watchForRest() {
    ++m_run;
    m_returnWatch.reset();
    m_restBegan.reset();
    add(u"AddIdleWatch"_s, {qulonglong(m_rest.count())}, [this](std::optional<uint> watch) {
        m_restWatch = watch;
        Q_EMIT answered(watch.has_value());
    });
}

void MutterIdle::fired(uint watch) {
    if (watch == m_restWatch && !m_restBegan) {
        m_restBegan = m_clock().passed - m_rest.count();
        add(u"AddUserActiveWatch"_s, {},
            [this](std::optional<uint> returnWatch) { m_returnWatch = returnWatch; });
    } else if (watch == m_returnWatch && m_restBegan) {
        m_returnWatch.reset(); // it tells only once
        Q_EMIT returned(m_clock().passed - *std::exchange(m_restBegan, std::nullopt));
    }
}

void MutterIdle::add(const QString& method, const QVariantList& arguments, const Use& use) {
    auto* answer = new QDBusPendingCallWatcher(
        QDBusConnection::sessionBus().asyncCall(request(method, arguments)), this);
    connect(answer, &QDBusPendingCallWatcher::finished, this, [this, answer, use, run = m_run] {
        answer->deleteLater();
        const QDBusPendingReply<uint> reply = *answer;
        if (run == m_run) {
            use(reply.isValid() ? std::optional(reply.value()) : std::nullopt);
        } else if (reply.isValid()) {
            remove(reply.value());
        }
    });
}

void MutterIdle::remove(uint watch) {
    QDBusConnection::sessionBus().send(request(u"RemoveWatch"_s, {watch}));
}
