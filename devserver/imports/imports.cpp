// SPDX-License-Identifier: MIT
#include "devserver/imports/imports.h"

#include "devserver/base/apierror.h"
#include "devserver/base/time.h"
#include "devserver/http/router.h"
#include "devserver/imports/store.h"
#include "devserver/imports/target.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QMap>

#include <algorithm>

namespace devserver {
namespace {

constexpr qsizetype longestNamespace = 255;
constexpr qsizetype longestKey = 255;
constexpr qsizetype mostProblems = 50;
constexpr qsizetype sampleSize = 5;
constexpr qsizetype mostDuplicates = 50;
constexpr qsizetype mostNames = 100;

ApiError unusable(const QString& message) {
    return {422, u"invalid_import"_s, message};
}

struct PreviewRequest {
    QByteArray content;
    QTimeZone zone;
    ImportSource source;
};

PreviewRequest readRequest(const QJsonObject& body, const QString& workspaceId, const QString& userId) {
    const QJsonValue content = body.value(u"content"_s);
    const auto zone = zoneNamed(body.value(u"timezone"_s).toString());
    const QString source = body.value(u"source_namespace"_s).toString().trimmed();
    if (!body.value(u"assign_to_me"_s).toBool()) {
        throw unusable(u"Confirm that the records belong to the current account."_s);
    }
    if (!zone) {
        throw unusable(u"The timezone must be the name of a time zone, such as Europe/Paris."_s);
    }
    if (source.isEmpty()) {
        throw unusable(
            u"The source identifier is empty; name where the records come from, the same each time."_s);
    }
    if (source.size() > longestNamespace || !isStorableText(source)) {
        throw unusable(
            u"The source identifier must be a text of at most %1 characters."_s.arg(longestNamespace));
    }
    if (!content.isString() || !isStorableText(content.toString())) {
        throw unusable(u"The content must be the text of a CSV file."_s);
    }
    return {content.toString().toUtf8(), *zone, {workspaceId, userId, source}};
}

QJsonObject listed(const ImportRow& row) {
    QJsonObject entry = entryOf(row);
    entry.insert(u"row"_s, row.row);
    entry.insert(u"duration_seconds"_s, row.stopAt - row.startAt);
    return entry;
}

/// Judges row after row, and keeps the account.
class Judgement {
public:
    Judgement(ImportTarget target, QSet<QString> imported)
        : m_target(std::move(target)), m_imported(std::move(imported)) {}

    void readAll(CsvTable table, const QTimeZone& zone);

    [[nodiscard]] StagedImport staged(const ImportSource& source) const;
    [[nodiscard]] const QList<ImportRow>& rows() const { return m_rows; }
    [[nodiscard]] QJsonObject reply(const StagedImport& import) const;

private:
    void judge(const ImportRow& row);
    void refuse(const QList<ImportProblem>& problems);
    [[nodiscard]] QString about() const;
    [[nodiscard]] QString aboutNone() const;

    ImportTarget m_target;
    QSet<QString> m_imported;
    QCryptographicHash m_checksum{QCryptographicHash::Sha256};
    QList<ImportRow> m_rows; ///< those that are valid or duplicates
    QList<ImportProblem> m_problems;
    QMap<QString, int> m_reasons; ///< how often each problem was met
    QJsonArray m_sample;
    QJsonArray m_duplicateRows;
    QStringList m_users;
    int m_total = 0;
    int m_invalid = 0;
    int m_duplicates = 0;
};

void Judgement::readAll(CsvTable table, const QTimeZone& zone) {
    const QTimeZone ofFile = adaptOwnExport(table).value_or(zone);
    const RowReader reader(table, ofFile);
    if (!table.records.isEmpty() && reader.isTotal(table.records.constLast())) {
        table.records.removeLast();
    }
    m_total = static_cast<int>(table.records.size());
    for (const CsvRecord& record : std::as_const(table.records)) {
        QList<ImportProblem> problems;
        if (const auto row = reader.read(record, problems)) {
            judge(*row);
        } else {
            refuse(problems);
        }
        const QString user = reader.userOf(record);
        if (!user.isEmpty() && m_users.size() < mostNames && !m_users.contains(user)) {
            m_users += user;
        }
    }
}

void Judgement::judge(const ImportRow& row) {
    const QStringList fingerprints = fingerprintsOf(row);
    const QSet<QString> own(fingerprints.begin(), fingerprints.end());
    m_checksum.addData(fingerprints.constFirst().toLatin1());
    m_checksum.addData(QByteArray::number(row.startAt) + ' ' + QByteArray::number(row.stopAt));
    if (m_imported.intersects(own)) {
        ++m_duplicates;
        if (m_duplicateRows.size() < mostDuplicates) {
            m_duplicateRows += listed(row);
        }
    } else if (const auto problem = m_target.obstacle(row)) {
        refuse({*problem});
        return;
    } else {
        m_imported.unite(own);
        m_target.noteNames(row);
        if (m_sample.size() < sampleSize) {
            m_sample += listed(row);
        }
    }
    m_rows += row;
}

void Judgement::refuse(const QList<ImportProblem>& problems) {
    ++m_invalid;
    for (const ImportProblem& problem : problems) {
        ++m_reasons[problem.column.isEmpty() ? problem.message : problem.column + u": "_s + problem.message];
        if (m_problems.size() < mostProblems) {
            m_problems += problem;
        }
    }
}

StagedImport Judgement::staged(const ImportSource& source) const {
    return {newId(), source, QString::fromLatin1(m_checksum.result().toHex()), m_total, m_invalid, 0, 0};
}

// The file as a whole. Shown before all else: its name is the first in the reply.
QString Judgement::about() const {
    if (m_total == 0) {
        return u"The file has no rows."_s;
    }
    const QString whole = m_total == 1 ? u"The only row"_s : u"All %1 rows"_s.arg(m_total);
    if (m_invalid == 0 && m_duplicates == 0) {
        return whole + u" can be imported."_s;
    }
    if (m_invalid == 0 && m_total == 1) {
        return whole + u" is there already and will be skipped."_s;
    }
    if (m_invalid == 0) {
        return whole + u" can be imported; %1 of them %2 there already and will be skipped."_s.arg(
                           QString::number(m_duplicates), m_duplicates == 1 ? u"is"_s : u"are"_s);
    }
    if (m_invalid < m_total) {
        return u"%1 of %2 rows cannot be imported; correct %3 in the file and preview it again."_s
            .arg(m_invalid)
            .arg(m_total)
            .arg(m_invalid == 1 ? u"it"_s : u"them"_s);
    }
    return aboutNone();
}

QString Judgement::aboutNone() const {
    const auto& [reason, times] =
        *std::max_element(m_reasons.constKeyValueBegin(), m_reasons.constKeyValueEnd(),
                          [](const auto& left, const auto& right) { return left.second < right.second; });
    if (m_total == 1) {
        return u"The only row cannot be imported; the reason is %1"_s.arg(reason);
    }
    return u"None of the %1 rows can be imported; %2 the reason is %3"_s.arg(
        QString::number(m_total), times == 1 ? u"once"_s : u"%1 times"_s.arg(times), reason);
}

QJsonObject Judgement::reply(const StagedImport& import) const {
    QJsonArray problems;
    for (const ImportProblem& problem : m_problems) {
        problems += QJsonObject{{u"row"_s, problem.row},
                                {u"column"_s, problem.column},
                                {u"message"_s, problem.message},
                                {u"code"_s, problem.code}};
    }
    QJsonObject reply = progressOf(import);
    reply.insert(u"about"_s, about());
    reply.insert(u"state"_s, u"previewed"_s);
    reply.insert(u"valid"_s, m_total - m_invalid - m_duplicates);
    reply.insert(u"duplicates"_s, m_duplicates);
    reply.insert(u"problems"_s, problems);
    reply.insert(u"duplicate_rows"_s, m_duplicateRows);
    reply.insert(u"sample"_s, m_sample);
    reply.insert(u"new_projects"_s, QJsonArray::fromStringList(m_target.newProjects().mid(0, mostNames)));
    reply.insert(u"new_project_count"_s, m_target.newProjects().size());
    reply.insert(u"new_clients"_s, QJsonArray::fromStringList(m_target.newClients().mid(0, mostNames)));
    reply.insert(u"new_client_count"_s, m_target.newClients().size());
    reply.insert(u"source_users"_s, QJsonArray::fromStringList(m_users));
    return reply;
}

Answer previewImport(Request& request) {
    Connection& connection = request.connection();
    const QString workspaceId = request.part(1);
    std::optional<Judgement> judgement;
    PreviewRequest preview;
    {
        const Transaction reading(connection, Transaction::Kind::Read);
        const QString userId = authenticate(connection, request.header("Authorization")).userId;
        requireMember(connection, userId, workspaceId);
        preview = readRequest(request.json(), workspaceId, userId);
        judgement.emplace(ImportTarget(connection, workspaceId, userId),
                          importedFrom(connection, preview.source));
    }
    judgement->readAll(readCsv(preview.content), preview.zone);
    const StagedImport import = judgement->staged(preview.source);
    Transaction writing(connection, Transaction::Kind::Write);
    stage(connection, import, judgement->rows());
    writing.commit();
    Answer answer(QJsonDocument(judgement->reply(import)).toJson(QJsonDocument::Compact));
    answer.status = 201;
    return answer;
}

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
    const QList<ImportRow> rows = nextRows(connection, import, limit);
    QList<Entry> entries;
    for (const ImportRow& row : noteImported(connection, import.source, rows)) {
        if (const auto problem = target.obstacle(row)) {
            throw conflict(
                u"import_blocked"_s,
                u"Row %1 can no longer be imported, nor the step that it is in: %2"_s.arg(problem->row)
                    .arg(problem->message));
        }
        entries += target.entryFor(row);
    }
    insertEntries(connection, entries);
    noteChange(connection, import.source.workspaceId);
    import.checkpoint += static_cast<int>(rows.size());
    import.written += static_cast<int>(entries.size());
    saveProgress(connection, import);
}

Answer applyImport(Request& request) {
    Connection& connection = request.connection();
    const QString key = keyOf(request);
    const QJsonObject body = request.json();
    const int limit = requireLimit(body, u"invalid_import"_s);
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
    router.post("/v1/workspaces/([^/]*)/imports/csv/preview", previewImport, largestPreview);
    router.post("/v1/imports/([^/]*)/apply", writes(applyImport));
}

} // namespace devserver
