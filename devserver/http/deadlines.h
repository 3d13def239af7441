// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>

namespace devserver {

/// Calls `use` for each of this program's sockets whose own port this is: with
/// its descriptor, and with the name of who is at the other end.
void forEachConnection(int port, const std::function<void(int, const std::string&)>& use);

/// "ADDRESS PORT"
[[nodiscard]] std::string peerName(const std::string& address, int port);

/// Ends connections that dawdle. The HTTP library waits five seconds for each
/// byte, and each connection keeps one of its threads: who sends a byte now and
/// then would keep it for ever.
class Deadlines {
public:
    using Duration = std::chrono::milliseconds;

    /// How long a connection may take to send a request, and then to take the answer.
    Deadlines(int port, Duration forRequest, Duration forAnswer);
    Q_DISABLE_COPY_MOVE(Deadlines)

    /// The peer's request was read to its end; its answer was sent.
    void received(const std::string& peer) { extend(peer, m_forAnswer); }
    void answered(const std::string& peer) { extend(peer, m_forRequest); }

private:
    using Time = std::chrono::steady_clock::time_point;

    void extend(const std::string& peer, Duration by);
    void watch(const std::stop_token& stop);
    void endLate();

    int m_port;
    Duration m_forRequest;
    Duration m_forAnswer;
    std::mutex m_mutex;
    std::condition_variable_any m_tick;
    std::map<std::string, Time> m_deadlines; ///< by peer
    std::jthread m_thread;
};

} // namespace devserver
