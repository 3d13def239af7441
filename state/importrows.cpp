// SPDX-License-Identifier: MIT
#include "state/importrows.h"

#include "state/timestamp.h"

#include <QHash>
#include <QList>
#include <QSet>
#include <QStringList>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QSet<QString> namesIn(const QJsonValue& list) {
    QSet<QString> names;
    for (const auto& name : list.toArray()) {
        names.insert(name.toString());
    }
    return names;
}

/// What is new to the workspace.
struct News {
    QSet<QString> clients;
    QSet<QString> projects;

    [[nodiscard]] QString of(const QJsonObject& record) const {
        QStringList news;
        if (clients.contains(record[u"client"].toString())) {
            news.append(u"client"_s);
        }
        if (projects.contains(record[u"project"].toString())) {
            news.append(u"project"_s);
        }
        return news.join(u' ');
    }
};

QString placeOf(const QJsonObject& record) {
    QStringList names;
    for (const auto key : {"client"_L1, "project"_L1, "task"_L1}) {
        if (const QString name = record[key].toString(); !name.isEmpty()) {
            names.append(name);
        }
    }
    return names.join(u" / "_s);
}

/// To the minute, and the day once.
QString whenText(const QString& from, const QString& to) {
    constexpr qsizetype day = 10;
    constexpr qsizetype minute = 16;
    const bool oneDay = from.left(day) == to.left(day);
    return from.left(minute) + u"–"_s + (oneDay ? to.left(minute).mid(day + 1) : to.left(minute));
}

QJsonObject recordRow(const QJsonObject& record, const QString& what, const QString& zone, const News& news) {
    return {{u"what"_s, what},
            {u"row"_s, record[u"row"].toInteger()},
            {u"title"_s, record[u"description"].toString()},
            {u"place"_s, placeOf(record)},
            {u"when"_s, whenText(timeText(record[u"start_at"].toString(), zone),
                                 timeText(record[u"stop_at"].toString(), zone))},
            {u"news"_s, news.of(record)}};
}

QJsonObject problemRow(const QJsonObject& problem) {
    return {{u"what"_s, u"problem"_s},
            {u"row"_s, problem[u"row"].toInteger()},
            {u"column"_s, problem[u"column"].toString()},
            {u"message"_s, problem[u"message"].toString()},
            {u"code"_s, problem[u"code"].toString()}};
}

QJsonObject nameRow(const QString& name, const QString& kind) {
    return {{u"what"_s, u"name"_s}, {u"row"_s, 0}, {u"title"_s, name}, {u"news"_s, kind}};
}

} // namespace

QJsonArray ImportRows::of(const QJsonObject& preview, const QString& zone) {
    const News news{namesIn(preview[u"new_clients"]), namesIn(preview[u"new_projects"])};
    QList<QJsonObject> records;
    for (const auto& problem : preview[u"problems"].toArray()) {
        records.append(problemRow(problem.toObject()));
    }
    for (const auto& record : preview[u"sample"].toArray()) {
        records.append(recordRow(record.toObject(), u"entry"_s, zone, news));
    }
    for (const auto& record : preview[u"duplicate_rows"].toArray()) {
        records.append(recordRow(record.toObject(), u"duplicate"_s, zone, {}));
    }
    std::stable_sort(records.begin(), records.end(), [](const QJsonObject& left, const QJsonObject& right) {
        return left[u"row"].toInteger() < right[u"row"].toInteger();
    });
    QJsonArray rows;
    std::copy(records.begin(), records.end(), std::back_inserter(rows));
    for (const auto& [key, kind] :
         {std::pair("new_clients"_L1, u"client"_s), std::pair("new_projects"_L1, u"project"_s)}) {
        for (const auto& name : preview[key].toArray()) {
            rows.append(nameRow(name.toString(), kind));
        }
    }
    return rows;
}

QJsonObject ImportRows::counts(const QJsonObject& preview, const QJsonArray& rows) {
    QHash<QString, int> listed;
    QSet<qint64> refused;
    for (const auto& row : rows) {
        const QString what = row[u"what"].toString();
        if (what == u"problem") {
            refused.insert(row[u"row"].toInteger());
        } else {
            ++listed[what];
        }
    }
    const int problems = static_cast<int>(refused.size());
    const int records = listed[u"entry"_s] + listed[u"duplicate"_s] + problems;
    const auto told = [&](const auto& key, int atLeast) { return preview[key].toInteger(atLeast); };
    const int names = listed[u"name"_s];
    return {{u"entry"_s, told(u"total", records)},
            {u"problem"_s, told(u"invalid", problems)},
            {u"duplicate"_s, told(u"duplicates", listed[u"duplicate"_s])},
            {u"name"_s, told(u"new_project_count", names) + told(u"new_client_count", 0)},
            {u"listed"_s, QJsonObject{{u"entry"_s, records},
                                      {u"problem"_s, problems},
                                      {u"duplicate"_s, listed[u"duplicate"_s]},
                                      {u"name"_s, names}}}};
}
