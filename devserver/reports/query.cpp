// SPDX-License-Identifier: MIT
#include "devserver/reports/query.h"

#include "devserver/base/apierror.h"
#include "devserver/base/time.h"

#include <QJsonArray>

#include <algorithm>
#include <array>
#include <string_view>

namespace devserver {
namespace {

constexpr int longestYears = 10;

template <typename Value>
using Named = std::pair<std::u16string_view, Value>;

constexpr std::array kinds{
    Named<ReportKind>{u"summary", ReportKind::Summary},
    Named<ReportKind>{u"detailed", ReportKind::Detailed},
    Named<ReportKind>{u"weekly", ReportKind::Weekly},
};

constexpr std::array groupings{
    Named<Grouping>{u"project", Grouping::Project}, Named<Grouping>{u"client", Grouping::Client},
    Named<Grouping>{u"task", Grouping::Task},       Named<Grouping>{u"user", Grouping::User},
    Named<Grouping>{u"day", Grouping::Day},         Named<Grouping>{u"week", Grouping::Week},
};

[[noreturn]] void refuse(const QString& message) {
    throw ApiError{422, u"invalid_report"_s, message};
}

template <typename Table>
auto find(const Table& table, const QString& name, const QString& refusal) {
    const auto found = std::find_if(table.begin(), table.end(),
                                    [&name](const auto& entry) { return QStringView(entry.first) == name; });
    if (found == table.end()) {
        refuse(refusal);
    }
    return found->second;
}

QDate readDate(const QJsonValue& value, const QString& refusal) {
    const QDate date = parseDate(value.toString());
    if (!date.isValid()) {
        refuse(refusal);
    }
    return date;
}

QString readGroup(const QJsonValue& value) {
    const QJsonArray names = value.toArray();
    if (names.size() != 1 || !names[0].isString()) {
        refuse(u"A report is grouped by exactly one of project, client, task, user, day and "
               "week."_s);
    }
    return names[0].toString();
}

int readLimit(const QJsonValue& value) {
    const qint64 limit = value.toInteger(0);
    if (limit < 1 || limit > 500) {
        refuse(u"The limit must be a whole number from 1 to 500."_s);
    }
    return static_cast<int>(limit);
}

} // namespace

bool ReportQuery::splitsDays() const {
    return kind == ReportKind::Weekly ||
           (kind == ReportKind::Summary && (grouping == Grouping::Day || grouping == Grouping::Week));
}

ReportQuery readReportQuery(const QString& kind, const QJsonObject& body) {
    ReportQuery query;
    query.kindName = kind;
    query.kind = find(kinds, kind, u"A report is either summary, detailed or weekly."_s);
    query.from =
        readDate(body.value(u"from_date"), u"The first day must be a date of the form YYYY-MM-DD."_s);
    query.to = readDate(body.value(u"to_date"), u"The last day must be a date of the form YYYY-MM-DD."_s);
    if (query.to < query.from) {
        refuse(u"The last day lies before the first day."_s);
    }
    if (query.to >= query.from.addYears(longestYears)) {
        refuse(u"A report covers at most %1 years."_s.arg(longestYears));
    }
    query.zoneName = body.value(u"timezone").toString();
    const auto zone = zoneNamed(query.zoneName);
    if (!zone) {
        refuse(u"The server does not know this time zone."_s);
    }
    query.zone = *zone;
    query.groupingName = readGroup(body.value(u"group_by"));
    query.grouping = find(groupings, query.groupingName,
                          u"A report is grouped by project, client, task, user, day or week."_s);
    if (body.contains(u"limit")) {
        query.limit = readLimit(body.value(u"limit"));
    }
    return query;
}

} // namespace devserver
