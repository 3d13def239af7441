// SPDX-License-Identifier: MIT
#include "state/hosts.h"

#include <QHostAddress>

using namespace Qt::StringLiterals;

bool isLoopbackHost(const QString& host) {
    const QHostAddress address(host);
    // The toolkit takes an IPv4 address inside an IPv6 one for loopback as well.
    const bool loopback = address.protocol() == QAbstractSocket::IPv6Protocol
                              ? address == QHostAddress(QHostAddress::LocalHostIPv6)
                              : address.isLoopback();
    return loopback || host == u"localhost"_s;
}

bool isPrivateHost(const QString& host) {
    const QHostAddress address(host);
    return isLoopbackHost(host) || address.isInSubnet(QHostAddress(u"10.0.0.0"_s), 8) ||
           address.isInSubnet(QHostAddress(u"172.16.0.0"_s), 12) ||
           address.isInSubnet(QHostAddress(u"192.168.0.0"_s), 16);
}
