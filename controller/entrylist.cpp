// SPDX-License-Identifier: MIT
#include "controller/entrylist.h"

#include "state/timestamp.h"

#include <algorithm>
#include <limits>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr std::size_t gone = std::numeric_limits<std::size_t>::max();

QString idOf(const ProjectedEntry& shown) {
    return shown.entry.value(u"id").toString();
}

bool isListed(const ProjectedEntry& shown) {
    return !shown.entry.value(u"stop_at").isNull() && !shown.entry.value(u"deleted_at").isString();
}

/// What an entry is listed by. The text is compared, not the instant: the order people see is that of the
/// stamps they read. Rows of the same second keep their order from one start of the program to the next.
struct Position {
    QString start;
    std::size_t place;

    Position(const ProjectedEntries& entries, std::size_t at)
        : start(entries.at(static_cast<qsizetype>(at)).entry.value(u"start_at").toString()), place(at) {}

    [[nodiscard]] bool comesBefore(const Position& other) const {
        const int order = start.compare(other.start);
        return order == 0 ? place < other.place : order > 0;
    }
};

} // namespace

QVariantMap EntryList::map(const ProjectedEntry& row) {
    QVariantMap map = row.entry.toVariantMap();
    map.insert(u"period_locked"_s, row.locked);
    map.insert(u"duration_text"_s, durationText(row.entry.value(u"duration_seconds").toInteger()));
    return map;
}

/// Where the walk through the remembered entries goes on for `entry`: at its equal, or
/// at the first one whose id is not smaller.
qsizetype EntryList::findKnown(const ProjectedEntry& entry, qsizetype from) const {
    if (from == m_source.size() || m_source.at(from) == entry) {
        return from;
    }
    const QString id = idOf(entry);
    while (from < m_source.size() && idOf(m_source.at(from)) < id) {
        ++from;
    }
    return from;
}

void EntryList::update(const ProjectedEntries& entries) {
    if (entries == m_source) {
        return;
    }
    Order places(static_cast<std::size_t>(m_source.size()), gone);
    Order fresh;
    // Both lists are ordered by id, so one walk finds what is unchanged.
    qsizetype known = 0;
    for (std::size_t place = 0; place < static_cast<std::size_t>(entries.size()); ++place) {
        const ProjectedEntry& entry = entries.at(static_cast<qsizetype>(place));
        known = findKnown(entry, known);
        if (known < m_source.size() && m_source.at(known) == entry) {
            places[static_cast<std::size_t>(known)] = place;
            ++known;
        } else if (isListed(entry)) {
            fresh.push_back(place);
        }
    }
    Order kept;
    kept.reserve(m_order.size());
    for (const std::size_t before : m_order) {
        if (places[before] != gone) {
            kept.push_back(places[before]);
        }
    }
    m_source = entries;
    m_order = merged(m_source, kept, fresh);
    m_rows.clear();
    m_rows.reserve(static_cast<qsizetype>(m_order.size()));
    for (const std::size_t place : m_order) {
        m_rows.append(m_source.at(static_cast<qsizetype>(place)));
    }
}

EntryList::Order EntryList::merged(const ProjectedEntries& entries, const Order& kept, const Order& fresh) {
    std::vector<Position> positions;
    positions.reserve(fresh.size());
    for (const std::size_t place : fresh) {
        positions.emplace_back(entries, place);
    }
    std::sort(positions.begin(), positions.end(),
              [](const Position& left, const Position& right) { return left.comesBefore(right); });
    Order order;
    order.reserve(kept.size() + fresh.size());
    auto from = kept.begin();
    // Nearly always all are fresh, or few: what is kept is seldom asked for its position.
    for (const Position& position : positions) {
        const auto until = std::partition_point(from, kept.end(), [&](std::size_t place) {
            return Position(entries, place).comesBefore(position);
        });
        order.insert(order.end(), from, until);
        order.push_back(position.place);
        from = until;
    }
    order.insert(order.end(), from, kept.end());
    return order;
}
