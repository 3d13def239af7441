// SPDX-License-Identifier: MIT
#include "devserver/authroutes.h"

#include "devserver/apierror.h"
#include "devserver/jsontext.h"
#include "devserver/router.h"
#include "devserver/sessions.h"
#include "devserver/signin.h"
#include "devserver/timestamps.h"
#include "devserver/wipe.h"

#include <QScopeGuard>

namespace devserver {
namespace {

QString textField(const QJsonObject& fields, const QString& name, qsizetype longest) {
    const QJsonValue value = fields.value(name);
    QString text = value.toString();
    if (!value.isString() || text.size() > longest || !isStorableText(text)) {
        throw ApiError{
            422, QStringLiteral("invalid"),
            QStringLiteral("The field %1 must be a text of at most %2 characters.").arg(name).arg(longest)};
    }
    return text;
}

QByteArray loginReply(const OpenedSession& session, const QString& userId, const QString& client,
                      const QString& deviceName) {
    QByteArray body = R"({"session_token":")" + session.token + R"(","session":{"id":)";
    appendString(body, session.id);
    body += R"(,"user_id":)";
    appendString(body, userId);
    body += R"(,"client":)";
    appendString(body, client);
    body += R"(,"device_name":)";
    appendString(body, deviceName);
    body += R"(,"created_at":)";
    appendInstant(body, session.createdAt);
    body += "}}";
    return body;
}

Answer login(Request& request, SignIn& signIn) {
    const QJsonObject fields = request.json();
    const QString client = textField(fields, QStringLiteral("client"), 100);
    const QString deviceName = textField(fields, QStringLiteral("device_name"), 200);
    const QString userId = userSigningIn(request, signIn);
    Transaction transaction(request.connection(), Transaction::Kind::Write);
    OpenedSession session = openSession(request.connection(), userId, client, deviceName);
    transaction.commit();
    Answer answer = loginReply(session, userId, client, deviceName);
    wipe(session.token);
    return answer;
}

Answer logout(Request& request) {
    const QJsonObject fields = request.json();
    if (!request.caller().hasSession) {
        throw ApiError{400, QStringLiteral("no_session"),
                       QStringLiteral("The development user has no session that could be ended.")};
    }
    // Work that still waits on the device could not be sent afterwards.
    if (fields.value(QStringLiteral("local_queue_empty")) != QJsonValue(true)) {
        throw ApiError{409, QStringLiteral("queue_not_empty"),
                       QStringLiteral("Changes that this server does not have yet prevent signing out.")};
    }
    endSession(request.connection(), bearerToken(request.header("Authorization")));
    Answer answer;
    answer.status = 204;
    return answer;
}

} // namespace

QString userSigningIn(Request& request, SignIn& signIn) {
    QString password;
    QByteArray passwordBytes;
    const auto forget = qScopeGuard([&] {
        request.wipeBody();
        wipe(password);
        wipe(passwordBytes);
    });
    const QJsonObject fields = request.json();
    const QString email = textField(fields, QStringLiteral("email"), 320);
    password = textField(fields, QStringLiteral("password"), 1024);
    passwordBytes = password.toUtf8();
    return signIn.userOf(request.connection(), email, passwordBytes, request.remoteAddress());
}

void addAuthRoutes(Router& router, SignIn& signIn) {
    router.post("/v1/auth/login", Work::Own, [&signIn](Request& request) { return login(request, signIn); });
    router.post("/v1/auth/logout", Work::Write, logout);
}

} // namespace devserver
