// SPDX-License-Identifier: MIT
#include "devserver/entries/push.h"

#include "devserver/base/apierror.h"
#include "devserver/base/json.h"
#include "devserver/entries/entries.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace devserver {
namespace {

/// Why the record can never be applied; empty when each field has its type.
QString problemOf(const QJsonObject& record) {
    for (const auto& key : {u"device_id"_s, u"workspace_id"_s, u"entity_id"_s, u"operation"_s}) {
        if (!record.value(key).isString()) {
            return u"The mutation's %1 must be text."_s.arg(key);
        }
    }
    if (record.value(u"base_version"_s).toInteger(-1) < 0) {
        return u"The mutation's base_version must be a whole number."_s;
    }
    if (!record.value(u"payload"_s).isObject()) {
        return u"The mutation's payload must be an object."_s;
    }
    return {};
}

Mutation mutationOf(const QJsonObject& record) {
    return {record.value(u"mutation_id"_s).toString(),
            record.value(u"workspace_id"_s).toString(),
            record.value(u"entity_id"_s).toString(),
            record.value(u"base_version"_s).toInteger(),
            record.value(u"operation"_s).toString(),
            record.value(u"payload"_s).toObject(),
            problemOf(record),
            fingerprintOf(record)};
}

QByteArray decide(Connection& connection, const Caller& caller, const Mutation& mutation) {
    const Verdict verdict = applyMutation(connection, caller.userId, mutation);
    JsonWriter json;
    json.beginObject().field("mutation_id", mutation.id).field("status", verdict.status);
    if (!verdict.message.isEmpty()) {
        json.field("message", verdict.message);
    }
    const auto entry = findEntry(connection, mutation.entityId);
    if (entry && entry->userId == caller.userId && entry->workspaceId == mutation.workspaceId) {
        json.key("canonical").beginObject();
        writeFields(json, *entry);
        json.endObject();
    }
    return json.endObject().take();
}

/// The answer that this mutation got before; empty when it is new.
QByteArray firstAnswer(Connection& connection, const Caller& caller, const Mutation& mutation) {
    QSqlQuery query =
        connection.run(u"SELECT fingerprint, result FROM mutations WHERE user_id = ? AND mutation_id = ?"_s,
                       {caller.userId, mutation.id});
    if (!connection.next(query)) {
        return {};
    }
    if (query.value(0).toString() != mutation.fingerprint) {
        throw ApiError{422, u"idempotency_key_reused"_s,
                       u"This mutation id was already used with another content."_s};
    }
    return query.value(1).toString().toUtf8();
}

} // namespace

Mutation readPush(const QByteArray& body, const QString& idempotencyKey) {
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(body, &error);
    if (error.error != QJsonParseError::NoError) {
        throw malformed(u"The request is not valid JSON."_s);
    }
    const QJsonArray mutations = document.object().value(u"mutations"_s).toArray();
    if (mutations.size() != 1 || !mutations[0].isObject()) {
        throw malformed(u"The request must hold exactly one mutation."_s);
    }
    Mutation mutation = mutationOf(mutations[0].toObject());
    if (!isId(mutation.id)) {
        throw malformed(u"The mutation's mutation_id must be a UUID."_s);
    }
    if (mutation.id != idempotencyKey) {
        throw ApiError{400, u"idempotency_key_mismatch"_s,
                       u"The Idempotency-Key is not the mutation's id."_s};
    }
    return mutation;
}

QByteArray pushReply(Connection& connection, const Caller& caller, const Mutation& mutation) {
    QByteArray result = firstAnswer(connection, caller, mutation);
    if (result.isEmpty()) {
        result = decide(connection, caller, mutation);
        connection.insert(u"mutations (user_id, mutation_id, fingerprint, result)"_s,
                          {caller.userId, mutation.id, mutation.fingerprint, QString::fromUtf8(result)});
    }
    JsonWriter json;
    return json.beginObject().key("results").beginArray().json(result).endArray().endObject().take();
}

} // namespace devserver
