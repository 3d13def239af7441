// SPDX-License-Identifier: MIT
#include "devserver/pages/session.h"

#include "devserver/base/apierror.h"
#include "devserver/http/request.h"
#include "devserver/store/schema.h"

#include <QList>

#include <sodium.h>

#include <algorithm>

namespace devserver {
namespace {

const QByteArray cookieName = "timer_page="_ba;
const QByteArray anonymousPrefix = "anonymous."_ba;
constexpr qsizetype secretBytes = 32;

QByteArray urlText(const QByteArray& bytes) {
    return bytes.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
}

QByteArray cookieOf(const Request& request) {
    const QList<QByteArray> cookies = request.header("Cookie").split(';');
    for (const QByteArray& cookie : cookies) {
        if (cookie.trimmed().startsWith(cookieName)) {
            return cookie.trimmed().mid(cookieName.size());
        }
    }
    return {};
}

bool isAnonymous(const QByteArray& cookie) {
    constexpr qsizetype length = 43; // of 32 bytes in base64url
    return cookie.startsWith(anonymousPrefix) && cookie.size() == anonymousPrefix.size() + length &&
           std::all_of(cookie.cbegin() + anonymousPrefix.size(), cookie.cend(), [](char c) {
               return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
                      c == '-' || c == '_';
           });
}

QByteArray randomBytes() {
    QByteArray bytes(secretBytes, '\0');
    randombytes_buf(bytes.data(), static_cast<size_t>(bytes.size()));
    return bytes;
}

bool isEqual(const QByteArray& a, const QByteArray& b) {
    return a.size() == b.size() &&
           sodium_memcmp(a.constData(), b.constData(), static_cast<size_t>(a.size())) == 0;
}

} // namespace

WebSession anonymousSession() {
    return {anonymousPrefix + urlText(randomBytes()), {developmentUser, false}};
}

WebSession accountSession(const QByteArray& token, const QString& userId) {
    return {token, {userId, true}};
}

std::optional<WebSession> findWebSession(const Request& request) {
    const QByteArray cookie = cookieOf(request);
    if (isAnonymous(cookie)) {
        return WebSession{cookie, {developmentUser, false}};
    }
    if (!cookie.startsWith(pageToken)) {
        return std::nullopt;
    }
    const auto user = sessionUser(request.connection(), cookie);
    return user ? std::optional(WebSession{cookie, {*user, true}}) : std::nullopt;
}

bool hasEndedSession(const Request& request) {
    return cookieOf(request).startsWith(pageToken) && !findWebSession(request);
}

WebSession requireWebSession(const Request& request) {
    if (auto session = findWebSession(request)) {
        return *session;
    }
    throw ApiError{401, u"session_ended"_s, u"The session of this page has ended; load the page again."_s};
}

QByteArray tokenOf(const WebSession& session) {
    return session.caller.hasSession ? session.cookie : QByteArray();
}

QByteArray csrfToken(const WebSession& session) {
    // As old as the server: a page that is older fetches a new token.
    static const QByteArray key = randomBytes();
    const QByteArray text = "the page of " + session.cookie;
    QByteArray hash(secretBytes, '\0');
    crypto_generichash(reinterpret_cast<unsigned char*>(hash.data()), static_cast<size_t>(hash.size()),
                       reinterpret_cast<const unsigned char*>(text.constData()),
                       static_cast<unsigned long long>(text.size()),
                       reinterpret_cast<const unsigned char*>(key.constData()),
                       static_cast<size_t>(key.size()));
    return urlText(hash);
}

void requireOwnPage(const Request& request, const WebSession& session, bool tls) {
    const QByteArray own = (tls ? "https://" : "http://") + request.header("Host");
    const QByteArray origin = request.header("Origin");
    const QByteArray site = request.header("Sec-Fetch-Site");
    if ((origin.isEmpty() || origin.compare(own, Qt::CaseInsensitive) == 0) &&
        (site.isEmpty() || site == "same-origin") &&
        isEqual(request.header("X-CSRF-Token"), csrfToken(session))) {
        return;
    }
    throw ApiError{403, u"foreign_request"_s,
                   u"This change does not come from the page of this session; load it again."_s};
}

std::pair<QByteArray, QByteArray> cookieHeader(const WebSession& session, bool tls) {
    return {"Set-Cookie",
            cookieName + session.cookie + "; Path=/; HttpOnly; SameSite=Strict" + (tls ? "; Secure" : "")};
}

} // namespace devserver
