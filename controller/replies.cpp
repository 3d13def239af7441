// SPDX-License-Identifier: MIT
#include "controller/replies.h"

bool isId(const QJsonValue& value) {
    return !value.toString().isEmpty();
}

QString errorText(const QJsonObject& reply, const QString& fallback) {
    return reply.value(u"error").toObject().value(u"message").toString(fallback);
}
