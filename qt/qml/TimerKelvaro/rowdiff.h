// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <algorithm>

/// An unbroken stretch of rows.
struct RowSpan {
    int from;
    int count;
};

/// The unbroken stretches of positions for which `wanted` holds.
template <typename Wanted>
QList<RowSpan> rowSpans(qsizetype count, Wanted wanted) {
    QList<RowSpan> found;
    for (int i = 0; i < static_cast<int>(count); ++i) {
        if (!wanted(i)) {
            continue;
        }
        if (!found.isEmpty() && found.last().from + found.last().count == i) {
            ++found.last().count;
        } else {
            found.append({i, 1});
        }
    }
    return found;
}

/// How one list becomes another: first these rows go, then these come. Rows are paired by their ids, and
/// those without one by their position; a row that moved goes and comes.
struct RowDiff {
    QList<RowSpan> removed;  ///< of the rows before, the last ones first
    QList<RowSpan> inserted; ///< of the rows after, the first ones first

    template <typename Row, typename IdOf>
    [[nodiscard]] static RowDiff between(const QList<Row>& before, const QList<Row>& after, IdOf idOf);

private:
    /// Of the rows between those that are the same at both ends; `offset` stand before them.
    [[nodiscard]] static RowDiff ofIds(const QStringList& before, const QStringList& after, int offset);
};

template <typename Row, typename IdOf>
RowDiff RowDiff::between(const QList<Row>& before, const QList<Row>& after, IdOf idOf) {
    const auto isSame = [&](const Row& left, const Row& right) {
        return left == right || idOf(left) == idOf(right);
    };
    const auto common = std::min(before.size(), after.size());
    qsizetype head = 0;
    while (head < common && isSame(before[head], after[head])) {
        ++head;
    }
    qsizetype tail = 0;
    while (tail < common - head && isSame(before[before.size() - 1 - tail], after[after.size() - 1 - tail])) {
        ++tail;
    }
    const auto rest = [&](const QList<Row>& rows) { return static_cast<int>(rows.size() - head - tail); };
    if (rest(before) == 0 && rest(after) > 0) {
        return {{}, {{static_cast<int>(head), rest(after)}}}; // a list that is filled needs no ids
    }
    const auto ids = [&](const QList<Row>& rows) {
        QStringList list;
        std::transform(rows.cbegin() + head, rows.cend() - tail, std::back_inserter(list), idOf);
        return list;
    };
    return ofIds(ids(before), ids(after), static_cast<int>(head));
}
