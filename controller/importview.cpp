// SPDX-License-Identifier: MIT
#include "controller/importview.h"

#include "state/importrows.h"

using namespace Qt::StringLiterals;

void ImportView::update(const QJsonObject& preview, const QString& zone, qint64 number) {
    const QJsonArray rows = ImportRows::of(preview, zone);
    m_rows = rows.toVariantList();
    m_counts = ImportRows::counts(preview, rows).toVariantMap();
    m_counts.insert(u"number"_s, number);
    QVariantMap record;
    for (const QString& key : {u"id"_s, u"total"_s, u"checkpoint"_s, u"has_more"_s}) {
        record.insert(key, preview.value(key).toVariant());
    }
    m_counts.insert(u"record"_s, record);
}
