// SPDX-License-Identifier: MIT
// Whatever somebody takes for a server's address.
#include "controller/serveraddress.h"
#include "state/accountstate.h"
#include "state/hosts.h"
#include "tests/fuzz/fuzz.h"

#include <QUrl>

using namespace Qt::StringLiterals;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QString text = QString::fromUtf8(fuzz::bytesOf(data, size));
    const bool allowed = AccountState::transportAllowed(text);
    const std::optional<QString> address = serverAddress(text);
    if (!address) {
        return 0;
    }
    const QUrl url(*address, QUrl::TolerantMode);
    fuzz::require(url.isValid() && !url.host().isEmpty() && url.path().isEmpty() && !url.hasQuery() &&
                      !url.hasFragment() && url.userInfo().isEmpty(),
                  "an address is scheme, host and port");
    fuzz::require(serverAddress(*address) == address, "an address is its own normal form");
    const bool encrypted = url.scheme() == u"https"_s;
    fuzz::require(encrypted || (url.scheme() == u"http"_s && isPrivateHost(url.host(QUrl::FullyDecoded))),
                  "clear text stays on private networks");
    const bool passwords = AccountState::transportAllowed(*address);
    fuzz::require(!passwords || encrypted || isLoopbackHost(url.host(QUrl::FullyDecoded)),
                  "a password in clear text stays on this machine");
    fuzz::require(!allowed || passwords, "the normal form is not judged more strictly");
    // What requests are sent to is the same host.
    const QUrl request(*address + u"/v1/auth/login"_s, QUrl::TolerantMode);
    fuzz::require(request.host() == url.host() && request.port() == url.port() &&
                      request.path() == u"/v1/auth/login"_s,
                  "requests go to that host");
    return 0;
}
