// SPDX-License-Identifier: MIT
#include "devserver/imports/target.h"

#include "devserver/demo/catalog.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QUuid>

#include <algorithm>

namespace devserver {
namespace {

QString newId() {
    return QUuid::createUuid().toString(QUuid::WithoutBraces);
}

} // namespace

ImportTarget::ImportTarget(Connection& connection, QString workspaceId, QString userId)
    : m_connection(connection), m_workspaceId(std::move(workspaceId)), m_userId(std::move(userId)) {
    loadNames();
    loadProjects();
    loadLocks();
}

void ImportTarget::loadNames() {
    const auto load = [this](const QString& table, QHash<QString, QString>& names) {
        QSqlQuery query = m_connection.run(
            QStringLiteral("SELECT id, name FROM %1 WHERE workspace_id = ? ORDER BY id DESC").arg(table),
            {m_workspaceId});
        while (m_connection.next(query)) {
            names.insert(query.value(1).toString(), query.value(0).toString());
        }
    };
    load(QStringLiteral("clients"), m_clients);
    load(QStringLiteral("tags"), m_tags);
    QSqlQuery query = m_connection.run(
        QStringLiteral("SELECT t.id, t.name, t.project_id FROM tasks t JOIN projects p"
                       " ON p.id = t.project_id WHERE p.workspace_id = ? ORDER BY t.id DESC"),
        {m_workspaceId});
    while (m_connection.next(query)) {
        m_tasks.insert({query.value(2).toString(), query.value(1).toString()}, query.value(0).toString());
    }
}

void ImportTarget::loadProjects() {
    QSqlQuery query =
        m_connection.run(QStringLiteral("SELECT p.id, p.name, c.name, p.archived FROM projects p"
                                        " LEFT JOIN clients c ON c.id = p.client_id WHERE p.workspace_id = ?"
                                        " ORDER BY p.archived DESC, p.id DESC"),
                         {m_workspaceId});
    while (m_connection.next(query)) {
        m_projects.insert({query.value(2).toString(), query.value(1).toString()},
                          {query.value(0).toString(), query.value(3).toInt() != 0});
    }
}

void ImportTarget::loadLocks() {
    QSqlQuery query = m_connection.run(
        QStringLiteral("SELECT start_at, end_at FROM timesheet_periods WHERE workspace_id = ?"
                       " AND user_id = ? AND status IN ('submitted', 'approved')"),
        {m_workspaceId, m_userId});
    while (m_connection.next(query)) {
        m_locks += {query.value(0).toLongLong(), query.value(1).toLongLong()};
    }
}

std::optional<ImportProblem> ImportTarget::obstacle(const ImportRow& row) const {
    const bool locked = std::any_of(m_locks.begin(), m_locks.end(), [&row](const Interval& lock) {
        return lock.end > row.startAt && lock.start < row.stopAt;
    });
    if (locked) {
        return ImportProblem{
            row.row, QStringLiteral("Start date"),
            QStringLiteral("This time lies in a timesheet period that was submitted or approved.")};
    }
    if (m_projects.value({row.client, row.project}).archived) {
        return ImportProblem{row.row, QStringLiteral("Project"),
                             QStringLiteral("The project of this name is archived.")};
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

QString ImportTarget::clientFor(const QString& name) {
    QString& id = m_clients[name];
    if (id.isEmpty()) {
        id = newId();
        m_connection.run(QStringLiteral("INSERT INTO clients (id, workspace_id, name) VALUES (?, ?, ?)"),
                         {id, m_workspaceId, name});
    }
    return id;
}

QString ImportTarget::projectFor(const ImportRow& row) {
    static const QStringList palette = colors();
    const qsizetype number = m_projects.size();
    QString& id = m_projects[{row.client, row.project}].id;
    if (id.isEmpty()) {
        id = newId();
        const QVariant client =
            row.client.isEmpty() ? QVariant(QMetaType::fromType<QString>()) : QVariant(clientFor(row.client));
        m_connection.run(
            QStringLiteral("INSERT INTO projects (id, workspace_id, client_id, name, color, archived)"
                           " VALUES (?, ?, ?, ?, ?, 0)"),
            {id, m_workspaceId, client, row.project, palette[number % palette.size()]});
    }
    return id;
}

QString ImportTarget::taskFor(const QString& projectId, const QString& name) {
    QString& id = m_tasks[{projectId, name}];
    if (id.isEmpty()) {
        id = newId();
        m_connection.run(QStringLiteral("INSERT INTO tasks (id, project_id, name) VALUES (?, ?, ?)"),
                         {id, projectId, name});
    }
    return id;
}

QString ImportTarget::tagFor(const QString& name) {
    QString& id = m_tags[name];
    if (id.isEmpty()) {
        id = newId();
        m_connection.run(QStringLiteral("INSERT INTO tags (id, workspace_id, name) VALUES (?, ?, ?)"),
                         {id, m_workspaceId, name});
    }
    return id;
}

} // namespace devserver
