// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QJsonObject>

#include <memory>
#include <string>

/// A server that does nothing but answer at once, so that a benchmark measures the
/// client: identity, workspaces, one snapshot held as text, the state's timer, and every
/// push accepted with the snapshot's entry changed. "/counts" tells how many snapshots were
/// asked for so far ("reloads") and how large all answers were, heads included ("bytes").
class Peer {
public:
    explicit Peer(const QJsonObject& state);
    ~Peer();
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    /// What is posted to a path of a workspace with this end is answered with this from now on.
    void serveReply(const std::string& end, const QJsonObject& reply, int status);

    /// Tells what snapshot a client has (`ETag`), and sends it no second time.
    void offerTag();

    /// Serves 127.0.0.1 on a port of its own from a thread of its own.
    [[nodiscard]] int listen();

    /// From now on this is the snapshot.
    void serveSnapshot(const QJsonObject& snapshot);

private:
    struct Server;
    std::unique_ptr<Server> m_server;
};
