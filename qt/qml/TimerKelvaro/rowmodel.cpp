// SPDX-License-Identifier: MIT
#include "rowmodel.h"

#include <QHash>
#include <QMetaProperty>
#include <QVariantMap>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

const QString idKey = u"id"_s;
const QString nameKey = u"name"_s;
const QString whatKey = u"what"_s;

QString idOf(const QVariant& row) {
    return row.toMap().value(idKey).toString();
}

bool isSameRow(const QVariant& before, const QVariant& after) {
    return before == after || idOf(before) == idOf(after);
}

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

struct Span {
    int from;
    int count;
};

/// The unbroken stretches of positions for which `wanted` holds.
template <typename Wanted>
QList<Span> spans(int count, Wanted wanted) {
    QList<Span> found;
    for (int i = 0; i < count; ++i) {
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

} // namespace

void RowModel::setSource(QObject* source) {
    if (m_source == source) {
        return;
    }
    m_source = source;
    Q_EMIT sourceChanged();
    attach();
}

void RowModel::setList(const QString& list) {
    if (m_list == list) {
        return;
    }
    m_list = list;
    Q_EMIT listChanged();
    attach();
}

void RowModel::setKeep(const QStringList& keep) {
    if (m_keep == keep) {
        return;
    }
    m_keep = keep;
    Q_EMIT keepChanged();
    adopt(kept(m_all));
}

int RowModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(m_rows.size());
}

QVariant RowModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) {
        return {};
    }
    const QVariant& row = m_rows[index.row()];
    switch (role) {
    case RowRole:
        return row;
    case IdRole:
        return idOf(row);
    case NameRole:
    case Qt::DisplayRole:
        return row.toMap().value(nameKey).toString();
    default:
        return {};
    }
}

QHash<int, QByteArray> RowModel::roleNames() const {
    return {{RowRole, "row"}, {IdRole, "id"}, {NameRole, "name"}};
}

int RowModel::indexOf(const QString& id) const {
    if (id.isEmpty()) {
        return -1;
    }
    const auto found =
        std::find_if(m_rows.cbegin(), m_rows.cend(), [&](const QVariant& row) { return idOf(row) == id; });
    return found == m_rows.cend() ? -1 : static_cast<int>(found - m_rows.cbegin());
}

QString RowModel::idAt(int row) const {
    return row >= 0 && row < m_rows.size() ? idOf(m_rows[row]) : QString();
}

void RowModel::attach() {
    disconnect(m_connection);
    if (m_source && !m_list.isEmpty()) {
        const QMetaObject* const type = m_source->metaObject();
        const QMetaProperty property = type->property(type->indexOfProperty(m_list.toUtf8().constData()));
        const QMetaMethod slot = staticMetaObject.method(staticMetaObject.indexOfSlot("refresh()"));
        if (property.hasNotifySignal()) {
            m_connection = connect(m_source, property.notifySignal(), this, slot);
        }
    }
    refresh();
}

void RowModel::refresh() {
    QVariantList rows;
    if (m_source && !m_list.isEmpty()) {
        rows = m_source->property(m_list.toUtf8().constData()).toList();
    }
    if (rows.size() == m_all.size() && rows.constData() == m_all.constData()) {
        return;
    }
    m_all = rows;
    adopt(kept(rows));
}

QVariantList RowModel::kept(const QVariantList& rows) const {
    if (m_keep.isEmpty()) {
        return rows;
    }
    QVariantList some;
    std::copy_if(rows.cbegin(), rows.cend(), std::back_inserter(some), [this](const QVariant& row) {
        return m_keep.contains(row.toMap().value(whatKey).toString());
    });
    return some;
}

void RowModel::adopt(const QVariantList& rows) {
    const auto common = std::min(m_rows.size(), rows.size());
    int head = 0;
    while (head < common && isSameRow(m_rows[head], rows[head])) {
        ++head;
    }
    int tail = 0;
    while (tail < common - head &&
           isSameRow(m_rows[m_rows.size() - 1 - tail], rows[rows.size() - 1 - tail])) {
        ++tail;
    }

    // Between the equal ends each id is paired once; a repeated id counts as another row.
    const int after = static_cast<int>(rows.size()) - head - tail;
    QHash<QString, int> places;
    for (int i = after - 1; i >= 0; --i) {
        if (const QString id = idOf(rows[head + i]); !id.isEmpty()) {
            places.insert(id, i);
        }
    }
    QList<int> targets;
    for (auto i = head; i < m_rows.size() - tail; ++i) {
        const auto place = places.constFind(idOf(m_rows[i]));
        targets.append(place == places.cend() ? -1 : *place);
        if (place != places.cend()) {
            places.erase(place);
        }
    }
    const QList<bool> keptBefore = longestIncrease(targets);
    QList<bool> keptAfter(after, false);
    for (int i = 0; i < targets.size(); ++i) {
        if (keptBefore[i]) {
            keptAfter[targets[i]] = true;
        }
    }

    removeRowsNotIn(keptBefore, head);
    insertRowsNotIn(keptAfter, head, rows);
    const bool moved = keptBefore.contains(false) || keptAfter.contains(false);
    const bool changed = announceChanges(std::exchange(m_rows, rows));
    if (moved || changed) {
        Q_EMIT updated();
    }
}

void RowModel::removeRowsNotIn(const QList<bool>& kept, int offset) {
    const QList<Span> gone = spans(static_cast<int>(kept.size()), [&](int i) { return !kept[i]; });
    for (auto span = gone.crbegin(); span != gone.crend(); ++span) {
        const int first = offset + span->from;
        beginRemoveRows({}, first, first + span->count - 1);
        m_rows.remove(first, span->count);
        endRemoveRows();
    }
}

void RowModel::insertRowsNotIn(const QList<bool>& kept, int offset, const QVariantList& rows) {
    const QList<Span> fresh = spans(static_cast<int>(kept.size()), [&](int i) { return !kept[i]; });
    for (const Span& span : fresh) {
        const int first = offset + span.from;
        beginInsertRows({}, first, first + span.count - 1);
        m_rows.insert(first, span.count, QVariant());
        std::copy_n(rows.cbegin() + first, span.count, m_rows.begin() + first);
        endInsertRows();
    }
}

bool RowModel::announceChanges(const QVariantList& before) {
    const QList<Span> changed =
        spans(static_cast<int>(m_rows.size()), [&](int i) { return before[i] != m_rows[i]; });
    for (const Span& span : changed) {
        Q_EMIT dataChanged(index(span.from), index(span.from + span.count - 1));
    }
    return !changed.isEmpty();
}
