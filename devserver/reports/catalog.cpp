// SPDX-License-Identifier: MIT
#include "devserver/reports/catalog.h"

namespace devserver {
namespace {

QHash<QString, QString> readNames(Connection& connection, const QString& sql, const QString& workspaceId) {
    QHash<QString, QString> names;
    connection.each(sql, {workspaceId}, [&names](const QSqlQuery& row) {
        names.insert(row.value(0).toString(), row.value(1).toString());
    });
    return names;
}

void readRules(ReportCatalog& catalog, Connection& connection, const QString& workspaceId) {
    QSqlQuery query = connection.run(
        u"SELECT name, language, currency, rounding_minutes FROM workspaces WHERE id = ?"_s, {workspaceId});
    if (!connection.next(query)) {
        throw DatabaseError("the workspace has members but does not exist");
    }
    catalog.workspace = query.value(0).toString();
    catalog.language = query.value(1).toString();
    catalog.currency = query.value(2).toString();
    catalog.roundingMinutes = query.value(3).toInt();
}

} // namespace

ReportCatalog::Project ReportCatalog::projectOf(const Entry& entry) const {
    return entry.projectId ? projects.value(*entry.projectId) : Project();
}

WorkedTime ReportCatalog::workOf(const Entry& closed) const {
    return {closed.startAt, *closed.stopAt, closed.billable, projectOf(closed).hourlyRate, roundingMinutes};
}

ReportCatalog readReportCatalog(Connection& connection, const QString& workspaceId) {
    ReportCatalog catalog;
    readRules(catalog, connection, workspaceId);
    connection.each(u"SELECT id, name, client_id, hourly_rate FROM projects WHERE workspace_id = ?"_s,
                    {workspaceId}, [&catalog](const QSqlQuery& row) {
                        catalog.projects.insert(
                            row.value(0).toString(),
                            {row.value(1).toString(), row.value(2).toString(), numberOrNull(row.value(3))});
                    });
    catalog.clients =
        readNames(connection, u"SELECT id, name FROM clients WHERE workspace_id = ?"_s, workspaceId);
    catalog.tasks = readNames(connection,
                              u"SELECT t.id, t.name FROM tasks t JOIN projects p"
                              " ON p.id = t.project_id WHERE p.workspace_id = ?"_s,
                              workspaceId);
    catalog.users = readNames(connection,
                              u"SELECT u.id, u.display_name FROM users u JOIN members m"
                              " ON m.user_id = u.id WHERE m.workspace_id = ?"_s,
                              workspaceId);
    catalog.tags = readNames(connection, u"SELECT id, name FROM tags WHERE workspace_id = ?"_s, workspaceId);
    return catalog;
}

} // namespace devserver
