// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <optional>

namespace devserver {

/// Where to listen. `host` is an IP address without brackets.
struct ListenAddress {
    QString host;
    int port = 0;

    /// "127.0.0.1:18080", "[::1]:18080".
    [[nodiscard]] QString text() const;
};

/// Reads "HOST:PORT" ("[HOST]:PORT" for IPv6). The host is an IP address or
/// "localhost"; port 0 stands for any free one.
[[nodiscard]] std::optional<ListenAddress> parseListenAddress(const QString& text);

/// Whether an IP address can only be reached from this machine or a private
/// network: 127.0.0.0/8, ::1, 10.0.0.0/8, 172.16.0.0/12, 192.168.0.0/16.
[[nodiscard]] bool isPrivateAddress(const QString& host);

/// Whether a request's `Host` header names this machine or a private address.
/// Any other name is a web page that points its own domain at this server.
[[nodiscard]] bool isPrivateHostHeader(const QString& header);

} // namespace devserver
