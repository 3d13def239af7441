// SPDX-License-Identifier: MIT
#include "devserver/reports/report.h"

#include "devserver/base/json.h"
#include "devserver/entries/entries.h"
#include "devserver/http/router.h"
#include "devserver/reports/groups.h"
#include "devserver/reports/query.h"
#include "devserver/reports/snapshots.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace devserver {
namespace {

// Null where there is no name.
std::optional<QString> nameIn(const QHash<QString, QString>& names, const std::optional<QString>& id) {
    const QString name = id ? names.value(*id) : QString();
    return name.isEmpty() ? std::nullopt : std::optional(name);
}

void writeTags(JsonWriter& json, const ReportCatalog& catalog, const QByteArray& tagIds) {
    json.beginArray();
    const QJsonArray ids = tagIds == "[]" ? QJsonArray() : QJsonDocument::fromJson(tagIds).array();
    for (const auto& id : ids) {
        if (const auto name = catalog.tags.constFind(id.toString()); name != catalog.tags.cend()) {
            json.value(*name);
        }
    }
    json.endArray();
}

QByteArray rowOf(const Entry& entry, const ReportCatalog& catalog, const ReportTotals& totals) {
    const ReportCatalog::Project project = catalog.projectOf(entry);
    JsonWriter json;
    json.beginObject().key("entry").beginObject();
    writeFields(json, entry);
    json.field("project_name", project.name.isEmpty() ? std::nullopt : std::optional(project.name));
    json.field("client_name", nameIn(catalog.clients, project.clientId));
    json.field("task_name", nameIn(catalog.tasks, entry.taskId));
    json.field("user_name", nameIn(catalog.users, entry.userId));
    writeTags(json.key("tags"), catalog, entry.tagIds);
    writeTotals(json.endObject(), totals);
    return json.endObject().take();
}

QByteArray rowOf(const ReportGroup& group) {
    JsonWriter json;
    json.beginObject().key("labels").beginArray();
    for (const QString& label : group.labels()) {
        json.value(label);
    }
    writeTotals(json.endArray(), group.totals);
    return json.endObject().take();
}

// What the reply and the snapshot's header have in common.
void describe(JsonWriter& json, const ReportQuery& query, const ReportCatalog& catalog,
              const ReportTotals& totals) {
    json.field("kind", query.kindName).field("from_date", query.from.toString(Qt::ISODate));
    json.field("to_date", query.to.toString(Qt::ISODate)).field("timezone", query.zoneName);
    json.field("currency", catalog.currency);
    writeTotals(json, totals);
}

QByteArray headerOf(const ReportQuery& query, const ReportCatalog& catalog, const ReportTotals& totals) {
    JsonWriter json;
    json.beginObject().field("group_by", query.groupingName).field("workspace", catalog.workspace);
    json.field("language", catalog.language);
    describe(json, query, catalog, totals);
    return json.endObject().take();
}

QByteArray replyOf(const ReportQuery& query, const ReportCatalog& catalog, const ReportTotals& totals,
                   ReportSnapshot& snapshot) {
    JsonWriter json;
    json.beginObject().field("snapshot_id", snapshot.id());
    describe(json, query, catalog, totals);
    json.key("group_by").beginArray().value(query.groupingName).endArray();
    json.field("has_more", snapshot.hasMore()).json("rows", snapshot.firstRows());
    return json.endObject().take();
}

// The closed, undeleted entries of the report's days, the newest first, of which one is in
// memory at a time. One that starts earlier counts where it is split between its days.
void eachReported(Connection& connection, const QString& workspaceId, const ReportQuery& query,
                  const ReportDays& days, const std::function<void(const Entry&)>& use) {
    const QString inside = query.splitsDays() ? u"(start_at >= ? OR stop_at > ?)"_s : u"start_at >= ?"_s;
    const QVariantList begin(query.splitsDays() ? 2 : 1, days.begin());
    eachEntry(connection,
              u" WHERE workspace_id = ? AND start_at < ? AND deleted_at IS NULL AND stop_at IS NOT NULL"
              " AND %1 ORDER BY start_at DESC, id DESC"_s.arg(inside),
              QVariantList{workspaceId, days.end()} + begin, use);
}

ReportTotals readReport(Connection& connection, const QString& workspaceId, const ReportQuery& query,
                        const ReportCatalog& catalog, ReportSnapshot& snapshot) {
    const ReportDays days(query.from, query.to, query.zone, catalog.language);
    if (query.kind == ReportKind::Detailed) {
        ReportTotals all;
        eachReported(connection, workspaceId, query, days, [&](const Entry& entry) {
            const WorkedTime work = catalog.workOf(entry);
            const ReportTotals totals = partOf(work, work.start, work.stop);
            snapshot.add(rowOf(entry, catalog, totals));
            all.add(totals);
            ++all.entries;
        });
        return all;
    }
    ReportGroups groups(query, days, catalog);
    eachReported(connection, workspaceId, query, days, [&groups](const Entry& entry) { groups.add(entry); });
    for (const ReportGroup* group : groups.sorted()) {
        snapshot.add(rowOf(*group));
    }
    return groups.totals();
}

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
        requireMember(connection, userId, workspaceId);
        query = readReportQuery(request.part(2), request.json());
        catalog = readReportCatalog(connection, workspaceId);
        snapshot.emplace(query.limit);
        totals = readReport(connection, workspaceId, query, catalog, *snapshot);
    }
    Transaction writing(connection, Transaction::Kind::Write);
    snapshot->store(connection, workspaceId, userId, headerOf(query, catalog, totals));
    writing.commit();
    return replyOf(query, catalog, totals, *snapshot);
}

} // namespace

void addReportRoutes(Router& router) {
    router.post("/v1/workspaces/([^/]+)/reports/([^/]+)/query", queryReport);
}

} // namespace devserver
