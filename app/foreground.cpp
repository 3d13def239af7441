// SPDX-License-Identifier: MIT
#include "app/foreground.h"

#include <QGuiApplication>
#include <QRegularExpression>
#include <QWindow>

#if QT_CONFIG(xcb)
#include <xcb/xcb.h>

#include <array>
#include <cstdlib>
#include <memory>
#endif

namespace {

/// A token of the desktop: one word of visible characters, or nothing.
QString token(const QVariantMap& platformData, const QString& key) {
    static const QRegularExpression word(QStringLiteral("^[!#-\\[\\]-~]{1,255}$"));
    const QVariant value = platformData.value(key);
    return value.typeId() == QMetaType::QString && word.match(value.toString()).hasMatch() ? value.toString()
                                                                                           : QString();
}

#if QT_CONFIG(xcb)

/// A client message to the root window, by the rules of Extended Window Manager Hints.
class RootMessage {
public:
    RootMessage(xcb_connection_t* connection, const QWindow& window)
        : m_connection(connection), m_root(xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root) {
        m_event.response_type = XCB_CLIENT_MESSAGE;
        m_event.window = xcb_window_t(window.winId());
    }

    void sendNumbers(const QByteArray& type, std::array<uint32_t, 5> numbers) {
        m_event.format = 32;
        std::copy(numbers.begin(), numbers.end(), m_event.data.data32);
        send(type, XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT);
    }

    /// In pieces, each as long as one message can be; the last one holds the final zero.
    void sendText(const QByteArray& firstType, const QByteArray& nextType, const QByteArray& text) {
        m_event.format = 8;
        const qsizetype piece = sizeof m_event.data.data8;
        const QByteArray filled = text.leftJustified((text.size() / piece + 1) * piece, '\0');
        for (qsizetype i = 0; i < filled.size(); i += piece) {
            std::copy_n(filled.constData() + i, piece, m_event.data.data8);
            send(i == 0 ? firstType : nextType, XCB_EVENT_MASK_PROPERTY_CHANGE);
        }
    }

private:
    void send(const QByteArray& type, uint32_t mask) {
        const std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> atom(
            xcb_intern_atom_reply(
                m_connection, xcb_intern_atom(m_connection, false, uint16_t(type.size()), type.constData()),
                nullptr),
            &std::free);
        if (!atom) {
            return;
        }
        m_event.type = atom->atom;
        xcb_send_event(m_connection, false, m_root, mask, reinterpret_cast<const char*>(&m_event));
        xcb_flush(m_connection);
    }

    xcb_connection_t* m_connection;
    xcb_window_t m_root;
    xcb_client_message_event_t m_event{};
};

/// Toolkits ask for themselves, which a window manager may refuse while the person works elsewhere. Here
/// the person has asked, and that can be said too.
void activateOnX11(xcb_connection_t* connection, const QWindow& window, const QString& startupId) {
    static const QRegularExpression atItsEnd(QStringLiteral("_TIME([0-9]{1,10})$"));
    const uint32_t time = atItsEnd.match(startupId).captured(1).toUInt(); // 0 where there is none: now
    constexpr uint32_t byThePerson = 2;
    RootMessage message(connection, window);
    message.sendNumbers("_NET_ACTIVE_WINDOW", {byThePerson, time});
    if (!startupId.isEmpty()) {
        // The second program opened no window that would have ended the desktop's busy pointer.
        message.sendText("_NET_STARTUP_INFO_BEGIN", "_NET_STARTUP_INFO",
                         "remove: ID=" + startupId.toLatin1());
    }
}

#endif

} // namespace

void bringToFront(QWindow& window, const QVariantMap& platformData) {
    const QString activationToken = token(platformData, QStringLiteral("activation-token"));
    if (!activationToken.isEmpty()) {
        // Where Qt looks for it on Wayland when it activates a window.
        qputenv("XDG_ACTIVATION_TOKEN", activationToken.toLatin1());
    }
    window.setWindowStates(window.windowStates() & ~Qt::WindowMinimized);
    window.show();
    window.raise();
    window.requestActivate();
#if QT_CONFIG(xcb)
    if (const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>()) {
        activateOnX11(x11->connection(), window, token(platformData, QStringLiteral("desktop-startup-id")));
    }
#endif
}
