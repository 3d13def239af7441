// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/http/request.h"

#include <functional>
#include <memory>
#include <string>

namespace httplib {
class Server;
class ThreadPool;
struct Response;
} // namespace httplib

namespace devserver {

class Deadlines;

/// Whose transaction a handler works in. `Read` and `Write`: in one that the
/// router opens for the caller whom the Authorization header names, and
/// commits unless the handler throws. `Own`: the handler opens its own and
/// finds out by itself who is calling.
enum class Work { Read, Write, Own };

/// Gives each address its handler, and every request the same frame: private
/// hosts only, a bounded body, JSON where something is changed, no foreign
/// page under `/v1`, one transaction, and one shape of errors.
///
/// A handler runs on one of a few worker threads with a database connection
/// each, throws ApiError for a refusal, and any other exception for a failure
/// that is answered with 500 and logged.
class Router {
public:
    using Handler = std::function<Answer(Request&)>;
    static constexpr qsizetype usualBody = qsizetype{1024} * 1024;

    Router(httplib::Server& http, const Database& database);
    ~Router();
    Q_DISABLE_COPY_MOVE(Router)

    /// `path` is a regular expression for the whole path.
    void get(const std::string& path, Work work, Handler handler);
    void post(const std::string& path, Work work, Handler handler, qsizetype largestBody = usualBody);

    /// Answers what no route takes. To be called after the last route.
    void addRefusals();

    /// To be called before the first request: makes the workers, which take over the
    /// caller's signal mask. `deadlines` hear how far each connection's request is.
    void start(Deadlines& deadlines);

private:
    void answer(const httplib::Request& request, httplib::Response& response, QByteArray body, Work kind,
                const Handler& handler) const;
    void perform(const httplib::Request& request, httplib::Response& response, QByteArray body, Work kind,
                 const Handler& handler) const;

    httplib::Server& m_http;
    const Database& m_database;
    std::unique_ptr<httplib::ThreadPool> m_workers;
    Deadlines* m_deadlines = nullptr;
};

} // namespace devserver
