// SPDX-License-Identifier: MIT
#include "devserver/timesheets/timesheetview.h"

#include "devserver/base/jsontext.h"

#include <QDateTime>
#include <QHash>
#include <QVariant>

#include <algorithm>

namespace devserver {
namespace {

qint64 secondsInside(const Period& period, qint64 start, qint64 stop) {
    return std::max<qint64>(std::min(stop, period.endAt) - std::max(start, period.startAt), 0);
}

// One pass over the entries: asking the database for each period's sum would
// read them once for every period.
QHash<QString, qint64> durations(Connection& connection, const QString& userId, const QString& workspaceId,
                                 const QList<Period>& periods) {
    QHash<QString, qint64> sums;
    QSqlQuery query = connection.run(
        QStringLiteral("SELECT start_at, stop_at FROM time_entries WHERE workspace_id = ? AND user_id = ?"
                       " AND stop_at IS NOT NULL AND deleted_at IS NULL"),
        {workspaceId, userId});
    while (connection.next(query)) {
        for (const Period& period : periods) {
            sums[period.id] +=
                secondsInside(period, query.value(0).toLongLong(), query.value(1).toLongLong());
        }
    }
    return sums;
}

void appendPeriod(QByteArray& out, const Period& period, qint64 seconds) {
    out += R"({"id":)";
    appendString(out, period.id);
    out += R"(,"status":)";
    appendString(out, period.status);
    out += R"(,"from_date":)";
    appendString(out, period.fromDate);
    out += R"(,"to_date":)";
    appendString(out, period.toDate);
    out += R"(,"timezone":)";
    appendString(out, period.timezone);
    out += R"(,"version":)" + QByteArray::number(period.version);
    out += R"(,"last_reason":)";
    appendStringOrNull(out, period.lastReason);
    out += R"(,"duration_seconds":)" + QByteArray::number(seconds) + '}';
}

/// One day's part of the reply while its entries are still coming.
struct Day {
    QString date;
    qint64 seconds = 0;
    QByteArray entries = "[";
};

void appendDay(QByteArray& out, Day& day) {
    if (day.date.isEmpty()) {
        return;
    }
    closeArray(day.entries);
    out += R"({"date":)";
    appendString(out, day.date);
    out += R"(,"duration_seconds":)" + QByteArray::number(day.seconds);
    out += R"(,"entries":)" + day.entries + "},";
}

void appendLocal(QByteArray& out, const QDateTime& time) {
    appendString(out, time.toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss")));
}

// Appends the row that the query stands at, and counts it.
void appendEntry(Day& day, const QSqlQuery& query, const Period& period, const QTimeZone& zone) {
    const qint64 start = query.value(3).toLongLong();
    QByteArray& out = day.entries;
    out += R"({"id":)";
    appendString(out, query.value(0).toString());
    out += R"(,"description":)";
    appendString(out, query.value(1).toString());
    out += R"(,"project":)";
    appendStringOrNull(out,
                       query.value(2).isNull() ? std::nullopt : std::optional(query.value(2).toString()));
    out += R"(,"start_local":)";
    appendLocal(out, QDateTime::fromSecsSinceEpoch(start, zone));
    if (query.value(4).isNull()) {
        out += R"(,"stop_local":null,"duration_seconds":null},)";
        return;
    }
    const qint64 stop = query.value(4).toLongLong();
    const qint64 seconds = secondsInside(period, start, stop);
    day.seconds += seconds;
    out += R"(,"stop_local":)";
    appendLocal(out, QDateTime::fromSecsSinceEpoch(stop, zone));
    out += R"(,"duration_seconds":)" + QByteArray::number(seconds) + "},";
}

} // namespace

QByteArray timesheetReply(Connection& connection, const Caller& caller) {
    struct Workspace {
        QString id;
        QString name;
    };
    QList<Workspace> workspaces;
    QSqlQuery query = connection.run(
        QStringLiteral("SELECT w.id, w.name FROM workspaces w JOIN members m"
                       " ON m.workspace_id = w.id WHERE m.user_id = ? ORDER BY w.created_at, w.id"),
        {caller.userId});
    while (connection.next(query)) {
        workspaces += {query.value(0).toString(), query.value(1).toString()};
    }
    QByteArray body = R"({"user":)" + identityReply(connection, caller) + R"(,"workspaces":[)";
    for (const Workspace& workspace : std::as_const(workspaces)) {
        const QList<Period> periods = periodsOf(connection, caller.userId, workspace.id);
        const auto sums = durations(connection, caller.userId, workspace.id, periods);
        body += R"({"id":)";
        appendString(body, workspace.id);
        body += R"(,"name":)";
        appendString(body, workspace.name);
        body += R"(,"periods":[)";
        for (const Period& period : periods) {
            appendPeriod(body, period, sums.value(period.id));
            body += ',';
        }
        closeArray(body);
        body += "},";
    }
    closeArray(body);
    return body + '}';
}

QByteArray periodEntriesReply(Connection& connection, const QString& userId, const Period& period) {
    QSqlQuery query = connection.run(
        QStringLiteral("SELECT e.id, e.description, p.name, e.start_at, e.stop_at FROM time_entries e"
                       " LEFT JOIN projects p ON p.id = e.project_id WHERE e.workspace_id = ?"
                       " AND e.user_id = ? AND e.deleted_at IS NULL AND e.start_at < ?"
                       " AND (e.stop_at IS NULL OR e.stop_at > ?) ORDER BY e.start_at, e.id"),
        {period.workspaceId, userId, period.endAt, period.startAt});
    const QTimeZone zone = period.zone();
    QByteArray body = R"({"days":[)";
    Day day;
    while (connection.next(query)) {
        const qint64 start = std::max(query.value(3).toLongLong(), period.startAt);
        const QString date = QDateTime::fromSecsSinceEpoch(start, zone).date().toString(Qt::ISODate);
        if (date != day.date) {
            appendDay(body, day);
            day = {};
            day.date = date;
        }
        appendEntry(day, query, period, zone);
    }
    appendDay(body, day);
    closeArray(body);
    return body + '}';
}

} // namespace devserver
