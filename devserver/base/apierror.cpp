// SPDX-License-Identifier: MIT
#include "devserver/base/apierror.h"

#include "devserver/base/json.h"

namespace devserver {

ApiError malformed(const QString& message) {
    return {400, u"malformed"_s, message};
}

ApiError notFound(const QString& message) {
    return {404, u"not_found"_s, message};
}

int requireLimit(const QJsonObject& body, const QString& code) {
    constexpr int most = 500;
    const qint64 limit = body.value(u"limit").toInteger();
    if (limit < 1 || limit > most) {
        throw ApiError{422, code, u"The limit must be a whole number from 1 to %1."_s.arg(most)};
    }
    return static_cast<int>(limit);
}

QByteArray errorBody(const ApiError& error) {
    JsonWriter json;
    json.beginObject().key("error").beginObject();
    json.field("code", error.code).field("message", error.message);
    return json.endObject().endObject().take();
}

ApiError errorForStatus(int status) {
    switch (status) {
    case 404:
        return notFound(u"This server has nothing at this address."_s);
    case 500:
        return {500, u"internal"_s, u"The server could not complete the request."_s};
    default:
        return {status, u"bad_request"_s, u"The request is not one that this server understands."_s};
    }
}

} // namespace devserver
