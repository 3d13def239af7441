// SPDX-License-Identifier: MIT
#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QString>

/// What can be read off a report's rows. `report` is the server's answer, with `kind`, `group_by` and
/// `timezone` as they were asked for where it does not repeat them; `projects` is the workspace's catalog.
class ReportFigures {
public:
    /// The answer's rows in their order, each with
    /// `share`: its part of the report's raw time in tenths of a per cent. All rows of a whole report are
    /// 1000
    ///   together; of one that was cut they are what they are of the whole;
    /// `color`: its project's, or "";
    /// `amount_text`: "22230.00" and `currency`: "ILS", both "" when the server tells no amount;
    /// `day`: the day on which an entry starts in the report's zone, for rows that are entries.
    [[nodiscard]] static QJsonArray rows(const QJsonObject& report, const QJsonArray& projects);

    /// The parts in thousandths of `whole`, or of their sum where that is more, rounded so that they add up
    /// to it; what is negative counts as 0.
    [[nodiscard]] static QList<int> shares(const QList<qint64>& parts, qint64 whole);

    /// The raw time of a row or a report; 0 where there is none.
    [[nodiscard]] static qint64 rawSeconds(const QJsonObject& row);
    /// By what a report was grouped.
    [[nodiscard]] static QString groupOf(const QJsonObject& report);
};
