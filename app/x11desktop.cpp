// SPDX-License-Identifier: MIT
#include "app/x11desktop.h"

#include <algorithm>
#include <cstdlib>
#include <memory>

namespace {

/// What the X server answers belongs to the caller.
template <typename Reply>
std::unique_ptr<Reply, decltype(&std::free)> owned(Reply* reply) {
    return {reply, &std::free};
}

} // namespace

X11Desktop::X11Desktop(xcb_connection_t* connection, xcb_window_t window)
    : m_connection(connection), m_root(xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root),
      m_window(window) {
}

xcb_atom_t X11Desktop::atom(const QByteArray& name) const {
    const xcb_intern_atom_cookie_t asked =
        xcb_intern_atom(m_connection, 0, uint16_t(name.size()), name.constData());
    const auto reply = owned(xcb_intern_atom_reply(m_connection, asked, nullptr));
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

void X11Desktop::send(const xcb_client_message_event_t& event, uint32_t mask) const {
    xcb_send_event(m_connection, 0, m_root, mask, reinterpret_cast<const char*>(&event));
    xcb_flush(m_connection);
}

void X11Desktop::send(const QByteArray& type, xcb_window_t about, const Numbers& numbers) const {
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = about;
    event.type = atom(type);
    std::copy(numbers.begin(), numbers.end(), event.data.data32);
    send(event, XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT);
}

void X11Desktop::followWindow() {
    constexpr uint32_t allDesktops = 0xffffffff;
    const xcb_get_property_cookie_t asked =
        xcb_get_property(m_connection, 0, m_window, atom("_NET_WM_DESKTOP"), XCB_ATOM_CARDINAL, 0, 1);
    const auto reply = owned(xcb_get_property_reply(m_connection, asked, nullptr));
    if (!reply || reply->format != 32 || reply->value_len != 1) {
        return; // it is not on the screen, and will come where the person is
    }
    const uint32_t desktop = *static_cast<const uint32_t*>(xcb_get_property_value(reply.get()));
    if (desktop != allDesktops) {
        send("_NET_CURRENT_DESKTOP", m_root, {desktop});
    }
}

void X11Desktop::activateWindow(uint32_t time) {
    constexpr uint32_t byThePerson = 2;
    send("_NET_ACTIVE_WINDOW", m_window, {byThePerson, time});
}

// In pieces, each as long as one message can be; the text ends with the first zero.
void X11Desktop::endLaunch(const QByteArray& startupId) {
    xcb_client_message_event_t event{};
    constexpr qsizetype piece = sizeof event.data.data8;
    QByteArray text = "remove: ID=" + startupId;
    text.append(piece - text.size() % piece, '\0');
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 8;
    event.window = m_window;
    event.type = atom("_NET_STARTUP_INFO_BEGIN");
    for (qsizetype i = 0; i < text.size(); i += piece) {
        std::copy_n(text.constData() + i, piece, event.data.data8);
        send(event, XCB_EVENT_MASK_PROPERTY_CHANGE);
        event.type = atom("_NET_STARTUP_INFO");
    }
}
