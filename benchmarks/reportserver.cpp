// SPDX-License-Identifier: MIT
#include "benchmarks/reportserver.h"

#include "devserver/entries/entries.h"
#include "devserver/store/schema.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTimeZone>
#include <QUuid>
#include <QVariant>

#include <benchmark/benchmark.h>
#include <httplib.h>

#include <stdexcept>

using namespace Qt::StringLiterals;

using devserver::Connection;
using devserver::Transaction;

const QString ReportServer::from = u"2023-01-01"_s;
const QString ReportServer::to = u"2026-12-31"_s;
const QString ReportServer::zone = u"Asia/Jerusalem"_s;

namespace {

constexpr int people = 8;
constexpr int projectCount = 40;
constexpr int tasksEach = 4;

struct Project {
    QString id;
    QStringList tasks;
};

QString newId() {
    return QUuid::createUuid().toString(QUuid::WithoutBraces);
}

QStringList addPeople(Connection& connection) {
    QStringList ids{devserver::developmentUser};
    while (ids.size() < people) {
        const QString id = newId();
        connection.run(u"INSERT INTO users (id, email, display_name, timezone)"
                       " VALUES (?, ?, ?, 'UTC')"_s,
                       {id, id + u"@example.org"_s, u"Person %1"_s.arg(ids.size())});
        connection.run(u"INSERT INTO members (workspace_id, user_id) VALUES (?, ?)"_s,
                       {devserver::developmentWorkspace, id});
        ids += id;
    }
    return ids;
}

QList<Project> addProjects(Connection& connection) {
    QList<Project> projects;
    while (projects.size() < projectCount) {
        Project project{newId(), {}};
        connection.run(u"INSERT INTO projects (id, workspace_id, name, color, archived,"
                       " hourly_rate) VALUES (?, ?, ?, '#2e86ab', 0, 25000)"_s,
                       {project.id, devserver::developmentWorkspace, u"פרויקט %1"_s.arg(projects.size())});
        while (project.tasks.size() < tasksEach) {
            project.tasks += newId();
            connection.run(u"INSERT INTO tasks (id, project_id, name) VALUES (?, ?, ?)"_s,
                           {project.tasks.constLast(), project.id, u"Task %1"_s.arg(project.tasks.size())});
        }
        projects += project;
    }
    return projects;
}

std::string bodyOf(const httplib::Result& result) {
    if (!result || (result->status != 200 && result->status != 201)) {
        throw std::runtime_error("the server does not answer as it should");
    }
    return result->body;
}

} // namespace

ReportServer::ReportServer(int entries) {
    fill(entries);
    start();
}

ReportServer::~ReportServer() {
    m_process.kill();
    m_process.waitForFinished();
}

void ReportServer::restart() {
    m_process.terminate();
    if (!m_process.waitForFinished()) {
        throw std::runtime_error("the server does not end");
    }
    start();
}

QString ReportServer::databaseFile() const {
    return m_folder.filePath(u"server.sqlite"_s);
}

void ReportServer::fill(int count) const {
    devserver::DatabaseAddress address;
    address.name = databaseFile();
    Connection connection(address);
    devserver::migrate(connection);
    Transaction transaction(connection, Transaction::Kind::Write);
    connection.run(u"UPDATE workspaces SET rounding_minutes = 15"_s);
    const QStringList users = addPeople(connection);
    const QList<Project> projects = addProjects(connection);

    QRandomGenerator random(2026);
    const QTimeZone local(zone.toLatin1());
    const qint64 first = QDate::fromString(from, Qt::ISODate).startOfDay(local).toSecsSinceEpoch();
    const qint64 end = QDate::fromString(to, Qt::ISODate).startOfDay(local).toSecsSinceEpoch();
    QList<devserver::Entry> entries;
    for (int i = 0; i < count; ++i) {
        const Project& project = projects[random.bounded(projectCount)];
        devserver::Entry entry;
        entry.id = newId();
        entry.workspaceId = devserver::developmentWorkspace;
        entry.userId = users[i % people];
        entry.description = u"פגישת תכנון, review of change %1"_s.arg(i);
        entry.projectId = project.id;
        entry.taskId = project.tasks[random.bounded(tasksEach)];
        entry.billable = i % 3 != 0;
        entry.startAt = first + (end - first) * i / count;
        entry.stopAt = entry.startAt + 600 + random.bounded(6000);
        entry.version = 2;
        entries += entry;
    }
    devserver::insertEntries(connection, entries);
    transaction.commit();
}

void ReportServer::start() {
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(QStringLiteral(DEVSERVER_PROGRAM),
                    {u"--listen"_s, u"127.0.0.1:0"_s, u"--database"_s, u"sqlite:"_s + databaseFile()});
    static const QRegularExpression listening(u"Listening on http://127\\.0\\.0\\.1:([0-9]+)"_s);
    int port = 0;
    while (port == 0 && (m_process.canReadLine() || m_process.waitForReadyRead())) {
        port = listening.match(QString::fromUtf8(m_process.readLine())).captured(1).toInt();
    }
    if (port == 0) {
        throw std::runtime_error("the development server does not start");
    }
    m_client = std::make_unique<httplib::Client>("127.0.0.1", port);
    m_client->set_keep_alive(true);
    m_client->set_tcp_nodelay(true);
    m_client->set_read_timeout(std::chrono::minutes(5));
    if (get("/v1/me").empty()) {
        throw std::runtime_error("the development server does not answer");
    }
    m_idle = peakMemory();
}

std::string ReportServer::workspacePath() const {
    return "/v1/workspaces/" + devserver::developmentWorkspace.toStdString();
}

std::string ReportServer::get(const std::string& path) const {
    return bodyOf(m_client->Get(path));
}

std::string ReportServer::post(const std::string& path, const QJsonObject& body) const {
    return bodyOf(m_client->Post(path, {{"Idempotency-Key", newId().toStdString()}},
                                 QJsonDocument(body).toJson().toStdString(), "application/json"));
}

std::string ReportServer::report(const QString& kind, const QString& group) const {
    return post(workspacePath() + "/reports/" + kind.toStdString() + "/query",
                {{u"from_date"_s, from},
                 {u"to_date"_s, to},
                 {u"timezone"_s, zone},
                 {u"group_by"_s, QJsonArray{group}},
                 {u"limit"_s, 500}});
}

double ReportServer::readBare(int entries) const {
    const QString name = newId();
    const auto removed = qScopeGuard([&name] { QSqlDatabase::removeDatabase(name); });
    QSqlDatabase database = QSqlDatabase::addDatabase(u"QSQLITE"_s, name);
    database.setDatabaseName(databaseFile());
    if (!database.open()) {
        throw std::runtime_error("the server's file cannot be read");
    }
    QElapsedTimer timer;
    timer.start();
    QSqlQuery query(database);
    query.setForwardOnly(true);
    query.prepare(u"SELECT id, workspace_id, user_id, description, project_id, tag_ids,"
                  " billable, start_at, stop_at, deleted_at, version, task_id"
                  " FROM time_entries WHERE workspace_id = ? AND stop_at IS NOT NULL"
                  " AND deleted_at IS NULL ORDER BY start_at DESC, id DESC"_s);
    query.addBindValue(devserver::developmentWorkspace);
    query.exec();
    int rows = 0;
    for (; query.next(); ++rows) {
        for (int column = 0; column < 12; ++column) {
            benchmark::DoNotOptimize(query.value(column));
        }
    }
    const double seconds = static_cast<double>(timer.nsecsElapsed()) / 1e9;
    if (rows != entries) {
        throw std::runtime_error("the entries are not those of the report");
    }
    return seconds;
}

void ReportServer::forgetReports() const {
    devserver::DatabaseAddress address;
    address.name = databaseFile();
    Connection connection(address);
    connection.run(u"DELETE FROM report_rows"_s);
    connection.run(u"DELETE FROM report_snapshots"_s);
}

void ReportServer::resetPeak() const {
    QFile file(u"/proc/%1/clear_refs"_s.arg(m_process.processId()));
    if (!file.open(QIODevice::WriteOnly) || file.write("5") != 1) {
        throw std::runtime_error("the count of the highest memory cannot be reset");
    }
}

double ReportServer::peakMemory() const {
    QFile file(u"/proc/%1/status"_s.arg(m_process.processId()));
    static const QRegularExpression highest(u"VmHWM:\\s+([0-9]+) kB"_s);
    if (!file.open(QIODevice::ReadOnly)) {
        throw std::runtime_error("the server has ended");
    }
    return highest.match(QString::fromLatin1(file.readAll())).captured(1).toDouble() / 1024;
}
