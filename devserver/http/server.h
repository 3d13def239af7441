// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/http/address.h"
#include "devserver/http/deadlines.h"
#include "devserver/http/router.h"

#include <atomic>
#include <memory>
#include <optional>

namespace devserver {

/// What https is served with: PEM files, the certificate followed by those that
/// vouch for it, and its private key without a passphrase.
struct CertificateFiles {
    QString certificate;
    QString key;
};

/// The HTTP side: the port, and a thread for each connection.
class Server {
public:
    /// Serves https when there is a certificate. Throws StartError when that cannot
    /// be used, and when the address to listen on is an open network's.
    Server(ListenAddress address, DatabaseAddress database, const std::optional<CertificateFiles>& tls);
    ~Server();
    Q_DISABLE_COPY_MOVE(Server)

    /// Takes each subject's routes before `run`.
    [[nodiscard]] Router& router() { return m_router; }

    /// Takes the port; connections wait from here on. Returns the address with
    /// the port that was taken; throws StartError with one sentence.
    [[nodiscard]] ListenAddress bind();

    /// Answers requests until `stop`; false when listening failed.
    [[nodiscard]] bool run();

    /// Ends `run` from another thread: requests in flight are answered, idle
    /// connections closed.
    void stop();

private:
    ListenAddress m_address;
    Database m_database;
    std::unique_ptr<httplib::Server> m_http;
    int m_listener = -1;
    std::unique_ptr<Deadlines> m_deadlines;
    Router m_router;
    std::atomic<bool> m_ended = false;
};

/// Why the server cannot start, as one sentence for the terminal.
class StartError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace devserver
