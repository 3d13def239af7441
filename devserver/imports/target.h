// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/entries/entries.h"
#include "devserver/imports/rows.h"
#include "devserver/timesheets/periods.h"

#include <QHash>

namespace devserver {

/// The workspace that rows are imported into, as it is in the transaction that
/// this is made in: its names, and the user's closed periods.
///
/// Names match exactly. A project is found by its own name and its client's;
/// of several the open one, then the one with the lowest id.
class ImportTarget {
public:
    ImportTarget(Connection& connection, QString workspaceId, QString userId);

    /// What forbids to write the row: a submitted or approved period, as a
    /// half-open interval, or an archived project.
    [[nodiscard]] std::optional<ImportProblem> obstacle(const ImportRow& row) const;

    /// Notes the row's client and project where there are none of these names yet.
    void noteNames(const ImportRow& row);
    /// Those that were noted, in the order in which they first came.
    [[nodiscard]] const QStringList& newClients() const { return m_newClients; }
    [[nodiscard]] const QStringList& newProjects() const { return m_newProjects; }

    /// The row as a new entry. Makes the client, project, task and tags that do
    /// not exist yet, in the caller's write transaction.
    [[nodiscard]] Entry entryFor(const ImportRow& row);

private:
    using Names = std::pair<QString, QString>;
    struct Project {
        QString id;
        bool archived = false;
    };

    void loadNames();
    [[nodiscard]] QString projectFor(const ImportRow& row);
    /// The id in `known`; where it is empty, a new one, under which these values are inserted.
    QString idFor(QString& known, const QString& table, const QVariantList& values);

    Connection& m_connection;
    QString m_workspaceId;
    QString m_userId;
    QHash<QString, QString> m_clients;
    QHash<Names, Project> m_projects; ///< by client and project
    QHash<Names, QString> m_tasks;    ///< by project id and task
    QHash<QString, QString> m_tags;
    QList<Period> m_periods; ///< the closed ones
    QStringList m_newClients;
    QStringList m_newProjects;
};

} // namespace devserver
