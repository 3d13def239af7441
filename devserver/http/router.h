// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/http/request.h"

#include <functional>
#include <string>

namespace httplib {
class Server;
struct Response;
} // namespace httplib

namespace devserver {

/// Whose transaction a handler works in. `Read` and `Write`: in one that the
/// router opens for the caller whom the Authorization header names, and
/// commits unless the handler throws. `Own`: the handler opens its own and
/// finds out by itself who is calling.
enum class Work { Read, Write, Own };

/// Gives each address its handler, and every request the same frame: private
/// hosts only, a bounded body, JSON where something is changed, one
/// transaction, and one shape of errors.
///
/// A handler runs on a worker thread, throws ApiError for a refusal, and any
/// other exception for a failure that is answered with 500 and logged.
class Router {
public:
    using Handler = std::function<Answer(Request&)>;
    static constexpr qsizetype usualBody = qsizetype{1024} * 1024;

    Router(httplib::Server& http, const Database& database);

    /// `path` is a regular expression for the whole path.
    void get(const std::string& path, Work work, Handler handler);
    void post(const std::string& path, Work work, Handler handler, qsizetype largestBody = usualBody);

    /// Answers what no route takes. To be called after the last route.
    void addRefusals();

private:
    void answer(const httplib::Request& request, httplib::Response& response, QByteArray body, Work work,
                const Handler& handler) const;

    httplib::Server& m_http;
    const Database& m_database;
};

} // namespace devserver
