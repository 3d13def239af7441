// SPDX-License-Identifier: MIT
#include "app/x11idle.h"

#include <QGuiApplication>

#include <xcb/screensaver.h>

#include <cstdlib>
#include <memory>

namespace {

std::optional<qint64> idleTime() {
    const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    // Below a Wayland session the X server sees only what is typed into its own windows.
    if (x11 == nullptr || qEnvironmentVariableIsSet("WAYLAND_DISPLAY")) {
        return {};
    }
    xcb_connection_t* connection = x11->connection();
    const xcb_query_extension_reply_t* extension = xcb_get_extension_data(connection, &xcb_screensaver_id);
    if (extension == nullptr || extension->present == 0) {
        return {};
    }
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    const std::unique_ptr<xcb_screensaver_query_info_reply_t, decltype(&std::free)> reply(
        xcb_screensaver_query_info_reply(connection, xcb_screensaver_query_info(connection, root), nullptr),
        &std::free);
    return reply ? std::optional<qint64>(reply->ms_since_user_input) : std::nullopt;
}

} // namespace

PolledIdle::Ask askX11() {
    return [](const PolledIdle::Answer& answer) { answer(idleTime()); };
}
