// SPDX-License-Identifier: MIT
#include "state/baseentries.h"

#include <algorithm>
#include <iterator>

using namespace Qt::StringLiterals;

namespace {

constexpr auto WorkspaceId = "workspace_id"_L1;
constexpr auto UserId = "user_id"_L1;

/// Four code units in one number: most ids differ there, and comparing numbers
/// spares the sort a visit to each string.
quint64 rankOf(const QString& id) {
    quint64 rank = 0;
    for (qsizetype i = 0; i < 4; ++i)
        rank = rank << 16 | (i < id.size() ? id.at(i).unicode() : 0U);
    return rank;
}

bool comesBefore(const BaseEntries::Row& left, const BaseEntries::Row& right) {
    if (left.rank != right.rank)
        return left.rank < right.rank;
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
        m_ownLocks = m_locks.of(workspace, user);
        m_rows.clear();
        m_source = {};
    } else if (source == m_source) {
        // Immediate for a shared array. An equal one takes over, so that the
        // document it came from need not live twice.
        m_source = source;
        return false;
    }

    std::vector<bool> kept(static_cast<std::size_t>(source.size()));
    Rows fresh;
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
    return entry.value(WorkspaceId).toString() == m_workspace && entry.value(UserId).toString() == m_user;
}

bool BaseEntries::isLocked(const QJsonObject& entry) const {
    const QJsonValue workspace = entry.value(WorkspaceId);
    const QJsonValue user = entry.value(UserId);
    if (workspace == m_workspace && user == m_user)
        return m_ownLocks.cover(entry);
    return m_locks.of(workspace, user).cover(entry);
}

BaseEntries::Row BaseEntries::makeRow(const QJsonObject& entry, qsizetype source) const {
    const QString id = entry.value("id"_L1).toString();
    // A reload may have moved the entry to another place in the list.
    const auto [first, last] = rowsOf(id);
    if (first != last && m_source.at(std::prev(last)->source).toObject() == entry)
        return {first->rank, id, source, std::prev(last)->projected};
    // What reads as a non-empty text is that text; a missing or wrong-typed
    // owner reads as an empty one and is compared as what it is.
    const bool exactOwner = !m_workspace.isEmpty() && !m_user.isEmpty();
    QJsonObject projected = entry;
    projected.insert("period_locked"_L1, exactOwner ? m_ownLocks.cover(entry) : isLocked(entry));
    return {rankOf(id), id, source, projected};
}

void BaseEntries::merge(Rows fresh) {
    std::sort(fresh.begin(), fresh.end(), comesBefore);
    const auto middle = std::ssize(m_rows);
    m_rows.insert(m_rows.end(), std::make_move_iterator(fresh.begin()), std::make_move_iterator(fresh.end()));
    std::inplace_merge(m_rows.begin(), m_rows.begin() + middle, m_rows.end(), comesBefore);
    for (auto row = m_rows.begin(); row != m_rows.end(); ++row) {
        const auto next = std::next(row);
        row->superseded = next != m_rows.end() && next->rank == row->rank && next->id == row->id;
    }
}

BaseEntries::Range BaseEntries::rowsOf(const QString& id) const {
    const quint64 rank = rankOf(id);
    const auto first = std::lower_bound(m_rows.cbegin(), m_rows.cend(), Row{rank, id, -1, {}}, comesBefore);
    const auto isOther = [&](const Row& row) { return row.id != id; };
    return {first, std::find_if(first, m_rows.cend(), isOther)};
}

std::optional<QJsonObject> BaseEntries::find(const QString& id) const {
    const auto [first, last] = rowsOf(id);
    if (first == last)
        return std::nullopt;
    return m_source.at(std::prev(last)->source).toObject();
}
