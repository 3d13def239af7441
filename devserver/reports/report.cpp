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

constexpr int pageSize = 1000;

/// Reads a workspace's closed, undeleted entries of a time, the newest first,
/// in pages, so that memory does not grow with their number.
class ReportEntries {
public:
    /// `Starting`: those that start from `begin` up to `end`, exclusive.
    /// `Touching`: also those that start earlier and reach into that time.
    enum class Choice { Starting, Touching };

    ReportEntries(Connection& connection, const QString& workspaceId, qint64 begin, qint64 end,
                  Choice choice);

    /// Empty after the last page.
    [[nodiscard]] QList<Entry> nextPage();

private:
    Connection& m_connection;
    QString m_workspaceId;
    qint64 m_begin;
    Choice m_choice;
    qint64 m_beforeStart; ///< the page to come lies before this start and id
    QString m_beforeId = u""_s;
};

ReportEntries::ReportEntries(Connection& connection, const QString& workspaceId, qint64 begin, qint64 end,
                             Choice choice)
    : m_connection(connection), m_workspaceId(workspaceId), m_begin(begin), m_choice(choice),
      m_beforeStart(end) {
}

QList<Entry> ReportEntries::nextPage() {
    QString rest = u" WHERE workspace_id = ? AND (start_at, id) < (?, ?) AND deleted_at IS NULL"
                   " AND stop_at IS NOT NULL"_s;
    QVariantList values{m_workspaceId, m_beforeStart, m_beforeId, m_begin};
    if (m_choice == Choice::Starting) {
        rest += u" AND start_at >= ?"_s;
    } else {
        rest += u" AND (stop_at > ? OR start_at >= ?)"_s;
        values += m_begin;
    }
    rest += u" ORDER BY start_at DESC, id DESC LIMIT %1"_s.arg(pageSize);
    QList<Entry> page = findEntries(m_connection, rest, values);
    if (!page.isEmpty()) {
        m_beforeStart = page.constLast().startAt;
        m_beforeId = page.constLast().id;
    }
    return page;
}

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
                   const ReportSnapshot& snapshot) {
    JsonWriter json;
    json.beginObject().field("snapshot_id", snapshot.id());
    describe(json, query, catalog, totals);
    json.key("group_by").beginArray().value(query.groupingName).endArray();
    json.field("has_more", snapshot.hasMore()).json("rows", snapshot.firstRows());
    return json.endObject().take();
}

ReportTotals readReport(Connection& connection, const QString& workspaceId, const ReportQuery& query,
                        const ReportCatalog& catalog, ReportSnapshot& snapshot) {
    const ReportDays days(query.from, query.to, query.zone, catalog.language);
    ReportEntries entries(connection, workspaceId, days.begin(), days.end(),
                          query.splitsDays() ? ReportEntries::Choice::Touching
                                             : ReportEntries::Choice::Starting);
    return query.kind == ReportKind::Detailed
               ? writeEntries(snapshot, entries, catalog)
               : writeGroups(snapshot, entries, ReportGroups(query, days, catalog));
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
    router.post("/v1/workspaces/([^/]+)/reports/([^/]+)/query", Work::Own, queryReport);
}

} // namespace devserver
