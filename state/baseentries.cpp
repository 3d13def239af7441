// SPDX-License-Identifier: MIT
#include "state/baseentries.h"

#include <algorithm>
#include <iterator>

using namespace Qt::StringLiterals;

namespace {

bool comesBefore(const BaseEntries::Row& left, const BaseEntries::Row& right) {
    const int order = left.id.compare(right.id);
    return order == 0 ? left.source < right.source : order < 0;
}

} // namespace

bool BaseEntries::update(const QString& workspace, const QString& user, const QJsonObject& snapshot) {
    const QJsonArray periods = snapshot.value("timesheet_periods"_L1).toArray();
    const QJsonArray source = snapshot.value("time_entries"_L1).toArray();
    if (workspace != m_workspace || user != m_user || periods != m_periods) {
        m_workspace = workspace;
        m_user = user;
        m_periods = periods;
        m_locks = PeriodLocks(periods);
        m_rows.clear();
        m_source = {};
    } else if (source == m_source) {
        // Immediate for a shared array. An equal one takes over, so that the
        // document it came from need not live twice.
        m_source = source;
        return false;
    }

    std::vector<bool> kept(static_cast<std::size_t>(source.size()));
    std::vector<Row> fresh;
    for (qsizetype i = 0; i < source.size(); ++i) {
        const QJsonObject entry = source.at(i).toObject();
        if (i < m_source.size() && entry == m_source.at(i).toObject())
            kept[static_cast<std::size_t>(i)] = true;
        else if (owns(entry))
            fresh.push_back(makeRow(entry, i));
    }
    std::erase_if(m_rows, [&](const Row& row) {
        return row.source >= source.size() || !kept[static_cast<std::size_t>(row.source)];
    });
    merge(std::move(fresh));
    m_source = source;
    return true;
}

bool BaseEntries::owns(const QJsonObject& entry) const {
    return entry.value("workspace_id"_L1).toString() == m_workspace &&
           entry.value("user_id"_L1).toString() == m_user;
}

BaseEntries::Row BaseEntries::makeRow(const QJsonObject& entry, qsizetype source) {
    Row row{entry.value("id"_L1).toString(), source, {}};
    // A reload may have moved the entry to another place in the list.
    const Row* const known = findRow(row.id);
    if (known && m_source.at(known->source).toObject() == entry) {
        row.projected = known->projected;
        return row;
    }
    row.projected = entry;
    row.projected.insert("period_locked"_L1, isLocked(entry));
    return row;
}

void BaseEntries::merge(std::vector<Row> fresh) {
    std::sort(fresh.begin(), fresh.end(), comesBefore);
    const auto middle = std::ssize(m_rows);
    m_rows.insert(m_rows.end(), std::make_move_iterator(fresh.begin()), std::make_move_iterator(fresh.end()));
    std::inplace_merge(m_rows.begin(), m_rows.begin() + middle, m_rows.end(), comesBefore);
}

const BaseEntries::Row* BaseEntries::findRow(const QString& id) const {
    const auto after = std::upper_bound(m_rows.cbegin(), m_rows.cend(), id,
                                        [](const QString& key, const Row& row) { return key < row.id; });
    if (after == m_rows.cbegin())
        return nullptr;
    const Row& row = *std::prev(after);
    return row.id == id ? &row : nullptr;
}

std::optional<QJsonObject> BaseEntries::find(const QString& id) const {
    const Row* const row = findRow(id);
    if (!row)
        return std::nullopt;
    return m_source.at(row->source).toObject();
}
