// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

#include <xcb/xcb.h>

#include <array>

/// What Qt does not tell the window manager for us: messages by the rules of Extended Window Manager
/// Hints, and of Startup Notification.
class X11Desktop {
public:
    /// The connection that the window was made on.
    X11Desktop(xcb_connection_t* connection, xcb_window_t window);

    /// Switches to the virtual desktop that the window is on.
    void followWindow();
    /// Gives the window the keyboard, as the person's own wish: what programs ask for themselves may be
    /// refused while the person works elsewhere. `time` is the server's, 0 means now.
    void activateWindow(uint32_t time);
    /// Ends the busy pointer of the launch with this id, for which no window will come.
    void endLaunch(const QByteArray& startupId);

private:
    using Numbers = std::array<uint32_t, 5>;

    [[nodiscard]] xcb_atom_t atom(const QByteArray& name) const;
    void send(const QByteArray& type, xcb_window_t about, const Numbers& numbers) const;
    void send(const xcb_client_message_event_t& event, uint32_t mask) const;

    xcb_connection_t* m_connection;
    xcb_window_t m_root;
    xcb_window_t m_window;
};
