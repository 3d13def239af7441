// SPDX-License-Identifier: MIT
#include "controller/serverlink.h"

#include "controller/logging.h"
#include "controller/onetimebody.h"
#include "controller/replies.h"
#include "state/sharing.h"
#include "vault/wipe.h"

#include <QJsonDocument>
#include <QNetworkProxyFactory>
#include <QNetworkReply>
#include <QUrl>
#include <QUuid>

#include <openssl/evp.h>

#include <memory>
#include <optional>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

/// A request that stalls this long is given up.
constexpr int transferTimeoutMs = 12000;
constexpr int revocationTimeoutMs = 10000;
const QString loginPath = u"/auth/login"_s;
/// Below this a reply is parsed sooner than it is worth remembering.
constexpr qsizetype largeReplyBytes = 65536;

/// Plain HTTP is for this machine and its private network, and goes nowhere else: a proxy may stand anywhere.
class DirectToNeighbours : public QNetworkProxyFactory {
public:
    QList<QNetworkProxy> queryProxy(const QNetworkProxyQuery& query) override {
        if (query.url().scheme() == u"http") {
            return {QNetworkProxy::NoProxy};
        }
        return proxyForQuery(query);
    }
};

QNetworkRequest requestTo(const QString& server, const QString& path, const QString& token,
                          int timeoutMs = transferTimeoutMs) {
    QNetworkRequest request(QUrl(server + u"/v1"_s + path, QUrl::TolerantMode));
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    request.setTransferTimeout(timeoutMs);
    if (!token.isEmpty()) {
        request.setRawHeader("Authorization", "Bearer " + token.toUtf8());
    }
    return request;
}

/// 0 when no HTTP answer arrived.
int httpStatus(const QNetworkReply& reply) {
    return reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

/// Sends a request that the network layer does not repeat by itself.
QNetworkReply* sendOnce(QNetworkAccessManager& network, QNetworkRequest request, const QByteArray& method,
                        const QByteArray& body) {
    // Unless its size is known and nothing is buffered, the layer would keep a copy to repeat.
    request.setHeader(QNetworkRequest::ContentLengthHeader, body.size());
    request.setAttribute(QNetworkRequest::DoNotBufferUploadDataAttribute, true);
    auto device = std::make_unique<OneTimeBody>(body);
    QNetworkReply* reply = network.sendCustomRequest(request, method, device.get());
    device.release()->setParent(reply);
    return reply;
}

/// SHA-256, by the instructions that a processor has for it: an unchanged reply costs little else.
/// Empty when it could not be made.
QByteArray digestOf(const QByteArray& body) {
    QByteArray digest(EVP_MAX_MD_SIZE, Qt::Uninitialized);
    unsigned int size = 0;
    const bool made =
        EVP_Digest(body.constData(), size_t(body.size()), reinterpret_cast<unsigned char*>(digest.data()),
                   &size, EVP_sha256(), nullptr) == 1;
    digest.resize(made ? qsizetype(size) : 0);
    return digest;
}

/// What may be told of a path: an id in it is nobody's business.
QString area(const QString& path) {
    return path.section(u'/', 1, 1).section(u'?', 0, 0);
}

} // namespace

ServerLink::ServerLink(QObject* parent) : QObject(parent), m_network(this), m_reading(this) {
    m_reading.setMaxThreadCount(1); // so that replies are delivered as they came
    m_network.setProxyFactory(new DirectToNeighbours);
}

void ServerLink::dropReplies() {
    ++m_generation;
    m_remembered = {};
    // When its connection breaks, the network layer sends a request again, with the former session.
    Q_EMIT repliesDropped();
}

void ServerLink::send(const ServerRequest& request, const Callback& callback, const Answer& afterwards) {
    if (m_address.isEmpty()) {
        m_answeredStatus = 0;
        callback({}, 0);
        return;
    }
    const bool isGet = request.method == "GET";
    QByteArray body;
    if (!isGet) {
        body = QJsonDocument(request.body).toJson(QJsonDocument::Compact);
    }
    const QString token = request.path == loginPath ? QString() : request.token;
    QNetworkRequest complete = requestTo(m_address, request.path, token);
    const Remembered known = isGet && m_remembered.path == request.path ? m_remembered : Remembered();
    if (!known.tag.isEmpty()) {
        complete.setRawHeader("If-None-Match", known.tag);
    }
    QNetworkReply* reply = issue(complete, request, body);
    auto* reader = new ReplyReader(*reply, request.largest);
    const auto finished = [this, reply, reader, body, callback, afterwards, known, generation = m_generation,
                           asAccount = !token.isEmpty(), alike = request.alike,
                           path = isGet ? request.path : QString(), what = area(request.path)]() mutable {
        wipe(body); // a password may be in it
        const int status = httpStatus(*reply);
        const bool large = !path.isEmpty() && status == 200 && reader->body().size() >= largeReplyBytes;
        qCDebug(controllerLog) << "reply" << what << "status" << status << "bytes" << reader->body().size()
                               << "timed out" << reader->timedOut() << "dropped"
                               << (generation != m_generation);
        if (generation == m_generation && large) {
            readBeside(reply, {path, reply->rawHeader("ETag"), reader->takeBody(), alike}, callback);
            return;
        }
        reply->deleteLater();
        if (generation == m_generation && asAccount && status == 401) {
            Q_EMIT sessionRefused(); // also when whoever refuses it speaks no JSON
        }
        // A reply that outlived its server or account must not land in the new state.
        if (generation == m_generation) {
            m_timedOut = reader->timedOut();
            m_answeredStatus = status;
            deliver(reader->body(), status, known, callback);
        }
        if (afterwards) {
            afterwards(reader->body(), status);
        }
    };
    connect(reply, &QNetworkReply::finished, this, finished);
    if (!afterwards) {
        connect(this, &ServerLink::repliesDropped, reply, &QNetworkReply::abort);
    }
}

QNetworkReply* ServerLink::issue(const QNetworkRequest& request, const ServerRequest& asked,
                                 const QByteArray& body) {
    qCDebug(controllerLog) << "request" << asked.method << area(asked.path) << "bytes" << body.size();
    QNetworkRequest complete = request;
    complete.setHeader(QNetworkRequest::ContentTypeHeader, u"application/json"_s);
    if (asked.method == "GET") {
        return m_network.get(complete);
    }
    const QString key = asked.idempotencyKey.isEmpty() ? QUuid::createUuid().toString(QUuid::WithoutBraces)
                                                       : asked.idempotencyKey;
    complete.setRawHeader("Idempotency-Key", key.toUtf8());
    return asked.path == loginPath ? sendOnce(m_network, complete, asked.method, body)
                                   : m_network.sendCustomRequest(complete, asked.method, body);
}

void ServerLink::deliver(const QByteArray& body, int status, const Remembered& known,
                         const Callback& callback) {
    if (status == 304 && !known.tag.isEmpty()) {
        callback(known.object, 200);
        return;
    }
    const std::optional<QJsonObject> object = objectIn(body);
    callback(object.value_or(QJsonObject()), usableStatus(object.has_value(), status));
}

void ServerLink::readBeside(QNetworkReply* reply, const Received& received, const Callback& callback) {
    auto deliverRead = [this, reply, callback,
                        generation = m_generation](const std::optional<Remembered>& read) {
        reply->deleteLater();
        // Its server or account may have gone while it was read, too.
        if (generation != m_generation) {
            return;
        }
        m_timedOut = false;
        m_answeredStatus = 200;
        if (read) {
            m_remembered = *read;
        }
        callback(read ? read->object : QJsonObject(), usableStatus(read.has_value(), 200));
    };
    m_reading.start([this, received = received, deliverRead, last = m_remembered]() mutable {
        const QByteArray digest = digestOf(received.body);
        const bool isLast = !digest.isEmpty() && digest == last.digest;
        const std::optional<QJsonObject> object = isLast ? last.object : objectIn(received.body);
        wipe(received.body);
        std::optional<Remembered> read;
        if (object) {
            read = {received.path, received.tag, digest,
                    isLast ? last.object : sharingWith(received.alike, *object)};
        }
        QMetaObject::invokeMethod(
            this, [deliver = std::move(deliverRead), read] { deliver(read); }, Qt::QueuedConnection);
        // What was parsed and is held already goes only now: nobody waits for that.
    });
}

void ServerLink::download(const QString& path, const QString& token, const Answer& answer) {
    // Once: this reply may outlive its session, and nothing is asked for with one that has ended.
    QNetworkReply* reply = sendOnce(m_network, requestTo(m_address, path, token), "GET", {});
    const auto finished = [this, reply, answer, generation = m_generation, asAccount = !token.isEmpty()] {
        reply->deleteLater();
        if (generation == m_generation && asAccount && httpStatus(*reply) == 401) {
            Q_EMIT sessionRefused();
        }
        // A body that breaks off still has the status 200; half a file must not pass for a whole one.
        const bool whole = reply->error() == QNetworkReply::NoError;
        answer(reply->isOpen() ? reply->readAll() : QByteArray(), whole ? httpStatus(*reply) : 0);
    };
    connect(reply, &QNetworkReply::finished, this, finished);
}

void ServerLink::revoke(const QString& server, const QString& token) {
    // A token with a line break would end its header early and leave the rest of
    // the request to be read as another one.
    if (token.isEmpty() || token.contains(u'\r') || token.contains(u'\n')) {
        return;
    }
    QNetworkRequest request = requestTo(server, u"/auth/logout"_s, token, revocationTimeoutMs);
    request.setHeader(QNetworkRequest::ContentTypeHeader, u"application/json"_s);
    QNetworkReply* reply = m_network.post(request, R"({"local_queue_empty":true})"_ba);
    connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
}
