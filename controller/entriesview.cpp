// SPDX-License-Identifier: MIT
#include "controller/entriesview.h"

#include <algorithm>

void EntriesView::update(const QJsonObject& document) {
    const QJsonObject view = m_projector.project(document);
    m_entries = view.value(u"entries").toArray();
    m_timer = view.value(u"timer").toObject();
    m_list.update(m_entries);
}

QJsonObject EntriesView::find(const QString& id) const {
    const auto idOf = [](const QJsonValue& entry) { return entry.toObject().value(u"id").toString(); };
    // The projection has them in the order of their ids.
    const auto found = std::lower_bound(
        m_entries.constBegin(), m_entries.constEnd(), id,
        [&](const QJsonValue& entry, const QString& wanted) { return idOf(entry) < wanted; });
    return found == m_entries.constEnd() || idOf(*found) != id ? QJsonObject() : found->toObject();
}

QList<qint64> EntriesView::secondsIn(const QList<WorkSums::Span>& spans, const WorkSums::Owner& owner) const {
    const QVariantList& rows = m_list.rows();
    const bool isSame = m_sums.rows.constData() == rows.constData() && m_sums.rows.size() == rows.size();
    if (!isSame || m_sums.spans != spans || m_sums.owner != owner) {
        m_sums = {rows, spans, owner, WorkSums::inside(spans, m_entries, owner)};
    }
    return m_sums.seconds;
}
