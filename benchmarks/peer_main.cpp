// SPDX-License-Identifier: MIT
#include "benchmarks/data.h"
#include "benchmarks/peer.h"

#include <QString>

#include <csignal>
#include <cstdio>
#include <cstdlib>

/// bench_peer COUNT: serves COUNT entries until it is terminated.
int main(int argc, char* argv[]) {
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGTERM);
    sigaddset(&ending, SIGINT);
    pthread_sigmask(SIG_BLOCK, &ending, nullptr);

    Peer peer(makeState(argc > 1 ? QString::fromLocal8Bit(argv[1]).toInt() : 10000));
    std::printf("%d\n", peer.listen());
    std::fflush(stdout);
    int caught = 0;
    return sigwait(&ending, &caught);
}
