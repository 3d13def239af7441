// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/http/router.h"

namespace devserver {

/// Whom one browser acts for. The cookie says so: a random number for the
/// development user, of which the server keeps nothing, or the token of a
/// session in `sessions`, of which it keeps the hash.
struct WebSession {
    QByteArray cookie; ///< the cookie's value: a secret
    Caller caller;
};

/// A new browser's session, or one that has just signed out.
[[nodiscard]] WebSession anonymousSession();

/// The request's session; nothing when it has no cookie or its session was
/// ended. With TLS it is another cookie than without, and on each port another.
/// The development user never takes over from an account by itself.
[[nodiscard]] std::optional<WebSession> findWebSession(const Request& request, bool tls);

/// Whether the request's cookie is that of an account whose session was ended.
[[nodiscard]] bool hasEndedSession(const Request& request, bool tls);

/// The request's session; throws ApiError 401 `session_ended` when there is none.
[[nodiscard]] WebSession requireWebSession(const Request& request, bool tls);

/// What a change has to carry in `X-CSRF-Token`: it follows from the cookie,
/// which scripts cannot read, and from a secret of the running server. It says
/// nothing about either.
[[nodiscard]] QByteArray csrfToken(const WebSession& session);

/// Throws ApiError 403 `foreign_request` unless the request comes from this
/// server's own page, loaded in this session.
void requireOwnPage(const Request& request, const WebSession& session, bool tls);

/// The header that hands the cookie to the browser until it is closed.
[[nodiscard]] std::pair<QByteArray, QByteArray> cookieHeader(const Request& request,
                                                             const WebSession& session, bool tls);

} // namespace devserver
