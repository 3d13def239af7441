// SPDX-License-Identifier: MIT
#include "devserver/http/address.h"

#include "devserver/base/text.h"

#include <QRegularExpression>

#include <arpa/inet.h>

#include <array>

namespace devserver {
namespace {

/// The host and the port, both empty where the text names none.
std::pair<QString, QString> split(const QString& text) {
    static const QRegularExpression form(
        u"^(?:\\[([0-9A-Fa-f:.]+)\\]|([^:\\[\\]/@\\s]+))(?::([0-9]{1,5}))?\\z"_s);
    const QRegularExpressionMatch match = form.match(text);
    return {match.captured(1) + match.captured(2), match.captured(3)};
}

bool isIpAddress(const QString& host) {
    std::array<unsigned char, 16> bytes{};
    const QByteArray name = host.toLatin1();
    return inet_pton(AF_INET, name.constData(), bytes.data()) == 1 ||
           inet_pton(AF_INET6, name.constData(), bytes.data()) == 1;
}

} // namespace

QString ListenAddress::text() const {
    const QString shown = host.contains(u':') ? u'[' + host + u']' : host;
    return shown + u':' + QString::number(port);
}

std::optional<ListenAddress> parseListenAddress(const QString& text) {
    auto [host, port] = split(text);
    if (host == u"localhost") {
        host = u"127.0.0.1"_s;
    }
    const bool usable = isIpAddress(host) && !port.isEmpty() && port.toInt() <= 65535;
    return usable ? std::optional(ListenAddress{host, port.toInt()}) : std::nullopt;
}

bool isPrivateAddress(const QString& host) {
    const QByteArray name = host.toLatin1();
    std::array<unsigned char, 16> b{};
    if (inet_pton(AF_INET, name.constData(), b.data()) == 1) {
        return b[0] == 127 || b[0] == 10 || (b[0] == 172 && b[1] >= 16 && b[1] <= 31) ||
               (b[0] == 192 && b[1] == 168);
    }
    constexpr std::array<unsigned char, 16> loopback{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    return inet_pton(AF_INET6, name.constData(), b.data()) == 1 && b == loopback;
}

bool isPrivateHostHeader(const QString& header) {
    const QString host = split(header).first;
    return host.compare(u"localhost", Qt::CaseInsensitive) == 0 || isPrivateAddress(host);
}

} // namespace devserver
