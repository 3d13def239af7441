// SPDX-License-Identifier: MIT
#include "devserver/http/server.h"

#include <httplib.h>

#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <charconv>
#include <chrono>
#include <filesystem>
#include <thread>

namespace devserver {
namespace {

constexpr size_t workers = 32; // each kept-alive connection holds one

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

std::unique_ptr<httplib::Server> makeHttp(const std::optional<CertificateFiles>& tls) {
    if (!tls) {
        return std::make_unique<httplib::Server>();
    }
    QString refusal;
    auto http = std::make_unique<httplib::SSLServer>([&](SSL_CTX& context) {
        refusal = useCertificate(context, *tls);
        return refusal.isEmpty();
    });
    if (!http->is_valid()) {
        throw StartError(refusal.isEmpty() ? "The TLS library cannot start." : refusal.toStdString());
    }
    return http;
}

} // namespace

Server::Server(ListenAddress address, DatabaseAddress database, const std::optional<CertificateFiles>& tls)
    : m_address(std::move(address)), m_database(std::move(database)), m_http(makeHttp(tls)),
      m_router(*m_http, m_database) {
    if (!isPrivateAddress(m_address.host)) {
        throw StartError("The address " + m_address.host.toStdString() +
                         " is neither loopback nor private; this server is not for the open network.");
    }
    m_http->new_task_queue = [] { return new httplib::ThreadPool(workers); };
    m_http->set_tcp_nodelay(true);
    m_http->set_keep_alive_max_count(10'000);
    m_http->set_socket_options(shareNothing);
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
    m_router.addRefusals();
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

} // namespace devserver
