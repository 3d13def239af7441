// SPDX-License-Identifier: MIT
#include "tests/devserver/importfixture.h"

#include "devserver/base/time.h"

#include <QDateTime>
#include <QJsonArray>
#include <QTest>
#include <QTimeZone>
#include <QVariant>

using namespace Qt::StringLiterals;

std::string ImportFixture::previewOf(const QString& workspace) {
    return "/v1/workspaces/" + workspace.toStdString() + "/imports/csv/preview";
}

QJsonObject ImportFixture::bodyOf(const QString& content) {
    return {{u"content"_s, content},
            {u"timezone"_s, u"UTC"_s},
            {u"source_namespace"_s, u"old-tracker"_s},
            {u"assign_to_me"_s, true}};
}

QString ImportFixture::records(int count, const QString& word) {
    QStringList lines;
    QDateTime start(QDate(2025, 6, 1), QTime(0, 0), QTimeZone::utc());
    for (int i = 0; i < count; ++i, start = start.addSecs(3600)) {
        lines += word + u" %1,%2,%3:00,%2,%3:30"_s.arg(i)
                            .arg(start.date().toString(Qt::ISODate))
                            .arg(start.time().hour());
    }
    return simple(lines);
}

QString ImportFixture::simple(const QStringList& lines) {
    return u"Description,Start date,Start time,End date,End time\n"_s + lines.join(u'\n');
}

void ImportFixture::initTestCase() {
    QVERIFY(m_server.start(m_database));
    m_client = std::make_unique<TestClient>(m_server.port());
    m_other = std::make_unique<TestClient>(m_server.port(), m_world.otherToken);
}

void ImportFixture::init() {
    for (const char* table : {"time_entries", "tasks", "tags", "import_records", "import_replies", "imports",
                              "imported_records"}) {
        m_database.run(u"DELETE FROM "_s + QLatin1StringView(table));
    }
    m_database.run(u"DELETE FROM projects WHERE color <> '#123456'"_s);
    m_database.run(u"DELETE FROM clients WHERE name <> 'Client'"_s);
    m_database.run(u"DELETE FROM timesheet_periods WHERE version = 77"_s);
}

Reply ImportFixture::preview(const QString& content) {
    return m_client->postTo(previewOf(m_world.workspace), bodyOf(content));
}

Reply ImportFixture::apply(const Reply& before, int limit) {
    return applyAs(*m_client, before, limit, World::newId());
}

Reply ImportFixture::applyAs(TestClient& client, const Reply& before, int limit, const QString& key) {
    const std::string path = "/v1/imports/" + before.body.value(u"id").toString().toStdString() + "/apply";
    return client.postTo(path, {{u"preview_checksum"_s, before.body.value(u"checksum")}, {u"limit"_s, limit}},
                         {{"Idempotency-Key", key.toStdString()}});
}

Reply ImportFixture::applyAll(Reply reply, int limit) {
    do {
        reply = apply(reply, limit);
    } while (reply.body.value(u"has_more").toBool());
    return reply;
}

int ImportFixture::count(const QString& table) const {
    return m_database.value(u"SELECT COUNT(*) FROM "_s + table).toInt();
}

QStringList ImportFixture::descriptions() const {
    devserver::Connection connection(m_database.address());
    QSqlQuery query = connection.run(u"SELECT description FROM time_entries ORDER BY start_at, id"_s);
    QStringList texts;
    while (connection.next(query)) {
        texts += query.value(0).toString();
    }
    return texts;
}

void ImportFixture::addPeriod(const QString& status, const QString& start, const QString& end) const {
    m_database.run(
        u"INSERT INTO timesheet_periods (id, workspace_id, user_id, status, from_date, to_date, timezone,"
        " start_at, end_at, version) VALUES (?, ?, ?, ?, ?, ?, 'UTC', ?, ?, 77)"_s,
        {World::newId(), m_world.workspace, m_world.developer, status, start.left(10), end.left(10),
         devserver::parseInstant(start).value(), devserver::parseInstant(end).value()});
}

QString numbersOf(const Reply& preview) {
    QStringList numbers;
    for (const QString& key : {u"total"_s, u"valid"_s, u"invalid"_s, u"duplicates"_s}) {
        numbers += QString::number(preview.body.value(key).toInt(-1));
    }
    return preview.status == 201 ? numbers.join(u' ') : QString::fromStdString(preview.text);
}

QString progressOf(const Reply& reply) {
    return u"%1 %2/%3"_s.arg(reply.body.value(u"state").toString())
        .arg(reply.body.value(u"checkpoint").toInt(-1))
        .arg(reply.body.value(u"total").toInt(-1));
}

QStringList problemsOf(const Reply& preview) {
    QStringList problems;
    const QJsonArray all = preview.body.value(u"problems").toArray();
    for (const auto& problem : all) {
        problems += u"%1 %2: %3"_s.arg(problem[u"row"].toInt(-1))
                        .arg(problem[u"column"].toString(), problem[u"message"].toString());
    }
    return problems;
}

QJsonObject sampleOf(const Reply& preview, qsizetype n) {
    return preview.body.value(u"sample").toArray().at(n).toObject();
}
