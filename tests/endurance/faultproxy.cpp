// SPDX-License-Identifier: MIT
#include "tests/endurance/faultproxy.h"

#include "tests/endurance/damage.h"
#include "tests/endurance/world.h"

#include <QEventLoop>
#include <QHostAddress>
#include <QJsonDocument>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTcpSocket>
#include <QTimer>
#include <QUrl>

#include <algorithm>
#include <array>
#include <set>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

using Fault = FaultProxy::Fault;

constexpr qsizetype longerThanTaken = 52428800 + 1;
constexpr int mostPieces = 6;
const QByteArray resultOfNothing = R"({"results":[{"mutation_id":"none","status":"accepted"}]})"_ba;

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
    Kind{Fault::BadGateway, "502 with a page", 4},
    Kind{Fault::Redirect, "302", 3},
    Kind{Fault::NoContent, "204", 4},
    Kind{Fault::Unauthorized, "401", 5},
    Kind{Fault::Garbage, "garbage body", 3},
    Kind{Fault::GarbageHead, "garbage head", 2},
    Kind{Fault::Array, "array", 2},
    Kind{Fault::WrongType, "wrong type", 24},
    Kind{Fault::Missing, "missing member", 10},
    Kind{Fault::TooLong, "too long", 1},
    Kind{Fault::OtherIdentity, "other identity", 8},
    Kind{Fault::ForeignResult, "foreign result", 6},
    Kind{Fault::NoResult, "no result", 4},
};

/// The server is not asked for these.
bool comesBefore(Fault fault) {
    return fault == Fault::LostRequest || fault == Fault::ErrorBefore || fault == Fault::TooLong ||
           fault == Fault::ForeignResult;
}

/// What stands between has the server's reply, or has not asked for it.
bool comesEitherWay(Fault fault) {
    return fault == Fault::BadGateway || fault == Fault::Redirect || fault == Fault::NoContent ||
           fault == Fault::Unauthorized;
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
    return "HTTP/1.1 " + QByteArray::number(answer.status) + " Weather\r\nContent-Type: " + answer.type +
           "\r\n" + (answer.status == 302 ? "Location: /v1/elsewhere\r\n"_ba : QByteArray()) + length + tag +
           "\r\n";
}

QByteArray wholeText(const FaultProxy::Answer& answer) {
    return head(answer) + answer.body;
}

/// In pieces: some end in the head or anywhere else, one ends within the body, some are a single byte.
QList<QByteArray> pieces(const FaultProxy::Answer& answer, QRandomGenerator& dice) {
    const QByteArray bytes = wholeText(answer);
    const auto drawIn = [&dice](qsizetype from, qsizetype to) {
        return from + 1 + dice.bounded(static_cast<int>(std::max<qsizetype>(1, to - from - 1)));
    };
    std::set<qsizetype> ends{drawIn(bytes.size() - answer.body.size(), bytes.size()), bytes.size()};
    for (int i = dice.bounded(1, mostPieces); i > 0; --i) {
        const qsizetype end = drawIn(0, bytes.size());
        ends.insert({end, std::min(end + 1, bytes.size())});
    }
    QList<QByteArray> all;
    qsizetype from = 0;
    for (const qsizetype end : ends) {
        all.append(bytes.mid(from, end - from));
        from = end;
    }
    return all;
}

QByteArray text(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

} // namespace

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

FaultProxy::FaultProxy() : m_lastResult(resultOfNothing) {
    connect(&m_server, &QTcpServer::newConnection, this, &FaultProxy::accept);
    goOnline();
}

QString FaultProxy::url() const {
    return u"http://127.0.0.1:%1"_s.arg(m_port);
}

void FaultProxy::beginAnew() {
    m_misnamed.clear();
    m_lastResult = resultOfNothing;
    goOnline();
}

bool FaultProxy::goOffline() {
    const bool wasOnline = m_server.isListening();
    m_server.close();
    const QList<QTcpSocket*> sockets = m_inputs.keys();
    for (QTcpSocket* socket : sockets) {
        socket->abort();
    }
    return wasOnline;
}

bool FaultProxy::goOnline() {
    if (m_server.isListening()) {
        return false;
    }
    if (!m_server.listen(QHostAddress::LocalHost, m_port)) {
        qFatal("The fault proxy cannot listen: %s", qPrintable(m_server.errorString()));
    }
    m_port = m_server.serverPort();
    return true;
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
    m_waiting.append(std::make_shared<Waiting>(Waiting{.request = request, .socket = socket}));
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
    Answer answer{.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(),
                  .tag = reply->rawHeader("ETag")};
    if (answer.status != 0) {
        answer.body = reply->readAll();
    }
    if (reply->hasRawHeader("Content-Type")) {
        answer.type = reply->rawHeader("Content-Type");
    }
    if (answer.status == 200 && request.path == u"/v1/sync/push"_s) {
        m_lastResult = answer.body;
    }
    return answer;
}

qsizetype FaultProxy::arranged() const {
    return std::count_if(m_waiting.begin(), m_waiting.end(),
                         [](const auto& waiting) { return waiting->arranged; });
}

void FaultProxy::arrange() {
    const auto isArranged = [](const auto& waiting) { return waiting->arranged; };
    const auto from = std::find_if_not(m_waiting.begin(), m_waiting.end(), isArranged);
    std::stable_sort(from, m_waiting.end(), [](const auto& one, const auto& other) {
        return Damage::nameOf(one->path()) < Damage::nameOf(other->path());
    });
    std::for_each(from, m_waiting.end(), [](const auto& waiting) { waiting->arranged = true; });
}

bool FaultProxy::serve(qsizetype index) {
    const std::shared_ptr<Waiting> waiting = m_waiting.at(index);
    if (waiting->answer || waiting->stalled) {
        return false;
    }
    waiting->answer = ask(waiting->request);
    return true;
}

std::optional<FaultProxy::Answer> FaultProxy::damaged(const Waiting& waiting, bool missing,
                                                      QRandomGenerator& dice) {
    const QJsonObject object = QJsonDocument::fromJson(waiting.answer->body).object();
    if (object.isEmpty()) {
        return std::nullopt;
    }
    Damage damage(waiting.path(), missing, dice);
    const Answer answer{.status = waiting.answer->status, .body = text(damage.done(object))};
    ++m_damages[damage.member()];
    m_detail = damage.detail();
    return answer;
}

std::optional<FaultProxy::Answer> FaultProxy::falsified(const Waiting& waiting, Fault fault,
                                                        QRandomGenerator& dice) {
    const Answer real = waiting.answer.value_or(Answer());
    switch (fault) {
    case Fault::ErrorBefore:
    case Fault::ErrorAfter:
        return Answer{.status = 500, .body = R"({"error":{"message":"The weather is bad."}})"};
    case Fault::BadGateway:
        return Answer{.status = 502, .body = "<html><body>Bad gateway</body></html>", .type = "text/html"};
    case Fault::Redirect:
        return Answer{.status = 302};
    case Fault::NoContent:
        return Answer{.status = 204};
    case Fault::Unauthorized:
        return Answer{.status = 401,
                      .body = dice.bounded(2) == 0 ? "denied"_ba : R"({"error":{"message":"denied"}})"_ba};
    case Fault::Garbage:
        return Answer{.status = 200, .body = "{\"results\": [\x01"_ba};
    case Fault::Array:
        return real.body.isEmpty()
                   ? std::nullopt
                   : std::optional(Answer{.status = real.status, .body = '[' + real.body + ']'});
    case Fault::WrongType:
    case Fault::Missing:
        return damaged(waiting, fault == Fault::Missing, dice);
    case Fault::TooLong:
        return Answer{.status = 200, .body = "{}" + QByteArray(longerThanTaken, ' ')};
    case Fault::OtherIdentity: {
        QJsonObject other = QJsonDocument::fromJson(real.body).object();
        other.insert(u"id"_s, otherThan(other.value(u"id").toString(), dice));
        return real.status == 200 ? std::optional(Answer{.status = 200, .body = text(other)}) : std::nullopt;
    }
    case Fault::ForeignResult:
        // What is sent again would get its own.
        return m_lastResult.contains(waiting.request.headers.value("idempotency-key"))
                   ? std::nullopt
                   : std::optional(Answer{.status = 200, .body = m_lastResult});
    case Fault::NoResult:
        return Answer{.status = real.status, .body = R"({"results":[]})"};
    default:
        return real;
    }
}

QString FaultProxy::otherThan(const QString& person, QRandomGenerator& dice) const {
    QStringList others = m_people;
    others.removeAll(person);
    const bool exists = !others.isEmpty() && dice.bounded(2) == 0;
    return exists ? others.at(dice.bounded(static_cast<int>(others.size()))) : World::nobody();
}

void FaultProxy::finish(qsizetype index, Fault fault, QRandomGenerator& dice) {
    const std::shared_ptr<Waiting> waiting = m_waiting.at(index);
    m_detail.clear();
    if (waiting->stalled) {
        drop(*waiting);
        return;
    }
    if (fault == Fault::LostRequest) {
        count(fault);
        drop(*waiting);
        return;
    }
    const bool early =
        comesBefore(fault) || (comesEitherWay(fault) && !waiting->answer && dice.bounded(2) == 0);
    if (!waiting->answer && !early) {
        waiting->answer = ask(waiting->request);
    }
    if (fault == Fault::Repeat) {
        waiting->answer = ask(waiting->request);
    }
    if (!waiting->socket) {
        return; // the client gave up meanwhile
    }
    const bool reached = early || waiting->answer->status != 0;
    const std::optional<Answer> reply = reached ? falsified(*waiting, fault, dice) : std::nullopt;
    if (reply) {
        count(fault, early ? u" before"_s : u" after"_s);
        deliver(waiting, *reply, fault, dice);
    } else if (reached) {
        finish(m_waiting.indexOf(waiting), Fault::None, dice); // there is nothing that could be made wrong
    } else {
        drop(*waiting);
    }
}

void FaultProxy::count(Fault fault, const QString& when) {
    if (fault != Fault::None) {
        const QString name = nameOf(fault) + (comesEitherWay(fault) ? when : QString());
        ++m_counts[name];
        m_detail = name + u' ' + m_detail;
    }
}

void FaultProxy::deliver(const std::shared_ptr<Waiting>& waiting, const Answer& reply, Fault fault,
                         QRandomGenerator& dice) {
    const QByteArray bytes = wholeText(reply);
    const auto part = dice.bounded(static_cast<int>(std::min<qsizetype>(bytes.size(), 1 << 20)));
    const QPointer<QTcpSocket> socket = waiting->socket;
    if (fault == Fault::Cut || fault == Fault::Stall) {
        m_detail += u"at byte %1 of %2"_s.arg(part).arg(bytes.size());
    }
    switch (fault) {
    case Fault::LostReply:
        drop(*waiting);
        return;
    case Fault::Cut:
        socket->write(bytes.first(part));
        drop(*waiting);
        return;
    case Fault::GarbageHead:
        socket->write("SSH-2.0-weather\r\n\r\n");
        drop(*waiting);
        return;
    case Fault::Stall:
        waiting->stalled = true;
        socket->write(bytes.first(part));
        return;
    case Fault::Trickle:
        end(*waiting, reply);
        trickle(socket, pieces(reply, dice));
        return;
    case Fault::Twice:
        socket->write(bytes);
        end(*waiting, reply);
        socket->write(bytes);
        socket->disconnectFromHost();
        return;
    default:
        socket->write(bytes);
        end(*waiting, reply);
    }
}

void FaultProxy::trickle(QTcpSocket* socket, QList<QByteArray> pieces) {
    if (pieces.isEmpty() || socket->state() != QAbstractSocket::ConnectedState) {
        return;
    }
    const QByteArray piece = pieces.takeFirst();
    m_detail += QString::number(piece.size()) + u' ';
    socket->write(piece);
    socket->flush();
    QTimer::singleShot(0, socket, [this, socket, pieces] { trickle(socket, pieces); });
}

void FaultProxy::end(const Waiting& waiting, const Answer& answer) {
    const PeerRequest request = waiting.request;
    const QJsonObject reply = QJsonDocument::fromJson(answer.body).object();
    if (waiting.path() == u"/me"_s && answer.status == 200) {
        const QString named = reply.value(u"id").toString();
        const QByteArray meant = waiting.answer ? waiting.answer->body : QByteArray();
        m_misnamed.remove(named);
        if (QJsonDocument::fromJson(meant).object().value(u"id") != named) {
            m_misnamed.insert(named);
        }
    }
    m_waiting.removeIf([&waiting](const auto& other) { return other.get() == &waiting; });
    told(request, answer.status, reply);
}

void FaultProxy::drop(const Waiting& waiting) {
    const QPointer<QTcpSocket> socket = waiting.socket;
    end(waiting, {});
    socket->disconnectFromHost();
}
