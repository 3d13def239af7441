// SPDX-License-Identifier: MIT
#include "devserver/imports/target.h"

#include "devserver/base/json.h"

#include <algorithm>

namespace devserver {
ImportTarget::ImportTarget(Connection& connection, QString workspaceId, QString userId)
    : m_connection(connection), m_workspaceId(std::move(workspaceId)), m_userId(std::move(userId)) {
    loadNames();
    for (const Period& period : periodsOf(m_connection, m_workspaceId, m_userId)) {
        if (period.isClosed()) {
            m_periods += period;
        }
    }
}

void ImportTarget::loadNames() {
    const auto load = [this](const QString& table, QHash<QString, QString>& names) {
        m_connection.each(
            u"SELECT id, name FROM %1 WHERE workspace_id = ? ORDER BY id DESC"_s.arg(table), {m_workspaceId},
            [&](const QSqlQuery& row) { names.insert(row.value(1).toString(), row.value(0).toString()); });
    };
    load(u"clients"_s, m_clients);
    load(u"tags"_s, m_tags);
    m_connection.each(
        u"SELECT t.id, t.name, t.project_id FROM tasks t JOIN projects p"
        " ON p.id = t.project_id WHERE p.workspace_id = ? ORDER BY t.id DESC"_s,
        {m_workspaceId}, [this](const QSqlQuery& row) {
            m_tasks.insert({row.value(2).toString(), row.value(1).toString()}, row.value(0).toString());
        });
    m_connection.each(u"SELECT p.id, p.name, c.name, p.archived FROM projects p"
                      " LEFT JOIN clients c ON c.id = p.client_id WHERE p.workspace_id = ?"
                      " ORDER BY p.archived DESC, p.id DESC"_s,
                      {m_workspaceId}, [this](const QSqlQuery& row) {
                          m_projects.insert({row.value(2).toString(), row.value(1).toString()},
                                            {row.value(0).toString(), row.value(3).toInt() != 0});
                      });
}

std::optional<ImportProblem> ImportTarget::obstacle(const ImportRow& row) const {
    const bool locked = std::any_of(m_periods.begin(), m_periods.end(), [&row](const Period& period) {
        return period.overlaps(row.startAt, row.stopAt);
    });
    if (locked) {
        return ImportProblem{row.row, u"Start date"_s,
                             u"This time lies in a timesheet period that was submitted or approved."_s,
                             u"period_closed"_s};
    }
    if (m_projects.value({row.client, row.project}).archived) {
        return ImportProblem{row.row, u"Project"_s, u"The project of this name is archived."_s,
                             u"project_archived"_s};
    }
    return std::nullopt;
}

void ImportTarget::noteNames(const ImportRow& row) {
    if (!row.client.isEmpty() && !m_clients.contains(row.client)) {
        m_clients.insert(row.client, QString());
        m_newClients += row.client;
    }
    const Names project{row.client, row.project};
    if (!row.project.isEmpty() && !m_projects.contains(project)) {
        m_projects.insert(project, {});
        m_newProjects += row.project;
    }
}

Entry ImportTarget::entryFor(const ImportRow& row) {
    Entry entry;
    entry.id = newId();
    entry.workspaceId = m_workspaceId;
    entry.userId = m_userId;
    entry.description = row.description;
    if (!row.project.isEmpty()) {
        entry.projectId = projectFor(row);
    }
    if (!row.task.isEmpty()) {
        entry.taskId = idFor(m_tasks[{*entry.projectId, row.task}], u"tasks (id, project_id, name)"_s,
                             {*entry.projectId, row.task});
    }
    JsonWriter tags;
    tags.beginArray();
    for (const QString& tag : row.tags) {
        tags.value(idFor(m_tags[tag], u"tags (id, workspace_id, name)"_s, {m_workspaceId, tag}));
    }
    entry.tagIds = tags.endArray().take();
    entry.billable = row.billable;
    entry.startAt = row.startAt;
    entry.stopAt = row.stopAt;
    entry.version = 1;
    return entry;
}

QString ImportTarget::projectFor(const ImportRow& row) {
    const QString color = projectColors()[m_projects.size() % projectColors().size()];
    const QVariant client = row.client.isEmpty()
                                ? QVariant()
                                : idFor(m_clients[row.client], u"clients (id, workspace_id, name)"_s,
                                        {m_workspaceId, row.client});
    return idFor(m_projects[{row.client, row.project}].id,
                 u"projects (id, workspace_id, client_id, name, color, archived)"_s,
                 {m_workspaceId, client, row.project, color, 0});
}

QString ImportTarget::idFor(QString& known, const QString& table, const QVariantList& values) {
    if (known.isEmpty()) {
        known = newId();
        m_connection.insert(table, QVariantList{known} + values);
    }
    return known;
}

} // namespace devserver
