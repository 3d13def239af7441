// SPDX-License-Identifier: MIT
#include "tests/endurance/faultproxy.h"

#include <QEventLoop>
#include <QHostAddress>
#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTcpSocket>
#include <QUrl>

#include <algorithm>
#include <array>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

using Fault = FaultProxy::Fault;

constexpr qsizetype longerThanTaken = 52428800 + 1;

struct Kind {
    Fault fault;
    const char* name;
    int weight;
};

constexpr std::array kinds{
    Kind{Fault::None, "none", 0},
    Kind{Fault::LostRequest, "lost request", 8},
    Kind{Fault::LostReply, "lost reply", 12},
    Kind{Fault::Cut, "cut reply", 8},
    Kind{Fault::Stall, "stalled reply", 4},
    Kind{Fault::Trickle, "trickled reply", 4},
    Kind{Fault::Repeat, "repeated request", 6},
    Kind{Fault::Twice, "doubled reply", 3},
    Kind{Fault::ErrorBefore, "500 before", 5},
    Kind{Fault::ErrorAfter, "500 after", 6},
    Kind{Fault::BadGateway, "502 with a page", 3},
    Kind{Fault::Redirect, "302", 3},
    Kind{Fault::NoContent, "204", 4},
    Kind{Fault::Unauthorized, "401", 5},
    Kind{Fault::Garbage, "garbage body", 3},
    Kind{Fault::GarbageHead, "garbage head", 2},
    Kind{Fault::Array, "array", 2},
    Kind{Fault::WrongType, "wrong type", 10},
    Kind{Fault::Missing, "missing member", 6},
    Kind{Fault::TooLong, "too long", 1},
    Kind{Fault::OtherIdentity, "other identity", 8},
    Kind{Fault::ForeignResult, "foreign result", 6},
    Kind{Fault::NoResult, "no result", 4},
};

/// The server is not asked for these.
bool comesBefore(Fault fault) {
    return fault == Fault::LostRequest || fault == Fault::ErrorBefore || fault == Fault::Redirect ||
           fault == Fault::Unauthorized || fault == Fault::TooLong || fault == Fault::ForeignResult;
}

bool fits(Fault fault, const FaultProxy::Waiting& waiting) {
    const QString path = waiting.path();
    if (waiting.answer && comesBefore(fault)) {
        return false;
    }
    if (fault == Fault::OtherIdentity) {
        return path == u"/me"_s;
    }
    if (fault == Fault::ForeignResult || fault == Fault::NoResult) {
        return path == u"/sync/push"_s;
    }
    return true;
}

QByteArray head(const FaultProxy::Answer& answer) {
    const QByteArray length = answer.status == 204 || answer.status == 304
                                  ? QByteArray()
                                  : "Content-Length: " + QByteArray::number(answer.body.size()) + "\r\n";
    const QByteArray tag = answer.tag.isEmpty() ? QByteArray() : "ETag: " + answer.tag + "\r\n";
    return "HTTP/1.1 " + QByteArray::number(answer.status) +
           " Weather\r\nContent-Type: application/json\r\n" +
           (answer.status == 302 ? "Location: /v1/elsewhere\r\n"_ba : QByteArray()) + length + tag + "\r\n";
}

QByteArray wholeText(const FaultProxy::Answer& answer) {
    return head(answer) + answer.body;
}

QJsonValue ofAnotherType(const QJsonValue& value, QRandomGenerator& dice) {
    const std::array<QJsonValue, 6> others{
        QJsonValue(),       QJsonValue(true),         QJsonValue(7),
        QJsonValue(u"x"_s), QJsonValue(QJsonArray()), QJsonValue(QJsonObject())};
    QJsonValue other = value;
    while (other.type() == value.type()) {
        other = others.at(dice.bounded(static_cast<quint32>(others.size())));
    }
    return other;
}

/// The value with one member, at any depth, of another type or, with `missing`, away.
QJsonValue damaged(const QJsonValue& value, bool missing, QRandomGenerator& dice) {
    const bool deeper = dice.bounded(3) > 0;
    if (value.isArray() && !value.toArray().isEmpty() && deeper) {
        QJsonArray array = value.toArray();
        const qsizetype index = dice.bounded(static_cast<int>(array.size()));
        array.replace(index, damaged(array.at(index), missing, dice));
        return array;
    }
    if (!value.isObject() || value.toObject().isEmpty()) {
        return ofAnotherType(value, dice);
    }
    QJsonObject object = value.toObject();
    const QStringList keys = object.keys();
    const QString key = keys.at(dice.bounded(static_cast<int>(keys.size())));
    const QJsonValue member = object.value(key);
    if ((member.isObject() || member.isArray()) && deeper) {
        object.insert(key, damaged(member, missing, dice));
    } else if (missing) {
        object.remove(key);
    } else {
        object.insert(key, ofAnotherType(member, dice));
    }
    return object;
}

QByteArray text(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

} // namespace

QString FaultProxy::alien() {
    return u"a11e0000-0000-4000-8000-000000000000"_s;
}

QString FaultProxy::nameOf(Fault fault) {
    return QString::fromLatin1(kinds.at(static_cast<std::size_t>(fault)).name);
}

Fault FaultProxy::draw(const Waiting& waiting, QRandomGenerator& dice) {
    int all = 0;
    for (const Kind& kind : kinds) {
        all += fits(kind.fault, waiting) ? kind.weight : 0;
    }
    int left = dice.bounded(all);
    for (const Kind& kind : kinds) {
        left -= fits(kind.fault, waiting) ? kind.weight : 0;
        if (left < 0) {
            return kind.fault;
        }
    }
    return Fault::None;
}

FaultProxy::FaultProxy() {
    connect(&m_server, &QTcpServer::newConnection, this, &FaultProxy::accept);
    goOnline();
}

QString FaultProxy::url() const {
    return u"http://127.0.0.1:%1"_s.arg(m_port);
}

void FaultProxy::goOffline() {
    m_server.close();
    const QList<QTcpSocket*> sockets = m_inputs.keys();
    for (QTcpSocket* socket : sockets) {
        socket->abort();
    }
}

void FaultProxy::goOnline() {
    if (m_server.isListening()) {
        return;
    }
    if (!m_server.listen(QHostAddress::LocalHost, m_port)) {
        qFatal("The fault proxy cannot listen: %s", qPrintable(m_server.errorString()));
    }
    m_port = m_server.serverPort();
}

void FaultProxy::accept() {
    while (QTcpSocket* socket = m_server.nextPendingConnection()) {
        socket->setParent(this);
        m_inputs.insert(socket, {});
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { read(socket); });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] { forget(socket); });
    }
}

void FaultProxy::forget(QTcpSocket* socket) {
    m_inputs.remove(socket);
    m_waiting.removeIf([socket](const auto& waiting) { return waiting->socket == socket; });
    socket->deleteLater();
}

void FaultProxy::read(QTcpSocket* socket) {
    QByteArray& input = m_inputs[socket];
    input += socket->readAll();
    PeerRequest request;
    if (!ScriptedPeer::takeRequest(input, request)) {
        return;
    }
    m_waiting.append(std::make_shared<Waiting>(Waiting{request, socket, {}, false}));
    arrived(request);
}

FaultProxy::Answer FaultProxy::ask(const PeerRequest& request) {
    const QString query = request.query.isEmpty() ? QString() : u'?' + request.query;
    QNetworkRequest onward{QUrl(m_behind + request.path + query)};
    for (const char* name : {"content-type", "authorization", "idempotency-key", "if-none-match"}) {
        if (request.headers.contains(name)) {
            onward.setRawHeader(name, request.headers.value(name));
        }
    }
    const std::unique_ptr<QNetworkReply> reply(
        m_network.sendCustomRequest(onward, request.method, request.body));
    QEventLoop loop;
    connect(reply.get(), &QNetworkReply::finished, &loop, &QEventLoop::quit);
    if (!reply->isFinished()) {
        loop.exec();
    }
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const Answer answer{status, status == 0 ? QByteArray() : reply->readAll(), reply->rawHeader("ETag")};
    if (status == 200 && request.path == u"/v1/sync/push"_s) {
        m_lastResult = answer.body;
    }
    return answer;
}

void FaultProxy::serve(qsizetype index) {
    const std::shared_ptr<Waiting> waiting = m_waiting.at(index);
    if (!waiting->answer && !waiting->stalled) {
        waiting->answer = ask(waiting->request);
    }
}

FaultProxy::Answer FaultProxy::falsified(const Waiting& waiting, Fault fault, QRandomGenerator& dice) const {
    const Answer& real = *waiting.answer;
    const QJsonObject object = QJsonDocument::fromJson(real.body).object();
    switch (fault) {
    case Fault::ErrorBefore:
    case Fault::ErrorAfter:
        return {500, R"({"error":{"message":"The weather is bad."}})"};
    case Fault::BadGateway:
        return {502, "<html><body>Bad gateway</body></html>"};
    case Fault::Redirect:
        return {302, {}};
    case Fault::NoContent:
        return {204, {}};
    case Fault::Unauthorized:
        return {401, dice.bounded(2) == 0 ? "denied"_ba : R"({"error":{"message":"denied"}})"_ba};
    case Fault::Garbage:
        return {200, "{\"results\": [\x01"_ba};
    case Fault::Array:
        return {real.status, "[" + (real.body.isEmpty() ? "1"_ba : real.body) + "]"};
    case Fault::WrongType:
        return {real.status, text(damaged(object, false, dice).toObject())};
    case Fault::Missing:
        return {real.status, text(damaged(object, true, dice).toObject())};
    case Fault::TooLong:
        return {200, "{}" + QByteArray(longerThanTaken, ' ')};
    case Fault::OtherIdentity: {
        QJsonObject other = object;
        other.insert(u"id"_s, alien());
        return {real.status, text(other)};
    }
    case Fault::ForeignResult:
        return {200, m_lastResult};
    case Fault::NoResult:
        return {real.status, R"({"results":[]})"};
    default:
        return real;
    }
}

void FaultProxy::finish(qsizetype index, Fault fault, QRandomGenerator& dice) {
    const std::shared_ptr<Waiting> waiting = m_waiting.at(index);
    if (fault != Fault::None) {
        ++m_counts[nameOf(fault)];
    }
    if (fault == Fault::LostRequest || waiting->stalled) {
        drop(*waiting);
        return;
    }
    if (!waiting->answer) {
        waiting->answer = comesBefore(fault) ? Answer() : ask(waiting->request);
    }
    if (fault == Fault::Repeat) {
        waiting->answer = ask(waiting->request);
    }
    if (!waiting->socket) {
        return; // the client gave up meanwhile
    }
    const bool reached = comesBefore(fault) || waiting->answer->status != 0;
    if (!reached || fault == Fault::LostReply) {
        drop(*waiting);
        return;
    }
    const Answer reply = falsified(*waiting, fault, dice);
    const QByteArray bytes = wholeText(reply);
    const qsizetype part = dice.bounded(static_cast<int>(std::min<qsizetype>(bytes.size(), 1 << 20)));
    const QPointer<QTcpSocket> socket = waiting->socket;
    switch (fault) {
    case Fault::Cut:
        socket->write(bytes.first(part));
        drop(*waiting);
        return;
    case Fault::GarbageHead:
        socket->write("SSH-2.0-weather\r\n\r\n");
        drop(*waiting);
        return;
    case Fault::Stall:
        stall(index, bytes.first(part));
        return;
    case Fault::Trickle:
        for (const char byte : bytes.first(part % 40)) {
            socket->write(&byte, 1);
            socket->flush();
        }
        socket->write(bytes.mid(part % 40));
        m_waiting.removeOne(waiting);
        told(waiting->request, reply.status, QJsonDocument::fromJson(reply.body).object());
        return;
    case Fault::Twice:
        answer(*waiting, reply);
        socket->write(bytes);
        socket->disconnectFromHost();
        return;
    default:
        answer(*waiting, reply);
    }
}

void FaultProxy::answer(const Waiting& waiting, const Answer& answer) {
    waiting.socket->write(wholeText(answer));
    const PeerRequest request = waiting.request;
    m_waiting.removeIf([&waiting](const auto& other) { return other.get() == &waiting; });
    told(request, answer.status, QJsonDocument::fromJson(answer.body).object());
}

void FaultProxy::stall(qsizetype index, const QByteArray& part) {
    m_waiting.at(index)->stalled = true;
    m_waiting.at(index)->socket->write(part);
}

void FaultProxy::drop(const Waiting& waiting) {
    const QPointer<QTcpSocket> socket = waiting.socket;
    told(waiting.request, 0, {});
    m_waiting.removeIf([&waiting](const auto& other) { return other.get() == &waiting; });
    socket->disconnectFromHost();
}
