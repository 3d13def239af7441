// SPDX-License-Identifier: MIT
#include "devserver/entries/push.h"

#include "devserver/base/apierror.h"
#include "devserver/base/jsontext.h"
#include "devserver/entries/entries.h"

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

/// Why the record can never be applied; empty when each field has its type.
QString problemOf(const QJsonObject& record) {
    for (const auto& key : {QStringLiteral("device_id"), QStringLiteral("workspace_id"),
                            QStringLiteral("entity_id"), QStringLiteral("operation")}) {
        if (!record.value(key).isString()) {
            return QStringLiteral("The mutation's %1 must be text.").arg(key);
        }
    }
    if (record.value(QStringLiteral("base_version")).toInteger(-1) < 0) {
        return QStringLiteral("The mutation's base_version must be a whole number.");
    }
    if (!record.value(QStringLiteral("payload")).isObject()) {
        return QStringLiteral("The mutation's payload must be an object.");
    }
    return {};
}

Mutation mutationOf(const QJsonObject& record) {
    Mutation mutation;
    mutation.id = record.value(QStringLiteral("mutation_id")).toString();
    mutation.workspaceId = record.value(QStringLiteral("workspace_id")).toString();
    mutation.entityId = record.value(QStringLiteral("entity_id")).toString();
    mutation.baseVersion = record.value(QStringLiteral("base_version")).toInteger();
    mutation.operation = record.value(QStringLiteral("operation")).toString();
    mutation.payload = record.value(QStringLiteral("payload")).toObject();
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

QByteArray decide(Connection& connection, const Caller& caller, const PushRequest& request) {
    const Mutation& mutation = request.mutation;
    const Verdict verdict = request.problem.isEmpty() ? applyMutation(connection, caller.userId, mutation)
                                                      : Verdict{Verdict::Status::Rejected, request.problem};
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
    PushRequest request{mutationOf(record), problemOf(record), fingerprintOf(record)};
    if (!isId(request.mutation.id)) {
        throw malformed(QStringLiteral("The mutation's mutation_id must be a UUID."));
    }
    if (request.mutation.id != idempotencyKey) {
        throw ApiError{400, QStringLiteral("idempotency_key_mismatch"),
                       QStringLiteral("The Idempotency-Key is not the mutation's id.")};
    }
    return request;
}

QByteArray pushReply(Connection& connection, const Caller& caller, const PushRequest& request) {
    QByteArray result = firstAnswer(connection, caller, request);
    if (result.isEmpty()) {
        result = decide(connection, caller, request);
        connection.run(QStringLiteral("INSERT INTO mutations (user_id, mutation_id, fingerprint, result)"
                                      " VALUES (?, ?, ?, ?)"),
                       {caller.userId, request.mutation.id, request.fingerprint, QString::fromUtf8(result)});
    }
    return R"({"results":[)" + result + "]}";
}

} // namespace devserver
