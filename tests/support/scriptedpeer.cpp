// SPDX-License-Identifier: MIT
#include "tests/support/scriptedpeer.h"

#include <QHostAddress>
#include <QJsonDocument>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSet>
#include <QTcpSocket>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

QString scriptKey(const QByteArray& method, const QString& path) {
    return QString::fromLatin1(method) + u' ' + path;
}

QByteArray head(const PeerReply& reply) {
    QByteArray bytes = "HTTP/1.1 " + QByteArray::number(reply.status) + " Scripted\r\n";
    for (const auto& [name, value] : reply.headers) {
        bytes += name + ": " + value + "\r\n";
    }
    if (reply.status != 204) {
        bytes +=
            "Content-Type: application/json\r\nContent-Length: " + QByteArray::number(reply.body.size()) +
            "\r\n";
    }
    return bytes + "\r\n";
}

} // namespace

QJsonObject PeerRequest::json() const {
    return QJsonDocument::fromJson(body).object();
}

PeerReply PeerReply::json(const QJsonObject& object, int status) {
    return text(QJsonDocument(object).toJson(QJsonDocument::Compact), status);
}

PeerReply PeerReply::text(const QByteArray& body, int status) {
    PeerReply reply;
    reply.status = status;
    reply.body = body;
    return reply;
}

PeerReply PeerReply::only(Delivery delivery) {
    return PeerReply().delivered(delivery);
}

PeerReply PeerReply::forward(Delivery delivery) {
    PeerReply reply = only(delivery);
    reply.forwarded = true;
    return reply;
}

PeerReply PeerReply::with(const QByteArray& header, const QByteArray& value) const {
    PeerReply reply = *this;
    reply.headers.append({header, value});
    return reply;
}

PeerReply PeerReply::delivered(Delivery how) const {
    PeerReply reply = *this;
    reply.delivery = how;
    return reply;
}

ScriptedPeer::ScriptedPeer() {
    connect(&m_server, &QTcpServer::newConnection, this, &ScriptedPeer::accept);
    goOnline();
}

QString ScriptedPeer::url() const {
    return u"http://127.0.0.1:%1"_s.arg(m_port);
}

void ScriptedPeer::answer(const QByteArray& method, const QString& path, const PeerReply& reply) {
    answer(method, path, [reply](const PeerRequest&) { return reply; });
}

void ScriptedPeer::answer(const QByteArray& method, const QString& path, const Handler& handler) {
    m_handlers.insert(scriptKey(method, path), handler);
}

void ScriptedPeer::answerOnce(const QByteArray& method, const QString& path, const PeerReply& reply) {
    m_once[scriptKey(method, path)].append(reply);
}

void ScriptedPeer::forwardTo(const QString& server) {
    m_behind = server;
}

QList<PeerRequest> ScriptedPeer::requests(const QByteArray& method, const QString& path) const {
    QList<PeerRequest> found;
    for (const PeerRequest& request : m_requests) {
        if (request.method == method && request.path == path) {
            found.append(request);
        }
    }
    return found;
}

QStringList ScriptedPeer::log() const {
    QStringList lines;
    for (const PeerRequest& request : m_requests) {
        lines.append(scriptKey(request.method, request.path));
    }
    return lines;
}

void ScriptedPeer::release() {
    const QList<Held> held = std::exchange(m_held, {});
    for (const Held& one : held) {
        if (one.socket) {
            deliver(one.socket, one.reply.delivered(PeerReply::Delivery::Send));
        }
    }
}

void ScriptedPeer::goOffline() {
    m_server.close();
    const QList<QTcpSocket*> sockets = m_connections.keys();
    for (QTcpSocket* socket : sockets) {
        socket->abort();
    }
}

void ScriptedPeer::goOnline() {
    // The vault is kept by address: a port that comes again would bring an earlier peer's queue along.
    static QSet<quint16> given;
    do {
        m_server.close();
        if (!m_server.listen(QHostAddress::LocalHost, m_port)) {
            qFatal("The scripted peer cannot listen: %s", qPrintable(m_server.errorString()));
        }
    } while (m_port == 0 && given.contains(m_server.serverPort()));
    m_port = m_server.serverPort();
    given.insert(m_port);
}

void ScriptedPeer::accept() {
    while (QTcpSocket* socket = m_server.nextPendingConnection()) {
        socket->setParent(this);
        m_connections.insert(socket, {{}, ++m_connectionCount});
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { read(socket); });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
            m_connections.remove(socket);
            socket->deleteLater();
        });
    }
}

void ScriptedPeer::read(QTcpSocket* socket) {
    Connection& connection = m_connections[socket];
    connection.input += socket->readAll();
    PeerRequest request;
    if (!takeRequest(connection.input, request)) {
        return;
    }
    request.connection = connection.number;
    m_requests.append(request);
    const PeerReply reply = script(request);
    if (reply.forwarded) {
        forward(socket, request, reply);
        return;
    }
    deliver(socket, reply);
}

bool ScriptedPeer::takeRequest(QByteArray& input, PeerRequest& request) {
    const qsizetype headEnd = input.indexOf("\r\n\r\n");
    if (headEnd < 0) {
        return false;
    }
    QList<QByteArray> lines = input.first(headEnd).split('\n');
    const QList<QByteArray> start = lines.takeFirst().trimmed().split(' ');
    for (const QByteArray& line : std::as_const(lines)) {
        const qsizetype colon = line.indexOf(':');
        request.headers.insert(line.first(colon).toLower(), line.sliced(colon + 1).trimmed());
    }
    const qsizetype bodyStart = headEnd + 4;
    const qsizetype bodySize = request.headers.value("content-length", "0").toLongLong();
    if (input.size() < bodyStart + bodySize) {
        return false;
    }
    const QString target = QString::fromUtf8(start.value(1));
    request.method = start.value(0);
    request.path = target.section(u'?', 0, 0);
    request.query = target.section(u'?', 1);
    request.body = input.sliced(bodyStart, bodySize);
    input.remove(0, bodyStart + bodySize);
    return true;
}

PeerReply ScriptedPeer::script(const PeerRequest& request) {
    const QString key = scriptKey(request.method, request.path);
    if (QList<PeerReply>& once = m_once[key]; !once.isEmpty()) {
        return once.takeFirst();
    }
    if (const Handler handler = m_handlers.value(key)) {
        return handler(request);
    }
    if (!m_behind.isEmpty()) {
        return PeerReply::forward();
    }
    return PeerReply::json({{u"error"_s, QJsonObject()}}, 404);
}

void ScriptedPeer::forward(QTcpSocket* socket, const PeerRequest& request, PeerReply reply) {
    const QString query = request.query.isEmpty() ? QString() : u'?' + request.query;
    QNetworkRequest onward{QUrl(m_behind + request.path + query)};
    for (const char* name : {"content-type", "authorization", "idempotency-key"}) {
        if (request.headers.contains(name)) {
            onward.setRawHeader(name, request.headers.value(name));
        }
    }
    QNetworkReply* real = m_network.sendCustomRequest(onward, request.method, request.body);
    connect(real, &QNetworkReply::finished, this,
            [this, real, reply = std::move(reply), socket = QPointer(socket)]() mutable {
                real->deleteLater();
                reply.status = real->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
                reply.body = real->readAll();
                if (socket) {
                    deliver(socket, reply.status == 0 ? PeerReply::only(PeerReply::Delivery::Close) : reply);
                }
            });
}

void ScriptedPeer::deliver(QTcpSocket* socket, const PeerReply& reply) {
    switch (reply.delivery) {
    case PeerReply::Delivery::Send:
        socket->write(head(reply) + reply.body);
        return;
    case PeerReply::Delivery::Hold:
        m_held.append({socket, reply});
        return;
    case PeerReply::Delivery::Never:
        return;
    case PeerReply::Delivery::Close:
        socket->disconnectFromHost();
        return;
    case PeerReply::Delivery::Cut:
        socket->write(head(reply) + reply.body.first(reply.body.size() / 2));
        socket->disconnectFromHost();
        return;
    }
}
