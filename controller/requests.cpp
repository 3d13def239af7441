// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "controller/wire.h"
#include "vault/wipe.h"

#include <QCryptographicHash>
#include <QJsonDocument>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUuid>

namespace {

constexpr qsizetype maxReplyBytes = 52428800;
/// Below this a reply is parsed sooner than it is worth remembering.
constexpr qsizetype largeReplyBytes = 65536;

} // namespace

void Controller::send(const QByteArray& method, const QString& path, const QJsonObject& body,
                      const Callback& callback, const QString& idempotencyKey) {
    if (m_server.isEmpty()) {
        callback({}, 0);
        return;
    }
    QNetworkRequest request = plainRequest(m_server + QStringLiteral("/v1") + path);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    const QString token = m_auth.value(u"token").toString();
    if (!token.isEmpty() && path != QStringLiteral("/auth/login")) {
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
        reply = m_network.sendCustomRequest(request, method, bytes);
    }
    const qint64 generation = m_requestGeneration;
    connect(reply, &QNetworkReply::finished, this, [this, reply, bytes, callback, generation]() mutable {
        reply->deleteLater();
        wipe(bytes); // a password may be in it
        QByteArray answer = replyBody(*reply);
        // A reply that outlived its server or account must not land in the new state.
        if (generation == m_requestGeneration) {
            deliver(answer, httpStatus(*reply), callback);
        }
        wipe(answer); // or a token in this
    });
}

void Controller::deliver(const QByteArray& body, int status, const Callback& callback) {
    if (body.size() > maxReplyBytes) {
        callback({}, 0);
        return;
    }
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
    if (large) {
        m_largeReply = {digest, object};
    }
    callback(object, status);
}

void Controller::dropReplies() {
    ++m_requestGeneration;
    m_syncing = false; // its end would be such a reply
    m_largeReply = {};
}
