// SPDX-License-Identifier: MIT
#pragma once

#include <QJsonObject>
#include <QString>
#include <QVariantList>
#include <QVariantMap>

/// What is shown of an import's preview, computed once so that an unchanged list stays the same shared list.
class ImportView {
public:
    /// `number` tells this preview from those before.
    void update(const QJsonObject& preview, const QString& zone, qint64 number);

    /// ImportRows::of
    [[nodiscard]] const QVariantList& rows() const { return m_rows; }
    /// ImportRows::counts with the preview's `number` and its `record` without the lists; {} without one.
    [[nodiscard]] const QVariantMap& counts() const { return m_counts; }

private:
    QVariantList m_rows;
    QVariantMap m_counts;
};
