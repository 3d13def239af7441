// SPDX-License-Identifier: MIT
#include "state/baseentries.h"

#include "state/sharing.h"

#include <algorithm>
#include <functional>
#include <iterator>

using namespace Qt::StringLiterals;

namespace {

constexpr auto idKey = "id"_L1;
constexpr auto workspaceIdKey = "workspace_id"_L1;
constexpr auto userIdKey = "user_id"_L1;

BaseEntries::Prefix prefixOf(const QString& id) {
    BaseEntries::Prefix prefix{};
    const auto units = static_cast<std::size_t>(id.size());
    std::copy_n(id.utf16(), std::min(units, prefix.size()), prefix.begin());
    return prefix;
}

bool haveSameId(const BaseEntries::Row& left, const BaseEntries::Row& right) {
    return left.prefix == right.prefix && left.id() == right.id();
}

bool comesBefore(const BaseEntries::Row& left, const BaseEntries::Row& right) {
    if (left.prefix != right.prefix) {
        return left.prefix < right.prefix;
    }
    const int order = left.id().compare(right.id());
    return order == 0 ? left.source < right.source : order < 0;
}

} // namespace

bool BaseEntries::update(const QString& workspace, const QString& user, const QJsonObject& snapshot) {
    const QJsonArray periods = snapshot.value("timesheet_periods"_L1).toArray();
    const QJsonArray source = snapshot.value("time_entries"_L1).toArray();
    const bool ofOthers = workspace != m_workspace || user != m_user || periods != m_periods;
    if (ofOthers) {
        m_workspace = workspace;
        m_user = user;
        m_workspaceValue = workspace;
        m_userValue = user;
        m_periods = periods;
        m_locks = PeriodLocks(periods);
        m_ownLocks = m_locks.of(workspace, user);
        m_rows.clear();
        m_source = {};
    } else if (sharesData(source, m_source)) {
        return false;
    }

    std::vector<bool> kept(static_cast<std::size_t>(source.size()));
    Rows fresh;
    if (m_rows.empty()) {
        fresh.reserve(kept.size());
    }
    // One by one: objects know at a glance that they are the same, an array looks into each.
    for (qsizetype i = 0; i < source.size(); ++i) {
        const QJsonObject entry = source.at(i).toObject();
        if (i < m_source.size() && entry == m_source.at(i).toObject()) {
            kept[static_cast<std::size_t>(i)] = true;
        } else if (owns(entry)) {
            fresh.push_back(makeRow(entry, i));
        }
    }
    std::erase_if(m_rows, [&](const Row& row) {
        return row.source >= source.size() || !kept[static_cast<std::size_t>(row.source)];
    });
    merge(std::move(fresh));
    const bool same =
        !ofOthers && source.size() == m_source.size() && std::ranges::all_of(kept, std::identity());
    m_source = source; // also an equal one, so that the document of before need not live on
    return !same;
}

/// What reads as a non-empty text is that text; a missing or wrong-typed
/// owner reads as an empty one and is compared as what it is.
bool BaseEntries::owns(const QJsonObject& entry) const {
    if (hasExactOwner()) {
        return entry.value(workspaceIdKey) == m_workspaceValue && entry.value(userIdKey) == m_userValue;
    }
    return entry.value(workspaceIdKey).toString() == m_workspace &&
           entry.value(userIdKey).toString() == m_user;
}

bool BaseEntries::isLocked(const QJsonObject& entry) const {
    const QJsonValue workspace = entry.value(workspaceIdKey);
    const QJsonValue user = entry.value(userIdKey);
    if (workspace == m_workspaceValue && user == m_userValue) {
        return m_ownLocks.cover(entry);
    }
    return m_locks.of(workspace, user).cover(entry);
}

QString BaseEntries::Row::id() const {
    return shown.entry.value(idKey).toString();
}

BaseEntries::Row BaseEntries::makeRow(const QJsonObject& entry, qsizetype source) const {
    const QString id = entry.value(idKey).toString();
    // A reload may have moved the entry to another place in the list.
    const auto [first, last] = rowsOf(id);
    if (first != last && std::prev(last)->shown.entry == entry) {
        return {first->prefix, source, std::prev(last)->shown};
    }
    return {prefixOf(id), source, {entry, hasExactOwner() ? m_ownLocks.cover(entry) : isLocked(entry)}};
}

void BaseEntries::merge(Rows fresh) {
    std::sort(fresh.begin(), fresh.end(), comesBefore);
    const auto middle = std::ssize(m_rows);
    m_rows.insert(m_rows.end(), std::make_move_iterator(fresh.begin()), std::make_move_iterator(fresh.end()));
    std::inplace_merge(m_rows.begin(), m_rows.begin() + middle, m_rows.end(), comesBefore);
    for (auto row = m_rows.begin(); row != m_rows.end(); ++row) {
        const auto next = std::next(row);
        row->superseded = next != m_rows.end() && haveSameId(*row, *next);
    }
}

BaseEntries::Range BaseEntries::rowsOf(const QString& id) const {
    const Prefix prefix = prefixOf(id);
    const auto first = std::partition_point(m_rows.cbegin(), m_rows.cend(), [&](const Row& row) {
        return row.prefix == prefix ? row.id() < id : row.prefix < prefix;
    });
    const auto last = std::find_if(first, m_rows.cend(),
                                   [&](const Row& row) { return row.prefix != prefix || row.id() != id; });
    return {first, last};
}

std::optional<QJsonObject> BaseEntries::find(const QString& id) const {
    const auto [first, last] = rowsOf(id);
    if (first == last) {
        return std::nullopt;
    }
    return std::prev(last)->shown.entry;
}
