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

QString Request::idempotencyKey() const {
    QString key = QString::fromUtf8(header("Idempotency-Key"));
    if (key.isEmpty()) {
        throw ApiError{400, u"idempotency_key_missing"_s, u"The request has no Idempotency-Key."_s};
    }
    return key;
}

QString Request::remoteAddress() const {
    return QString::fromStdString(m_http.remote_addr);
}

QJsonObject Request::json() const {
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(m_body, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        throw malformed(u"The request is not a valid JSON object."_s);
    }
    return document.object();
}

void Request::wipeBody() {
    wipe(m_body);
}

} // namespace devserver
