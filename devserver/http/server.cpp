// SPDX-License-Identifier: MIT
#include "devserver/http/server.h"

#include <QFile>

#include <httplib.h>
#include <openssl/pem.h>
#include <sys/socket.h>

#include <cerrno>
#include <chrono>
#include <thread>

namespace devserver {
namespace {

using namespace std::chrono_literals;

// Each holds a thread, also while it is idle: far more than the workers, so that
// the idle ones keep nobody waiting.
constexpr size_t connections = 256;

using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;

/// In the place of the library's own question on the terminal.
int refusePassphrase(char*, int, int, void* asked) {
    *static_cast<bool*>(asked) = true;
    return -1;
}

Key readKey(const QString& file, bool& encrypted) {
    const std::unique_ptr<BIO, decltype(&BIO_free)> bio(BIO_new_file(QFile::encodeName(file), "r"), BIO_free);
    return {bio ? PEM_read_bio_PrivateKey(bio.get(), nullptr, refusePassphrase, &encrypted) : nullptr,
            EVP_PKEY_free};
}

/// Lets the context speak TLS 1.2 and later with this certificate. Returns why
/// it cannot, as one sentence; empty when it can.
QString useCertificate(SSL_CTX& context, const CertificateFiles& files) {
    for (const QString& file : {files.certificate, files.key}) {
        if (!QFile(file).open(QIODevice::ReadOnly)) {
            return u"Cannot read the file %1."_s.arg(file);
        }
    }
    if (SSL_CTX_set_min_proto_version(&context, TLS1_2_VERSION) != 1) {
        return u"The TLS library cannot speak TLS 1.2."_s;
    }
    SSL_CTX_set_options(&context, SSL_OP_NO_COMPRESSION | SSL_OP_NO_RENEGOTIATION);
    if (SSL_CTX_use_certificate_chain_file(&context, QFile::encodeName(files.certificate)) != 1) {
        return u"The file %1 holds no usable certificate in PEM form."_s.arg(files.certificate);
    }
    bool encrypted = false;
    const Key key = readKey(files.key, encrypted);
    if (encrypted) {
        return u"The private key %1 is encrypted; this server takes one without a passphrase."_s.arg(
            files.key);
    }
    if (!key) {
        return u"The file %1 holds no usable private key in PEM form."_s.arg(files.key);
    }
    // A key of another kind than the certificate's is taken at first, and found out by the check.
    if (SSL_CTX_use_PrivateKey(&context, key.get()) != 1 || SSL_CTX_check_private_key(&context) != 1) {
        return u"The private key %1 does not belong to the certificate %2."_s.arg(files.key,
                                                                                  files.certificate);
    }
    return {};
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
    m_http->new_task_queue = [] { return new httplib::ThreadPool(connections); };
    m_http->set_tcp_nodelay(true);
    m_http->set_keep_alive_max_count(10'000);
    m_http->set_socket_options([this](socket_t socket) {
        // Restarting at once must work; a second server on the same port must not.
        const int yes = 1;
        setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        m_listener = socket;
    });
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
    ::listen(m_listener, SOMAXCONN); // the library itself lets five wait
    m_address.port = port;
    return m_address;
}

bool Server::run() {
    m_deadlines = std::make_unique<Deadlines>(m_address.port, 30s, 10min);
    m_router.start(*m_deadlines);
    m_router.addRefusals();
    const bool ended = m_http->listen_after_bind();
    m_ended = true;
    return ended;
}

void Server::stop() {
    // The library forgets a stop that comes before it has begun to listen.
    while (!m_http->is_running() && !m_ended) {
        std::this_thread::sleep_for(1ms);
    }
    m_http->stop();
    // The library keeps its connections to itself and waits for idle ones to time
    // out. Ending their reading side lets it close them now; replies still go out.
    forEachConnection(m_address.port, [](int socket, const std::string&) { ::shutdown(socket, SHUT_RD); });
}

} // namespace devserver
