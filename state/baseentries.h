// SPDX-License-Identifier: MIT
#pragma once

#include "state/periodlocks.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

#include <optional>
#include <vector>

/// The snapshot's entries of one user in one workspace, ordered by id and with
/// their locks. Remembers them: an update computes only what changed since the
/// one before, and unchanged entries keep sharing their data.
class BaseEntries {
public:
    struct Row {
        QString id;
        qsizetype source;      ///< index in the snapshot's `time_entries`
        QJsonObject projected; ///< the entry with `period_locked`
    };

    /// Follows `snapshot`. Returns false when the rows are the same as before.
    bool update(const QString& workspace, const QString& user, const QJsonObject& snapshot);

    /// The entry as the snapshot has it, without `period_locked`.
    [[nodiscard]] std::optional<QJsonObject> find(const QString& id) const;

    /// Ordered by id. Of neighbours with the same id only the last one counts.
    [[nodiscard]] const std::vector<Row>& rows() const { return m_rows; }

    [[nodiscard]] bool isLocked(const QJsonObject& entry) { return m_locks.covers(entry); }

private:
    [[nodiscard]] bool owns(const QJsonObject& entry) const;
    [[nodiscard]] const Row* findRow(const QString& id) const;
    [[nodiscard]] Row makeRow(const QJsonObject& entry, qsizetype source);
    void merge(std::vector<Row> fresh);

    QString m_workspace;
    QString m_user;
    QJsonArray m_periods;
    QJsonArray m_source;
    PeriodLocks m_locks;
    std::vector<Row> m_rows;
};
