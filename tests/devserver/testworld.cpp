// SPDX-License-Identifier: MIT
#include "tests/devserver/testworld.h"

#include "devserver/base/time.h"
#include "devserver/store/schema.h"

#include <QJsonArray>
#include <QUuid>
#include <QVariant>

#include <sodium.h>

using namespace Qt::StringLiterals;
using devserver::Connection;
using devserver::parseInstant;

namespace {

QString hashOf(const QByteArray& token) {
    QByteArray hash(32, '\0');
    crypto_generichash(reinterpret_cast<unsigned char*>(hash.data()), 32,
                       reinterpret_cast<const unsigned char*>(token.constData()),
                       static_cast<unsigned long long>(token.size()), nullptr, 0);
    return QString::fromLatin1(hash.toHex());
}

void addWorkspace(Connection& c, const QString& id, const QString& user, const QString& name) {
    c.run(u"INSERT INTO workspaces (id, name, created_at) VALUES (?, ?, 4000000000)"_s, {id, name});
    c.run(u"INSERT INTO members (workspace_id, user_id) VALUES (?, ?)"_s, {id, user});
}

void addProject(Connection& c, const QString& id, const QString& workspace, const QString& name,
                bool archived) {
    const QString client = World::newId();
    c.run(u"INSERT INTO clients (id, workspace_id, name) VALUES (?, ?, ?)"_s,
          {client, workspace, u"Client"_s});
    c.run(u"INSERT INTO projects (id, workspace_id, client_id, name, color, archived)"
          " VALUES (?, ?, ?, ?, '#123456', ?)"_s,
          {id, workspace, client, name, int(archived)});
}

void addPeriod(Connection& c, const World& world, const QString& user, const QString& status,
               const QString& month) {
    c.run(u"INSERT INTO timesheet_periods (id, workspace_id, user_id, status, from_date, to_date, timezone,"
          " start_at, end_at, version, last_reason) VALUES (?, ?, ?, ?, ?, ?, 'UTC', ?, ?, 2, NULL)"_s,
          {World::newId(), world.workspace, user, status, QString(month + u"-01"_s),
           QString(month + u"-07"_s), *parseInstant(month + u"-01T00:00:00Z"_s),
           *parseInstant(month + u"-08T00:00:00Z"_s)});
}

} // namespace

World::World(const TestDatabase& database)
    : developer(devserver::developmentUser), workspace(devserver::developmentWorkspace) {
    Connection c(database.address());
    devserver::migrate(c);
    c.run(
        u"INSERT INTO users (id, email, display_name, timezone) VALUES (?, 'other@example.com', 'Other', 'UTC')"_s,
        {other});
    for (const auto& [token, revoked] : {std::pair(otherToken, QVariant(QMetaType::fromType<qint64>())),
                                         std::pair(revokedToken, QVariant(qint64(5)))}) {
        c.run(u"INSERT INTO sessions (id, user_id, token_hash, client, device_name, created_at, revoked_at)"
              " VALUES (?, ?, ?, 'test', 'test', 0, ?)"_s,
              {newId(), other, hashOf(token), revoked});
    }
    c.run(u"INSERT INTO members (workspace_id, user_id) VALUES (?, ?)"_s, {workspace, other});
    addWorkspace(c, secondWorkspace, developer, u"Second"_s);
    addWorkspace(c, foreignWorkspace, other, u"Foreign"_s);
    addProject(c, project, workspace, u"Open"_s, false);
    addProject(c, archivedProject, workspace, u"Archived"_s, true);
    addProject(c, foreignProject, secondWorkspace, u"Elsewhere"_s, false);
    addPeriod(c, *this, developer, u"approved"_s, u"2024-01"_s);
    addPeriod(c, *this, developer, u"submitted"_s, u"2024-02"_s);
    addPeriod(c, *this, developer, u"open"_s, u"2024-03"_s);
    addPeriod(c, *this, other, u"approved"_s, u"2024-04"_s);
}

QString World::newId() {
    return QUuid::createUuid().toString(QUuid::WithoutBraces);
}

QJsonObject mutation(const QString& workspace, const QString& operation, const QString& entity,
                     int baseVersion, const QJsonObject& payload) {
    return {{u"mutation_id"_s, World::newId()},
            {u"device_id"_s, u"0f0f0f0f-0000-4000-8000-00000000000d"_s},
            {u"workspace_id"_s, workspace},
            {u"entity_id"_s, entity},
            {u"base_version"_s, baseVersion},
            {u"operation"_s, operation},
            {u"payload"_s, payload}};
}

QJsonObject closed(const QString& start, const QString& stop, const QString& description) {
    return {{u"description"_s, description}, {u"project_id"_s, QJsonValue::Null},
            {u"tag_ids"_s, QJsonArray()},    {u"billable"_s, false},
            {u"start_at"_s, start},          {u"stop_at"_s, stop}};
}

QJsonObject started(const QString& start) {
    QJsonObject payload = closed(start, {});
    payload.remove(u"stop_at"_s);
    return payload;
}
