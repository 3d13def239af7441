// SPDX-License-Identifier: MIT
#include "tests/support/keyring.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QMap>

namespace keyring {

namespace {

const QString name = QStringLiteral("org.freedesktop.secrets");
const QString prompterName = QStringLiteral("org.gnome.keyring.SystemPrompter");
const QString prompterPath = QStringLiteral("/org/gnome/keyring/Prompter");

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
    const QDBusReply<QDBusObjectPath> collection =
        call(QStringLiteral("ReadAlias"), {QStringLiteral("default")});
    if (!collection.isValid()) {
        return false;
    }
    const QList<QDBusObjectPath> locked{collection.value()};
    return call(QStringLiteral("Lock"), {QVariant::fromValue(locked)}).type() == QDBusMessage::ReplyMessage;
}

SilentPerson::SilentPerson() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.registerVirtualObject(prompterPath, this) || !bus.registerService(prompterName)) {
        qFatal("The keyring's prompter is there already.");
    }
}

SilentPerson::~SilentPerson() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    bus.unregisterService(prompterName);
    bus.unregisterObject(prompterPath);
}

QString SilentPerson::introspect(const QString& path) const {
    Q_UNUSED(path)
    return {};
}

bool SilentPerson::handleMessage(const QDBusMessage& message, const QDBusConnection& connection) {
    m_questions += int(message.member() == QStringLiteral("BeginPrompting"));
    return connection.send(message.createReply());
}

} // namespace keyring
