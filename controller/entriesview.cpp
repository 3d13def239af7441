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
    const auto found =
        std::find_if(m_entries.constBegin(), m_entries.constEnd(), [&id](const QJsonValue& entry) {
            return entry.toObject().value(u"id").toString() == id;
        });
    return found == m_entries.constEnd() ? QJsonObject() : found->toObject();
}
