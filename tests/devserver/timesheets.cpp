// SPDX-License-Identifier: MIT
#include "tests/devserver/testworld.h"
#include "tests/devserver/webvisitor.h"

#include <QJsonArray>
#include <QTest>
#include <QVariant>

#include <atomic>
#include <memory>
#include <thread>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 hour = 3600;
constexpr qint64 minute = 60;

} // namespace

/// The rules of timesheet periods, through the routes of the page.
class TestDevserverTimesheets : public QObject {
    Q_OBJECT

    /// Takes a step with the developer's period of March 2024.
    Reply step(const std::string& name, int version, const QJsonValue& reason = {});
    [[nodiscard]] QVariant march(const QString& column) const;
    void setMarch(const QString& status);
    /// An entry, written past the server; without a stop it runs.
    void addEntry(const QString& user, const QString& workspace, const QString& start, const QString& stop,
                  const QString& description = u"work"_s);
    [[nodiscard]] QJsonArray days();
    Reply add(const QString& workspace, const QString& date);

    TestDatabase m_database;
    World m_world{m_database};
    TestServer m_server;
    QString m_march;
    std::unique_ptr<WebVisitor> m_page;

private Q_SLOTS:
    void initTestCase();
    void init();
    void stepsStartAtTheirStatusOnly_data();
    void stepsStartAtTheirStatusOnly();
    void reopeningWritesItsReasonAndTheNextStepClearsIt();
    void reasonsThatSayNothingAreRefused_data();
    void reasonsThatSayNothingAreRefused();
    void anOutdatedVersionIsRefused_data();
    void anOutdatedVersionIsRefused();
    void ofStepsAtTheSameMomentOneIsTaken();
    void othersPeriodsAreNotFound_data();
    void othersPeriodsAreNotFound();
    void aRunningTimerInsideRefusesSubmission_data();
    void aRunningTimerInsideRefusesSubmission();
    void closingAndReopeningDecidesAboutPushes();
    void theClientSeesWhatThePageDid();
    void aWeekBeginsAsTheWorkspacesLanguageSays_data();
    void aWeekBeginsAsTheWorkspacesLanguageSays();
    void aWeekIsWholeDaysOfTheUsersZone();
    void periodsOfOneUserAndWorkspaceDoNotOverlap();
    void weeksThatCannotBeAreRefused_data();
    void weeksThatCannotBeAreRefused();
    void theListHoldsTheUsersPeriodsNewestFirst();
    void totalsCountWhatLiesInsideThePeriod();
    void entriesStandAtTheirDayInThePeriodsZone();
    void theNightOfTheClockChangeCountsItsRealHours();
};

void TestDevserverTimesheets::initTestCase() {
    QVERIFY(m_server.start(m_database));
    m_page = std::make_unique<WebVisitor>(m_server);
    QCOMPARE(m_page->load().status, 200);
    m_march =
        m_database.value(u"SELECT id FROM timesheet_periods WHERE from_date = '2024-03-01'"_s).toString();
}

void TestDevserverTimesheets::init() {
    m_database.run(u"DELETE FROM time_entries"_s);
    m_database.run(u"DELETE FROM timesheet_periods WHERE from_date > '2024-05' OR from_date < '2024'"_s);
    m_database.run(u"UPDATE timesheet_periods SET status = 'open', version = 2, last_reason = NULL,"
                   " timezone = 'UTC' WHERE id = ?"_s,
                   {m_march});
}

Reply TestDevserverTimesheets::step(const std::string& name, int version, const QJsonValue& reason) {
    QJsonObject body{{u"version"_s, version}};
    if (!reason.isNull()) {
        body.insert(u"reason"_s, reason);
    }
    return m_page->post("/web/periods/" + m_march.toStdString() + '/' + name, body);
}

QVariant TestDevserverTimesheets::march(const QString& column) const {
    return m_database.value(u"SELECT "_s + column + u" FROM timesheet_periods WHERE id = ?"_s, {m_march});
}

void TestDevserverTimesheets::setMarch(const QString& status) {
    m_database.run(u"UPDATE timesheet_periods SET status = ? WHERE id = ?"_s, {status, m_march});
}

void TestDevserverTimesheets::addEntry(const QString& user, const QString& workspace, const QString& start,
                                       const QString& stop, const QString& description) {
    const auto seconds = [](const QString& text) {
        return QDateTime::fromString(text + u":00Z"_s, Qt::ISODate).toSecsSinceEpoch();
    };
    m_database.run(u"INSERT INTO time_entries (id, workspace_id, user_id, description, tag_ids, billable,"
                   " start_at, stop_at, version) VALUES (?, ?, ?, ?, '[]', 0, ?, ?, 1)"_s,
                   {World::newId(), workspace, user, description, seconds(start),
                    stop.isEmpty() ? QVariant(QMetaType::fromType<qint64>()) : QVariant(seconds(stop))});
}

QJsonArray TestDevserverTimesheets::days() {
    return m_page->get("/web/periods/" + m_march.toStdString()).body.value(u"days").toArray();
}

Reply TestDevserverTimesheets::add(const QString& workspace, const QString& date) {
    return m_page->post("/web/periods", {{u"workspace_id"_s, workspace}, {u"date"_s, date}});
}

void TestDevserverTimesheets::stepsStartAtTheirStatusOnly_data() {
    QTest::addColumn<QString>("status");
    QTest::addColumn<QString>("step");
    QTest::addColumn<QString>("next");
    for (const auto& [status, name, next] :
         {std::tuple("open", "submit", "submitted"), std::tuple("open", "approve", ""),
          std::tuple("open", "reopen", ""), std::tuple("submitted", "submit", ""),
          std::tuple("submitted", "approve", "approved"), std::tuple("submitted", "reopen", "open"),
          std::tuple("approved", "submit", ""), std::tuple("approved", "approve", ""),
          std::tuple("approved", "reopen", "open")}) {
        QTest::addRow("%s an %s one", name, status)
            << QString::fromLatin1(status) << QString::fromLatin1(name) << QString::fromLatin1(next);
    }
}

void TestDevserverTimesheets::stepsStartAtTheirStatusOnly() {
    QFETCH(QString, status);
    QFETCH(QString, step);
    QFETCH(QString, next);
    setMarch(status);
    const Reply reply = this->step(step.toStdString(), 2, u"Because"_s);
    if (next.isEmpty()) {
        QCOMPARE(reply.status, 409);
        QCOMPARE(reply.errorCode(), u"period_status"_s);
        QCOMPARE(march(u"status"_s), status);
        QCOMPARE(march(u"version"_s), 2);
        return;
    }
    QCOMPARE(reply.status, 200);
    QCOMPARE(reply.body, (QJsonObject{{u"id"_s, m_march}, {u"status"_s, next}, {u"version"_s, 3}}));
    QCOMPARE(march(u"status"_s), next);
    QCOMPARE(march(u"version"_s), 3);
}

void TestDevserverTimesheets::reopeningWritesItsReasonAndTheNextStepClearsIt() {
    QCOMPARE(step("submit", 2).status, 200);
    QVERIFY(march(u"last_reason"_s).isNull());
    QCOMPARE(step("reopen", 3, u"  שלישי \"חסר\"\n "_s).status, 200);
    QCOMPARE(march(u"last_reason"_s), u"שלישי \"חסר\""_s);
    QCOMPARE(step("submit", 4).status, 200);
    QVERIFY(march(u"last_reason"_s).isNull());
    QCOMPARE(step("approve", 5).status, 200);
    QVERIFY(march(u"last_reason"_s).isNull());
    QCOMPARE(step("reopen", 6, u"Other"_s).status, 200);
    QCOMPARE(march(u"last_reason"_s), u"Other"_s);
    QCOMPARE(march(u"version"_s), 7);
}

void TestDevserverTimesheets::reasonsThatSayNothingAreRefused_data() {
    QTest::addColumn<QJsonValue>("reason");
    QTest::addColumn<QString>("code");
    QTest::newRow("none") << QJsonValue() << u"reason_missing"_s;
    QTest::newRow("empty") << QJsonValue(QString()) << u"reason_missing"_s;
    QTest::newRow("blank") << QJsonValue(u" \n\t"_s) << u"reason_missing"_s;
    QTest::newRow("not a text") << QJsonValue(7) << u"reason_missing"_s;
    QTest::newRow("too long") << QJsonValue(QString(1001, u'x')) << u"reason_unusable"_s;
    QTest::newRow("with a null character") << QJsonValue(u"a\0b"_s) << u"reason_unusable"_s;
    QTest::newRow("as long as can be") << QJsonValue(QString(1000, u'x')) << QString();
}

void TestDevserverTimesheets::reasonsThatSayNothingAreRefused() {
    QFETCH(QJsonValue, reason);
    QFETCH(QString, code);
    setMarch(u"submitted"_s);
    const Reply reply = step("reopen", 2, reason);
    QCOMPARE(reply.status, code.isEmpty() ? 200 : 400);
    QCOMPARE(march(u"status"_s), code.isEmpty() ? u"open"_s : u"submitted"_s);
    if (!code.isEmpty()) {
        QCOMPARE(reply.errorCode(), code);
        QCOMPARE(march(u"version"_s), 2);
    }
}

void TestDevserverTimesheets::anOutdatedVersionIsRefused_data() {
    QTest::addColumn<QJsonValue>("version");
    QTest::addColumn<int>("status");
    QTest::newRow("older") << QJsonValue(1) << 409;
    QTest::newRow("newer") << QJsonValue(3) << 409;
    QTest::newRow("missing") << QJsonValue() << 400;
    QTest::newRow("text") << QJsonValue(u"2"_s) << 400;
    QTest::newRow("fraction") << QJsonValue(2.5) << 400;
}

void TestDevserverTimesheets::anOutdatedVersionIsRefused() {
    QFETCH(QJsonValue, version);
    QFETCH(int, status);
    const Reply reply =
        m_page->post("/web/periods/" + m_march.toStdString() + "/submit", {{u"version"_s, version}});
    QCOMPARE(reply.status, status);
    QCOMPARE(reply.errorCode(), status == 409 ? u"period_changed"_s : u"malformed"_s);
    QCOMPARE(march(u"status"_s), u"open"_s);
}

void TestDevserverTimesheets::ofStepsAtTheSameMomentOneIsTaken() {
    std::atomic<int> taken = 0;
    std::atomic<int> refused = 0;
    constexpr int people = 4;
    std::vector<std::thread> hands;
    hands.reserve(people);
    for (int i = 0; i < people; ++i) {
        hands.emplace_back([&] {
            WebVisitor page(m_server);
            page.load();
            const int status =
                page.post("/web/periods/" + m_march.toStdString() + "/submit", {{u"version"_s, 2}}).status;
            taken += status == 200 ? 1 : 0;
            refused += status == 409 ? 1 : 0;
        });
    }
    for (std::thread& hand : hands) {
        hand.join();
    }
    QCOMPARE(taken, 1);
    QCOMPARE(refused, people - 1);
    QCOMPARE(march(u"version"_s), 3);
}

void TestDevserverTimesheets::othersPeriodsAreNotFound_data() {
    QTest::addColumn<QString>("id");
    QTest::newRow("a colleague's") << m_database
                                          .value(u"SELECT id FROM timesheet_periods WHERE user_id = ?"_s,
                                                 {m_world.other})
                                          .toString();
    const QString left = World::newId();
    m_database.run(u"INSERT INTO timesheet_periods (id, workspace_id, user_id, status, from_date, to_date,"
                   " timezone, start_at, end_at, version)"
                   " VALUES (?, ?, ?, 'open', '2024-04-01', '2024-04-07', 'UTC', 0, 1, 2)"_s,
                   {left, m_world.foreignWorkspace, m_world.developer});
    QTest::newRow("in a workspace that was left") << left;
    QTest::newRow("nobody's") << World::newId();
    QTest::newRow("not an id") << u"%00'x"_s;
}

void TestDevserverTimesheets::othersPeriodsAreNotFound() {
    QFETCH(QString, id);
    const std::string path = "/web/periods/" + id.toStdString();
    for (const Reply& reply :
         {m_page->get(path), m_page->post(path + "/submit", {{u"version"_s, 2}}),
          m_page->post(path + "/approve", {{u"version"_s, 2}}),
          m_page->post(path + "/reopen", {{u"version"_s, 2}, {u"reason"_s, u"Because"_s}})}) {
        QCOMPARE(reply.status, 404);
        QCOMPARE(reply.errorCode(), u"not_found"_s);
    }
    QCOMPARE(m_database.value(u"SELECT COUNT(*) FROM timesheet_periods WHERE version <> 2"_s), 0);
}

void TestDevserverTimesheets::aRunningTimerInsideRefusesSubmission_data() {
    QTest::addColumn<QString>("start");
    QTest::addColumn<bool>("own");
    QTest::addColumn<bool>("refused");
    QTest::newRow("inside") << u"2024-03-05T08:00"_s << true << true;
    QTest::newRow("since long before") << u"2024-01-01T00:00"_s << true << true;
    QTest::newRow("from the period's end on") << u"2024-03-08T00:00"_s << true << false;
    QTest::newRow("a colleague's") << u"2024-03-05T08:00"_s << false << false;
}

void TestDevserverTimesheets::aRunningTimerInsideRefusesSubmission() {
    QFETCH(QString, start);
    QFETCH(bool, own);
    QFETCH(bool, refused);
    addEntry(own ? m_world.developer : m_world.other, m_world.workspace, start, {});
    const Reply reply = step("submit", 2);
    QCOMPARE(reply.status, refused ? 409 : 200);
    QCOMPARE(march(u"status"_s), refused ? u"open"_s : u"submitted"_s);
    if (refused) {
        QCOMPARE(reply.errorCode(), u"timer_running"_s);
    }
}

void TestDevserverTimesheets::closingAndReopeningDecidesAboutPushes() {
    TestClient client(m_server.port());
    const auto create = [&] {
        return client
            .push(mutation(m_world.workspace, u"entry.create"_s, World::newId(), 0,
                           closed(u"2024-03-05T08:00:00Z"_s, u"2024-03-05T09:00:00Z"_s)))
            .result()
            .value(u"status")
            .toString();
    };
    QCOMPARE(create(), u"accepted"_s);
    QCOMPARE(step("submit", 2).status, 200);
    QCOMPARE(create(), u"rejected"_s);
    QCOMPARE(step("approve", 3).status, 200);
    QCOMPARE(create(), u"rejected"_s);
    QCOMPARE(step("reopen", 4, u"One is missing"_s).status, 200);
    QCOMPARE(create(), u"accepted"_s);
}

void TestDevserverTimesheets::theClientSeesWhatThePageDid() {
    QCOMPARE(step("submit", 2).status, 200);
    QCOMPARE(step("reopen", 3, u"Look again"_s).status, 200);
    const Reply snapshot =
        TestClient(m_server.port()).get("/v1/sync/snapshot?workspace_id=" + m_world.workspace.toStdString());
    const QJsonArray periods = snapshot.body.value(u"timesheet_periods").toArray();
    bool found = false;
    for (const auto& value : periods) {
        const QJsonObject period = value.toObject();
        if (period.value(u"id") == m_march) {
            found = true;
            QCOMPARE(period.value(u"status"), u"open"_s);
            QCOMPARE(period.value(u"version"), 4);
            QCOMPARE(period.value(u"last_reason"), u"Look again"_s);
        }
    }
    QVERIFY(found);
}

void TestDevserverTimesheets::aWeekBeginsAsTheWorkspacesLanguageSays_data() {
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("date");
    QTest::addColumn<QString>("from");
    QTest::newRow("Hebrew, Sunday") << u"he"_s << u"2025-06-01"_s << u"2025-06-01"_s;
    QTest::newRow("Hebrew, Saturday") << u"he"_s << u"2025-06-07"_s << u"2025-06-01"_s;
    QTest::newRow("English, Monday") << u"en"_s << u"2025-06-02"_s << u"2025-06-02"_s;
    QTest::newRow("English, Sunday") << u"en"_s << u"2025-06-08"_s << u"2025-06-02"_s;
    QTest::newRow("over the new year") << u"en"_s << u"2026-01-01"_s << u"2025-12-29"_s;
}

void TestDevserverTimesheets::aWeekBeginsAsTheWorkspacesLanguageSays() {
    QFETCH(QString, language);
    QFETCH(QString, date);
    QFETCH(QString, from);
    m_database.run(u"UPDATE workspaces SET language = ? WHERE id = ?"_s, {language, m_world.secondWorkspace});
    const Reply reply = add(m_world.secondWorkspace, date);
    QCOMPARE(reply.status, 200);
    QCOMPARE(reply.body.value(u"status"), u"open"_s);
    QCOMPARE(reply.body.value(u"version"), 1);
    const QVariantList id{reply.body.value(u"id").toString()};
    QCOMPARE(m_database.value(u"SELECT from_date FROM timesheet_periods WHERE id = ?"_s, id), from);
    QCOMPARE(m_database.value(u"SELECT to_date FROM timesheet_periods WHERE id = ?"_s, id),
             QDate::fromString(from, Qt::ISODate).addDays(6).toString(Qt::ISODate));
}

void TestDevserverTimesheets::aWeekIsWholeDaysOfTheUsersZone() {
    // The clocks of Asia/Jerusalem went one hour forward on 28 March 2025.
    const Reply reply = add(m_world.workspace, u"2025-03-28"_s);
    const QVariantList id{reply.body.value(u"id").toString()};
    const auto column = [&](const QString& name) {
        return m_database.value(u"SELECT %1 FROM timesheet_periods WHERE id = ?"_s.arg(name), id);
    };
    QCOMPARE(column(u"timezone"_s), u"Asia/Jerusalem"_s);
    QCOMPARE(column(u"start_at"_s).toLongLong(),
             QDateTime::fromString(u"2025-03-22T22:00:00Z"_s, Qt::ISODate).toSecsSinceEpoch());
    QCOMPARE(column(u"end_at"_s).toLongLong(),
             QDateTime::fromString(u"2025-03-29T21:00:00Z"_s, Qt::ISODate).toSecsSinceEpoch());
}

void TestDevserverTimesheets::periodsOfOneUserAndWorkspaceDoNotOverlap() {
    QCOMPARE(add(m_world.workspace, u"2025-06-03"_s).status, 200);
    const Reply again = add(m_world.workspace, u"2025-06-05"_s);
    QCOMPARE(again.status, 409);
    QCOMPARE(again.errorCode(), u"period_exists"_s);
    QCOMPARE(add(m_world.workspace, u"2025-06-08"_s).status, 200); // the next week touches it
    QCOMPARE(add(m_world.workspace, u"2024-03-01"_s).status, 409); // overlaps March's first week in part
    QCOMPARE(add(m_world.secondWorkspace, u"2025-06-03"_s).status, 200);
    QCOMPARE(add(m_world.workspace, u"2024-04-03"_s).status, 200); // a colleague's does not matter
    m_database.run(u"DELETE FROM timesheet_periods WHERE from_date = '2024-03-31'"_s);
}

void TestDevserverTimesheets::weeksThatCannotBeAreRefused_data() {
    QTest::addColumn<QString>("workspace");
    QTest::addColumn<QString>("date");
    QTest::addColumn<int>("status");
    QTest::newRow("someone else's workspace") << m_world.foreignWorkspace << u"2025-06-03"_s << 404;
    QTest::newRow("nobody's workspace") << World::newId() << u"2025-06-03"_s << 404;
    QTest::newRow("no workspace") << QString() << u"2025-06-03"_s << 404;
    QTest::newRow("no date") << m_world.workspace << QString() << 400;
    QTest::newRow("no such day") << m_world.workspace << u"2025-02-29"_s << 400;
    QTest::newRow("another form") << m_world.workspace << u"03/06/2025"_s << 400;
    QTest::newRow("too early") << m_world.workspace << u"1969-12-31"_s << 400;
    QTest::newRow("too late") << m_world.workspace << u"9999-01-01"_s << 400;
}

void TestDevserverTimesheets::weeksThatCannotBeAreRefused() {
    QFETCH(QString, workspace);
    QFETCH(QString, date);
    const QVariant before = m_database.value(u"SELECT COUNT(*) FROM timesheet_periods"_s);
    const Reply reply = add(workspace, date);
    QTEST(reply.status, "status");
    QCOMPARE(reply.errorCode(), reply.status == 404 ? u"not_found"_s : u"malformed"_s);
    QCOMPARE(m_database.value(u"SELECT COUNT(*) FROM timesheet_periods"_s), before);
}

void TestDevserverTimesheets::theListHoldsTheUsersPeriodsNewestFirst() {
    const Reply reply = m_page->get("/web/timesheet");
    QCOMPARE(reply.status, 200);
    const QJsonArray workspaces = reply.body.value(u"workspaces").toArray();
    QCOMPARE(workspaces.size(), 2);
    QCOMPARE(workspaces[0][u"name"], u"Development"_s);
    QCOMPARE(workspaces[1][u"name"], u"Second"_s);
    QCOMPARE(workspaces[1][u"periods"], QJsonArray());
    const QJsonArray periods = workspaces[0][u"periods"].toArray();
    QCOMPARE(periods.size(), 3);
    QCOMPARE(periods[0].toObject(), (QJsonObject{{u"id"_s, m_march},
                                                 {u"status"_s, u"open"_s},
                                                 {u"from_date"_s, u"2024-03-01"_s},
                                                 {u"to_date"_s, u"2024-03-07"_s},
                                                 {u"timezone"_s, u"UTC"_s},
                                                 {u"version"_s, 2},
                                                 {u"last_reason"_s, QJsonValue::Null},
                                                 {u"duration_seconds"_s, 0}}));
    QCOMPARE(periods[1][u"from_date"], u"2024-02-01"_s);
    QCOMPARE(periods[2][u"from_date"], u"2024-01-01"_s);
}

void TestDevserverTimesheets::totalsCountWhatLiesInsideThePeriod() {
    const QString user = m_world.developer;
    addEntry(user, m_world.workspace, u"2024-02-29T22:00"_s, u"2024-03-01T01:00"_s); // one hour inside
    addEntry(user, m_world.workspace, u"2024-03-07T23:00"_s, u"2024-03-08T09:00"_s); // one hour inside
    addEntry(user, m_world.workspace, u"2024-03-03T08:00"_s, u"2024-03-03T10:00"_s);
    addEntry(user, m_world.workspace, u"2024-02-29T08:00"_s, u"2024-03-01T00:00"_s); // ends at its start
    addEntry(user, m_world.workspace, u"2024-03-08T00:00"_s, u"2024-03-08T05:00"_s); // starts at its end
    addEntry(m_world.other, m_world.workspace, u"2024-03-03T08:00"_s, u"2024-03-03T18:00"_s);
    addEntry(user, m_world.secondWorkspace, u"2024-03-03T08:00"_s, u"2024-03-03T18:00"_s);
    addEntry(user, m_world.workspace, u"2024-03-04T08:00"_s, u"2024-03-04T18:00"_s, u"deleted"_s);
    addEntry(user, m_world.workspace, u"2024-03-05T08:00"_s, {}, u"running"_s);
    m_database.run(u"UPDATE time_entries SET deleted_at = 1 WHERE description = 'deleted'"_s);
    const QJsonArray periods = m_page->get("/web/timesheet").body[u"workspaces"][0][u"periods"].toArray();
    QCOMPARE(periods[0][u"duration_seconds"], 4 * hour);
    QCOMPARE(periods[1][u"duration_seconds"], 0);
    qint64 sum = 0;
    for (const auto& day : days()) {
        sum += day.toObject().value(u"duration_seconds").toInteger();
    }
    QCOMPARE(sum, 4 * hour);
}

void TestDevserverTimesheets::entriesStandAtTheirDayInThePeriodsZone() {
    m_database.run(u"UPDATE timesheet_periods SET timezone = 'Asia/Jerusalem' WHERE id = ?"_s, {m_march});
    addEntry(m_world.developer, m_world.workspace, u"2024-03-02T21:30"_s, u"2024-03-02T22:15"_s,
             u"<b>late</b>"_s);
    addEntry(m_world.developer, m_world.workspace, u"2024-03-02T08:00"_s, u"2024-03-02T09:00"_s, u""_s);
    addEntry(m_world.developer, m_world.workspace, u"2024-03-02T22:30"_s, {}, u"running"_s);
    addEntry(m_world.developer, m_world.workspace, u"2024-02-29T20:00"_s, u"2024-03-01T02:00"_s, u"before"_s);
    m_database.run(u"UPDATE time_entries SET project_id = ? WHERE description = ''"_s,
                   {m_world.archivedProject});
    QJsonArray found = days();
    QCOMPARE(found.size(), 3);
    QCOMPARE(found[0][u"date"], u"2024-03-01"_s);
    QCOMPARE(found[0][u"entries"][0][u"start_local"], u"2024-02-29T22:00:00"_s);
    QCOMPARE(found[0][u"entries"][0][u"duration_seconds"], 2 * hour);
    QCOMPARE(found[1][u"date"], u"2024-03-02"_s);
    QCOMPARE(found[1][u"duration_seconds"], hour + 45 * minute);
    const QJsonArray entries = found[1][u"entries"].toArray();
    QCOMPARE(entries.size(), 2);
    QCOMPARE(entries[0][u"description"], u""_s);
    QCOMPARE(entries[0][u"project"], u"Archived"_s);
    QJsonObject late = entries[1].toObject();
    QVERIFY(!late.take(u"id").toString().isEmpty());
    QCOMPARE(late, (QJsonObject{{u"description"_s, u"<b>late</b>"_s},
                                {u"project"_s, QJsonValue::Null},
                                {u"start_local"_s, u"2024-03-02T23:30:00"_s},
                                {u"stop_local"_s, u"2024-03-03T00:15:00"_s},
                                {u"duration_seconds"_s, 45 * minute}}));
    QCOMPARE(found[2][u"date"], u"2024-03-03"_s);
    QVERIFY(found[2][u"entries"][0][u"stop_local"].isNull());
    QVERIFY(found[2][u"entries"][0][u"duration_seconds"].isNull());
}

void TestDevserverTimesheets::theNightOfTheClockChangeCountsItsRealHours() {
    const QString id = add(m_world.workspace, u"2025-03-28"_s).body.value(u"id").toString();
    // From 01:30 to 03:30 by the clock, of which 02:00 to 03:00 never was.
    addEntry(m_world.developer, m_world.workspace, u"2025-03-27T23:30"_s, u"2025-03-28T00:30"_s);
    const QJsonArray found = m_page->get("/web/periods/" + id.toStdString()).body.value(u"days").toArray();
    QCOMPARE(found.size(), 1);
    QCOMPARE(found[0][u"date"], u"2025-03-28"_s);
    QCOMPARE(found[0][u"entries"][0][u"start_local"], u"2025-03-28T01:30:00"_s);
    QCOMPARE(found[0][u"entries"][0][u"stop_local"], u"2025-03-28T03:30:00"_s);
    QCOMPARE(found[0][u"duration_seconds"], hour);
}

QTEST_GUILESS_MAIN(TestDevserverTimesheets)
#include "timesheets.moc"
