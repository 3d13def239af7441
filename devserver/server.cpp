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
#include <optional>
#include <thread>

namespace devserver {
namespace {

constexpr char jsonType[] = "application/json";
constexpr size_t workers = 32; // each kept-alive connection holds one
constexpr size_t largestBody = size_t{1024} * 1024;

ApiError notJson() {
    return {415, QStringLiteral("unsupported_media_type"),
            QStringLiteral("The request's content type must be application/json.")};
}

enum class Afterwards { KeepAlive, Close };

// A provider of known length is neither copied nor compressed by the library:
// on one machine compressing a large snapshot costs far more than sending it.
// One that reports a failure is the only way to make the library close.
void sendJson(httplib::Response& response, int status, QByteArray body,
              Afterwards afterwards = Afterwards::KeepAlive) {
    const auto length = static_cast<size_t>(body.size());
    response.status = status;
    response.set_content_provider(
        length, jsonType,
        [text = std::move(body), afterwards](size_t offset, size_t size, httplib::DataSink& sink) {
            return sink.write(text.constData() + offset, size) && afterwards == Afterwards::KeepAlive;
        });
}

void sendError(httplib::Response& response, const ApiError& error) {
    sendJson(response, error.status, errorBody(error));
}

// The body, or nothing when its refusal is the answer already. One that is too
// large is read to its end all the same, since who is still sending hears no
// answer, but it is not kept. What follows one that could not be read is not
// the next request: a web page could hide a push there.
std::optional<std::string> readBody(const httplib::Request& request, httplib::Response& response,
                                    const httplib::ContentReader& reader) {
    std::string body;
    bool fits = true;
    const bool complete =
        !request.is_multipart_form_data() && reader([&body, &fits](const char* data, size_t size) {
            fits = fits && size <= largestBody - body.size();
            if (fits) {
                body.append(data, size);
            }
            return true;
        });
    if (!complete) {
        const ApiError error = request.is_multipart_form_data() ? notJson() : errorForStatus(response.status);
        response.set_header("Connection", "close");
        sendJson(response, error.status, errorBody(error), Afterwards::Close);
        return std::nullopt;
    }
    if (!fits) {
        sendError(response, errorForStatus(413));
        return std::nullopt;
    }
    return body;
}

// The body sent is JSON: a web page may send other types to any address
// without asking, and must not be able to change anything here.
void requireJson(const httplib::Request& request) {
    const QByteArray type = QByteArray::fromStdString(request.get_header_value("Content-Type"));
    if (type.split(';').constFirst().trimmed().toLower() != jsonType) {
        throw notJson();
    }
}

void requirePrivateHost(const httplib::Request& request) {
    if (request.get_header_value_count("Host") != 1 ||
        !isPrivateHostHeader(QString::fromStdString(request.get_header_value("Host")))) {
        throw ApiError{400, QStringLiteral("bad_host"),
                       QStringLiteral("This server answers to private addresses only.")};
    }
}

void shareNothing(socket_t socket) {
    // Restarting at once must work; a second server on the same port must not.
    const int yes = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
}

int localPort(int socket) {
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    if (getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        return -1;
    }
    if (address.ss_family == AF_INET) {
        return ntohs(reinterpret_cast<const sockaddr_in*>(&address)->sin_port);
    }
    if (address.ss_family == AF_INET6) {
        return ntohs(reinterpret_cast<const sockaddr_in6*>(&address)->sin6_port);
    }
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
        if (descriptor >= 0 && localPort(descriptor) == port) {
            ::shutdown(descriptor, SHUT_RD);
        }
    }
}

} // namespace

Server::Server(ListenAddress address, DatabaseAddress database)
    : m_address(std::move(address)), m_database(std::move(database)),
      m_http(std::make_unique<httplib::Server>()) {
    if (!isPrivateAddress(m_address.host)) {
        throw StartError("The address " + m_address.host.toStdString() +
                         " is neither loopback nor private; this server is not for the open network.");
    }
    m_http->new_task_queue = [] { return new httplib::ThreadPool(workers); };
    m_http->set_tcp_nodelay(true);
    m_http->set_keep_alive_max_count(10'000);
    m_http->set_socket_options(shareNothing);
    addErrorReplies();
    addRoutes();
}

Server::~Server() = default;

ListenAddress Server::bind() {
    const std::string host = m_address.host.toStdString();
    int port = m_address.port;
    errno = 0;
    if (port == 0) {
        port = m_http->bind_to_any_port(host);
    } else if (!m_http->bind_to_port(host, port)) {
        port = -1;
    }
    if (port <= 0) {
        throw StartError("Cannot listen on " + m_address.text().toStdString() +
                         (errno == EADDRINUSE
                              ? "; another program uses this port already."
                              : "; the address is not one of this machine's, or the port is not allowed."));
    }
    m_address.port = port;
    return m_address;
}

bool Server::run() {
    const bool ended = m_http->listen_after_bind();
    m_ended = true;
    return ended;
}

void Server::stop() {
    // The library forgets a stop that comes before it has begun to listen.
    while (!m_http->is_running() && !m_ended) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    m_http->stop();
    endReading(m_address.port);
}

void Server::addErrorReplies() {
    m_http->set_error_handler([](const httplib::Request&, httplib::Response& response) {
        // The library's own refusals come without a body.
        if (!response.has_header("Content-Type")) {
            sendError(response, errorForStatus(response.status));
        }
    });
}

void Server::addRoutes() {
    using Request = const httplib::Request&;
    using Response = httplib::Response&;
    using Reader = const httplib::ContentReader&;
    m_http->Get("/", [this](Request request, Response response) {
        answer(request, response, Transaction::Kind::Read, [](Connection&, const Caller&) {
            return QByteArrayLiteral(R"({"name":"Timer.Kelvaro development server","version":")" TIMER_VERSION
                                     R"("})");
        });
    });
    m_http->Get("/v1/me", [this](Request request, Response response) {
        answer(request, response, Transaction::Kind::Read, identityReply);
    });
    m_http->Get("/v1/workspaces", [this](Request request, Response response) {
        answer(request, response, Transaction::Kind::Read, workspacesReply);
    });
    m_http->Get("/v1/me/timer", [this](Request request, Response response) {
        answer(request, response, Transaction::Kind::Read, timerReply);
    });
    m_http->Get("/v1/sync/snapshot", [this](Request request, Response response) {
        const QString workspace = QString::fromStdString(request.get_param_value("workspace_id"));
        answer(request, response, Transaction::Kind::Read,
               [&workspace](Connection& connection, const Caller& caller) {
                   if (workspace.isEmpty()) {
                       throw ApiError{400, QStringLiteral("malformed"),
                                      QStringLiteral("The request names no workspace_id.")};
                   }
                   return snapshotReply(connection, caller, workspace);
               });
    });
    m_http->Post("/v1/sync/push", [this](Request request, Response response, Reader reader) {
        if (const auto body = readBody(request, response, reader)) {
            push(request, response, QByteArray::fromStdString(*body));
        }
    });
    // Every other body has to be read as well: left to the library, it is kept whole.
    const auto nothingHere = [](Request request, Response response, Reader reader) {
        if (readBody(request, response, reader)) {
            sendError(response, errorForStatus(404));
        }
    };
    m_http->Post(".*", nothingHere);
    m_http->Put(".*", nothingHere);
    m_http->Patch(".*", nothingHere);
    m_http->Delete(".*", nothingHere);
}

void Server::push(const httplib::Request& request, httplib::Response& response, const QByteArray& body) {
    answer(request, response, Transaction::Kind::Write,
           [&request, &body](Connection& connection, const Caller& caller) {
               requireJson(request);
               const QString key = QString::fromStdString(request.get_header_value("Idempotency-Key"));
               return pushReply(connection, caller, readPush(body, key));
           });
}

void Server::answer(const httplib::Request& request, httplib::Response& response, Transaction::Kind kind,
                    const Reply& reply) {
    try {
        requirePrivateHost(request);
        Connection& connection = m_database.connection();
        Transaction transaction(connection, kind);
        const Caller caller =
            authenticate(connection, QByteArray::fromStdString(request.get_header_value("Authorization")));
        QByteArray body = reply(connection, caller);
        transaction.commit();
        sendJson(response, 200, std::move(body));
    } catch (const ApiError& error) {
        sendError(response, error);
    } catch (const std::exception& error) {
        std::cerr << request.method << ' ' << request.path << ": " << error.what() << std::endl;
        sendError(response, errorForStatus(500));
    }
}

} // namespace devserver
