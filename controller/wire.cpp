// SPDX-License-Identifier: MIT
#include "controller/wire.h"

#include "controller/onetimebody.h"
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSaveFile>
#include <QUrl>

#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

QNetworkRequest plainRequest(const QString& address, int timeoutMs) {
    QNetworkRequest request(QUrl(address, QUrl::TolerantMode));
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    request.setTransferTimeout(timeoutMs);
    return request;
}

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

int httpStatus(const QNetworkReply& reply) {
    return reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

QByteArray replyBody(QNetworkReply& reply) {
    return reply.isOpen() ? reply.readAll() : QByteArray();
}

bool isId(const QJsonValue& value) {
    return !value.toString().isEmpty();
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

bool syncFolderOf(const QString& fileName) {
    const QByteArray path = QFile::encodeName(QFileInfo(fileName).canonicalPath());
    const int folder = ::open(path.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0) {
        return false;
    }
    // EINVAL: this file system has nothing to write for a folder.
    const bool synced = ::fsync(folder) == 0 || errno == EINVAL;
    ::close(folder);
    return synced;
}
