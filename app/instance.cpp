// SPDX-License-Identifier: MIT
#include "app/instance.h"

#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QDBusMessage>
#include <QDeadlineTimer>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <functional>

using namespace Qt::StringLiterals;

namespace {

constexpr int answerMs = 3500;
constexpr int graceMs = 100;
constexpr int pauseMs = 10;

/// The path that the Desktop Entry Specification derives from the name.
const QString& path() {
    static const QString text = u"/io/github/timer_kelvaro/timer"_s;
    return text;
}

const QString& interface() {
    static const QString text = u"org.freedesktop.Application"_s;
    return text;
}

const QString& connectAction() {
    static const QString text = u"connect-server"_s;
    return text;
}

QDBusMessage handover(const Instance::Start& start) {
    const QString method = start.server ? u"ActivateAction"_s : u"Activate"_s;
    QDBusMessage message = QDBusMessage::createMethodCall(Instance::name(), path(), interface(), method);
    // Whoever is asked is there, or else this program takes its place.
    message.setAutoStartService(false);
    if (start.server) {
        message << connectAction() << QVariantList{*start.server};
    }
    message << start.platformData;
    return message;
}

/// The answer of someone who is gone by now; or of nobody, until the time is up.
bool isNoAnswer(const QDBusMessage& answer) {
    const QDBusError::ErrorType error = QDBusError(answer).type();
    return error == QDBusError::NoReply || error == QDBusError::Timeout ||
           error == QDBusError::ServiceUnknown || error == QDBusError::Disconnected;
}

/// The bus lets nobody like this program have the name.
bool isRefused(QDBusConnectionInterface& bus) {
    return bus.registerService(Instance::name()).error().type() == QDBusError::AccessDenied;
}

/// All that can be called over the bus.
class Application : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    explicit Application(Instance* instance) : QDBusAbstractAdaptor(instance), m_instance(instance) {}

public Q_SLOTS: // NOLINT(readability-redundant-access-specifiers)
    void Activate(const QVariantMap& platformData, const QDBusMessage& call) {
        answerLater(call, [this, platformData] { Q_EMIT m_instance->activated(platformData); });
    }

    /// There is no kind of file that the program opens.
    void Open(const QStringList& uris, const QVariantMap& platformData, const QDBusMessage& call) {
        Q_UNUSED(uris)
        Activate(platformData, call);
    }

    void ActivateAction(const QString& action, const QVariantList& parameter, const QVariantMap& platformData,
                        const QDBusMessage& call) {
        if (action != connectAction() || parameter.size() != 1 ||
            parameter.first().typeId() != QMetaType::QString) {
            call.setDelayedReply(true);
            QDBusConnection::sessionBus().send(
                call.createErrorReply(QDBusError::InvalidArgs, u"There is no such action."_s));
            return;
        }
        answerLater(call, [this, platformData, address = parameter.first().toString()] {
            Q_EMIT m_instance->activated(platformData);
            Q_EMIT m_instance->serverGiven(address);
        });
    }

private:
    /// Nobody may be told that there is a window which then closes: what the person did before may still be
    /// on its way from the window system, and comes first. When that ends the program, its event loop makes
    /// no further turn, there is no answer, and the second program opens its own window.
    void answerLater(const QDBusMessage& call, const std::function<void()>& act) {
        call.setDelayedReply(true);
        const auto answer = [call, act] {
            act();
            QDBusConnection::sessionBus().send(call.createReply());
        };
        // Behind all that is posted by then, and in a turn of its own.
        const auto afterTheRest = [this, answer] { QTimer::singleShot(0, this, answer); };
        QTimer::singleShot(graceMs, this, [this, afterTheRest] {
            QMetaObject::invokeMethod(this, afterTheRest, Qt::QueuedConnection);
        });
    }

    Instance* m_instance;
};

} // namespace

const QString& Instance::name() {
    static const QString text = u"io.github.timer_kelvaro.timer"_s;
    return text;
}

QVariantMap Instance::platformData() {
    QVariantMap data;
    const auto pass = [&data](const QString& key, const char* variable) {
        const QString value = qEnvironmentVariable(variable);
        if (!value.isEmpty()) {
            data.insert(key, value);
        }
    };
    pass(u"desktop-startup-id"_s, "DESKTOP_STARTUP_ID");
    pass(u"activation-token"_s, "XDG_ACTIVATION_TOKEN");
    return data;
}

Instance::Role Instance::claim(const Start& start) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    // What can be called is there before somebody can find it.
    new Application(this);
    if (!bus.isConnected() || !bus.registerObject(path(), this, QDBusConnection::ExportAdaptors)) {
        return Role::First;
    }
    const QDeadlineTimer deadline(answerMs);
    while (!bus.registerService(name())) {
        if (!bus.isConnected() || isRefused(*bus.interface())) {
            return Role::First;
        }
        if (deadline.hasExpired()) {
            return bus.interface()->isServiceRegistered(name()) ? Role::Unanswered : Role::First;
        }
        const QDBusMessage answer =
            bus.call(handover(start), QDBus::Block, std::max(1, int(deadline.remainingTime())));
        if (answer.type() == QDBusMessage::ReplyMessage) {
            return Role::HandedOver;
        }
        if (!isNoAnswer(answer) && bus.interface()->isServiceRegistered(name())) {
            return Role::Unanswered;
        }
        QThread::msleep(pauseMs);
    }
    return Role::First;
}

#include "instance.moc"
