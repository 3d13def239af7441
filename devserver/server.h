// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/accounts.h"
#include "devserver/address.h"

#include <atomic>
#include <functional>
#include <memory>

namespace httplib {
class Server;
struct Request;
struct Response;
} // namespace httplib

namespace devserver {

/// The HTTP side: routes, the caller of each request, one transaction around
/// each request, and the shape of every error reply.
class Server {
public:
    /// Throws StartError when the address to listen on is an open network's.
    Server(ListenAddress address, DatabaseAddress database);
    ~Server();
    Q_DISABLE_COPY_MOVE(Server)

    /// Takes the port; connections wait from here on. Returns the address with
    /// the port that was taken; throws StartError with one sentence.
    [[nodiscard]] ListenAddress bind();

    /// Answers requests until `stop`; false when listening failed.
    [[nodiscard]] bool run();

    /// Ends `run` from another thread: requests in flight are answered, idle
    /// connections closed.
    void stop();

private:
    using Reply = std::function<QByteArray(Connection&, const Caller&)>;

    void addRoutes();
    void addErrorReplies();
    void answer(const httplib::Request& request, httplib::Response& response, Transaction::Kind kind,
                const Reply& reply);
    void push(const httplib::Request& request, httplib::Response& response, const QByteArray& body);

    ListenAddress m_address;
    Database m_database;
    std::unique_ptr<httplib::Server> m_http;
    std::atomic<bool> m_ended = false;
};

/// Why the server cannot start, as one sentence for the terminal.
class StartError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace devserver
