// SPDX-License-Identifier: MIT
#include "controller/entrylist.h"

#include "controller/controller.h"

#include <QJsonObject>

#include <algorithm>
#include <utility>

EntryList::Row EntryList::makeRow(const QJsonObject& entry) {
    if (entry.value(u"stop_at").isNull() || entry.value(u"deleted_at").isString()) {
        return {};
    }
    QVariantMap map = entry.toVariantMap();
    map.insert(QStringLiteral("duration_text"),
               Controller::formatSeconds(entry.value(u"duration_seconds").toInteger()));
    return {entry.value(u"start_at").toString(), map};
}

void EntryList::update(const QJsonArray& entries) {
    if (entries == m_source) {
        return;
    }
    std::vector<Row> converted;
    converted.reserve(static_cast<std::size_t>(entries.size()));
    // Both lists are ordered by id, so one walk finds what is unchanged.
    qsizetype known = 0;
    for (const QJsonValue& value : entries) {
        const QString id = value.toObject().value(u"id").toString();
        while (known < m_source.size() && m_source.at(known) != value &&
               m_source.at(known).toObject().value(u"id").toString() < id) {
            ++known;
        }
        if (known < m_source.size() && m_source.at(known) == value) {
            converted.push_back(std::move(m_converted[static_cast<std::size_t>(known)]));
            ++known;
        } else {
            converted.push_back(makeRow(value.toObject()));
        }
    }
    m_source = entries;
    m_converted = std::move(converted);
    sortRows();
}

void EntryList::sortRows() {
    std::vector<const Row*> listed;
    listed.reserve(m_converted.size());
    for (const Row& row : m_converted) {
        if (row.map.isValid()) {
            listed.push_back(&row);
        }
    }
    // The text is compared, not the instant: the order people see is that of the stamps they read.
    std::stable_sort(listed.begin(), listed.end(),
                     [](const Row* left, const Row* right) { return left->start > right->start; });
    m_rows.clear();
    m_rows.reserve(static_cast<qsizetype>(listed.size()));
    for (const Row* row : listed) {
        m_rows.append(row->map);
    }
}
