// SPDX-License-Identifier: MIT
#pragma once

#include "tests/devserver/testserver.h"

/// A browser at the timesheet page, without the page: it keeps the cookie and
/// sends with each change what the page sends.
class WebVisitor {
public:
    explicit WebVisitor(const TestServer& server);

    /// What the page does first: gets a cookie, or keeps its own.
    Reply load();
    Reply get(const std::string& path);
    Reply post(const std::string& path, const QJsonObject& body = {});
    /// Exactly these headers beside the cookie.
    Reply postWith(const std::string& path, const QJsonObject& body, const httplib::Headers& headers);
    Reply signIn(const QString& email, const QString& password);
    Reply signOut();

    /// Trusts this certificate authority.
    void trust(const QString& root) { m_http.set_ca_cert_path(root.toStdString()); }
    /// "NAME=VALUE"; empty before the first visit.
    [[nodiscard]] const std::string& cookie() const { return m_cookie; }
    void setCookie(const std::string& cookie) { m_cookie = cookie; }
    [[nodiscard]] const std::string& csrfToken() const { return m_csrfToken; }
    /// The last `Set-Cookie` header, attributes included.
    [[nodiscard]] const std::string& setCookieHeader() const { return m_setCookie; }
    /// The page's own address, as `Origin` names it.
    [[nodiscard]] const std::string& origin() const { return m_origin; }

private:
    Reply take(const httplib::Result& result);

    httplib::Client m_http;
    std::string m_origin;
    std::string m_cookie;
    std::string m_csrfToken;
    std::string m_setCookie;
};
