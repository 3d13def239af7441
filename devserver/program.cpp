// SPDX-License-Identifier: MIT
#include "devserver/program.h"

#include "devserver/demo.h"
#include "devserver/schema.h"
#include "devserver/server.h"

#include <sodium.h>
#include <unistd.h>

#include <csignal>
#include <iostream>
#include <thread>

namespace devserver {
namespace {

void prepareDatabase(const Options& options) {
    try {
        Connection connection(options.database);
        migrate(connection);
        if (options.demo && !addDemo(connection, currentDemoDay())) {
            std::cerr << "The database holds other work already; no demo data was added." << std::endl;
        }
    } catch (const DatabaseError& error) {
        throw StartError("Cannot use the database " + options.database.name.toStdString() + ": " +
                         error.what() + '.');
    }
}

sigset_t endingSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    return signals;
}

int serveUntilSignal(Server& server) {
    std::thread waiter([&server] {
        const sigset_t signals = endingSignals();
        int number = 0;
        sigwait(&signals, &number);
        server.stop();
    });
    const bool ended = server.run();
    // Wakes the waiter when listening ended by itself; otherwise it stays pending unseen.
    kill(getpid(), SIGTERM);
    waiter.join();
    if (!ended) {
        std::cerr << "The server cannot accept connections any more." << std::endl;
    }
    return ended ? 0 : 1;
}

} // namespace

int serve(const Options& options) {
    if (sodium_init() < 0) {
        std::cerr << "The cryptographic library cannot start." << std::endl;
        return 1;
    }
    // Blocked here and so in every thread made later: only sigwait takes them.
    const sigset_t signals = endingSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    try {
        Server server(options.database);
        const ListenAddress address = server.bind(options.listen);
        prepareDatabase(options);
        std::cout << "Listening on http://" << address.text().toStdString() << std::endl;
        return serveUntilSignal(server);
    } catch (const StartError& error) {
        std::cerr << error.what() << std::endl;
        return 1;
    }
}

} // namespace devserver
