// SPDX-License-Identifier: MIT
#include "app/foreground.h"

#include <QGuiApplication>
#include <QRegularExpression>
#include <QWindow>

#if QT_CONFIG(xcb)
#include "app/x11desktop.h"
#endif

using namespace Qt::StringLiterals;

namespace {

/// A token of the desktop: one word of visible characters, or nothing.
QByteArray token(const QVariantMap& platformData, const QString& key) {
    static const QRegularExpression word(u"\\A[!#-\\[\\]-~]{1,255}\\z"_s);
    const QVariant value = platformData.value(key);
    const bool isToken = value.typeId() == QMetaType::QString && word.match(value.toString()).hasMatch();
    return isToken ? value.toString().toLatin1() : QByteArray();
}

#if QT_CONFIG(xcb)
/// When the person asked, by the X server's clock: launchers write it at the end of the id.
uint32_t timeOf(const QByteArray& startupId) {
    static const QRegularExpression ending(u"_TIME([0-9]{1,10})\\z"_s);
    return ending.match(QString::fromLatin1(startupId)).captured(1).toUInt();
}
#endif

} // namespace

void bringToFront(QWindow& window, const QVariantMap& platformData) {
    const QByteArray activation = token(platformData, u"activation-token"_s);
    if (!activation.isEmpty() && QGuiApplication::platformName().startsWith(u"wayland"_s)) {
        // Where Qt looks for it when it activates a window there, and takes it out again.
        qputenv("XDG_ACTIVATION_TOKEN", activation);
    }
    window.setWindowStates(window.windowStates() & ~Qt::WindowMinimized);
    window.setVisible(true); // show() would take a maximised window back to its size
    window.raise();
    window.requestActivate();
#if QT_CONFIG(xcb)
    if (const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>()) {
        const QByteArray startupId = token(platformData, u"desktop-startup-id"_s);
        X11Desktop desktop(x11->connection(), xcb_window_t(window.winId()));
        desktop.followWindow();
        desktop.activateWindow(timeOf(startupId));
        if (!startupId.isEmpty()) {
            desktop.endLaunch(startupId);
        }
    }
#endif
}
