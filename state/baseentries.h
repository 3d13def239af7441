// SPDX-License-Identifier: MIT
#pragma once

#include "state/periodlocks.h"
#include "state/projection.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>

#include <array>
#include <optional>
#include <utility>
#include <vector>

/// The snapshot's entries of one user in one workspace, ordered by id and with
/// their locks. Remembers them: an update computes only what changed since the
/// one before, and unchanged entries keep sharing their data.
class BaseEntries {
public:
    /// The id's first code units, padded with zeros: most ids differ there, so
    /// ordering the rows seldom has to read an id.
    using Prefix = std::array<char16_t, 8>;

    struct Row {
        Prefix prefix;
        qsizetype source; ///< index in the snapshot's `time_entries`
        ProjectedEntry shown;
        bool superseded = false; ///< a later entry has the same id

        [[nodiscard]] QString id() const;
    };

    using Rows = std::vector<Row>;
    using Range = std::pair<Rows::const_iterator, Rows::const_iterator>;

    /// Follows `snapshot`. Returns false when the rows are the same as before.
    bool update(const QString& workspace, const QString& user, const QJsonObject& snapshot);

    /// The entry as the snapshot has it, without `period_locked`.
    [[nodiscard]] std::optional<QJsonObject> find(const QString& id) const;

    /// Ordered by id, then by place in the snapshot.
    [[nodiscard]] const Rows& rows() const { return m_rows; }
    [[nodiscard]] Range rowsOf(const QString& id) const;

    /// SyncState::isLocked under the snapshot's periods.
    [[nodiscard]] bool isLocked(const QJsonObject& entry) const;

private:
    [[nodiscard]] bool hasExactOwner() const { return !m_workspace.isEmpty() && !m_user.isEmpty(); }
    [[nodiscard]] bool owns(const QJsonObject& entry) const;
    [[nodiscard]] Row makeRow(const QJsonObject& entry, qsizetype source) const;
    void merge(Rows fresh);

    QString m_workspace;
    QString m_user;
    // Both as they are compared with every entry's.
    QJsonValue m_workspaceValue = QString();
    QJsonValue m_userValue = QString();
    QJsonArray m_periods;
    QJsonArray m_source;
    PeriodLocks m_locks;
    LockedSpans m_ownLocks;
    Rows m_rows;
};
