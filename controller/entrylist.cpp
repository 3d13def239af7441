// SPDX-License-Identifier: MIT
#include "controller/entrylist.h"

#include "state/timestamp.h"

#include <QJsonObject>

#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr std::size_t gone = std::numeric_limits<std::size_t>::max();

QString idOf(const QJsonValue& entry) {
    return entry.toObject().value(u"id").toString();
}

} // namespace

QString EntryList::shared(const QString& text) {
    return *m_texts.insert(text);
}

EntryList::Row EntryList::makeRow(const QJsonObject& entry) {
    if (entry.value(u"stop_at").isNull() || entry.value(u"deleted_at").isString()) {
        return {};
    }
    QVariantMap map;
    for (auto field = entry.begin(); field != entry.end(); ++field) {
        const QString key = field.key();
        const bool repeats = key.endsWith(u"_id"_s) && field.value().isString();
        map.insert(map.cend(), shared(key),
                   repeats ? shared(field.value().toString()) : field.value().toVariant());
    }
    map.insert(shared(u"duration_text"_s), durationText(entry.value(u"duration_seconds").toInteger()));
    const QJsonValue start = entry.value(u"start_at");
    return {start.isString() ? map.value(u"start_at"_s).toString() : QString(), map};
}

/// Where the walk through the remembered entries goes on for `entry`: at its equal, or
/// at the first one whose id is not smaller.
qsizetype EntryList::findKnown(const QJsonValue& entry, qsizetype from) const {
    if (from < m_source.size() && m_source.at(from) == entry) {
        return from;
    }
    const QString id = idOf(entry);
    while (from < m_source.size() && idOf(m_source.at(from)) < id) {
        ++from;
    }
    return from;
}

void EntryList::update(const QJsonArray& entries) {
    if (entries == m_source) {
        return;
    }
    if (entries.isEmpty()) {
        m_texts.clear();
    }
    Rows converted;
    converted.reserve(static_cast<std::size_t>(entries.size()));
    Order places(m_converted.size(), gone);
    Order fresh;
    // Both lists are ordered by id, so one walk finds what is unchanged.
    qsizetype known = 0;
    for (const auto& entry : entries) {
        known = findKnown(entry, known);
        if (known < m_source.size() && m_source.at(known) == entry) {
            places[static_cast<std::size_t>(known)] = converted.size();
            converted.push_back(std::move(m_converted[static_cast<std::size_t>(known)]));
            ++known;
        } else {
            fresh.push_back(converted.size());
            converted.push_back(makeRow(entry.toObject()));
        }
    }
    Order kept;
    kept.reserve(converted.size());
    for (const std::size_t before : m_order) {
        if (places[before] != gone) {
            kept.push_back(places[before]);
        }
    }
    m_source = entries;
    m_converted = std::move(converted);
    m_order = merged(m_converted, std::move(kept), fresh);
    m_rows.clear();
    m_rows.reserve(static_cast<qsizetype>(m_order.size()));
    for (const std::size_t place : m_order) {
        m_rows.append(m_converted[place].map);
    }
}

EntryList::Order EntryList::merged(const Rows& rows, Order kept, const Order& fresh) {
    // The text is compared, not the instant: the order people see is that of the stamps they read.
    // Rows of the same second keep their order from one start of the program to the next.
    const auto later = [&rows](std::size_t left, std::size_t right) {
        const int order = rows[left].start.compare(rows[right].start);
        return order == 0 ? left < right : order > 0;
    };
    const auto middle = std::ssize(kept);
    std::copy_if(fresh.begin(), fresh.end(), std::back_inserter(kept),
                 [&rows](std::size_t place) { return rows[place].map.isValid(); });
    std::sort(kept.begin() + middle, kept.end(), later);
    std::inplace_merge(kept.begin(), kept.begin() + middle, kept.end(), later);
    return kept;
}
