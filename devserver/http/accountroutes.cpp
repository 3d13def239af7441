// SPDX-License-Identifier: MIT
#include "devserver/http/accountroutes.h"

#include "devserver/accounts/sessions.h"
#include "devserver/accounts/signin.h"
#include "devserver/base/apierror.h"
#include "devserver/base/jsontext.h"
#include "devserver/base/timestamps.h"
#include "devserver/base/wipe.h"
#include "devserver/http/router.h"

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

Device nativeDevice(const QJsonObject& fields) {
    return {textField(fields, QStringLiteral("client"), 100),
            textField(fields, QStringLiteral("device_name"), 200)};
}

Answer loginReply(const OpenedSession& session, const QString& userId, const Device& device) {
    QByteArray body = R"({"session_token":")" + session.token + R"(","session":{"id":)";
    appendString(body, session.id);
    body += R"(,"user_id":)";
    appendString(body, userId);
    body += R"(,"client":)";
    appendString(body, device.client);
    body += R"(,"device_name":)";
    appendString(body, device.name);
    body += R"(,"created_at":)";
    appendInstant(body, session.createdAt);
    return {body + "}}"};
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

Answer openAccount(Request& request, SignIn& signIn, const DeviceOf& deviceOf, const SessionReply& reply) {
    QString password;
    QByteArray passwordBytes;
    OpenedSession session;
    const auto forget = qScopeGuard([&] {
        request.wipeBody();
        wipe(password);
        wipe(passwordBytes);
        wipe(session.token);
    });
    const QJsonObject fields = request.json();
    const Device device = deviceOf(fields);
    const QString email = textField(fields, QStringLiteral("email"), 320);
    password = textField(fields, QStringLiteral("password"), 1024);
    passwordBytes = password.toUtf8();
    Connection& connection = request.connection();
    const QString userId = signIn.userOf(connection, email, passwordBytes, request.remoteAddress());
    Transaction transaction(connection, Transaction::Kind::Write);
    session = openSession(connection, userId, device.client, device.name);
    transaction.commit();
    return reply(session, userId, device);
}

void addAccountRoutes(Router& router, SignIn& signIn) {
    router.get("/v1", Work::Read, [](Request&) {
        return QByteArrayLiteral(R"({"name":"Timer.Kelvaro development server","version":")" TIMER_VERSION
                                 R"("})");
    });
    router.get("/v1/me", Work::Read,
               [](Request& request) { return identityReply(request.connection(), request.caller()); });
    router.get("/v1/workspaces", Work::Read,
               [](Request& request) { return workspacesReply(request.connection(), request.caller()); });
    router.post("/v1/auth/login", Work::Own, [&signIn](Request& request) {
        return openAccount(request, signIn, nativeDevice, loginReply);
    });
    router.post("/v1/auth/logout", Work::Write, logout);
}

} // namespace devserver
