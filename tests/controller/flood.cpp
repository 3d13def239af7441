// SPDX-License-Identifier: MIT
#include "tests/controller/flood.h"

#include <QHostAddress>
#include <QTcpSocket>

using namespace Qt::StringLiterals;

namespace {

/// Where the torrent gives up: a client that takes this much takes anything.
constexpr qint64 enough = 200000000;

} // namespace

Flood::Flood(Pace pace) : m_pace(pace) {
    connect(&m_server, &QTcpServer::newConnection, this, &Flood::accept);
    if (!m_server.listen(QHostAddress::LocalHost)) {
        qFatal("The flood cannot listen: %s", qPrintable(m_server.errorString()));
    }
}

QString Flood::url() const {
    return u"http://127.0.0.1:%1"_s.arg(m_server.serverPort());
}

void Flood::accept() {
    while (QTcpSocket* socket = m_server.nextPendingConnection()) {
        ++m_clients;
        socket->setParent(this);
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { begin(*socket); });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
            --m_clients;
            socket->deleteLater();
        });
    }
}

void Flood::begin(QTcpSocket& socket) {
    if (!socket.readAll().contains("\r\n\r\n")) {
        return;
    }
    socket.write("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: 700000000\r\n\r\n{");
    if (m_pace == Pace::Torrent) {
        connect(&socket, &QTcpSocket::bytesWritten, this, [this, &socket](qint64 bytes) {
            m_taken += bytes;
            pour(socket);
        });
    }
}

void Flood::pour(QTcpSocket& socket) {
    if (m_taken >= enough) {
        socket.abort();
    } else if (socket.bytesToWrite() == 0) {
        socket.write(QByteArray(1048576, ' '));
    }
}
