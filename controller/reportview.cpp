// SPDX-License-Identifier: MIT
#include "controller/reportview.h"

#include "state/reportfigures.h"
#include "state/reportpicture.h"

using namespace Qt::StringLiterals;

void ReportView::update(const QJsonObject& report, const QJsonArray& projects, int weekday) {
    m_figures = ReportFigures::rows(report, projects);
    m_rows = m_figures.toVariantList();
    QJsonObject picture = ReportPicture::of(report, m_figures, weekday);
    m_columns = picture.take(u"columns").toArray().toVariantList();
    m_series = picture.take(u"series").toArray().toVariantList();
    m_about = picture.toVariantMap();
    m_about.insert(u"kind"_s, report[u"kind"].toString());
    m_about.insert(u"group"_s, ReportFigures::groupOf(report));
}
