// SPDX-License-Identifier: MIT
#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QVariantList>
#include <QVariantMap>

/// What is shown of a report beside its own words, computed once so that an unchanged list stays the same
/// shared list.
class ReportView {
public:
    /// `report` is the server's answer, with what was asked where it does not say that itself. Weeks of
    /// days begin with `weekday`.
    void update(const QJsonObject& report, const QJsonArray& projects, int weekday);

    /// ReportFigures::rows
    [[nodiscard]] const QJsonArray& figures() const { return m_figures; }
    /// The same for the window.
    [[nodiscard]] const QVariantList& rows() const { return m_rows; }
    /// ReportPicture's `columns` and `series`
    [[nodiscard]] const QVariantList& columns() const { return m_columns; }
    [[nodiscard]] const QVariantList& series() const { return m_series; }
    /// `missing`, `instead`, `named`, `unit` and `highest` of ReportPicture, and the report's `kind` and
    /// `group`; {} without a report.
    [[nodiscard]] const QVariantMap& about() const { return m_about; }

private:
    QJsonArray m_figures;
    QVariantList m_rows;
    QVariantList m_columns;
    QVariantList m_series;
    QVariantMap m_about;
};
