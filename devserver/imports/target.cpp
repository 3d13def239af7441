// SPDX-License-Identifier: MIT
#include "devserver/imports/target.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>

namespace devserver {
ImportTarget::ImportTarget(Connection& connection, QString workspaceId, QString userId)
    : m_connection(connection), m_workspaceId(std::move(workspaceId)), m_userId(std::move(userId)) {
    loadNames();
    loadProjects();
    for (const Period& period : periodsOf(m_connection, m_workspaceId, m_userId)) {
        if (period.isClosed()) {
            m_periods += period;
        }
    }
}

void ImportTarget::loadNames() {
    const auto load = [this](const QString& table, QHash<QString, QString>& names) {
        QSqlQuery query = m_connection.run(
            u"SELECT id, name FROM %1 WHERE workspace_id = ? ORDER BY id DESC"_s.arg(table), {m_workspaceId});
        while (m_connection.next(query)) {
            names.insert(query.value(1).toString(), query.value(0).toString());
        }
    };
    load(u"clients"_s, m_clients);
    load(u"tags"_s, m_tags);
    QSqlQuery query =
        m_connection.run(u"SELECT t.id, t.name, t.project_id FROM tasks t JOIN projects p"
                         " ON p.id = t.project_id WHERE p.workspace_id = ? ORDER BY t.id DESC"_s,
                         {m_workspaceId});
    while (m_connection.next(query)) {
        m_tasks.insert({query.value(2).toString(), query.value(1).toString()}, query.value(0).toString());
    }
}

void ImportTarget::loadProjects() {
    QSqlQuery query = m_connection.run(u"SELECT p.id, p.name, c.name, p.archived FROM projects p"
                                       " LEFT JOIN clients c ON c.id = p.client_id WHERE p.workspace_id = ?"
                                       " ORDER BY p.archived DESC, p.id DESC"_s,
                                       {m_workspaceId});
    while (m_connection.next(query)) {
        m_projects.insert({query.value(2).toString(), query.value(1).toString()},
                          {query.value(0).toString(), query.value(3).toInt() != 0});
    }
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

bool ImportTarget::needsClient(const ImportRow& row) const {
    return !row.client.isEmpty() && !m_clients.contains(row.client);
}

bool ImportTarget::needsProject(const ImportRow& row) const {
    return !row.project.isEmpty() && !m_projects.contains({row.client, row.project});
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
        entry.taskId = taskFor(*entry.projectId, row.task);
    }
    QJsonArray tags;
    for (const QString& tag : row.tags) {
        tags += tagFor(tag);
    }
    entry.tagIds = QJsonDocument(tags).toJson(QJsonDocument::Compact);
    entry.billable = row.billable;
    entry.startAt = row.startAt;
    entry.stopAt = row.stopAt;
    entry.version = 1;
    return entry;
}

QString ImportTarget::add(const QString& table, const QString& columns, const QVariantList& values) {
    QString id = newId();
    m_connection.insert(u"%1 (id, %2)"_s.arg(table, columns), QVariantList{id} + values);
    return id;
}

QString ImportTarget::clientFor(const QString& name) {
    QString& id = m_clients[name];
    return id.isEmpty() ? id = add(u"clients"_s, u"workspace_id, name"_s, {m_workspaceId, name}) : id;
}

QString ImportTarget::projectFor(const ImportRow& row) {
    const QString color = projectColors()[m_projects.size() % projectColors().size()];
    QString& id = m_projects[{row.client, row.project}].id;
    if (id.isEmpty()) {
        const QVariant client = row.client.isEmpty() ? QVariant() : QVariant(clientFor(row.client));
        id = add(u"projects"_s, u"workspace_id, client_id, name, color, archived"_s,
                 {m_workspaceId, client, row.project, color, 0});
    }
    return id;
}

QString ImportTarget::taskFor(const QString& projectId, const QString& name) {
    QString& id = m_tasks[{projectId, name}];
    return id.isEmpty() ? id = add(u"tasks"_s, u"project_id, name"_s, {projectId, name}) : id;
}

QString ImportTarget::tagFor(const QString& name) {
    QString& id = m_tags[name];
    return id.isEmpty() ? id = add(u"tags"_s, u"workspace_id, name"_s, {m_workspaceId, name}) : id;
}

} // namespace devserver
