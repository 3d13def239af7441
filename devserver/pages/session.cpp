// SPDX-License-Identifier: MIT
#include "devserver/pages/session.h"

#include "devserver/base/apierror.h"
#include "devserver/store/schema.h"

#include <QMessageAuthenticationCode>
#include <QRegularExpression>

#include <sodium.h>

namespace devserver {
namespace {

// A browser keeps one jar for all ports of a host: a server on another port would put its cookie in the
// place of this one's. Over http it neither sends a secure cookie nor lets another of that name replace it.
QByteArray cookieName(const Request& request, bool tls) {
    return (tls ? "__Host-timer_page_" : "timer_page_") + QByteArray::number(request.localPort()) + '=';
}

QByteArray cookieOf(const Request& request, bool tls) {
    const QByteArray name = cookieName(request, tls);
    const QList<QByteArray> cookies = request.header("Cookie").split(';');
    for (const QByteArray& cookie : cookies) {
        if (cookie.trimmed().startsWith(name)) {
            return cookie.trimmed().mid(name.size());
        }
    }
    return {};
}

// As newToken() makes it.
bool isAnonymous(const QByteArray& cookie) {
    static const QRegularExpression form(u"^anonymous\\.[A-Za-z0-9_-]{43}\\z"_s);
    return form.match(QString::fromLatin1(cookie)).hasMatch();
}

bool isEqual(const QByteArray& a, const QByteArray& b) {
    return a.size() == b.size() &&
           sodium_memcmp(a.constData(), b.constData(), static_cast<size_t>(a.size())) == 0;
}

} // namespace

WebSession anonymousSession() {
    return {newToken("anonymous."), {developmentUser, false}};
}

std::optional<WebSession> findWebSession(const Request& request, bool tls) {
    const QByteArray cookie = cookieOf(request, tls);
    if (isAnonymous(cookie)) {
        return WebSession{cookie, {developmentUser, false}};
    }
    if (!cookie.startsWith(pageToken)) {
        return std::nullopt;
    }
    const auto user = sessionUser(request.connection(), cookie);
    return user ? std::optional(WebSession{cookie, {*user, true}}) : std::nullopt;
}

bool hasEndedSession(const Request& request, bool tls) {
    return cookieOf(request, tls).startsWith(pageToken) && !findWebSession(request, tls);
}

WebSession requireWebSession(const Request& request, bool tls) {
    if (auto session = findWebSession(request, tls)) {
        return *session;
    }
    throw ApiError{401, u"session_ended"_s, u"The session of this page has ended; load the page again."_s};
}

QByteArray csrfToken(const WebSession& session) {
    // As old as the server: a page that is older fetches a new token.
    static const QByteArray key = newToken({});
    return QMessageAuthenticationCode::hash(session.cookie, key, QCryptographicHash::Sha256)
        .toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
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

std::pair<QByteArray, QByteArray> cookieHeader(const Request& request, const WebSession& session, bool tls) {
    return {"Set-Cookie", cookieName(request, tls) + session.cookie + "; Path=/; HttpOnly; SameSite=Strict" +
                              (tls ? "; Secure" : "")};
}

} // namespace devserver
