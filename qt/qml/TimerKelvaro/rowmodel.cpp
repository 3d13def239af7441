// SPDX-License-Identifier: MIT
#include "rowmodel.h"

#include "rowdiff.h"

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
    const RowDiff diff = RowDiff::between(m_rows, rows, idOf);
    for (const RowSpan& span : diff.removed) {
        beginRemoveRows({}, span.from, span.from + span.count - 1);
        m_rows.remove(span.from, span.count);
        endRemoveRows();
    }
    for (const RowSpan& span : diff.inserted) {
        beginInsertRows({}, span.from, span.from + span.count - 1);
        m_rows.insert(span.from, span.count, QVariant());
        std::copy_n(rows.cbegin() + span.from, span.count, m_rows.begin() + span.from);
        endInsertRows();
    }
    const QVariantList before = std::exchange(m_rows, rows);
    const QList<RowSpan> changed = rowSpans(rows.size(), [&](int i) { return before[i] != m_rows[i]; });
    for (const RowSpan& span : changed) {
        Q_EMIT dataChanged(index(span.from), index(span.from + span.count - 1));
    }
    if (!diff.removed.isEmpty() || !diff.inserted.isEmpty() || !changed.isEmpty()) {
        Q_EMIT updated();
    }
}
