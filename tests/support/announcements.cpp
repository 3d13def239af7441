// SPDX-License-Identifier: MIT
#include "tests/support/announcements.h"

#include "tests/support/element.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>

using namespace Qt::StringLiterals;

Announcements::Announcements() {
    // Programs send what somebody has asked for.
    for (const char* const event : {"object:state-changed:showing", "object:announcement"}) {
        QDBusMessage ask =
            QDBusMessage::createMethodCall(u"org.a11y.atspi.Registry"_s, u"/org/a11y/atspi/registry"_s,
                                           u"org.a11y.atspi.Registry"_s, u"RegisterEvent"_s);
        ask.setArguments({QString::fromLatin1(event)});
        if (accessibilityBus().call(ask).type() != QDBusMessage::ReplyMessage) {
            qFatal("The registry does not listen to %s", event);
        }
    }
    QDBusConnection bus = accessibilityBus();
    const QString object = u"org.a11y.atspi.Event.Object"_s;
    if (!bus.connect({}, {}, object, u"StateChanged"_s, this, SLOT(hearState(QDBusMessage))) ||
        !bus.connect({}, {}, object, u"Announcement"_s, this, SLOT(hearAnnouncement(QDBusMessage)))) {
        qFatal("No event of the accessibility bus can be heard");
    }
}

void Announcements::hearState(const QDBusMessage& event) {
    const QVariantList arguments = event.arguments();
    if (arguments.value(0).toString() != u"showing"_s || arguments.value(1).toInt() != 1) {
        return;
    }
    const Element element(event.service(), event.path());
    if (element.role() == Element::Role::Notification) {
        m_heard.append(element.name());
    }
}

void Announcements::hearAnnouncement(const QDBusMessage& event) {
    m_heard.append(event.arguments().value(3).value<QDBusVariant>().variant().toString());
}
