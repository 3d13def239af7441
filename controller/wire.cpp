// SPDX-License-Identifier: MIT
#include "controller/wire.h"

#include <QJsonDocument>
#include <QNetworkReply>
#include <QSaveFile>
#include <QUrl>

QNetworkRequest plainRequest(const QString& address, int timeoutMs) {
    QNetworkRequest request(QUrl(address, QUrl::TolerantMode));
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    request.setTransferTimeout(timeoutMs);
    return request;
}

int httpStatus(const QNetworkReply& reply) {
    return reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

QByteArray replyBody(QNetworkReply& reply) {
    return reply.isOpen() ? reply.readAll() : QByteArray();
}

QString errorText(const QJsonObject& reply, const QString& fallback) {
    return reply.value(u"error").toObject().value(u"message").toString(fallback);
}

bool replaceFile(const QString& fileName, const QByteArray& bytes) {
    QSaveFile file(fileName);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit();
}

bool writePendingChanges(const QString& fileName, const QJsonArray& items) {
    const QJsonObject document{
        {QStringLiteral("format"), QStringLiteral("timer-native-pending-v1")},
        {QStringLiteral("queue"), items},
    };
    return replaceFile(fileName, QJsonDocument(document).toJson(QJsonDocument::Indented));
}
