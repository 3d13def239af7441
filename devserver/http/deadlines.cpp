// SPDX-License-Identifier: MIT
#include "devserver/http/deadlines.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>

namespace devserver {
namespace {

using NameOf = int (*)(int, sockaddr*, socklen_t*);

/// The address and port of one end of a socket; the port is -1 when it has none.
std::pair<std::string, int> endOf(int socket, NameOf nameOf) {
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    auto* name = reinterpret_cast<sockaddr*>(&address);
    std::array<char, NI_MAXHOST> host{};
    std::array<char, NI_MAXSERV> port{};
    if (nameOf(socket, name, &size) != 0 || getnameinfo(name, size, host.data(), host.size(), port.data(),
                                                        port.size(), NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
        return {{}, -1};
    }
    return {host.data(), std::atoi(port.data())};
}

} // namespace

void forEachConnection(int port, const std::function<void(int, const std::string&)>& use) {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/dev/fd", error)) {
        const std::string name = entry.path().filename();
        int descriptor = -1;
        std::from_chars(name.data(), name.data() + name.size(), descriptor);
        if (descriptor >= 0 && endOf(descriptor, getsockname).second == port) {
            const auto [address, peerPort] = endOf(descriptor, getpeername);
            if (peerPort > 0) { // or it is the one that listens
                use(descriptor, peerName(address, peerPort));
            }
        }
    }
}

std::string peerName(const std::string& address, int port) {
    return address + ' ' + std::to_string(port);
}

Deadlines::Deadlines(int port, Duration forRequest, Duration forAnswer)
    : m_port(port), m_forRequest(forRequest), m_forAnswer(forAnswer),
      m_thread([this](const std::stop_token& stop) { watch(stop); }) {
}

void Deadlines::extend(const std::string& peer, Duration by) {
    const std::lock_guard lock(m_mutex);
    m_deadlines[peer] = std::chrono::steady_clock::now() + by;
}

void Deadlines::watch(const std::stop_token& stop) {
    std::unique_lock lock(m_mutex);
    while (!m_tick.wait_for(lock, stop, std::min(m_forRequest, Duration(1000)),
                            [&stop] { return stop.stop_requested(); })) {
        endLate();
    }
}

void Deadlines::endLate() {
    const Time now = std::chrono::steady_clock::now();
    std::map<std::string, Time> present;
    forEachConnection(m_port, [&](int socket, const std::string& peer) {
        const auto known = m_deadlines.find(peer);
        const Time deadline = known == m_deadlines.end() ? now + m_forRequest : known->second;
        if (deadline < now) {
            ::shutdown(socket, SHUT_RDWR); // whoever reads or writes it ends, and closes it
        }
        present[peer] = deadline;
    });
    m_deadlines = std::move(present);
}

} // namespace devserver
