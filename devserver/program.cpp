// SPDX-License-Identifier: MIT
#include "devserver/program.h"

#include "devserver/accounts/accounts.h"
#include "devserver/accounts/signin.h"
#include "devserver/demo/demo.h"
#include "devserver/entries/sync.h"
#include "devserver/exports/formats.h"
#include "devserver/http/accountroutes.h"
#include "devserver/http/server.h"
#include "devserver/imports/imports.h"
#include "devserver/pages/routes.h"
#include "devserver/reports/report.h"
#include "devserver/store/schema.h"

#include <QScopeGuard>

#include <malloc.h>
#include <sodium.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <iostream>
#include <thread>

namespace devserver {
namespace {

void prepareDemo(Connection& connection) {
    if (!addDemo(connection, currentDemoDay())) {
        std::cerr << "The database holds other work already; no demo data was added." << std::endl;
        return;
    }
    giveDemoPasswords(connection);
    std::cout << demoAccountLines().constData() << std::flush;
}

void prepareDatabase(const Options& options) {
    try {
        Connection connection(options.database);
        migrate(connection);
        if (options.demo) {
            prepareDemo(connection);
        }
        if (options.revokeSessions) {
            std::cout << "Sessions ended: " << endAllSessions(connection) << std::endl;
        }
    } catch (const std::runtime_error& error) {
        throw StartError("Cannot use the database " + options.database.name.toStdString() + ": " +
                         error.what() + '.');
    }
}

/// Before the server serves, a signal ends the process at once: waiting for a
/// database cannot be interrupted, nobody waits for an answer, and what was begun
/// is rolled back.
void endOnSignals() {
    for (const int number : {SIGINT, SIGTERM}) {
        std::signal(number, [](int) { std::_Exit(0); });
    }
}

/// Answers requests until SIGINT or SIGTERM; false when listening failed.
bool serveUntilSignal(Server& server) {
    sigset_t signals{};
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    // Blocked here and so in every thread made later: only sigwait takes them.
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    const std::jthread waiter([&] {
        int number = 0;
        sigwait(&signals, &number);
        server.stop();
    });
    // Wakes the thread unless a signal has; otherwise it stays pending unseen.
    const auto over = qScopeGuard([] { kill(getpid(), SIGTERM); });
    return server.run();
}

void addRoutes(Router& router, SignIn& signIn, bool tls) {
    addAccountRoutes(router, signIn);
    addSyncRoutes(router);
    addImportRoutes(router);
    addExportRoutes(router);
    addReportRoutes(router);
    addWebRoutes(router, signIn, tls);
}

} // namespace

int serve(const Options& options) {
    if (sodium_init() < 0) {
        std::cerr << "The cryptographic library cannot start." << std::endl;
        return 1;
    }
    // What one worker has freed serves the next: each would otherwise keep what its largest report took.
    // Another allocator than the C library's may refuse, and has ways of its own.
    static_cast<void>(mallopt(M_ARENA_MAX, 2));
    try {
        SignIn signIn;
        Server server(options.listen, options.database, options.tls);
        addRoutes(server.router(), signIn, options.tls.has_value());
        endOnSignals();
        prepareDatabase(options);
        const ListenAddress address = server.bind();
        std::cout << "Listening on " << (options.tls ? "https://" : "http://") << address.text().toStdString()
                  << std::endl;
        if (serveUntilSignal(server)) {
            return 0;
        }
        std::cerr << "The server cannot accept connections any more." << std::endl;
        return 1;
    } catch (const StartError& error) {
        std::cerr << error.what() << std::endl;
        return 1;
    }
}

} // namespace devserver
