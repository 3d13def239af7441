// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/accounts/accounts.h"

#include <QIODevice>
#include <QJsonObject>

#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace httplib {
class Server;
class ThreadPool;
struct Request;
struct Response;
} // namespace httplib

namespace devserver {

class Deadlines;

/// One request as its handler sees it. Lives no longer than the handler's call; its body, which
/// may hold a password, is overwritten then.
class Request {
public:
    Request(const httplib::Request& http, Connection& connection, QByteArray body);
    ~Request();
    Q_DISABLE_COPY_MOVE(Request)

    /// The part of the path that the route's n-th group matched, the first being 1.
    [[nodiscard]] QString part(size_t n) const;
    /// A parameter of the address; empty when it is absent.
    [[nodiscard]] QString parameter(const char* name) const;
    /// Empty when it is absent.
    [[nodiscard]] QByteArray header(const char* name) const;
    /// The `Idempotency-Key`; throws ApiError 400 when it is absent.
    [[nodiscard]] QString idempotencyKey() const;
    [[nodiscard]] QString remoteAddress() const;
    /// The server's own port, on which the request came.
    [[nodiscard]] int localPort() const;

    [[nodiscard]] const QByteArray& body() const { return m_body; }
    /// The body as an object; throws ApiError 400 when it is anything else.
    [[nodiscard]] QJsonObject json() const;

    [[nodiscard]] Connection& connection() const { return m_connection; }
    /// Nobody outside `inTransaction`, where the handler has to find out by itself.
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

using Handler = std::function<Answer(Request&)>;
using Identify = std::function<Caller(const Request&)>;

/// The handler inside one transaction, for the caller whom `identify` finds there. It is committed
/// unless the handler throws.
[[nodiscard]] Handler inTransaction(Transaction::Kind kind, const Identify& identify, const Handler& handler);

/// Inside a transaction for the caller whom the Authorization header names.
[[nodiscard]] Handler reads(const Handler& handler);
[[nodiscard]] Handler writes(const Handler& handler);

/// Gives each address its handler, and every request the same frame: private
/// hosts only, a bounded body, JSON where something is changed, no foreign
/// page under `/v1`, and one shape of errors.
///
/// A handler runs on one of a few worker threads with a database connection
/// each, throws ApiError for a refusal, and any other exception for a failure
/// that is answered with 500 and logged.
class Router {
public:
    static constexpr qsizetype usualBody = qsizetype{1024} * 1024;

    Router(httplib::Server& http, const Database& database);
    ~Router();
    Q_DISABLE_COPY_MOVE(Router)

    /// `path` is a regular expression for the whole path.
    void get(const std::string& path, Handler handler);
    void post(const std::string& path, Handler handler, qsizetype largestBody = usualBody);

    /// Answers what no route takes. To be called after the last route.
    void addRefusals();

    /// To be called before the first request: makes the workers, which take over the
    /// caller's signal mask. `deadlines` hear how far each connection's request is.
    void start(Deadlines& deadlines);

private:
    void answer(const httplib::Request& request, httplib::Response& response, QByteArray body,
                const Handler& handler) const;
    void perform(const httplib::Request& request, httplib::Response& response, QByteArray body,
                 const Handler& handler) const;

    httplib::Server& m_http;
    const Database& m_database;
    std::unique_ptr<httplib::ThreadPool> m_workers;
    Deadlines* m_deadlines = nullptr;
};

} // namespace devserver
