// SPDX-License-Identifier: MIT
#include "tests/endurance/world.h"

#include "tests/endurance/wrongclock.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QUuid>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 secondsPerDay = 86400;

QString newId() {
    return QUuid::createUuid().toString(QUuid::WithoutBraces);
}

} // namespace

bool World::start() {
    m_accounts.controller.reset();
    if (!m_accounts.serve()) {
        return false;
    }
    m_file = std::make_unique<SqliteFile>(m_accounts.server.databaseFile());
    const QStringList users = column(u"SELECT id FROM users"_s);
    for (const QString& user : users) {
        const QString workspace = newId();
        run(u"INSERT INTO workspaces (id, name, created_at) VALUES (?, 'Second room', 4000000000)"_s,
            {workspace});
        run(u"INSERT INTO members (workspace_id, user_id) VALUES (?, ?)"_s, {workspace, user});
        m_workspaces.insert(
            user,
            column(u"SELECT workspace_id FROM members WHERE user_id = '%1' ORDER BY rowid"_s.arg(user)));
    }
    const QStringList bare =
        column(u"SELECT id FROM workspaces WHERE id NOT IN (SELECT workspace_id FROM projects)"_s);
    for (const QString& workspace : bare) {
        run(u"INSERT INTO projects (id, workspace_id, name, color, archived)"
            " VALUES (?, ?, 'A project', '#123456', 0)"_s,
            {newId(), workspace});
    }
    return true;
}

void World::empty() {
    for (const char* table : {"mutations", "import_replies", "import_records", "imported_records", "imports",
                              "time_entries", "timesheet_periods", "sessions"}) {
        run(u"DELETE FROM "_s + QString::fromLatin1(table));
    }
    m_others.clear();
    m_edited.clear();
    noteChange();
}

void World::noteChange() const {
    run(u"UPDATE workspaces SET revision = revision + 1"_s);
}

void World::kill() {
    m_accounts.server.kill();
}

bool World::startAgain() {
    return m_accounts.server.start();
}

bool World::restart() {
    kill();
    return startAgain();
}

QString World::emailOf(const QString& user) const {
    return run(u"SELECT email FROM users WHERE id = ? AND password_hash IS NOT NULL"_s, {user}).toString();
}

void World::editEntry(const QString& entity) {
    m_edited.insert(entity);
    run(u"UPDATE time_entries SET description = description || '.', version = version + 1 WHERE id = ?"_s,
        {entity});
    noteChange();
}

void World::startTimer(const QString& user) {
    const QStringList workspaces = workspacesOf(user);
    const QString entity = newId();
    m_others.insert(entity);
    run(u"INSERT OR IGNORE INTO time_entries (id, workspace_id, user_id, description, tag_ids, billable,"
        " start_at, version) VALUES (?, ?, ?, 'elsewhere', '[]', 0, ?, 1)"_s,
        {entity, workspaces.first(), user, WrongClock::trueSeconds() - 60});
    noteChange();
}

void World::closePeriods(const QString& user) {
    const qint64 now = WrongClock::trueSeconds();
    const QStringList workspaces = workspacesOf(user);
    for (const QString& workspace : workspaces) {
        run(u"INSERT INTO timesheet_periods (id, workspace_id, user_id, status, from_date, to_date, timezone,"
            " start_at, end_at, version) VALUES (?, ?, ?, 'submitted', '2026-01-01', '2026-01-02', 'UTC', ?,"
            " ?, 1)"_s,
            {newId(), workspace, user, now - secondsPerDay, now + secondsPerDay});
    }
    noteChange();
}

void World::reopenPeriods() {
    run(u"UPDATE timesheet_periods SET status = 'open'"_s);
    noteChange();
}

void World::endSessions() {
    run(u"UPDATE sessions SET revoked_at = 1"_s);
}

QString World::verdict(const QString& mutation) const {
    return result(mutation).value(u"status").toString();
}

QJsonObject World::result(const QString& mutation) const {
    const QVariant text = run(u"SELECT result FROM mutations WHERE mutation_id = ?"_s, {mutation});
    return QJsonDocument::fromJson(text.toString().toUtf8()).object();
}

QString World::authorOf(const QString& mutation) const {
    return run(u"SELECT user_id FROM mutations WHERE mutation_id = ?"_s, {mutation}).toString();
}

QStringList World::answered() const {
    return column(u"SELECT mutation_id FROM mutations"_s);
}

QStringList World::entities() const {
    // Their ids are others in each run; when they came is not.
    return column(u"SELECT id FROM time_entries ORDER BY rowid"_s);
}

QStringList World::closedEntries(const QString& user, const QString& workspace) const {
    return column(
        u"SELECT line FROM (SELECT id || ' ' || version || ' ' || description AS line FROM time_entries"
        " WHERE user_id = '%1' AND workspace_id = '%2' AND stop_at IS NOT NULL AND deleted_at IS NULL"
        " ORDER BY line)"_s.arg(user, workspace));
}

QString World::textOfEntry(const QVariantMap& entry) {
    return u"%1 %2 %3"_s.arg(entry.value(u"id"_s).toString(), entry.value(u"version"_s).toString(),
                             entry.value(u"description"_s).toString());
}

QString World::runningEntry(const QString& user) const {
    return run(u"SELECT id FROM time_entries WHERE user_id = ? AND stop_at IS NULL AND deleted_at IS NULL"_s,
               {user})
        .toString();
}

QJsonObject World::answerTo(const QString& user, const QString& token, const QJsonObject& mutation) const {
    const DevServer& server = m_accounts.server;
    const DevServer::Answer who = server.request("GET", u"/me"_s, {}, {}, token);
    if (who.status != 200 || who.body.value(u"id") != user) {
        return {};
    }
    return server
        .request("POST", u"/sync/push"_s, {{u"mutations"_s, QJsonArray{mutation}}},
                 mutation.value(u"mutation_id").toString(), token)
        .body.value(u"results")[0]
        .toObject();
}

bool World::takes(const QString& user, const QString& token, const QJsonObject& mutation) const {
    return !answerTo(user, token, mutation).isEmpty();
}

bool World::wouldAccept(const QString& user, const QString& token, const QJsonObject& mutation) const {
    QJsonObject anew = mutation;
    const QVariant version =
        run(u"SELECT version FROM time_entries WHERE id = ?"_s, {mutation.value(u"entity_id").toString()});
    anew.insert(u"mutation_id"_s, newId());
    anew.insert(u"base_version"_s, version.toInt());
    run(u"CREATE TEMP TABLE kept AS SELECT * FROM time_entries ORDER BY rowid"_s);
    const bool accepted = answerTo(user, token, anew).value(u"status") == u"accepted"_s;
    if (accepted) {
        run(u"DELETE FROM time_entries"_s);
        run(u"INSERT INTO time_entries SELECT * FROM kept ORDER BY rowid"_s);
        noteChange();
    }
    run(u"DELETE FROM mutations WHERE mutation_id = ?"_s, {anew.value(u"mutation_id").toString()});
    run(u"DROP TABLE kept"_s);
    return accepted;
}

QString World::importLabel(const QString& user, const QString& workspace) {
    return u"import-%1-%2-"_s.arg(user, workspace);
}

QStringList World::imported() const {
    return column(u"SELECT id FROM time_entries WHERE description LIKE 'import-%'"_s);
}

QString World::description(const QString& entity) const {
    return run(u"SELECT description FROM time_entries WHERE id = ?"_s, {entity}).toString();
}

QString World::labelFor(const QString& entity) const {
    const auto value = [this, &entity](const QString& name) {
        return run(u"SELECT %1 FROM time_entries WHERE id = ?"_s.arg(name), {entity}).toString();
    };
    return importLabel(value(u"user_id"_s), value(u"workspace_id"_s));
}

bool World::has(const QString& entity) const {
    return run(u"SELECT COUNT(*) FROM time_entries WHERE id = ?"_s, {entity}).toInt() == 1;
}

QStringList World::entitiesThatSay(const QString& description) const {
    return column(u"SELECT id FROM time_entries WHERE description = ?"_s, {description});
}

QVariant World::run(const QString& statement, const QVariantList& values) const {
    return m_file->run(statement, values);
}

QStringList World::column(const QString& query, const QVariantList& values) const {
    const QString name = query.section(u' ', 1, 1);
    const QString all = run(u"SELECT json_group_array(%1) FROM (%2)"_s.arg(name, query), values).toString();
    QStringList found;
    const QJsonArray array = QJsonDocument::fromJson(all.toUtf8()).array();
    for (const auto& value : array) {
        found.append(value.toString());
    }
    return found;
}
