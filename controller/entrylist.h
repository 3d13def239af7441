// SPDX-License-Identifier: MIT
#pragma once

#include "state/projection.h"

#include <QVariantMap>

#include <vector>

/// The closed entries in the order in which the window lists them: by the text of
/// `start_at`, descending. Remembers the order of the last update, so that only changed
/// entries are put into it; an unchanged list stays the same shared list.
class EntryList {
public:
    /// Takes the projected entries, ordered by id.
    void update(const ProjectedEntries& entries);

    [[nodiscard]] const ProjectedEntries& rows() const { return m_rows; }
    /// What the window is given of a row: every key of the entry, `period_locked` and `duration_text`.
    [[nodiscard]] static QVariantMap map(const ProjectedEntry& row);

private:
    using Order = std::vector<std::size_t>;

    [[nodiscard]] qsizetype findKnown(const ProjectedEntry& entry, qsizetype from) const;
    [[nodiscard]] static Order merged(const ProjectedEntries& entries, const Order& kept, const Order& fresh);

    ProjectedEntries m_source;
    Order m_order; ///< The listed ones of m_source as they are shown.
    ProjectedEntries m_rows;
};
