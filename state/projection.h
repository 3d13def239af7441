// SPDX-License-Identifier: MIT
#pragma once

#include <QJsonObject>
#include <QList>

/// An entry as a person sees it. Its object shares the data of the snapshot's unless the queue touched it:
/// what is projected stands beside it.
struct ProjectedEntry {
    QJsonObject entry;
    bool locked = false; ///< the value of `period_locked`, whatever the object itself says

    /// The object with `period_locked`.
    [[nodiscard]] QJsonObject toJson() const;

    bool operator==(const ProjectedEntry&) const = default;
};

using ProjectedEntries = QList<ProjectedEntry>;

/// What a person sees of a document.
struct Projection {
    ProjectedEntries entries; ///< ordered by id
    QJsonObject timer;        ///< the running entry, {} when none runs

    /// As SyncState::project has it.
    [[nodiscard]] QJsonObject toJson() const;

    bool operator==(const Projection&) const = default;
};
