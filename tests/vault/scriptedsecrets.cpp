// SPDX-License-Identifier: MIT
#include "tests/vault/scriptedsecrets.h"

#include "tests/vault/secretstructure.h"

#include <QDBusConnection>
#include <QDBusMetaType>
#include <QDBusVariant>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

const QString root = u"/org/freedesktop/secrets"_s;
const QString itemPrefix = u"/org/freedesktop/secrets/collection/test/"_s;
const QDBusObjectPath nothing{u"/"_s};
using Paths = QList<QDBusObjectPath>;
using Secrets = QMap<QDBusObjectPath, Secret>;

} // namespace

ScriptedSecrets::ScriptedSecrets(QObject* parent) : QDBusVirtualObject(parent) {
    qDBusRegisterMetaType<Secret>();
    qDBusRegisterMetaType<Secrets>();
    qDBusRegisterMetaType<QMap<QString, QString>>();
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.registerVirtualObject(root, this, QDBusConnection::SubPath) ||
        !bus.registerService(u"org.freedesktop.secrets"_s)) {
        qFatal("The private bus does not take the scripted Secret Service");
    }
}

ScriptedSecrets::~ScriptedSecrets() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    bus.unregisterObject(root, QDBusConnection::UnregisterTree);
    bus.unregisterService(u"org.freedesktop.secrets"_s);
}

QString ScriptedSecrets::introspect(const QString& /*path*/) const {
    return {};
}

bool ScriptedSecrets::handleMessage(const QDBusMessage& message, const QDBusConnection& connection) {
    message.setDelayedReply(true);
    const bool isWrite = message.member() == u"CreateItem";
    const bool isRead = message.member() == u"SearchItems";
    if ((isWrite && holdWrites) || (isRead && holdReads)) {
        m_held.append(message);
        return true;
    }
    return connection.send(answer(message));
}

void ScriptedSecrets::release() {
    holdWrites = false;
    holdReads = false;
    for (const QDBusMessage& message : std::exchange(m_held, {})) {
        if (!QDBusConnection::sessionBus().send(answer(message))) {
            qFatal("The private bus does not take an answer");
        }
    }
}

QDBusMessage ScriptedSecrets::answer(const QDBusMessage& message) {
    const QString member = message.member();
    if (member == u"OpenSession") {
        if (message.arguments().value(0).toString() != u"plain") {
            return message.createErrorReply(QDBusError::NotSupported, u"plain only"_s);
        }
        return message.createReply({QVariant::fromValue(QDBusVariant(QString())),
                                    QVariant::fromValue(QDBusObjectPath(root + u"/session/1"_s))});
    }
    if (member == u"SearchItems") {
        return search(message);
    }
    if (member == u"GetSecrets") {
        return secrets(message);
    }
    if (member == u"CreateItem") {
        return createItem(message);
    }
    if (member == u"Unlock") {
        return message.createReply({message.arguments().value(0), QVariant::fromValue(nothing)});
    }
    if (member == u"Get" || member == u"GetAll") {
        return property(message);
    }
    return message.createErrorReply(QDBusError::UnknownMethod, member);
}

QDBusMessage ScriptedSecrets::search(const QDBusMessage& message) {
    ++m_reads;
    if (readsFail) {
        return message.createErrorReply(QDBusError::Failed, u"scripted"_s);
    }
    const auto wanted = qdbus_cast<Attributes>(message.arguments().value(0));
    Paths found;
    for (qsizetype index = 0; index < m_items.size(); ++index) {
        const Attributes& attributes = m_items.at(index).attributes;
        const bool matches = std::all_of(wanted.keyValueBegin(), wanted.keyValueEnd(), [&](const auto& pair) {
            return attributes.value(pair.first) == pair.second;
        });
        if (matches) {
            found.append(QDBusObjectPath(itemPrefix + QString::number(index)));
        }
    }
    return message.createReply({QVariant::fromValue(found), QVariant::fromValue(Paths())});
}

QDBusMessage ScriptedSecrets::secrets(const QDBusMessage& message) {
    Secrets found;
    const auto paths = qdbus_cast<Paths>(message.arguments().value(0));
    const auto session = message.arguments().value(1).value<QDBusObjectPath>();
    for (const QDBusObjectPath& path : paths) {
        const Item& item = m_items.at(path.path().mid(itemPrefix.size()).toInt());
        found.insert(path, {session, {}, item.value, item.contentType});
    }
    return message.createReply(QVariant::fromValue(found));
}

QDBusMessage ScriptedSecrets::createItem(const QDBusMessage& message) {
    if (writes == Writes::Refused) {
        return message.createErrorReply(QDBusError::AccessDenied, u"scripted"_s);
    }
    const auto properties = qdbus_cast<QVariantMap>(message.arguments().value(0));
    const auto secret = qdbus_cast<Secret>(message.arguments().value(1));
    const auto attributes =
        qdbus_cast<Attributes>(properties.value(u"org.freedesktop.Secret.Item.Attributes"_s));
    m_written.append(secret.value);
    if (writes != Writes::Lost) {
        QByteArray value = secret.value;
        if (writes == Writes::Altered) {
            value[0] = value.at(0) == 'A' ? 'B' : 'A';
        }
        erase_if(m_items, [&attributes](const Item& item) { return item.attributes == attributes; });
        m_items.append({attributes, value, secret.contentType});
    }
    // The library does not look at the new item, so that any path will do.
    return message.createReply({QVariant::fromValue(QDBusObjectPath(itemPrefix + QString::number(0))),
                                QVariant::fromValue(nothing)});
}

QDBusMessage ScriptedSecrets::property(const QDBusMessage& message) const {
    QVariantMap all{
        {u"Collections"_s, QVariant::fromValue(Paths())}, {u"Locked"_s, false}, {u"Label"_s, u"test"_s}};
    if (message.member() == u"GetAll") {
        return message.createReply(QVariant(all));
    }
    return message.createReply(
        QVariant::fromValue(QDBusVariant(all.value(message.arguments().value(1).toString()))));
}
