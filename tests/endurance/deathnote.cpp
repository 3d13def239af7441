// SPDX-License-Identifier: MIT
#include "tests/endurance/deathnote.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <unistd.h>

namespace {

/// No seed takes as long, on whatever machine.
constexpr unsigned longestSeconds = 600;

std::array<char, 80> text{};
std::size_t length = 0;
constexpr std::array ends{SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGALRM};
std::array<struct sigaction, NSIG> former{}; // by signal

/// Only what a signal handler may do; then it ends as it would have without.
void tell(int signal) {
    const ssize_t written = ::write(STDOUT_FILENO, text.data(), length);
    static_cast<void>(written); // nothing could be done about it
    ::sigaction(signal, &former[static_cast<std::size_t>(signal)], nullptr);
    std::raise(signal);
}

} // namespace

DeathNote::DeathNote(quint32 seed) {
    length = static_cast<std::size_t>(
        std::snprintf(text.data(), text.size(), "Seed %u failed: the storms crashed or hang\n", seed));
    struct sigaction action {};
    action.sa_handler = tell;
    for (const int signal : ends) {
        ::sigaction(signal, &action, &former[static_cast<std::size_t>(signal)]);
    }
    ::alarm(longestSeconds);
}

DeathNote::~DeathNote() {
    ::alarm(0);
    for (const int signal : ends) {
        ::sigaction(signal, &former[static_cast<std::size_t>(signal)], nullptr);
    }
}
