// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "controller/replyreader.h"
#include "controller/wire.h"
#include "state/replylimits.h"
#include "vault/wipe.h"

#include <QCryptographicHash>
#include <QJsonDocument>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUuid>

namespace {

/// Below this a reply is parsed sooner than it is worth remembering.
constexpr qsizetype largeReplyBytes = 65536;

} // namespace

void Controller::send(const QByteArray& method, const QString& path, const QJsonObject& body,
                      const Callback& callback, const QString& idempotencyKey) {
    if (m_server.isEmpty()) {
        callback({}, 0);
        return;
    }
    exchange(method, path, body, idempotencyKey,
             [this, callback, generation = m_requestGeneration](const QByteArray& answer, int status) {
                 // A reply that outlived its server or account must not land in the new state.
                 if (generation == m_requestGeneration) {
                     deliver(answer, status, callback);
                 }
             });
}

void Controller::exchange(const QByteArray& method, const QString& path, const QJsonObject& body,
                          const QString& idempotencyKey, const Answer& answer) {
    QNetworkRequest request = plainRequest(m_server + QStringLiteral("/v1") + path);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    const QString token = m_auth.value(u"token").toString();
    if (!token.isEmpty() && path != loginPath) {
        request.setRawHeader("Authorization", "Bearer " + token.toUtf8());
    }

    QNetworkReply* reply = nullptr;
    QByteArray bytes;
    if (method == "GET") {
        reply = m_network.get(request);
    } else {
        const QString key =
            idempotencyKey.isEmpty() ? QUuid::createUuid().toString(QUuid::WithoutBraces) : idempotencyKey;
        request.setRawHeader("Idempotency-Key", key.toUtf8());
        bytes = QJsonDocument(body).toJson(QJsonDocument::Compact);
        reply = path == loginPath ? sendOnce(m_network, request, method, bytes)
                                  : m_network.sendCustomRequest(request, method, bytes);
    }
    auto* reader = new ReplyReader(*reply);
    const bool asAccount = request.hasRawHeader("Authorization");
    const auto finish = [this, reply, reader, bytes, answer, asAccount,
                         generation = m_requestGeneration]() mutable {
        reply->deleteLater();
        wipe(bytes); // a password may be in it
        m_timedOut = reader->timedOut();
        if (asAccount && generation == m_requestGeneration && httpStatus(*reply) == 401) {
            m_sessionRefused = true; // also when whoever refuses it speaks no JSON
        }
        answer(reader->body(), httpStatus(*reply));
    };
    connect(reply, &QNetworkReply::finished, this, finish);
}

void Controller::deliver(const QByteArray& body, int status, const Callback& callback) {
    const bool large = body.size() >= largeReplyBytes;
    const QByteArray digest =
        large ? QCryptographicHash::hash(body, QCryptographicHash::Blake2b_256) : QByteArray();
    if (large && digest == m_largeReply.digest) {
        const QJsonObject object = m_largeReply.object;
        callback(object, status);
        return;
    }
    QJsonParseError error;
    const QJsonObject object = QJsonDocument::fromJson(body, &error).object();
    if (error.error != QJsonParseError::NoError) {
        callback({}, status == 204 ? 204 : 0);
        return;
    }
    if (!canBeKept(object)) {
        callback({}, 0);
        return;
    }
    if (large) {
        m_largeReply = {digest, object};
    }
    callback(object, status);
}

void Controller::dropReplies() {
    m_signingOut = false;
    resumeReloads();
    ++m_requestGeneration;
    m_syncing = false; // its end would be such a reply
    m_largeReply = {};
}
