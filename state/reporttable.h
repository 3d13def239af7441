// SPDX-License-Identifier: MIT
#pragma once

#include <QJsonArray>
#include <QList>
#include <QString>
#include <QStringList>

/// A report's rows as a table that other programs take from the clipboard. A text that a spreadsheet would
/// run as a formula has an apostrophe in front.
class ReportTable {
public:
    /// The columns behind those that name a row: raw time, rounded time, share in per cent, amount, currency.
    static constexpr qsizetype figureColumns = 5;

    /// `rows` are ReportFigures::rows. Of the titles the last five are of the figures; those before say in
    /// how many columns a row is named: by its labels, an entry by its day, project and description.
    ReportTable(const QStringList& titles, const QJsonArray& rows);

    /// A line of titles, then the rows, their cells divided by tabs.
    [[nodiscard]] QString text() const;
    /// The same as a page with one table.
    [[nodiscard]] QString html(bool rightToLeft) const;

    /// The text as it does nothing in a spreadsheet.
    [[nodiscard]] static QString harmless(const QString& text);

private:
    QList<QStringList> m_lines;
};
