// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/accounts/accounts.h"

#include <QByteArray>
#include <QIODevice>
#include <QJsonObject>
#include <QString>

#include <memory>
#include <utility>

namespace httplib {
struct Request;
}

namespace devserver {

/// One request as its handler sees it. Lives no longer than the handler's call.
class Request {
public:
    Request(const httplib::Request& http, Connection& connection, QByteArray body);

    /// The part of the path that the route's n-th group matched, the first being 1.
    [[nodiscard]] QString part(size_t n) const;
    /// A parameter of the address; empty when it is absent.
    [[nodiscard]] QString parameter(const char* name) const;
    /// Empty when it is absent.
    [[nodiscard]] QByteArray header(const char* name) const;
    /// The `Idempotency-Key`; throws ApiError 400 when it is absent.
    [[nodiscard]] QString idempotencyKey() const;
    [[nodiscard]] QString remoteAddress() const;

    [[nodiscard]] const QByteArray& body() const { return m_body; }
    /// The body as an object; throws ApiError 400 when it is anything else.
    [[nodiscard]] QJsonObject json() const;
    /// For a body that holds a secret: overwrites it, once it is read.
    void wipeBody();

    [[nodiscard]] Connection& connection() const { return m_connection; }
    /// Nobody where the handler has to find out by itself (`Work::Own`).
    [[nodiscard]] const Caller& caller() const { return m_caller; }
    void setCaller(Caller caller) { m_caller = std::move(caller); }

private:
    const httplib::Request& m_http;
    Connection& m_connection;
    QByteArray m_body;
    Caller m_caller;
};

/// What a handler answers. An answer too large for memory comes from `file`,
/// which is read from its beginning; `body` is not used then.
struct Answer {
    Answer() = default;
    // A JSON text is the usual answer.
    Answer(QByteArray json) : body(std::move(json)) {} // NOLINT(google-explicit-constructor)

    int status = 200;
    QByteArray type = "application/json";
    QByteArray body;
    std::shared_ptr<QIODevice> file;
    QList<std::pair<QByteArray, QByteArray>> headers;
};

} // namespace devserver
