// SPDX-License-Identifier: MIT
#include "controller/replies.h"

#include "state/replylimits.h"

#include <QJsonDocument>

std::optional<QJsonObject> objectIn(const QByteArray& body) {
    QJsonParseError error;
    const QJsonObject object = QJsonDocument::fromJson(body, &error).object();
    const bool usable = error.error == QJsonParseError::NoError && canBeKept(object);
    return usable ? std::optional(object) : std::nullopt;
}

int usableStatus(bool readable, int status) {
    return readable || status == 204 ? status : 0;
}

bool isId(const QJsonValue& value) {
    return !value.toString().isEmpty();
}

QString errorText(const QJsonObject& reply, const QString& fallback) {
    return reply.value(u"error").toObject().value(u"message").toString(fallback);
}
