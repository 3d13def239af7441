// SPDX-License-Identifier: MIT
#include "devserver/push.h"

#include "devserver/apierror.h"
#include "devserver/entries.h"
#include "devserver/jsontext.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QVariant>

namespace devserver {
namespace {

ApiError malformed(const QString& message) {
    return {400, QStringLiteral("malformed"), message};
}

QString fingerprintOf(const QJsonObject& record) {
    const QByteArray text = QJsonDocument(record).toJson(QJsonDocument::Compact);
    return QString::fromLatin1(QCryptographicHash::hash(text, QCryptographicHash::Sha256).toHex());
}

QString textOf(const QJsonObject& record, const QString& key) {
    const QJsonValue value = record.value(key);
    if (!value.isString()) {
        throw malformed(QStringLiteral("The mutation's %1 must be text.").arg(key));
    }
    return value.toString();
}

Mutation mutationOf(const QJsonObject& record) {
    Mutation mutation;
    mutation.id = textOf(record, QStringLiteral("mutation_id"));
    if (!isId(mutation.id)) {
        throw malformed(QStringLiteral("The mutation's mutation_id must be a UUID."));
    }
    std::ignore = textOf(record, QStringLiteral("device_id"));
    mutation.workspaceId = textOf(record, QStringLiteral("workspace_id"));
    mutation.entityId = textOf(record, QStringLiteral("entity_id"));
    mutation.operation = textOf(record, QStringLiteral("operation"));
    const QJsonValue version = record.value(QStringLiteral("base_version"));
    mutation.baseVersion = version.toInteger(-1);
    if (!version.isDouble() || mutation.baseVersion < 0) {
        throw malformed(QStringLiteral("The mutation's base_version must be a whole number."));
    }
    const QJsonValue payload = record.value(QStringLiteral("payload"));
    if (!payload.isObject()) {
        throw malformed(QStringLiteral("The mutation's payload must be an object."));
    }
    mutation.payload = payload.toObject();
    return mutation;
}

QByteArray statusName(Verdict::Status status) {
    switch (status) {
    case Verdict::Status::Accepted:
        return QByteArrayLiteral("accepted");
    case Verdict::Status::Conflict:
        return QByteArrayLiteral("conflict");
    case Verdict::Status::Rejected:
        break;
    }
    return QByteArrayLiteral("rejected");
}

QByteArray decide(Connection& connection, const Caller& caller, const Mutation& mutation) {
    const Verdict verdict = applyMutation(connection, caller.userId, mutation);
    QByteArray result = R"({"mutation_id":")" + mutation.id.toLatin1();
    result += R"(","status":")" + statusName(verdict.status) + '"';
    if (verdict.status != Verdict::Status::Accepted) {
        result += R"(,"message":)";
        appendString(result, verdict.message);
    }
    const auto entry = findEntry(connection, mutation.entityId);
    if (entry && entry->userId == caller.userId && entry->workspaceId == mutation.workspaceId) {
        result += R"(,"canonical":)";
        appendEntry(result, *entry);
    }
    return result + '}';
}

/// The answer that this mutation got before; empty when it is new.
QByteArray firstAnswer(Connection& connection, const Caller& caller, const PushRequest& request) {
    QSqlQuery query = connection.run(
        QStringLiteral("SELECT fingerprint, result FROM mutations WHERE user_id = ? AND mutation_id = ?"),
        {caller.userId, request.mutation.id});
    if (!connection.next(query)) {
        return {};
    }
    if (query.value(0).toString() != request.fingerprint) {
        throw ApiError{422, QStringLiteral("idempotency_key_reused"),
                       QStringLiteral("This mutation id was already used with another content.")};
    }
    return query.value(1).toString().toUtf8();
}

} // namespace

PushRequest readPush(const QByteArray& body, const QString& idempotencyKey) {
    if (idempotencyKey.isEmpty()) {
        throw ApiError{400, QStringLiteral("idempotency_key_missing"),
                       QStringLiteral("The request has no Idempotency-Key.")};
    }
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(body, &error);
    if (error.error != QJsonParseError::NoError) {
        throw malformed(QStringLiteral("The request is not valid JSON."));
    }
    const QJsonArray mutations = document.object().value(QStringLiteral("mutations")).toArray();
    if (mutations.size() != 1 || !mutations[0].isObject()) {
        throw malformed(QStringLiteral("The request must hold exactly one mutation."));
    }
    const QJsonObject record = mutations[0].toObject();
    PushRequest request{mutationOf(record), fingerprintOf(record)};
    if (request.mutation.id != idempotencyKey) {
        throw ApiError{400, QStringLiteral("idempotency_key_mismatch"),
                       QStringLiteral("The Idempotency-Key is not the mutation's id.")};
    }
    return request;
}

QByteArray pushReply(Connection& connection, const Caller& caller, const PushRequest& request) {
    QByteArray result = firstAnswer(connection, caller, request);
    if (result.isEmpty()) {
        result = decide(connection, caller, request.mutation);
        connection.run(QStringLiteral("INSERT INTO mutations (user_id, mutation_id, fingerprint, result)"
                                      " VALUES (?, ?, ?, ?)"),
                       {caller.userId, request.mutation.id, request.fingerprint, QString::fromUtf8(result)});
    }
    return R"({"results":[)" + result + "]}";
}

} // namespace devserver
