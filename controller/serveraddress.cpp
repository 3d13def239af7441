// SPDX-License-Identifier: MIT
#include "controller/serveraddress.h"

#include "state/hosts.h"

#include <QUrl>

using namespace Qt::StringLiterals;

namespace {

bool isAllowed(const QUrl& url) {
    if (!url.isValid() || url.host().isEmpty() || !url.userInfo().isEmpty() || url.hasQuery() ||
        url.hasFragment()) {
        return false;
    }
    return url.scheme() == u"https"_s || (url.scheme() == u"http"_s && isPrivateHost(url.host()));
}

} // namespace

std::optional<QString> serverAddress(const QString& text) {
    const QUrl url(text.trimmed(), QUrl::TolerantMode);
    if (!isAllowed(url)) {
        return std::nullopt;
    }
    return url.toString(QUrl::RemovePath | QUrl::RemoveUserInfo);
}
