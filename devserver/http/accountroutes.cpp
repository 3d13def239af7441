// SPDX-License-Identifier: MIT
#include "devserver/http/accountroutes.h"

#include "devserver/accounts/signin.h"
#include "devserver/base/apierror.h"
#include "devserver/base/json.h"
#include "devserver/base/wipe.h"

#include <QScopeGuard>

namespace devserver {
namespace {

QString textField(const QJsonObject& fields, const QString& name, qsizetype longest) {
    const QJsonValue value = fields.value(name);
    QString text = value.toString();
    if (!value.isString() || text.size() > longest || !isStorableText(text)) {
        throw ApiError{422, u"invalid"_s,
                       u"The field %1 must be a text of at most %2 characters."_s.arg(name).arg(longest)};
    }
    return text;
}

Device nativeDevice(const QJsonObject& fields) {
    return {textField(fields, u"client"_s, 100), textField(fields, u"device_name"_s, 200), {}};
}

Answer loginReply(const OpenedSession& session, const QString& userId, const Device& device) {
    JsonWriter json;
    json.beginObject().json("session_token", '"' + session.token + '"').key("session").beginObject();
    json.field("id", session.id).field("user_id", userId).field("client", device.client);
    json.field("device_name", device.name).instant("created_at", session.createdAt);
    return json.endObject().endObject().take();
}

Answer logout(Request& request) {
    const QJsonObject fields = request.json();
    if (!request.caller().hasSession) {
        throw ApiError{400, u"no_session"_s, u"The development user has no session that could be ended."_s};
    }
    // Work that still waits on the device could not be sent afterwards.
    if (fields.value(u"local_queue_empty") != QJsonValue(true)) {
        throw ApiError{409, u"queue_not_empty"_s,
                       u"Changes that this server does not have yet prevent signing out."_s};
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
        wipe(password);
        wipe(passwordBytes);
        wipe(session.token);
    });
    const QJsonObject fields = request.json();
    const Device device = deviceOf(fields);
    const QString email = textField(fields, u"email"_s, 320);
    password = textField(fields, u"password"_s, 1024);
    passwordBytes = password.toUtf8();
    Connection& connection = request.connection();
    const QString userId = signIn.userOf(connection, email, passwordBytes, request.remoteAddress());
    Transaction transaction(connection, Transaction::Kind::Write);
    session = openSession(connection, userId, device.client, device.name, device.tokenPrefix);
    transaction.commit();
    return reply(session, userId, device);
}

void addAccountRoutes(Router& router, SignIn& signIn) {
    router.get("/v1", reads([](Request&) {
                   JsonWriter json;
                   json.beginObject().field("name", u"Timer.Kelvaro development server"_s);
                   return json.field("version", QString::fromLatin1(TIMER_VERSION)).endObject().take();
               }));
    router.get("/v1/me",
               reads([](Request& request) { return identityReply(request.connection(), request.caller()); }));
    router.get("/v1/workspaces", reads([](Request& request) {
                   return workspacesReply(request.connection(), request.caller());
               }));
    router.post("/v1/auth/login", [&signIn](Request& request) {
        return openAccount(request, signIn, nativeDevice, loginReply);
    });
    router.post("/v1/auth/logout", writes(logout));
}

} // namespace devserver
