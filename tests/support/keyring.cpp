// SPDX-License-Identifier: MIT
#include "tests/support/keyring.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMetaType>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QMap>

#include <csignal>

namespace keyring {

namespace {

const QString name = QStringLiteral("org.freedesktop.secrets");

QDBusMessage call(const QString& method, const QVariantList& arguments) {
    QDBusMessage message =
        QDBusMessage::createMethodCall(name, QStringLiteral("/org/freedesktop/secrets"),
                                       QStringLiteral("org.freedesktop.Secret.Service"), method);
    message.setArguments(arguments);
    return QDBusConnection::sessionBus().call(message);
}

} // namespace

int keyCount() {
    using Attributes = QMap<QString, QString>;
    qDBusRegisterMetaType<Attributes>();
    const Attributes ofTheProgram{{QStringLiteral("server"), QStringLiteral("TimerKelvaro")}};
    const QDBusMessage reply = call(QStringLiteral("SearchItems"), {QVariant::fromValue(ofTheProgram)});
    if (reply.type() != QDBusMessage::ReplyMessage) {
        return -1;
    }
    qsizetype found = 0;
    for (const QVariant& items : reply.arguments()) { // unlocked ones, then locked ones
        found += qdbus_cast<QList<QDBusObjectPath>>(items).size();
    }
    return int(found);
}

bool lock() {
    const QDBusReply<QDBusObjectPath> collection = call(QStringLiteral("ReadAlias"), {QStringLiteral("default")});
    if (!collection.isValid()) {
        return false;
    }
    const QList<QDBusObjectPath> locked{collection.value()};
    return call(QStringLiteral("Lock"), {QVariant::fromValue(locked)}).type() == QDBusMessage::ReplyMessage;
}

bool isAsking() {
    return QDBusConnection::sessionBus()
        .interface()
        ->isServiceRegistered(QStringLiteral("org.gnome.keyring.SystemPrompter"))
        .value();
}

Silence::Silence() : m_process(QDBusConnection::sessionBus().interface()->servicePid(name).value()) {
    kill(pid_t(m_process), SIGSTOP);
}

Silence::~Silence() {
    kill(pid_t(m_process), SIGCONT);
}

} // namespace keyring
