// SPDX-License-Identifier: MIT
#include "devserver/imports/imports.h"

#include "devserver/base/apierror.h"
#include "devserver/http/router.h"
#include "devserver/imports/preview.h"
#include "devserver/imports/store.h"
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
    QString key = request.idempotencyKey();
    if (key.size() > longestKey) {
        throw malformed(u"The Idempotency-Key is longer than %1 characters."_s.arg(longestKey));
    }
    return key;
}

int limitOf(const QJsonObject& body) {
    const qint64 limit = body.value(u"limit"_s).toInteger();
    if (limit < 1 || limit > largestLimit) {
        throw ApiError{422, u"invalid_import"_s,
                       u"The limit must be a whole number from 1 to %1."_s.arg(largestLimit)};
    }
    return static_cast<int>(limit);
}

StagedImport importOf(Request& request, const QString& checksum) {
    auto import = findImport(request.connection(), request.caller().userId, request.part(1));
    if (!import) {
        throw notFound(u"This import does not exist or is not yours; preview the file again."_s);
    }
    if (import->checksum != checksum) {
        throw conflict(u"checksum_mismatch"_s,
                       u"The checksum is not that of the preview; preview the file again."_s);
    }
    if (import->invalid > 0) {
        throw conflict(u"import_invalid"_s,
                       u"The file has rows that cannot be imported; correct them and preview "
                       "the file again."_s);
    }
    return *import;
}

void writeNext(Connection& connection, StagedImport& import, int limit) {
    if (!isMember(connection, import.source.userId, import.source.workspaceId)) {
        throw conflict(u"import_blocked"_s, u"You are no longer a member of the workspace of this import."_s);
    }
    ImportTarget target(connection, import.source.workspaceId, import.source.userId);
    const QList<StagedRecord> records = nextRecords(connection, import, limit);
    QList<Entry> entries;
    for (const StagedRecord& record : records) {
        if (!noteImported(connection, import.source, record.fingerprint)) {
            continue;
        }
        if (const auto problem = target.obstacle(record.row)) {
            throw conflict(
                u"import_blocked"_s,
                u"Row %1 can no longer be imported, nor the step that it is in: %2"_s.arg(problem->row)
                    .arg(problem->message));
        }
        entries += target.entryFor(record.row);
    }
    insertEntries(connection, entries);
    noteChange(connection, import.source.workspaceId);
    import.checkpoint += static_cast<int>(records.size());
    import.written += static_cast<int>(entries.size());
    saveProgress(connection, import);
}

Answer applyImport(Request& request) {
    Connection& connection = request.connection();
    const QString key = keyOf(request);
    const QJsonObject body = request.json();
    const int limit = limitOf(body);
    StagedImport import = importOf(request, body.value(u"preview_checksum"_s).toString());
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

} // namespace

void addImportRoutes(Router& router) {
    // 900,000 bytes of CSV, each of which may take six as JSON.
    constexpr qsizetype largestPreview = qsizetype{6} * 1024 * 1024;
    router.post("/v1/workspaces/([^/]*)/imports/csv/preview", Work::Own, previewImport, largestPreview);
    router.post("/v1/imports/([^/]*)/apply", Work::Write, applyImport);
}

} // namespace devserver
