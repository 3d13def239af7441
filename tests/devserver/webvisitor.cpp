// SPDX-License-Identifier: MIT
#include "tests/devserver/webvisitor.h"

#include <QJsonDocument>

using namespace Qt::StringLiterals;

WebVisitor::WebVisitor(const TestServer& server)
    : m_http(server.url().toStdString()), m_origin(server.url().toStdString()) {
    m_http.set_keep_alive(true);
    m_http.set_tcp_nodelay(true);
    m_http.set_read_timeout(std::chrono::seconds(30));
}

Reply WebVisitor::take(const httplib::Result& result) {
    if (!result) {
        return {};
    }
    if (result->has_header("Set-Cookie")) {
        m_setCookie = result->get_header_value("Set-Cookie");
        m_cookie = m_setCookie.substr(0, m_setCookie.find(';'));
    }
    const QJsonObject body = QJsonDocument::fromJson(QByteArray::fromStdString(result->body)).object();
    if (body.contains(u"csrf_token")) {
        m_csrfToken = body.value(u"csrf_token").toString().toStdString();
    }
    return {result->status, result->body, body};
}

Reply WebVisitor::load() {
    return get("/web/session");
}

Reply WebVisitor::get(const std::string& path) {
    return take(
        m_http.Get(path, m_cookie.empty() ? httplib::Headers() : httplib::Headers{{"Cookie", m_cookie}}));
}

Reply WebVisitor::post(const std::string& path, const QJsonObject& body) {
    return postWith(path, body,
                    {{"Content-Type", "application/json"},
                     {"X-CSRF-Token", m_csrfToken},
                     {"Origin", m_origin},
                     {"Sec-Fetch-Site", "same-origin"}});
}

Reply WebVisitor::postWith(const std::string& path, const QJsonObject& body,
                           const httplib::Headers& headers) {
    httplib::Headers all = headers;
    if (!m_cookie.empty()) {
        all.emplace("Cookie", m_cookie);
    }
    return take(m_http.Post(path, all, QJsonDocument(body).toJson().toStdString(), ""));
}

Reply WebVisitor::signIn(const QString& email, const QString& password) {
    return post("/web/session", {{u"email"_s, email}, {u"password"_s, password}});
}

Reply WebVisitor::signOut() {
    return post("/web/session/end");
}
