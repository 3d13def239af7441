// SPDX-License-Identifier: MIT
#include "devserver/reports/report.h"

#include "devserver/base/apierror.h"
#include "devserver/base/jsontext.h"
#include "devserver/reports/entrypages.h"
#include "devserver/reports/groups.h"
#include "devserver/reports/query.h"
#include "devserver/reports/snapshots.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace devserver {
namespace {

QString nameOf(const QHash<QString, QString>& names, const std::optional<QString>& id) {
    return id ? names.value(*id) : QString();
}

void appendNameOrNull(QByteArray& out, const QString& name) {
    appendStringOrNull(out, name.isEmpty() ? std::nullopt : std::optional(name));
}

void appendTags(QByteArray& out, const ReportCatalog& catalog, const QByteArray& tagIds) {
    out += '[';
    if (tagIds != "[]") {
        const QJsonArray ids = QJsonDocument::fromJson(tagIds).array();
        for (const auto& id : ids) {
            if (const auto name = catalog.tags.constFind(id.toString()); name != catalog.tags.cend()) {
                appendString(out, *name);
                out += ',';
            }
        }
    }
    closeArray(out);
}

QByteArray rowOf(const Entry& entry, const ReportCatalog& catalog, const ReportTotals& totals) {
    const ReportCatalog::Project project = catalog.projectOf(entry);
    QByteArray row;
    row.reserve(1024); // enough for nearly all
    row += R"({"entry":)";
    appendEntry(row, entry);
    row.chop(1); // the object goes on
    row += R"(,"project_name":)";
    appendNameOrNull(row, project.name);
    row += R"(,"client_name":)";
    appendNameOrNull(row, catalog.clients.value(project.clientId));
    row += R"(,"task_name":)";
    appendNameOrNull(row, nameOf(catalog.tasks, entry.taskId));
    row += R"(,"user_name":)";
    appendNameOrNull(row, catalog.users.value(entry.userId));
    row += R"(,"tags":)";
    appendTags(row, catalog, entry.tagIds);
    row += R"(},"totals":)";
    appendTotals(row, totals);
    return row + '}';
}

QByteArray rowOf(const ReportGroup& group) {
    QByteArray row = R"({"labels":[)";
    for (const QString& label : group.labels()) {
        appendString(row, label);
        row += ',';
    }
    closeArray(row);
    row += R"(,"totals":)";
    appendTotals(row, group.totals);
    return row + '}';
}

ReportTotals writeEntries(ReportSnapshot& snapshot, ReportEntries& entries, const ReportCatalog& catalog) {
    ReportTotals all;
    for (auto page = entries.nextPage(); !page.isEmpty(); page = entries.nextPage()) {
        for (const Entry& entry : page) {
            const WorkedTime work = catalog.workOf(entry);
            const ReportTotals totals = partOf(work, work.start, work.stop);
            snapshot.add(rowOf(entry, catalog, totals));
            all.add(totals);
            ++all.entries;
        }
    }
    return all;
}

ReportTotals writeGroups(ReportSnapshot& snapshot, ReportEntries& entries, ReportGroups groups) {
    for (auto page = entries.nextPage(); !page.isEmpty(); page = entries.nextPage()) {
        for (const Entry& entry : page) {
            groups.add(entry);
        }
    }
    for (const ReportGroup& group : groups.sorted()) {
        snapshot.add(rowOf(group));
    }
    return groups.totals();
}

// What the reply and the snapshot's header both begin with.
QByteArray describe(const ReportQuery& query, const ReportCatalog& catalog) {
    QByteArray out = R"("kind":)";
    appendString(out, query.kindName);
    out += R"(,"from_date":)";
    appendString(out, query.from.toString(Qt::ISODate));
    out += R"(,"to_date":)";
    appendString(out, query.to.toString(Qt::ISODate));
    out += R"(,"timezone":)";
    appendString(out, query.zoneName);
    out += R"(,"currency":)";
    appendString(out, catalog.currency);
    return out;
}

QByteArray headerOf(const ReportQuery& query, const ReportCatalog& catalog, const ReportTotals& totals) {
    QByteArray header = '{' + describe(query, catalog) + R"(,"group_by":)";
    appendString(header, query.groupingName);
    header += R"(,"workspace":)";
    appendString(header, catalog.workspace);
    header += R"(,"language":)";
    appendString(header, catalog.language);
    header += R"(,"totals":)";
    appendTotals(header, totals);
    return header + '}';
}

ReportTotals readReport(Connection& connection, const QString& workspaceId, const ReportQuery& query,
                        const ReportCatalog& catalog, ReportSnapshot& snapshot) {
    const ReportDays days(query.from, query.to, query.zone, catalog.firstOfWeek());
    ReportEntries entries(connection, workspaceId, days.begin(), days.end(),
                          query.splitsDays() ? ReportEntries::Choice::Touching
                                             : ReportEntries::Choice::Starting);
    return query.kind == ReportKind::Detailed
               ? writeEntries(snapshot, entries, catalog)
               : writeGroups(snapshot, entries, ReportGroups(query, days, catalog));
}

QByteArray bodyOf(const ReportQuery& query, const ReportCatalog& catalog, const ReportTotals& totals,
                  const ReportSnapshot& snapshot) {
    QByteArray body = R"({"snapshot_id":)";
    appendString(body, snapshot.id());
    body += ',' + describe(query, catalog) + R"(,"group_by":[)";
    appendString(body, query.groupingName);
    body += R"(],"totals":)";
    appendTotals(body, totals);
    body += snapshot.hasMore() ? R"(,"has_more":true,"rows":)" : R"(,"has_more":false,"rows":)";
    return body + snapshot.firstRows() + '}';
}

} // namespace

Answer queryReport(Request& request) {
    Connection& connection = request.connection();
    const QString workspaceId = request.part(1);
    QString userId;
    ReportQuery query;
    ReportCatalog catalog;
    ReportTotals totals;
    std::optional<ReportSnapshot> snapshot;
    {
        const Transaction reading(connection, Transaction::Kind::Read);
        userId = authenticate(connection, request.header("Authorization")).userId;
        if (!isMember(connection, userId, workspaceId)) {
            throw ApiError{404, QStringLiteral("not_found"),
                           QStringLiteral("This workspace does not exist or is not yours to see.")};
        }
        query = readReportQuery(request.part(2), request.json());
        catalog = readReportCatalog(connection, workspaceId);
        snapshot.emplace(query.limit);
        totals = readReport(connection, workspaceId, query, catalog, *snapshot);
    }
    Transaction writing(connection, Transaction::Kind::Write);
    snapshot->store(connection, workspaceId, userId, headerOf(query, catalog, totals));
    writing.commit();
    return bodyOf(query, catalog, totals, *snapshot);
}

} // namespace devserver
