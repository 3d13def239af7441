// SPDX-License-Identifier: MIT
#include "controller/entriesview.h"

#include <algorithm>

void EntriesView::update(const QJsonObject& document) {
    m_shown = m_projector.project(document);
    m_list.update(m_shown.entries);
    if (!isSumOf(m_list.rows())) {
        m_sums = {}; // which would keep entries that nobody sees any more
    }
}

QJsonObject EntriesView::find(const QString& id) const {
    const auto idOf = [](const ProjectedEntry& shown) { return shown.entry.value(u"id").toString(); };
    // The projection has them in the order of their ids.
    const auto found = std::partition_point(m_shown.entries.cbegin(), m_shown.entries.cend(),
                                            [&](const ProjectedEntry& shown) { return idOf(shown) < id; });
    return found == m_shown.entries.cend() || idOf(*found) != id ? QJsonObject() : found->toJson();
}

bool EntriesView::isSumOf(const ProjectedEntries& rows) const {
    return m_sums.rows.constData() == rows.constData() && m_sums.rows.size() == rows.size();
}

QList<qint64> EntriesView::secondsIn(const QList<WorkSums::Span>& spans, const WorkSums::Owner& owner) const {
    const ProjectedEntries& rows = m_list.rows();
    if (!isSumOf(rows) || m_sums.spans != spans || m_sums.owner != owner) {
        m_sums = {rows, spans, owner, WorkSums::inside(spans, m_shown.entries, owner)};
    }
    return m_sums.seconds;
}
