// SPDX-License-Identifier: MIT
#include "devserver/timesheets/periods.h"

#include "devserver/accounts/accounts.h"
#include "devserver/base/apierror.h"
#include "devserver/base/jsontext.h"
#include "devserver/base/timezones.h"

#include <QDateTime>
#include <QUuid>
#include <QVariant>

namespace devserver {
namespace {

const QString columns = QStringLiteral("SELECT id, workspace_id, status, from_date, to_date, timezone,"
                                       " start_at, end_at, version, last_reason FROM timesheet_periods");
const QString openStatus = QStringLiteral("open");
const QString submittedStatus = QStringLiteral("submitted");
const QString approvedStatus = QStringLiteral("approved");

ApiError refusal(const QString& code, const QString& message) {
    return {409, code, message};
}

ApiError noSuchPeriod() {
    return {404, QStringLiteral("not_found"),
            QStringLiteral("This period does not exist or is not yours to see.")};
}

Period readPeriod(const QSqlQuery& query) {
    Period period;
    period.id = query.value(0).toString();
    period.workspaceId = query.value(1).toString();
    period.status = query.value(2).toString();
    period.fromDate = query.value(3).toString();
    period.toDate = query.value(4).toString();
    period.timezone = query.value(5).toString();
    period.startAt = query.value(6).toLongLong();
    period.endAt = query.value(7).toLongLong();
    period.version = query.value(8).toLongLong();
    if (!query.value(9).isNull()) {
        period.lastReason = query.value(9).toString();
    }
    return period;
}

QTimeZone usableZone(const QString& name) {
    QTimeZone zone(name.toLatin1());
    return zone.isValid() ? zone : QTimeZone::utc();
}

QString textOf(Connection& connection, const QString& sql, const QString& id) {
    QSqlQuery query = connection.run(sql, {id});
    return connection.next(query) ? query.value(0).toString() : QString();
}

QDate firstDayOfWeek(QDate day, const QString& language) {
    const int sinceSunday = day.dayOfWeek() % 7;
    return day.addDays(language == u"he" ? -sinceSunday : 1 - day.dayOfWeek());
}

bool overlapsAnother(Connection& connection, const QString& userId, const Period& period) {
    QSqlQuery query = connection.run(QStringLiteral("SELECT 1 FROM timesheet_periods WHERE workspace_id = ?"
                                                    " AND user_id = ? AND start_at < ? AND end_at > ?"),
                                     {period.workspaceId, userId, period.endAt, period.startAt});
    return connection.next(query);
}

// A timer has no end yet, so every period that ends after its start would close it.
bool holdsRunningTimer(Connection& connection, const QString& userId, const Period& period) {
    QSqlQuery query =
        connection.run(QStringLiteral("SELECT 1 FROM time_entries WHERE workspace_id = ? AND user_id = ?"
                                      " AND stop_at IS NULL AND deleted_at IS NULL AND start_at < ?"),
                       {period.workspaceId, userId, period.endAt});
    return connection.next(query);
}

QString usableReason(const QString& text) {
    QString reason = text.trimmed();
    if (reason.isEmpty()) {
        throw ApiError{400, QStringLiteral("reason_missing"),
                       QStringLiteral("Say why the period is reopened.")};
    }
    if (reason.size() > longestReason || !isStorableText(reason)) {
        throw ApiError{
            400, QStringLiteral("reason_unusable"),
            QStringLiteral("The reason must be a text of at most %1 characters.").arg(longestReason)};
    }
    return reason;
}

// Throws unless the step starts at the period's status.
QString statusAfter(PeriodStep step, const QString& status) {
    switch (step) {
    case PeriodStep::Submit:
        if (status == openStatus) {
            return submittedStatus;
        }
        break;
    case PeriodStep::Approve:
        if (status == submittedStatus) {
            return approvedStatus;
        }
        break;
    case PeriodStep::Reopen:
        if (status != openStatus) {
            return openStatus;
        }
        break;
    }
    throw refusal(QStringLiteral("period_status"),
                  QStringLiteral("This cannot be done with a period whose status is \"%1\".").arg(status));
}

} // namespace

QTimeZone Period::zone() const {
    return usableZone(timezone);
}

QList<Period> periodsOf(Connection& connection, const QString& userId, const QString& workspaceId) {
    QSqlQuery query = connection.run(
        columns + QStringLiteral(" WHERE workspace_id = ? AND user_id = ? ORDER BY start_at DESC, id"),
        {workspaceId, userId});
    QList<Period> periods;
    while (connection.next(query)) {
        periods += readPeriod(query);
    }
    return periods;
}

Period findPeriod(Connection& connection, const QString& userId, const QString& id) {
    if (!isId(id)) {
        throw noSuchPeriod();
    }
    QSqlQuery query = connection.run(columns + QStringLiteral(" WHERE id = ? AND user_id = ?"), {id, userId});
    if (!connection.next(query)) {
        throw noSuchPeriod();
    }
    Period period = readPeriod(query);
    if (!isMember(connection, userId, period.workspaceId)) {
        throw noSuchPeriod();
    }
    return period;
}

Period addPeriod(Connection& connection, const QString& userId, const QString& workspaceId, QDate day) {
    if (!day.isValid() || day.year() < 1970 || day.year() > 9998) {
        throw ApiError{400, QStringLiteral("malformed"),
                       QStringLiteral("The date must be a day of the years 1970 to 9998.")};
    }
    if (!isMember(connection, userId, workspaceId)) {
        throw ApiError{404, QStringLiteral("not_found"),
                       QStringLiteral("This workspace does not exist or is not yours to see.")};
    }
    const QString language =
        textOf(connection, QStringLiteral("SELECT language FROM workspaces WHERE id = ?"), workspaceId);
    const QTimeZone zone =
        usableZone(textOf(connection, QStringLiteral("SELECT timezone FROM users WHERE id = ?"), userId));
    const QDate first = firstDayOfWeek(day, language);
    Period period;
    period.id = QUuid::createUuid().toString(QUuid::WithoutBraces);
    period.workspaceId = workspaceId;
    period.status = openStatus;
    period.fromDate = first.toString(Qt::ISODate);
    period.toDate = first.addDays(6).toString(Qt::ISODate);
    period.timezone = QString::fromLatin1(zone.id());
    period.startAt = firstMoment(first, zone);
    period.endAt = firstMoment(first.addDays(7), zone);
    period.version = 1;
    if (overlapsAnother(connection, userId, period)) {
        throw refusal(QStringLiteral("period_exists"),
                      QStringLiteral("There is a period in this week already."));
    }
    connection.run(
        QStringLiteral("INSERT INTO timesheet_periods (id, workspace_id, user_id, status, from_date, to_date,"
                       " timezone, start_at, end_at, version) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"),
        {period.id, workspaceId, userId, period.status, period.fromDate, period.toDate, period.timezone,
         period.startAt, period.endAt, period.version});
    return period;
}

Period takeStep(Connection& connection, const QString& userId, const QString& id, PeriodStep step,
                qint64 version, const QString& reason) {
    Period period = findPeriod(connection, userId, id);
    if (period.version != version) {
        throw refusal(QStringLiteral("period_changed"),
                      QStringLiteral("The period was changed elsewhere in the meantime."));
    }
    period.status = statusAfter(step, period.status);
    if (step == PeriodStep::Submit && holdsRunningTimer(connection, userId, period)) {
        throw refusal(QStringLiteral("timer_running"),
                      QStringLiteral("A timer is still running in this period; stop it first."));
    }
    period.lastReason = step == PeriodStep::Reopen ? std::optional(usableReason(reason)) : std::nullopt;
    ++period.version;
    connection.run(
        QStringLiteral("UPDATE timesheet_periods SET status = ?, version = ?, last_reason = ? WHERE id = ?"),
        {period.status, period.version, period.lastReason ? QVariant(*period.lastReason) : QVariant(),
         period.id});
    return period;
}

} // namespace devserver
