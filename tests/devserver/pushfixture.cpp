// SPDX-License-Identifier: MIT
#include "tests/devserver/pushfixture.h"

#include <QDateTime>
#include <QTest>
#include <QVariant>

using namespace Qt::StringLiterals;

void PushFixture::initTestCase() {
    QVERIFY(m_server.start(m_database));
    m_client = std::make_unique<TestClient>(m_server.port());
    m_other = std::make_unique<TestClient>(m_server.port(), m_world.otherToken);
}

void PushFixture::init() {
    m_database.run(u"DELETE FROM time_entries"_s);
    m_database.run(u"DELETE FROM mutations"_s);
}

Reply PushFixture::push(const QString& operation, const QString& entity, int baseVersion,
                        const QJsonObject& payload) {
    return m_client->push(mutation(m_world.workspace, operation, entity, baseVersion, payload));
}

QString PushFixture::stored(const QString& start, const QString& stop, const QString& extra) {
    QString id = World::newId();
    const auto seconds = [](const QString& text) {
        return QDateTime::fromString(text, Qt::ISODate).toSecsSinceEpoch();
    };
    m_database.run(
        u"INSERT INTO time_entries (id, workspace_id, user_id, description, tag_ids, billable, start_at,"
        " stop_at, version) VALUES (?, ?, ?, 'stored', '[]', 0, ?, ?, 5)"_s,
        {id, m_world.workspace, m_world.developer, seconds(start),
         stop.isEmpty() ? QVariant(QMetaType::fromType<qint64>()) : QVariant(seconds(stop))});
    if (!extra.isEmpty()) {
        m_database.run(u"UPDATE time_entries SET "_s + extra + u" WHERE id = ?"_s, {id});
    }
    return id;
}

int PushFixture::count(const QString& table) const {
    return m_database.value(u"SELECT COUNT(*) FROM "_s + table).toInt();
}

QJsonObject PushFixture::startOf(const QString& entity) const {
    return mutation(m_world.workspace, u"timer.start"_s, entity, 0, started(u"2025-06-01T08:00:00Z"_s));
}

QString statusOf(const Reply& reply) {
    return reply.result().value(u"status").toString();
}

QJsonObject canonicalOf(const Reply& reply) {
    return reply.result().value(u"canonical").toObject();
}
