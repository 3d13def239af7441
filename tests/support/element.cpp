// SPDX-License-Identifier: MIT
#include "tests/support/element.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDBusVariant>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

const QString accessible = u"org.a11y.atspi.Accessible"_s;
const QString action = u"org.a11y.atspi.Action"_s;

// The bits of an AT-SPI state set.
constexpr int stateChecked = 4;
constexpr int stateEnabled = 8;
constexpr int stateFocused = 12;
constexpr int stateShowing = 25;

QDBusMessage call(const QString& service, const QString& path, const QString& interface,
                  const QString& method, const QVariantList& arguments = {}) {
    if (path.isEmpty()) {
        return QDBusMessage::createError(QDBusError::UnknownObject, u"There is no such element."_s);
    }
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
    message.setArguments(arguments);
    return accessibilityBus().call(message);
}

QVariant property(const QString& service, const QString& path, const QString& interface,
                  const QString& name) {
    const QDBusReply<QDBusVariant> reply =
        call(service, path, u"org.freedesktop.DBus.Properties"_s, u"Get"_s, {interface, name});
    return reply.isValid() ? reply.value().variant() : QVariant();
}

QList<std::pair<QString, QString>> childrenOf(const QString& service, const QString& path) {
    const QDBusMessage reply = call(service, path, accessible, u"GetChildren"_s);
    QList<std::pair<QString, QString>> children;
    if (reply.type() != QDBusMessage::ReplyMessage) {
        return children;
    }
    const QDBusArgument list = reply.arguments().constFirst().value<QDBusArgument>();
    list.beginArray();
    while (!list.atEnd()) {
        QString name;
        QDBusObjectPath object;
        list.beginStructure();
        list >> name >> object;
        list.endStructure();
        children.append({name, object.path()});
    }
    list.endArray();
    return children;
}

QStringList actionsOf(const QString& service, const QString& path) {
    const QDBusMessage reply = call(service, path, action, u"GetActions"_s);
    QStringList names;
    if (reply.type() != QDBusMessage::ReplyMessage) {
        return names;
    }
    const QDBusArgument list = reply.arguments().constFirst().value<QDBusArgument>();
    list.beginArray();
    while (!list.atEnd()) {
        QString name;
        QString description;
        QString key;
        list.beginStructure();
        list >> name >> description >> key;
        list.endStructure();
        names.append(name);
    }
    list.endArray();
    return names;
}

} // namespace

// The session bus knows it.
QString accessibilityAddress() {
    const QDBusMessage ask = QDBusMessage::createMethodCall(u"org.a11y.Bus"_s, u"/org/a11y/bus"_s,
                                                            u"org.a11y.Bus"_s, u"GetAddress"_s);
    const QDBusReply<QString> address = QDBusConnection::sessionBus().call(ask);
    if (!address.isValid()) {
        qFatal("There is no accessibility bus: %s", qPrintable(address.error().message()));
    }
    return address;
}

const QDBusConnection& accessibilityBus() {
    static const QDBusConnection bus =
        QDBusConnection::connectToBus(accessibilityAddress(), u"accessibility"_s);
    return bus;
}

Element::Element(QString service, QString path) : m_service(std::move(service)), m_path(std::move(path)) {
}

Element Element::application(qint64 processId) {
    const auto programs = childrenOf(u"org.a11y.atspi.Registry"_s, u"/org/a11y/atspi/accessible/root"_s);
    for (const auto& [service, path] : programs) {
        const QDBusReply<uint> id = accessibilityBus().interface()->servicePid(service);
        if (id.isValid() && id.value() == processId) {
            return {service, path};
        }
    }
    return {};
}

QString Element::name() const {
    return property(m_service, m_path, accessible, u"Name"_s).toString();
}

QString Element::description() const {
    return property(m_service, m_path, accessible, u"Description"_s).toString();
}

Element::Role Element::role() const {
    const QDBusReply<uint> role = call(m_service, m_path, accessible, u"GetRole"_s);
    return Role(role.value());
}

QString Element::text() const {
    const QDBusReply<QString> text = call(m_service, m_path, u"org.a11y.atspi.Text"_s, u"GetText"_s, {0, -1});
    return text.value();
}

bool Element::has(int state) const {
    const QDBusMessage reply = call(m_service, m_path, accessible, u"GetState"_s);
    if (reply.type() != QDBusMessage::ReplyMessage) {
        return false;
    }
    const auto words = qdbus_cast<QList<uint>>(reply.arguments().constFirst());
    return words.size() == 2 && ((words.at(state / 32) >> (state % 32)) & 1U) != 0;
}

bool Element::isShowing() const {
    return has(stateShowing);
}

bool Element::isEnabled() const {
    return has(stateEnabled);
}

bool Element::isFocused() const {
    return has(stateFocused);
}

bool Element::isChecked() const {
    return has(stateChecked);
}

QRect Element::area() const {
    constexpr uint onTheScreen = 0;
    const QDBusMessage reply =
        call(m_service, m_path, u"org.a11y.atspi.Component"_s, u"GetExtents"_s, {onTheScreen});
    return reply.type() == QDBusMessage::ReplyMessage ? qdbus_cast<QRect>(reply.arguments().constFirst())
                                                      : QRect();
}

QList<Element> Element::children() const {
    QList<Element> children;
    for (const auto& [service, path] : childrenOf(m_service, m_path)) {
        children.append(Element(service, path));
    }
    return children;
}

QList<Element> Element::everything() const {
    QList<Element> found;
    const QList<Element> below = children();
    for (const Element& child : below) {
        if (child.isShowing()) {
            found.append(child);
        }
        found.append(child.everything());
    }
    return found;
}

Element Element::find(Role role, const QString& name) const {
    const QList<Element> below = children();
    for (const Element& child : below) {
        if (child.name() == name && child.role() == role && child.isShowing()) {
            return child;
        }
        if (Element found = child.find(role, name); !found.isNull()) {
            return found;
        }
    }
    return {};
}

Element Element::findStarting(const QString& start) const {
    const QList<Element> all = everything();
    const auto found = std::find_if(all.begin(), all.end(), [&start](const Element& element) {
        return element.name().startsWith(start);
    });
    return found == all.end() ? Element() : *found;
}

bool Element::press() const {
    const int number = int(actionsOf(m_service, m_path).indexOf(u"Press"_s));
    if (number < 0) {
        return false;
    }
    const QDBusReply<bool> done = call(m_service, m_path, action, u"DoAction"_s, {number});
    return done.value();
}
