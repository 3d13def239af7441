// SPDX-License-Identifier: MIT
#include "app/notices.h"

#include "app/foreground.h"
#include "app/instance.h"
#include "controller/controller.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QQuickWindow>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

const QString service = u"org.freedesktop.Notifications"_s;
const QString path = u"/org/freedesktop/Notifications"_s;
/// The one that a click on the notification itself is.
const QString defaultAction = u"default"_s;

struct Texts {
    QString hebrew;
    QString english;
};

Texts textsOf(Notices::Kind kind) {
    switch (kind) {
    case Notices::Kind::Refused:
        return {u"השרת לא קיבל שינוי. הוא נשמר כפי שנרשם."_s,
                u"The server did not accept a change. It is kept as you made it."_s};
    case Notices::Kind::SessionEnded:
        return {u"החיבור לחשבון הסתיים. השינויים הממתינים נשמרים."_s,
                u"The session has ended. Waiting changes are kept."_s};
    case Notices::Kind::NotSaved:
        return {u"השמירה במחשב נכשלה; השינוי האחרון לא נרשם."_s,
                u"Saving on this device failed; the last change was not recorded."_s};
    case Notices::Kind::NotAcknowledged:
        return {u"השמירה במחשב נכשלה. מה שנרשם נשמר וממתין."_s,
                u"Saving on this device failed. What you recorded is kept and waits."_s};
    case Notices::Kind::Absence:
        return {u"הטיימר המשיך לרוץ. האם זה היה זמן עבודה?"_s, u"The timer went on. Was that work?"_s};
    }
    return {};
}

bool isLostChange(const QString& message) {
    return message == u"The write was not accepted because secure local storage failed."_s;
}

/// Nothing of it is lost, and nobody is to enter it again.
bool isLostAcknowledgement(const QString& message) {
    return message == u"Secure local save failed; the retained queue was not acknowledged locally."_s ||
           message == u"Secure local acknowledgement save failed; original queue retained for replay"_s;
}

QDBusMessage request(const QString& method, const QVariantList& arguments) {
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, service, method);
    message.setArguments(arguments);
    return message;
}

} // namespace

Notices::Notices(Controller& controller, QQuickWindow* window) : m_controller(controller), m_window(window) {
    connect(&controller, &Controller::changed, this, &Notices::follow);
    if (window != nullptr) {
        connect(window, &QWindow::visibilityChanged, this, &Notices::followWindow);
        connect(window, &QWindow::activeChanged, this, &Notices::followWindow);
    }
}

bool Notices::isHidden() const {
    return m_window && (!m_window->isVisible() || m_window->visibility() == QWindow::Minimized);
}

bool Notices::isToBeTold(Kind kind) const {
    // Who comes back works on in another window, while the timer counts what was none.
    return isHidden() || (kind == Kind::Absence && m_window && !m_window->isActive());
}

QSet<Notices::Kind> Notices::standing() const {
    QSet<Kind> kinds;
    const auto note = [&kinds](Kind kind, bool stands) {
        if (stands) {
            kinds.insert(kind);
        }
    };
    note(Kind::Refused, !m_controller.retained().isEmpty());
    note(Kind::SessionEnded, m_controller.sessionRefused());
    note(Kind::NotSaved, isLostChange(m_controller.message()));
    note(Kind::NotAcknowledged, isLostAcknowledgement(m_controller.message()));
    note(Kind::Absence, !m_controller.absence().isEmpty());
    return kinds;
}

void Notices::follow() {
    const QSet<Kind> now = standing();
    const QSet<Kind> fresh = now - std::exchange(m_standing, now);
    for (const Kind kind : fresh - m_told) {
        if (isToBeTold(kind)) {
            m_told.insert(kind);
            tell(kind);
        }
    }
}

void Notices::followWindow() {
    if (isHidden()) {
        return;
    }
    m_told.clear();
    for (auto shown = m_shown.cbegin(); shown != m_shown.cend(); ++shown) {
        QDBusConnection::sessionBus().send(request(u"CloseNotification"_s, {shown.key()}));
    }
    m_shown.clear();
}

void Notices::tell(Kind kind) {
    listen();
    const bool hebrew = m_window->property("hebrew").toBool();
    const Texts texts = textsOf(kind);
    const uint replaces = 0;
    const int untilTheDesktopSaysSo = -1;
    const QVariantMap hints{{u"desktop-entry"_s, Instance::name()}};
    const QDBusMessage message =
        request(u"Notify"_s,
                {u"Timer.Kelvaro"_s, replaces, Instance::name(), u"Timer.Kelvaro"_s,
                 hebrew ? texts.hebrew : texts.english,
                 QStringList{defaultAction, hebrew ? u"הצג"_s : u"Show"_s}, hints, untilTheDesktopSaysSo});
    auto* answer = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(message), this);
    connect(answer, &QDBusPendingCallWatcher::finished, this, [this, answer, kind] {
        answer->deleteLater();
        // Without such a service nothing is told: what stands is on the screen when the window is shown.
        const QDBusPendingReply<uint> reply = *answer;
        if (reply.isValid()) {
            m_shown.insert(reply.value(), kind);
        }
    });
}

void Notices::listen() {
    if (std::exchange(m_listening, true)) {
        return;
    }
    QDBusConnection bus = QDBusConnection::sessionBus();
    bus.connect(service, path, service, u"ActionInvoked"_s, this, SLOT(actionInvoked(uint, QString)));
    bus.connect(service, path, service, u"ActivationToken"_s, this, SLOT(activationToken(uint, QString)));
    bus.connect(service, path, service, u"NotificationClosed"_s, this, SLOT(notificationClosed(uint, uint)));
}

void Notices::activationToken(uint id, const QString& token) {
    if (m_shown.contains(id)) {
        m_platformData = {{u"activation-token"_s, token}};
    }
}

void Notices::actionInvoked(uint id, const QString& action) {
    const auto shown = m_shown.constFind(id);
    if (shown == m_shown.constEnd() || action != defaultAction || !m_window) {
        return;
    }
    const Kind kind = *shown;
    bringToFront(*m_window, std::exchange(m_platformData, {}));
    lead(kind);
}

void Notices::notificationClosed(uint id, uint reason) {
    Q_UNUSED(reason)
    m_shown.remove(id);
}

// The rest is on every page: the status line, and the question above it.
void Notices::lead(Kind kind) const {
    if (kind == Kind::Refused) {
        QMetaObject::invokeMethod(m_window, "retainedWanted");
    } else if (kind == Kind::SessionEnded) {
        QMetaObject::invokeMethod(m_window, "accountWanted");
    }
}
