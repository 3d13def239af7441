// SPDX-License-Identifier: MIT
#pragma once

#include <QDate>
#include <QJsonObject>
#include <QString>
#include <QTimeZone>

namespace devserver {

enum class ReportKind { Summary, Detailed, Weekly };
enum class Grouping { Project, Client, Task, User, Day, Week };

/// What a report is asked for. The names are those of the request.
struct ReportQuery {
    ReportKind kind = ReportKind::Summary;
    QString kindName;
    Grouping grouping = Grouping::Project;
    QString groupingName;
    QDate from;
    QDate to; ///< the last day
    QTimeZone zone;
    QString zoneName;
    int limit = 500; ///< rows in the reply

    /// Whether an entry counts on every day that it touches, with the part that
    /// lies there, rather than as a whole on the day on which it starts.
    [[nodiscard]] bool splitsDays() const;
};

/// Reads `kind` of the address and the body {"from_date","to_date","timezone",
/// "group_by":[name],"limit"}, the last being optional. Throws ApiError 422.
[[nodiscard]] ReportQuery readReportQuery(const QString& kind, const QJsonObject& body);

} // namespace devserver
