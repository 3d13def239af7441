// SPDX-License-Identifier: MIT
#include "devserver/server.h"

#include "devserver/apierror.h"
#include "devserver/jsontext.h"
#include "devserver/push.h"
#include "devserver/snapshot.h"

#include <httplib.h>

#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <charconv>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <thread>

namespace devserver {
namespace {

constexpr char kJson[] = "application/json";
constexpr size_t kWorkers = 32; // each kept-alive connection holds one
constexpr size_t kLargestBody = size_t{1024} * 1024;
// A body up to here is read before it is refused: who is still sending does
// not hear an answer.
constexpr size_t kLargestRead = 8 * kLargestBody;

void sendError(httplib::Response& response, const ApiError& error) {
    response.status = error.status;
    response.set_content(errorBody(error).toStdString(), kJson);
}

// A provider of known length is neither copied nor compressed by the library:
// on one machine compressing a large snapshot costs far more than sending it.
void sendJson(httplib::Response& response, QByteArray body) {
    const auto length = static_cast<size_t>(body.size());
    response.status = 200;
    response.set_content_provider(
        length, kJson, [text = std::move(body)](size_t offset, size_t size, httplib::DataSink& sink) {
            return sink.write(text.constData() + offset, size);
        });
}

// The body sent is JSON: a web page may send other types to any address
// without asking, and must not be able to change anything here.
void requireJson(const httplib::Request& request) {
    const QByteArray type = QByteArray::fromStdString(request.get_header_value("Content-Type"));
    if (type.split(';').constFirst().trimmed().toLower() != kJson)
        throw ApiError{415, QStringLiteral("unsupported_media_type"),
                       QStringLiteral("The request's content type must be application/json.")};
}

void requirePrivateHost(const httplib::Request& request) {
    if (request.get_header_value_count("Host") != 1 ||
        !isPrivateHostHeader(QString::fromStdString(request.get_header_value("Host"))))
        throw ApiError{400, QStringLiteral("bad_host"),
                       QStringLiteral("This server answers to private addresses only.")};
}

void shareNothing(socket_t socket) {
    // Restarting at once must work; a second server on the same port must not.
    const int yes = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
}

int localPort(int socket) {
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    if (getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        return -1;
    if (address.ss_family == AF_INET)
        return ntohs(reinterpret_cast<const sockaddr_in*>(&address)->sin_port);
    if (address.ss_family == AF_INET6)
        return ntohs(reinterpret_cast<const sockaddr_in6*>(&address)->sin6_port);
    return -1;
}

// The library keeps its connections to itself and waits for idle ones to time
// out. Ending their reading side lets it close them now; replies still go out.
void endReading(int port) {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/dev/fd", error)) {
        const std::string name = entry.path().filename();
        int descriptor = -1;
        std::from_chars(name.data(), name.data() + name.size(), descriptor);
        if (descriptor >= 0 && localPort(descriptor) == port)
            ::shutdown(descriptor, SHUT_RD);
    }
}

} // namespace

Server::Server(DatabaseAddress database)
    : database_(std::move(database)), http_(std::make_unique<httplib::Server>()) {
    http_->new_task_queue = [] { return new httplib::ThreadPool(kWorkers); };
    http_->set_tcp_nodelay(true);
    http_->set_keep_alive_max_count(10'000);
    http_->set_payload_max_length(kLargestRead);
    http_->set_socket_options(shareNothing);
    addErrorReplies();
    addRoutes();
}

Server::~Server() = default;

ListenAddress Server::bind(const ListenAddress& address) {
    if (!isPrivateAddress(address.host))
        throw StartError("The address " + address.host.toStdString() +
                         " is neither loopback nor private; this server is not for the open network.");
    const std::string host = address.host.toStdString();
    errno = 0;
    port_ = address.port;
    if (address.port == 0)
        port_ = http_->bind_to_any_port(host);
    else if (!http_->bind_to_port(host, address.port))
        port_ = -1;
    if (port_ <= 0)
        throw StartError("Cannot listen on " + address.text().toStdString() +
                         (errno == EADDRINUSE
                              ? "; another program uses this port already."
                              : "; the address is not one of this machine's, or the port is not allowed."));
    return {address.host, port_};
}

bool Server::run() {
    const bool ended = http_->listen_after_bind();
    ended_ = true;
    return ended;
}

void Server::stop() {
    // The library forgets a stop that comes before it has begun to listen.
    while (!http_->is_running() && !ended_)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    http_->stop();
    endReading(port_);
}

void Server::addErrorReplies() {
    http_->set_error_handler([](const httplib::Request&, httplib::Response& response) {
        if (response.body.empty())
            sendError(response, errorForStatus(response.status));
    });
}

void Server::addRoutes() {
    using Request = const httplib::Request&;
    using Response = httplib::Response&;
    http_->Get("/", [this](Request request, Response response) {
        answer(request, response, Transaction::Kind::Read, [](Connection&, const Caller&) {
            return QByteArrayLiteral(R"({"name":"Timer.Kelvaro development server","version":")" TIMER_VERSION
                                     R"("})");
        });
    });
    http_->Get("/v1/me", [this](Request request, Response response) {
        answer(request, response, Transaction::Kind::Read, identityReply);
    });
    http_->Get("/v1/workspaces", [this](Request request, Response response) {
        answer(request, response, Transaction::Kind::Read, workspacesReply);
    });
    http_->Get("/v1/me/timer", [this](Request request, Response response) {
        answer(request, response, Transaction::Kind::Read, timerReply);
    });
    http_->Get("/v1/sync/snapshot", [this](Request request, Response response) {
        const QString workspace = QString::fromStdString(request.get_param_value("workspace_id"));
        answer(request, response, Transaction::Kind::Read,
               [&workspace](Connection& connection, const Caller& caller) {
                   if (workspace.isEmpty())
                       throw ApiError{400, QStringLiteral("malformed"),
                                      QStringLiteral("The request names no workspace_id.")};
                   return snapshotReply(connection, caller, workspace);
               });
    });
    http_->Post("/v1/sync/push", [this](Request request, Response response) { push(request, response); });
}

void Server::push(const httplib::Request& request, httplib::Response& response) {
    answer(request, response, Transaction::Kind::Write,
           [&request](Connection& connection, const Caller& caller) {
               requireJson(request);
               const QString key = QString::fromStdString(request.get_header_value("Idempotency-Key"));
               return pushReply(connection, caller, readPush(QByteArray::fromStdString(request.body), key));
           });
}

void Server::answer(const httplib::Request& request, httplib::Response& response, Transaction::Kind kind,
                    const Reply& reply) {
    try {
        requirePrivateHost(request);
        if (request.body.size() > kLargestBody)
            throw errorForStatus(413);
        Connection& connection = database_.connection();
        Transaction transaction(connection, kind);
        const Caller caller =
            authenticate(connection, QByteArray::fromStdString(request.get_header_value("Authorization")));
        QByteArray body = reply(connection, caller);
        transaction.commit();
        sendJson(response, std::move(body));
    } catch (const ApiError& error) {
        sendError(response, error);
    } catch (const std::exception& error) {
        std::cerr << request.method << ' ' << request.path << ": " << error.what() << std::endl;
        sendError(response, errorForStatus(500));
    }
}

} // namespace devserver
