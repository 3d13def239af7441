// SPDX-License-Identifier: MIT
#include "tests/support/scriptedservice.h"

#include <QDBusMessage>
#include <QUuid>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

PrivateBus::~PrivateBus() {
    m_daemon.kill();
    m_daemon.waitForFinished();
}

bool PrivateBus::start() {
    m_daemon.start(u"dbus-daemon"_s, {u"--session"_s, u"--nofork"_s, u"--print-address"_s});
    if (!m_daemon.waitForReadyRead()) {
        return false;
    }
    m_address = QString::fromUtf8(m_daemon.readLine()).trimmed();
    return !m_address.isEmpty();
}

ScriptedService::ScriptedService(const QString& busAddress, QString name, QString path, QString interface)
    : m_name(std::move(name)), m_path(std::move(path)), m_interface(interface.isEmpty() ? m_name : interface),
      m_connectionName(QUuid::createUuid().toString()),
      m_connection(QDBusConnection::connectToBus(busAddress, m_connectionName)) {
    if (!m_connection.registerVirtualObject(m_path, this)) {
        qFatal("The private bus does not take the scripted service");
    }
}

ScriptedService::~ScriptedService() {
    QDBusConnection::disconnectFromBus(m_connectionName);
}

bool ScriptedService::appear() {
    return m_connection.registerService(m_name);
}

bool ScriptedService::disappear() {
    return m_connection.unregisterService(m_name);
}

void ScriptedService::emitSignal(const QString& member, const QVariantList& arguments) {
    QDBusMessage message = QDBusMessage::createSignal(m_path, m_interface, member);
    message.setArguments(arguments);
    if (!m_connection.send(message)) {
        qFatal("The private bus does not take a signal");
    }
}

qsizetype ScriptedService::count(const QString& member) const {
    return std::count_if(m_calls.cbegin(), m_calls.cend(),
                         [&member](const Call& call) { return call.member == member; });
}

QString ScriptedService::introspect(const QString& /*path*/) const {
    return {};
}

bool ScriptedService::handleMessage(const QDBusMessage& message, const QDBusConnection& connection) {
    m_calls.append({message.member(), message.arguments()});
    const Answer answer = m_answers.value(message.member());
    return connection.send(answer ? message.createReply(answer(message.arguments()))
                                  : message.createErrorReply(QDBusError::UnknownMethod, message.member()));
}
