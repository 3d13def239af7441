// SPDX-License-Identifier: MIT
#include "tests/support/keyring.h"

#include "tests/vault/secretstructure.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QMap>

using namespace Qt::StringLiterals;

namespace keyring {

namespace {

const QString name = u"org.freedesktop.secrets"_s;
const QString prompterName = u"org.gnome.keyring.SystemPrompter"_s;
const QString prompterPath = u"/org/gnome/keyring/Prompter"_s;

QDBusMessage call(const QString& interface, const QString& method, const QVariantList& arguments) {
    QDBusMessage message =
        QDBusMessage::createMethodCall(name, u"/org/freedesktop/secrets"_s, interface, method);
    message.setArguments(arguments);
    return QDBusConnection::sessionBus().call(message);
}

QDBusMessage call(const QString& method, const QVariantList& arguments) {
    return call(u"org.freedesktop.Secret.Service"_s, method, arguments);
}

QDBusObjectPath collection() {
    return call(u"ReadAlias"_s, {u"default"_s}).arguments().value(0).value<QDBusObjectPath>();
}

} // namespace

int keyCount() {
    using Attributes = QMap<QString, QString>;
    qDBusRegisterMetaType<Attributes>();
    const Attributes ofTheProgram{{u"server"_s, u"TimerKelvaro"_s}};
    const QDBusMessage reply = call(u"SearchItems"_s, {QVariant::fromValue(ofTheProgram)});
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
    const QList<QDBusObjectPath> locked{collection()};
    return call(u"Lock"_s, {QVariant::fromValue(locked)}).type() == QDBusMessage::ReplyMessage;
}

bool unlock() {
    qDBusRegisterMetaType<Secret>();
    const QDBusMessage session =
        call(u"OpenSession"_s, {u"plain"_s, QVariant::fromValue(QDBusVariant(QString()))});
    const Secret password{session.arguments().value(1).value<QDBusObjectPath>(), {}, "test", u"text/plain"_s};
    return call(u"org.gnome.keyring.InternalUnsupportedGuiltRiddenInterface"_s, u"UnlockWithMasterPassword"_s,
                {QVariant::fromValue(collection()), QVariant::fromValue(password)})
               .type() == QDBusMessage::ReplyMessage;
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
    m_questions += int(message.member() == u"BeginPrompting"_s);
    return connection.send(message.createReply());
}

} // namespace keyring
