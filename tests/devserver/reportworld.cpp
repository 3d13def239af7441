// SPDX-License-Identifier: MIT
#include "tests/devserver/reportworld.h"

#include "devserver/base/time.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QProcess>
#include <QRandomGenerator>
#include <QTimeZone>

#include <array>

using namespace Qt::StringLiterals;
using devserver::Connection;
using devserver::Entry;

namespace {

struct ProjectRow {
    QString name;
    bool hasClient;
    std::optional<int> rate;
};

const QList<ProjectRow> projectRows{
    {u"אתר"_s, true, 300'00},
    {u"Application"_s, true, 333'33},
    {u"Favours"_s, true, std::nullopt},
    {u"Own work"_s, false, 0},
};
// Mostly those with a rate, sometimes (-1) none.
constexpr std::array likelyProjects{0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 2, 3, 3, -1};
const QString clientName = u"Harbor \"Coffee\""_s;
const QString workspaceName = u"Sums"_s;

QJsonValue orNull(const std::optional<QString>& text) {
    return text ? QJsonValue(*text) : QJsonValue(QJsonValue::Null);
}

} // namespace

ReportWorld::ReportWorld(const ReportRules& rules) : m_people(m_database), m_rules(rules) {
    m_database.run(u"UPDATE workspaces SET name = ?, language = ?, currency = 'EUR', rounding_minutes = ?"
                   " WHERE id = ?"_s,
                   {workspaceName, rules.language, rules.roundingMinutes, m_people.workspace});
    addCatalog();
    if (!m_server.start(m_database)) {
        qFatal("the server does not start");
    }
}

void ReportWorld::addCatalog() {
    const QString client = World::newId();
    m_database.run(u"INSERT INTO clients (id, workspace_id, name) VALUES (?, ?, ?)"_s,
                   {client, m_people.workspace, clientName});
    for (const ProjectRow& row : projectRows) {
        projects += World::newId();
        m_database.run(
            u"INSERT INTO projects (id, workspace_id, client_id, name, color, archived, hourly_rate)"
            " VALUES (?, ?, ?, ?, '#000000', 0, ?)"_s,
            {projects.constLast(), m_people.workspace,
             row.hasClient ? QVariant(client) : QVariant(QMetaType::fromType<QString>()), row.name,
             row.rate ? QVariant(*row.rate) : QVariant(QMetaType::fromType<int>())});
    }
    for (const QString& project : projects.first(2)) {
        tasks += World::newId();
        m_database.run(u"INSERT INTO tasks (id, project_id, name) VALUES (?, ?, 'Design')"_s,
                       {tasks.constLast(), project});
    }
    for (const auto& name : {u"urgent"_s, u"דחוף"_s}) {
        tags += World::newId();
        m_database.run(u"INSERT INTO tags (id, workspace_id, name) VALUES (?, ?, ?)"_s,
                       {tags.constLast(), m_people.workspace, name});
    }
}

Entry ReportWorld::entry(const QString& start, qint64 seconds) const {
    Entry entry;
    entry.id = World::newId();
    entry.workspaceId = m_people.workspace;
    entry.userId = m_people.developer;
    entry.startAt = *devserver::parseInstant(start);
    entry.stopAt = entry.startAt + seconds;
    entry.version = 1;
    return entry;
}

void ReportWorld::add(const QList<Entry>& entries) {
    Connection connection(m_database.address());
    devserver::Transaction transaction(connection, devserver::Transaction::Kind::Write);
    devserver::insertEntries(connection, entries);
    transaction.commit();
    m_entries += entries;
}

void ReportWorld::addRandom(const QStringList& moments, const QByteArray& zoneName) {
    QRandomGenerator random(quint32(2026));
    const QTimeZone zone(zoneName);
    QList<Entry> entries;
    for (const QString& moment : moments) {
        const QDate day = QDateTime::fromString(moment, Qt::ISODate).toTimeZone(zone).date();
        for (int i = 0; i < 60; ++i) {
            Entry one = entry(moment, 0);
            const bool midnight = random.bounded(5) == 0;
            one.startAt = midnight ? day.addDays(random.bounded(-9, 9)).startOfDay(zone).toSecsSinceEpoch()
                                   : one.startAt + random.bounded(-9 * 86400, 9 * 86400);
            const int longest = random.bounded(8) == 0 ? 3 * 86400 : 5 * 3600;
            one.stopAt = midnight && random.bounded(2) == 0
                             ? day.addDays(9).startOfDay(zone).toSecsSinceEpoch()
                             : one.startAt + (random.bounded(20) == 0 ? 0 : random.bounded(longest));
            one.userId = random.bounded(3) == 0 ? m_people.other : m_people.developer;
            one.description = u"work \\ עבודה\t%1"_s.arg(i);
            if (const int project = likelyProjects[size_t(random.bounded(int(likelyProjects.size())))];
                project >= 0) {
                one.projectId = projects[project];
                if (project < 2 && random.bounded(2) == 0) {
                    one.taskId = tasks[project];
                }
            }
            one.billable = random.bounded(3) > (one.projectId == projects[2] || !one.projectId ? 1 : 0);
            if (random.bounded(3) == 0) {
                one.tagIds = R"([")" + tags[random.bounded(2)].toLatin1() + R"(","unknown"])";
            }
            if (random.bounded(10) == 0) {
                one.deletedAt = *one.stopAt;
            }
            entries += one;
        }
    }
    entries.first().stopAt.reset(); // running
    entries.first().deletedAt.reset();
    add(entries);
}

Reply ReportWorld::query(const QString& kind, const QJsonObject& body, const QByteArray& token) const {
    return client(token).postTo(
        u"/v1/workspaces/%1/reports/%2/query"_s.arg(m_people.workspace, kind).toStdString(), body);
}

QJsonObject ReportWorld::description() const {
    const auto named = [](const QStringList& ids, const QStringList& names) {
        QJsonObject object;
        for (qsizetype i = 0; i < ids.size(); ++i) {
            object.insert(ids[i], names[i]);
        }
        return object;
    };
    QJsonObject projectsById;
    for (qsizetype i = 0; i < projects.size(); ++i) {
        const ProjectRow& row = projectRows[i];
        projectsById.insert(projects[i],
                            QJsonObject{{u"name"_s, row.name},
                                        {u"client"_s, row.hasClient ? QJsonValue(u"c"_s) : QJsonValue()},
                                        {u"rate"_s, row.rate ? QJsonValue(*row.rate) : QJsonValue()}});
    }
    return {{u"id"_s, m_people.workspace},
            {u"language"_s, m_rules.language},
            {u"rounding_minutes"_s, m_rules.roundingMinutes},
            {u"projects"_s, projectsById},
            {u"clients"_s, QJsonObject{{u"c"_s, clientName}}},
            {u"tasks"_s, named(tasks, {u"Design"_s, u"Design"_s})},
            {u"users"_s, named({m_people.developer, m_people.other}, {u"Developer"_s, u"Other"_s})},
            {u"tags"_s, named(tags, {u"urgent"_s, u"דחוף"_s})}};
}

QJsonArray ReportWorld::plainSums(const QJsonArray& queries) const {
    QJsonArray entries;
    for (const Entry& one : m_entries) {
        entries += QJsonObject{{u"id"_s, one.id},
                               {u"user"_s, one.userId},
                               {u"description"_s, one.description},
                               {u"project"_s, orNull(one.projectId)},
                               {u"task"_s, orNull(one.taskId)},
                               {u"tags"_s, QJsonDocument::fromJson(one.tagIds).array()},
                               {u"billable"_s, one.billable},
                               {u"start"_s, one.startAt},
                               {u"stop"_s, one.stopAt ? QJsonValue(*one.stopAt) : QJsonValue()},
                               {u"deleted"_s, one.deletedAt.has_value()},
                               {u"version"_s, one.version}};
    }
    QProcess python;
    python.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    python.start(QStringLiteral(PYTHON_PROGRAM), {QStringLiteral(TEST_DATA "/plainsums.py")});
    python.write(
        QJsonDocument(
            QJsonObject{{u"workspace"_s, description()}, {u"entries"_s, entries}, {u"queries"_s, queries}})
            .toJson());
    python.closeWriteChannel();
    if (!python.waitForFinished(120'000)) {
        return {};
    }
    return QJsonDocument::fromJson(python.readAllStandardOutput()).array();
}

QJsonArray ReportWorld::storedRows(const QString& snapshot) const {
    Connection connection(m_database.address());
    QSqlQuery query = connection.run(
        u"SELECT position, content FROM report_rows WHERE snapshot_id = ? ORDER BY position"_s, {snapshot});
    QJsonArray rows;
    while (connection.next(query)) {
        if (query.value(0).toInt() != rows.size()) {
            return {};
        }
        for (const QByteArray& row : query.value(1).toString().toUtf8().split('\n')) {
            rows += QJsonDocument::fromJson(row).object();
        }
    }
    return rows;
}

QJsonObject reportBody(const QString& from, const QString& to, const QString& zone, const QString& group) {
    return {{u"from_date"_s, from},
            {u"to_date"_s, to},
            {u"timezone"_s, zone},
            {u"group_by"_s, QJsonArray{group}}};
}
