// SPDX-License-Identifier: MIT
#include "devserver/http/request.h"

#include "devserver/base/apierror.h"
#include "devserver/base/wipe.h"

#include <QJsonDocument>

#include <httplib.h>

namespace devserver {

Request::Request(const httplib::Request& http, Connection& connection, QByteArray body)
    : m_http(http), m_connection(connection), m_body(std::move(body)) {
}

QString Request::part(size_t n) const {
    return n < m_http.matches.size() ? QString::fromStdString(m_http.matches[n].str()) : QString();
}

QString Request::parameter(const char* name) const {
    return QString::fromStdString(m_http.get_param_value(name));
}

QByteArray Request::header(const char* name) const {
    return QByteArray::fromStdString(m_http.get_header_value(name));
}

QString Request::remoteAddress() const {
    return QString::fromStdString(m_http.remote_addr);
}

QJsonObject Request::json() const {
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(m_body, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        throw ApiError{400, QStringLiteral("malformed"),
                       QStringLiteral("The request is not a valid JSON object.")};
    }
    return document.object();
}

void Request::wipeBody() {
    wipe(m_body);
}

} // namespace devserver
