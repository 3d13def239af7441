// SPDX-License-Identifier: MIT
#include "devserver/imports/preview.h"

#include "devserver/base/apierror.h"
#include "devserver/base/jsontext.h"
#include "devserver/base/timezones.h"
#include "devserver/imports/apply.h"
#include "devserver/imports/target.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QUuid>

namespace devserver {
namespace {

constexpr qsizetype longestNamespace = 255;
constexpr qsizetype mostProblems = 50;
constexpr qsizetype sampleSize = 5;
constexpr qsizetype mostNames = 100;

ApiError unusable(const QString& message) {
    return {422, QStringLiteral("invalid_import"), message};
}

struct PreviewRequest {
    QByteArray content;
    QTimeZone zone;
    QString sourceNamespace;
};

PreviewRequest readRequest(const QJsonObject& body) {
    const QJsonValue content = body.value(QStringLiteral("content"));
    const auto zone = zoneNamed(body.value(QStringLiteral("timezone")).toString());
    const QString source = body.value(QStringLiteral("source_namespace")).toString().trimmed();
    if (!body.value(QStringLiteral("assign_to_me")).toBool()) {
        throw unusable(QStringLiteral("Confirm that the records belong to the current account."));
    }
    if (!zone) {
        throw unusable(QStringLiteral("The timezone must be the name of a time zone, such as Europe/Paris."));
    }
    if (source.isEmpty() || source.size() > longestNamespace || !isStorableText(source)) {
        throw unusable(QStringLiteral("The source_namespace must be a text of at most %1 characters.")
                           .arg(longestNamespace));
    }
    if (!content.isString() || !isStorableText(content.toString())) {
        throw unusable(QStringLiteral("The content must be the text of a CSV file."));
    }
    return {content.toString().toUtf8(), *zone, source};
}

/// Judges row after row, and keeps the account.
class Judgement {
public:
    Judgement(ImportTarget target, QSet<QString> imported)
        : m_target(std::move(target)), m_imported(std::move(imported)) {}

    void readAll(const CsvTable& table, const QTimeZone& zone);

    [[nodiscard]] StagedImport staged(const ImportSource& source) const;
    [[nodiscard]] const QList<ImportRow>& rows() const { return m_rows; }
    [[nodiscard]] QJsonObject reply(const StagedImport& import) const;

private:
    void judge(const ImportRow& row);
    void refuse(const QList<ImportProblem>& problems);

    ImportTarget m_target;
    QSet<QString> m_imported;
    QCryptographicHash m_checksum{QCryptographicHash::Sha256};
    QList<ImportRow> m_rows; ///< those that are valid or duplicates
    QList<ImportProblem> m_problems;
    QJsonArray m_sample;
    QSet<std::pair<QString, QString>> m_seenProjects;
    QSet<QString> m_seenClients;
    QStringList m_newProjects;
    QStringList m_newClients;
    QStringList m_users;
    int m_total = 0;
    int m_invalid = 0;
    int m_duplicates = 0;
};

void Judgement::readAll(const CsvTable& table, const QTimeZone& zone) {
    const RowReader reader(table, zone);
    m_total = static_cast<int>(table.records.size());
    for (const CsvRecord& record : table.records) {
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
    const QString fingerprint = fingerprintOf(row);
    m_checksum.addData(fingerprint.toLatin1());
    m_checksum.addData(QByteArray::number(row.startAt) + ' ' + QByteArray::number(row.stopAt));
    if (m_imported.contains(fingerprint)) {
        ++m_duplicates;
        m_rows += row;
        return;
    }
    if (const auto problem = m_target.obstacle(row)) {
        refuse({*problem});
        return;
    }
    m_imported.insert(fingerprint);
    m_rows += row;
    if (m_target.needsClient(row) && !m_seenClients.contains(row.client)) {
        m_seenClients.insert(row.client);
        m_newClients += row.client;
    }
    if (m_target.needsProject(row) && !m_seenProjects.contains({row.client, row.project})) {
        m_seenProjects.insert({row.client, row.project});
        m_newProjects += row.project;
    }
    if (m_sample.size() < sampleSize) {
        QJsonObject entry = entryOf(row);
        entry.insert(QStringLiteral("row"), row.row);
        entry.insert(QStringLiteral("duration_seconds"), row.stopAt - row.startAt);
        m_sample += entry;
    }
}

void Judgement::refuse(const QList<ImportProblem>& problems) {
    ++m_invalid;
    for (const ImportProblem& problem : problems) {
        if (m_problems.size() < mostProblems) {
            m_problems += problem;
        }
    }
}

StagedImport Judgement::staged(const ImportSource& source) const {
    StagedImport import;
    import.id = QUuid::createUuid().toString(QUuid::WithoutBraces);
    import.source = source;
    import.checksum = QString::fromLatin1(m_checksum.result().toHex());
    import.total = m_total;
    import.invalid = m_invalid;
    return import;
}

QJsonObject Judgement::reply(const StagedImport& import) const {
    QJsonArray problems;
    for (const ImportProblem& problem : m_problems) {
        problems += QJsonObject{{QStringLiteral("row"), problem.row},
                                {QStringLiteral("column"), problem.column},
                                {QStringLiteral("message"), problem.message}};
    }
    QJsonObject reply = progressOf(import);
    reply.insert(QStringLiteral("state"), QStringLiteral("previewed"));
    reply.insert(QStringLiteral("valid"), m_total - m_invalid - m_duplicates);
    reply.insert(QStringLiteral("duplicates"), m_duplicates);
    reply.insert(QStringLiteral("problems"), problems);
    reply.insert(QStringLiteral("sample"), m_sample);
    reply.insert(QStringLiteral("new_projects"), QJsonArray::fromStringList(m_newProjects.mid(0, mostNames)));
    reply.insert(QStringLiteral("new_project_count"), m_newProjects.size());
    reply.insert(QStringLiteral("new_clients"), QJsonArray::fromStringList(m_newClients.mid(0, mostNames)));
    reply.insert(QStringLiteral("new_client_count"), m_newClients.size());
    reply.insert(QStringLiteral("source_users"), QJsonArray::fromStringList(m_users));
    return reply;
}

} // namespace

Answer previewImport(Request& request) {
    Connection& connection = request.connection();
    std::optional<Judgement> judgement;
    ImportSource source;
    std::optional<PreviewRequest> preview;
    {
        const Transaction reading(connection, Transaction::Kind::Read);
        source.userId = authenticate(connection, request.header("Authorization")).userId;
        source.workspaceId = request.part(1);
        if (!isMember(connection, source.userId, source.workspaceId)) {
            throw ApiError{404, QStringLiteral("not_found"),
                           QStringLiteral("This workspace does not exist or is not yours to see.")};
        }
        preview = readRequest(request.json());
        source.name = preview->sourceNamespace;
        judgement.emplace(ImportTarget(connection, source.workspaceId, source.userId),
                          importedFrom(connection, source));
    }
    judgement->readAll(readCsv(preview->content), preview->zone);
    const StagedImport import = judgement->staged(source);
    Transaction writing(connection, Transaction::Kind::Write);
    stage(connection, import, judgement->rows());
    writing.commit();
    Answer answer(QJsonDocument(judgement->reply(import)).toJson(QJsonDocument::Compact));
    answer.status = 201;
    return answer;
}

} // namespace devserver
