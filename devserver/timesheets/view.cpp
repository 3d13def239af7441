// SPDX-License-Identifier: MIT
#include "devserver/timesheets/view.h"

#include "devserver/base/json.h"
#include "devserver/base/time.h"

#include <QDateTime>
#include <QHash>

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
    QSqlQuery query = connection.run(u"SELECT start_at, stop_at FROM time_entries WHERE workspace_id = ?"
                                     " AND user_id = ? AND stop_at IS NOT NULL AND deleted_at IS NULL"_s,
                                     {workspaceId, userId});
    while (connection.next(query)) {
        for (const Period& period : periods) {
            sums[period.id] +=
                secondsInside(period, query.value(0).toLongLong(), query.value(1).toLongLong());
        }
    }
    return sums;
}

/// One day's part of the reply while its entries are still coming.
struct Day {
    QString date;
    qint64 seconds = 0;
    JsonWriter entries;
};

QString localTime(qint64 instant, const QTimeZone& zone) {
    return QDateTime::fromSecsSinceEpoch(instant, zone).toString(u"yyyy-MM-ddTHH:mm:ss"_s);
}

// Writes the row that the query stands at, and counts it.
void writeEntry(Day& day, const QSqlQuery& query, const Period& period, const QTimeZone& zone) {
    const qint64 start = query.value(3).toLongLong();
    const auto stop = numberOrNull(query.value(4));
    const auto seconds = stop ? std::optional(secondsInside(period, start, *stop)) : std::nullopt;
    day.seconds += seconds.value_or(0);
    day.entries.beginObject().field("id", query.value(0).toString());
    day.entries.field("description", query.value(1).toString());
    day.entries.field("project", textOrNull(query.value(2))).field("start_local", localTime(start, zone));
    day.entries.field("stop_local", stop ? std::optional(localTime(*stop, zone)) : std::nullopt);
    day.entries.field("duration_seconds", seconds).endObject();
}

void writeDay(JsonWriter& json, Day& day) {
    json.beginObject().field("date", day.date).field("duration_seconds", day.seconds);
    json.json("entries", day.entries.endArray().take()).endObject();
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
    QSqlQuery query =
        connection.run(u"SELECT e.id, e.description, p.name, e.start_at, e.stop_at FROM time_entries e"
                       " LEFT JOIN projects p ON p.id = e.project_id WHERE e.workspace_id = ?"
                       " AND e.user_id = ? AND e.deleted_at IS NULL AND e.start_at < ?"
                       " AND (e.stop_at IS NULL OR e.stop_at > ?) ORDER BY e.start_at, e.id"_s,
                       {period.workspaceId, userId, period.endAt, period.startAt});
    const QTimeZone zone = storedZone(period.timezone);
    JsonWriter json;
    json.beginObject().key("days").beginArray();
    std::optional<Day> day;
    while (connection.next(query)) {
        const qint64 start = std::max(query.value(3).toLongLong(), period.startAt);
        const QString date = QDateTime::fromSecsSinceEpoch(start, zone).date().toString(Qt::ISODate);
        if (!day || date != day->date) {
            if (day) {
                writeDay(json, *day);
            }
            day.emplace().date = date;
            day->entries.beginArray();
        }
        writeEntry(*day, query, period, zone);
    }
    if (day) {
        writeDay(json, *day);
    }
    return json.endArray().endObject().take();
}

} // namespace devserver
