// SPDX-License-Identifier: MIT
#include "devserver/timesheets/periods.h"

#include "devserver/accounts/accounts.h"
#include "devserver/base/apierror.h"
#include "devserver/base/json.h"
#include "devserver/base/time.h"

#include <algorithm>

namespace devserver {
namespace {

const QString columns = u"id, workspace_id, user_id, status, from_date, to_date, timezone,"
                        " start_at, end_at, version, last_reason"_s;

ApiError refusal(const QString& code, const QString& message) {
    return {409, code, message};
}

QList<Period> findPeriods(Connection& connection, const QString& rest, const QVariantList& values) {
    const QString sql = u"SELECT "_s + columns + u" FROM timesheet_periods WHERE "_s + rest;
    return connection.all(sql, values, [](const QSqlQuery& row) {
        const auto text = [&row](int column) { return row.value(column).toString(); };
        const auto number = [&row](int column) { return row.value(column).toLongLong(); };
        return Period{text(0),
                      text(1),
                      text(2),
                      text(3),
                      text(4),
                      text(5),
                      text(6),
                      number(7),
                      number(8),
                      number(9),
                      textOrNull(row.value(10))};
    });
}

QString usableReason(const QString& text) {
    QString reason = text.trimmed();
    if (reason.isEmpty()) {
        throw ApiError{400, u"reason_missing"_s, u"Say why the period is reopened."_s};
    }
    if (reason.size() > longestReason || !isStorableText(reason)) {
        throw ApiError{400, u"reason_unusable"_s,
                       u"The reason must be a text of at most %1 characters."_s.arg(longestReason)};
    }
    return reason;
}

// Throws unless the step starts at the period's status.
QString statusAfter(PeriodStep step, const QString& status) {
    if (step == PeriodStep::Submit && status == u"open") {
        return u"submitted"_s;
    }
    if (step == PeriodStep::Approve && status == u"submitted") {
        return u"approved"_s;
    }
    if (step == PeriodStep::Reopen && status != u"open") {
        return u"open"_s;
    }
    throw refusal(u"period_status"_s,
                  u"This cannot be done with a period whose status is \"%1\"."_s.arg(status));
}

} // namespace

bool Period::overlaps(qint64 start, const std::optional<qint64>& stop) const {
    return endAt > start && (!stop || startAt < *stop);
}

QList<Period> periodsOf(Connection& connection, const QString& workspaceId, const QString& userId) {
    return userId.isEmpty()
               ? findPeriods(connection, u"workspace_id = ? ORDER BY start_at, id"_s, {workspaceId})
               : findPeriods(connection, u"workspace_id = ? AND user_id = ? ORDER BY start_at, id"_s,
                             {workspaceId, userId});
}

bool isClosed(Connection& connection, const QString& userId, const QString& workspaceId, qint64 start,
              const std::optional<qint64>& stop) {
    const auto periods = findPeriods(connection, u"workspace_id = ? AND user_id = ? AND end_at > ?"_s,
                                     {workspaceId, userId, start});
    return std::any_of(periods.begin(), periods.end(), [&](const Period& period) {
        return period.isClosed() && period.overlaps(start, stop);
    });
}

void writeFields(JsonWriter& json, const Period& period) {
    json.field("id", period.id).field("status", period.status).field("from_date", period.fromDate);
    json.field("to_date", period.toDate).field("timezone", period.timezone);
    json.field("version", period.version).field("last_reason", period.lastReason);
}

Period findPeriod(Connection& connection, const QString& userId, const QString& id) {
    const auto found =
        isId(id) ? findPeriods(connection, u"id = ? AND user_id = ?"_s, {id, userId}) : QList<Period>();
    if (found.isEmpty() || !isMember(connection, userId, found[0].workspaceId)) {
        throw notFound(u"This period does not exist or is not yours to see."_s);
    }
    return found[0];
}

Period addPeriod(Connection& connection, const QString& userId, const QString& workspaceId, QDate day) {
    if (!day.isValid() || day.year() < 1970 || day.year() > 9998) {
        throw malformed(u"The date must be a day of the years 1970 to 9998."_s);
    }
    requireMember(connection, userId, workspaceId);
    QSqlQuery query = connection.run(
        u"SELECT w.language, u.timezone FROM workspaces w, users u WHERE w.id = ? AND u.id = ?"_s,
        {workspaceId, userId});
    if (!connection.next(query)) {
        throw DatabaseError("a member or their workspace does not exist");
    }
    const QDate first = firstOfWeek(day, query.value(0).toString());
    const QString timezone = query.value(1).toString();
    const QTimeZone zone = storedZone(timezone);
    Period period{newId(),
                  workspaceId,
                  userId,
                  u"open"_s,
                  first.toString(Qt::ISODate),
                  first.addDays(6).toString(Qt::ISODate),
                  timezone,
                  firstMoment(first, zone),
                  firstMoment(first.addDays(7), zone),
                  1,
                  {}};
    const QList<Period> others = periodsOf(connection, workspaceId, userId);
    if (std::any_of(others.begin(), others.end(),
                    [&](const Period& other) { return other.overlaps(period.startAt, period.endAt); })) {
        throw refusal(u"period_exists"_s, u"There is a period in this week already."_s);
    }
    connection.insert(u"timesheet_periods (%1)"_s.arg(columns),
                      {period.id, workspaceId, userId, period.status, period.fromDate, period.toDate,
                       period.timezone, period.startAt, period.endAt, period.version,
                       orNull(period.lastReason)});
    noteChange(connection, workspaceId);
    return period;
}

Period takeStep(Connection& connection, const QString& userId, const QString& id, PeriodStep step,
                qint64 version, const QString& reason) {
    Period period = findPeriod(connection, userId, id);
    if (period.version != version) {
        throw refusal(u"period_changed"_s, u"The period was changed elsewhere in the meantime."_s);
    }
    period.status = statusAfter(step, period.status);
    // A timer has no end yet, so every period that ends after its start would close it.
    if (step == PeriodStep::Submit &&
        connection.finds(u"SELECT 1 FROM time_entries WHERE workspace_id = ? AND user_id = ?"
                         " AND stop_at IS NULL AND deleted_at IS NULL AND start_at < ?"_s,
                         {period.workspaceId, userId, period.endAt})) {
        throw refusal(u"timer_running"_s, u"A timer is still running in this period; stop it first."_s);
    }
    period.lastReason = step == PeriodStep::Reopen ? std::optional(usableReason(reason)) : std::nullopt;
    ++period.version;
    connection.run(u"UPDATE timesheet_periods SET status = ?, version = ?, last_reason = ? WHERE id = ?"_s,
                   {period.status, period.version, orNull(period.lastReason), period.id});
    noteChange(connection, period.workspaceId);
    return period;
}

} // namespace devserver
