// SPDX-License-Identifier: MIT
#pragma once

#include <QAbstractListModel>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QVariantList>
#include <qqmlintegration.h>

/// A list property of an object, as rows that stay: each time the property
/// notifies, the new list is compared with the rows by `id`, and only what was
/// removed, inserted or changed is announced. A row that moved is removed and
/// inserted. Rows without an id are told apart by their position.
class RowModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QObject* source MEMBER m_source WRITE setSource NOTIFY sourceChanged REQUIRED)
    /// Name of the property of `source`: a QVariantList of QVariantMaps.
    Q_PROPERTY(QString list MEMBER m_list WRITE setList NOTIFY listChanged REQUIRED)
    /// Only the rows whose `what` is one of these are there; all of them while it is empty.
    Q_PROPERTY(QStringList keep MEMBER m_keep WRITE setKeep NOTIFY keepChanged)

public:
    enum Role {
        RowRole = Qt::UserRole, ///< "row": the whole map
        IdRole,                 ///< "id"
        NameRole,               ///< "name"
    };

    using QAbstractListModel::QAbstractListModel;

    void setSource(QObject* source);
    void setList(const QString& list);
    void setKeep(const QStringList& keep);

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

    /// The first row with this id, or -1.
    Q_INVOKABLE [[nodiscard]] int indexOf(const QString& id) const;
    /// "" when there is no such row or it has no id.
    Q_INVOKABLE [[nodiscard]] QString idAt(int row) const;

Q_SIGNALS:
    void sourceChanged();
    void listChanged();
    void keepChanged();
    /// Rows were inserted, removed or changed; comes once, after the last of them.
    void updated();

private:
    Q_SLOT void refresh();
    void attach();
    [[nodiscard]] QVariantList kept(const QVariantList& rows) const;
    void adopt(const QVariantList& rows);

    QPointer<QObject> m_source;
    QString m_list;
    QStringList m_keep;
    QMetaObject::Connection m_connection;
    QVariantList m_all; ///< as the source has them
    QVariantList m_rows;
};
