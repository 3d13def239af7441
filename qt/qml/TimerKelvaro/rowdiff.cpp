// SPDX-License-Identifier: MIT
#include "rowdiff.h"

#include <QHash>

#include <algorithm>

namespace {

/// The largest set of positions whose targets increase, so that as few rows as
/// possible count as moved. A target of -1 is never kept.
QList<bool> longestIncrease(const QList<int>& targets) {
    QList<int> tails;
    QList<int> previous(targets.size(), -1);
    for (int i = 0; i < targets.size(); ++i) {
        if (targets[i] < 0) {
            continue;
        }
        const auto tail = std::lower_bound(tails.begin(), tails.end(), targets[i],
                                           [&](int at, int target) { return targets[at] < target; });
        if (tail != tails.begin()) {
            previous[i] = *(tail - 1);
        }
        if (tail == tails.end()) {
            tails.append(i);
        } else {
            *tail = i;
        }
    }
    QList<bool> kept(targets.size(), false);
    for (int i = tails.isEmpty() ? -1 : tails.last(); i >= 0; i = previous[i]) {
        kept[i] = true;
    }
    return kept;
}

QList<RowSpan> spansWithout(const QList<bool>& kept, int offset) {
    QList<RowSpan> spans = rowSpans(kept.size(), [&](int i) { return !kept[i]; });
    for (RowSpan& span : spans) {
        span.from += offset;
    }
    return spans;
}

} // namespace

RowDiff RowDiff::ofIds(const QStringList& before, const QStringList& after, int offset) {
    // Each id is paired once; a repeated id counts as another row.
    QHash<QString, int> places;
    for (int i = static_cast<int>(after.size()) - 1; i >= 0; --i) {
        if (!after[i].isEmpty()) {
            places.insert(after[i], i);
        }
    }
    QList<int> targets;
    for (const QString& id : before) {
        const auto place = places.constFind(id);
        targets.append(place == places.cend() ? -1 : *place);
        if (place != places.cend()) {
            places.erase(place);
        }
    }
    const QList<bool> keptBefore = longestIncrease(targets);
    QList<bool> keptAfter(after.size(), false);
    for (int i = 0; i < targets.size(); ++i) {
        if (keptBefore[i]) {
            keptAfter[targets[i]] = true;
        }
    }
    RowDiff diff{spansWithout(keptBefore, offset), spansWithout(keptAfter, offset)};
    std::reverse(diff.removed.begin(), diff.removed.end());
    return diff;
}
