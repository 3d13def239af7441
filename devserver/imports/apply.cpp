// SPDX-License-Identifier: MIT
#include "devserver/imports/apply.h"

#include "devserver/base/apierror.h"
#include "devserver/imports/target.h"

#include <QJsonDocument>

namespace devserver {
namespace {

constexpr int largestLimit = 500;
constexpr qsizetype longestKey = 255;

ApiError conflict(const QString& code, const QString& message) {
    return {409, code, message};
}

QString keyOf(const Request& request) {
    QString key = QString::fromUtf8(request.header("Idempotency-Key"));
    if (key.isEmpty()) {
        throw ApiError{400, QStringLiteral("idempotency_key_missing"),
                       QStringLiteral("The request has no Idempotency-Key.")};
    }
    if (key.size() > longestKey) {
        throw ApiError{400, QStringLiteral("malformed"),
                       QStringLiteral("The Idempotency-Key is longer than %1 characters.").arg(longestKey)};
    }
    return key;
}

int limitOf(const QJsonObject& body) {
    const qint64 limit = body.value(QStringLiteral("limit")).toInteger();
    if (limit < 1 || limit > largestLimit) {
        throw ApiError{422, QStringLiteral("invalid_import"),
                       QStringLiteral("The limit must be a whole number from 1 to %1.").arg(largestLimit)};
    }
    return static_cast<int>(limit);
}

StagedImport importOf(Request& request, const QString& checksum) {
    auto import = findImport(request.connection(), request.caller().userId, request.part(1));
    if (!import) {
        throw ApiError{404, QStringLiteral("not_found"),
                       QStringLiteral("This import does not exist or is not yours; preview the file again.")};
    }
    if (import->checksum != checksum) {
        throw conflict(QStringLiteral("checksum_mismatch"),
                       QStringLiteral("The checksum is not that of the preview; preview the file again."));
    }
    if (import->invalid > 0) {
        throw conflict(QStringLiteral("import_invalid"),
                       QStringLiteral("The file has rows that cannot be imported; correct them and preview "
                                      "the file again."));
    }
    return *import;
}

void writeNext(Connection& connection, StagedImport& import, int limit) {
    if (!isMember(connection, import.source.userId, import.source.workspaceId)) {
        throw conflict(QStringLiteral("import_blocked"),
                       QStringLiteral("You are no longer a member of the workspace of this import."));
    }
    ImportTarget target(connection, import.source.workspaceId, import.source.userId);
    const QList<StagedRecord> records = nextRecords(connection, import, limit);
    QList<Entry> entries;
    for (const StagedRecord& record : records) {
        if (!noteImported(connection, import.source, record.fingerprint)) {
            continue;
        }
        if (const auto problem = target.obstacle(record.row)) {
            throw conflict(QStringLiteral("import_blocked"),
                           QStringLiteral("Row %1 can no longer be imported, nor the step that it is in: %2")
                               .arg(problem->row)
                               .arg(problem->message));
        }
        entries += target.entryFor(record.row);
    }
    insertEntries(connection, entries);
    import.checkpoint += static_cast<int>(records.size());
    import.written += static_cast<int>(entries.size());
    saveProgress(connection, import);
}

} // namespace

Answer applyImport(Request& request) {
    Connection& connection = request.connection();
    const QString key = keyOf(request);
    const QJsonObject body = request.json();
    const int limit = limitOf(body);
    StagedImport import = importOf(request, body.value(QStringLiteral("preview_checksum")).toString());
    if (const QByteArray reply = earlierReply(connection, import, key); !reply.isEmpty()) {
        return reply;
    }
    const bool wasComplete = import.isComplete();
    if (!wasComplete) {
        writeNext(connection, import, limit);
    }
    const QByteArray reply = QJsonDocument(progressOf(import)).toJson(QJsonDocument::Compact);
    if (!wasComplete) {
        keepReply(connection, import, key, reply);
    }
    return reply;
}

QJsonObject progressOf(const StagedImport& import) {
    const QString begun = import.checkpoint == 0 ? QStringLiteral("previewed") : QStringLiteral("importing");
    return {{QStringLiteral("id"), import.id},
            {QStringLiteral("checksum"), import.checksum},
            {QStringLiteral("state"), import.isComplete() ? QStringLiteral("completed") : begun},
            {QStringLiteral("checkpoint"), import.checkpoint},
            {QStringLiteral("total"), import.total},
            {QStringLiteral("has_more"), !import.isComplete()},
            {QStringLiteral("invalid"), import.invalid},
            {QStringLiteral("written"), import.written},
            {QStringLiteral("skipped"), import.checkpoint - import.written}};
}

} // namespace devserver
