// SPDX-License-Identifier: MIT
#pragma once

#include "controller/entrylist.h"
#include "state/projector.h"
#include "state/worksums.h"

#include <QJsonObject>
#include <QString>

/// What is shown of the document: the entries and the timer with the queue on top.
/// Remembers what it computed, so that a write costs what it changes.
class EntriesView {
public:
    /// Follows the durable document.
    void update(const QJsonObject& document);

    /// The closed entries, as EntryList has them.
    [[nodiscard]] const ProjectedEntries& rows() const { return m_list.rows(); }
    /// The running entry, {} when none runs.
    [[nodiscard]] const QJsonObject& timer() const { return m_shown.timer; }
    /// The projected entry, listed or not; {} when there is none.
    [[nodiscard]] QJsonObject find(const QString& id) const;
    /// WorkSums::inside of the entries; remembered, since whoever shows it asks again at each change.
    [[nodiscard]] QList<qint64> secondsIn(const QList<WorkSums::Span>& spans,
                                          const WorkSums::Owner& owner) const;

private:
    struct Sums {
        ProjectedEntries rows; ///< what they are of: an unchanged list stays the same
        QList<WorkSums::Span> spans;
        WorkSums::Owner owner;
        QList<qint64> seconds;
    };

    [[nodiscard]] bool isSumOf(const ProjectedEntries& rows) const;

    Projector m_projector;
    Projection m_shown;
    EntryList m_list;
    mutable Sums m_sums;
};
