// SPDX-License-Identifier: MIT
#pragma once

#include <QDate>
#include <QJsonArray>
#include <QJsonObject>
#include <QString>

/// A report as columns over its period: one for each day, or for each week where the period is long or
/// the report counts by weeks.
class ReportPicture {
public:
    /// {`missing`: why there is none, else "";
    ///  `instead`: the report of the same range that may have one: "detailed", or "day" or "week" for a
    ///    summary by that; "" when this one has one, or when only a shorter range has;
    ///  `named`: whether it tells more than one sum for each column;
    ///  `unit`: "day" or "week"; `highest`: the seconds of the highest column;
    ///  `series`: [{`name`, `what`: "named", "none" (without a name), "others" (all that are too small to be
    ///    told apart) or "all" (the report tells no more), `color`: "#rrggbb" or "", `seconds`}], the largest
    ///    first, but the others last;
    ///  `columns`: [{`day`: its first, `seconds`, `parts`: [{`name`, `what` and `color` of its series,
    ///    `series`: its number, `seconds`, `base` and `height`: from where and how high it stands, the
    ///    highest column being 1}]}]}
    ///
    /// `missing` is "rows" when there are none, "cut" when the server kept some back, since the rest would
    /// look like days without work, "days" when the rows do not say when the work was done, and "long" when
    /// nobody could look at so many columns.
    ///
    /// `rows` are ReportFigures::rows of `report`. Days that are added up to weeks start them on `weekday`,
    /// as QDate counts.
    [[nodiscard]] static QJsonObject of(const QJsonObject& report, const QJsonArray& rows, int weekday);
};
