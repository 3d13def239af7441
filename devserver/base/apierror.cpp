// SPDX-License-Identifier: MIT
#include "devserver/base/apierror.h"

#include "devserver/base/jsontext.h"

namespace devserver {

QByteArray errorBody(const ApiError& error) {
    QByteArray body = R"({"error":{"code":)";
    appendString(body, error.code);
    body += R"(,"message":)";
    appendString(body, error.message);
    body += "}}";
    return body;
}

ApiError errorForStatus(int status) {
    switch (status) {
    case 404:
        return {404, QStringLiteral("not_found"), QStringLiteral("This server has nothing at this address.")};
    case 500:
        return {500, QStringLiteral("internal"),
                QStringLiteral("The server could not complete the request; nothing was changed.")};
    default:
        return {status, QStringLiteral("bad_request"),
                QStringLiteral("The request is not one that this server understands.")};
    }
}

ApiError tooLarge(qsizetype largest) {
    return {413, QStringLiteral("too_large"),
            QStringLiteral("The request is larger than %1 MiB.").arg(largest / (qsizetype{1024} * 1024))};
}

} // namespace devserver
