// SPDX-License-Identifier: MIT
#include "devserver/reports/query.h"

#include "devserver/base/apierror.h"
#include "devserver/base/time.h"

#include <QHash>
#include <QJsonArray>

namespace devserver {
namespace {

constexpr int longestYears = 10;

const QHash<QString, ReportKind> kinds{{u"summary"_s, ReportKind::Summary},
                                       {u"detailed"_s, ReportKind::Detailed},
                                       {u"weekly"_s, ReportKind::Weekly}};

const QHash<QString, Grouping> groupings{{u"project"_s, Grouping::Project}, {u"client"_s, Grouping::Client},
                                         {u"task"_s, Grouping::Task},       {u"user"_s, Grouping::User},
                                         {u"day"_s, Grouping::Day},         {u"week"_s, Grouping::Week}};

[[noreturn]] void refuse(const QString& message) {
    throw ApiError{422, u"invalid_report"_s, message};
}

template <typename Value>
Value find(const QHash<QString, Value>& known, const QString& name, const QString& refusal) {
    if (!known.contains(name)) {
        refuse(refusal);
    }
    return known.value(name);
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
        query.limit = requireLimit(body, u"invalid_report"_s);
    }
    return query;
}

} // namespace devserver
