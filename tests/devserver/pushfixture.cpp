// SPDX-License-Identifier: MIT
#include "tests/devserver/pushfixture.h"

#include <QDateTime>
#include <QTest>
#include <QVariant>

using namespace Qt::StringLiterals;

void PushFixture::initTestCase() {
    QVERIFY(server_.start(database_));
    client_ = std::make_unique<TestClient>(server_.port());
    other_ = std::make_unique<TestClient>(server_.port(), world_.otherToken);
}

void PushFixture::init() {
    database_.run(u"DELETE FROM time_entries"_s);
    database_.run(u"DELETE FROM mutations"_s);
}

Reply PushFixture::push(const QString& operation, const QString& entity, int baseVersion,
                        const QJsonObject& payload) {
    return client_->push(mutation(world_.workspace, operation, entity, baseVersion, payload));
}

QString PushFixture::stored(const QString& start, const QString& stop, const QString& extra) {
    const QString id = World::newId();
    const auto seconds = [](const QString& text) {
        return QDateTime::fromString(text, Qt::ISODate).toSecsSinceEpoch();
    };
    database_.run(
        u"INSERT INTO time_entries (id, workspace_id, user_id, description, tag_ids, billable, start_at,"
        " stop_at, version) VALUES (?, ?, ?, 'stored', '[]', 0, ?, ?, 5)"_s,
        {id, world_.workspace, world_.developer, seconds(start),
         stop.isEmpty() ? QVariant(QMetaType::fromType<qint64>()) : QVariant(seconds(stop))});
    if (!extra.isEmpty())
        database_.run(u"UPDATE time_entries SET "_s + extra + u" WHERE id = ?"_s, {id});
    return id;
}

int PushFixture::count(const QString& table) const {
    return database_.value(u"SELECT COUNT(*) FROM "_s + table).toInt();
}

QJsonObject PushFixture::startOf(const QString& entity) const {
    return mutation(world_.workspace, u"timer.start"_s, entity, 0, started(u"2025-06-01T08:00:00Z"_s));
}

QString statusOf(const Reply& reply) {
    return reply.result().value(u"status").toString();
}

QJsonObject canonicalOf(const Reply& reply) {
    return reply.result().value(u"canonical").toObject();
}
