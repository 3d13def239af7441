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
