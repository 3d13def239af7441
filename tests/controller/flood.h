// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QTcpServer>

class QTcpSocket;

/// An HTTP server on loopback whose replies begin and do not end.
class Flood : public QObject {
public:
    enum class Pace { Torrent, OneByte };

    explicit Flood(Pace pace);

    [[nodiscard]] QString url() const;
    /// What clients have taken of all bodies, or the system for them.
    [[nodiscard]] qint64 taken() const { return m_taken; }
    [[nodiscard]] int clients() const { return m_clients; }

private:
    void accept();
    void begin(QTcpSocket& socket);
    void pour(QTcpSocket& socket);

    const Pace m_pace;
    QTcpServer m_server;
    qint64 m_taken = 0;
    int m_clients = 0;
};
