// SPDX-License-Identifier: MIT
#include "devserver/timesheets/view.h"

#include "devserver/base/json.h"
#include "devserver/base/time.h"

#include <QDateTime>
#include <QHash>

#include <algorithm>
#include <map>

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
    const QString sql = u"SELECT start_at, stop_at FROM time_entries WHERE workspace_id = ?"
                        " AND user_id = ? AND stop_at IS NOT NULL AND deleted_at IS NULL"_s;
    connection.each(sql, {workspaceId, userId}, [&](const QSqlQuery& row) {
        for (const Period& period : periods) {
            sums[period.id] += secondsInside(period, row.value(0).toLongLong(), row.value(1).toLongLong());
        }
    });
    return sums;
}

/// One day's part of the reply while its entries are still coming.
struct Day {
    qint64 seconds = 0;
    JsonWriter entries = JsonWriter().beginArray();
};

QString localTime(qint64 instant, const QTimeZone& zone) {
    return QDateTime::fromSecsSinceEpoch(instant, zone).toString(u"yyyy-MM-ddTHH:mm:ss"_s);
}

// Writes an entry, and counts it.
void writeEntry(Day& day, const QSqlQuery& row, const Period& period, const QTimeZone& zone) {
    const qint64 start = row.value(3).toLongLong();
    const auto stop = numberOrNull(row.value(4));
    const qint64 seconds = stop ? secondsInside(period, start, *stop) : 0;
    day.seconds += seconds;
    day.entries.beginObject().field("id", row.value(0).toString());
    day.entries.field("description", row.value(1).toString());
    day.entries.field("project", textOrNull(row.value(2))).field("start_local", localTime(start, zone));
    day.entries.field("stop_local", stop ? std::optional(localTime(*stop, zone)) : std::nullopt);
    day.entries.field("duration_seconds", stop ? std::optional(seconds) : std::nullopt).endObject();
}

} // namespace

QByteArray timesheetReply(Connection& connection, const Caller& caller) {
    JsonWriter json;
    json.beginObject().json("user", identityReply(connection, caller)).key("workspaces").beginArray();
    for (const Workspace& workspace : workspacesOf(connection, caller.userId)) {
        QList<Period> periods = periodsOf(connection, workspace.id, caller.userId);
        std::reverse(periods.begin(), periods.end());
        const auto sums = durations(connection, caller.userId, workspace.id, periods);
        json.beginObject().field("id", workspace.id).field("name", workspace.name);
        json.key("periods").beginArray();
        for (const Period& period : std::as_const(periods)) {
            json.beginObject();
            writeFields(json, period);
            json.field("duration_seconds", sums.value(period.id)).endObject();
        }
        json.endArray().endObject();
    }
    return json.endArray().endObject().take();
}

QByteArray periodEntriesReply(Connection& connection, const QString& userId, const Period& period) {
    const QString sql = u"SELECT e.id, e.description, p.name, e.start_at, e.stop_at FROM time_entries e"
                        " LEFT JOIN projects p ON p.id = e.project_id WHERE e.workspace_id = ?"
                        " AND e.user_id = ? AND e.deleted_at IS NULL AND e.start_at < ?"
                        " AND (e.stop_at IS NULL OR e.stop_at > ?) ORDER BY e.start_at, e.id"_s;
    const QTimeZone zone = storedZone(period.timezone);
    std::map<QDate, Day> days;
    connection.each(sql, {period.workspaceId, userId, period.endAt, period.startAt},
                    [&](const QSqlQuery& row) {
                        const qint64 start = std::max(row.value(3).toLongLong(), period.startAt);
                        const QDate date = QDateTime::fromSecsSinceEpoch(start, zone).date();
                        writeEntry(days[date], row, period, zone);
                    });
    JsonWriter json;
    json.beginObject().key("days").beginArray();
    for (auto& [date, day] : days) {
        json.beginObject().field("date", date.toString(Qt::ISODate)).field("duration_seconds", day.seconds);
        json.json("entries", day.entries.endArray().take()).endObject();
    }
    return json.endArray().endObject().take();
}

} // namespace devserver
