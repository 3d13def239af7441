// SPDX-License-Identifier: MIT
#include "devserver/demo/demo.h"
#include "devserver/accounts/accounts.h"
#include "devserver/entries/sync.h"
#include "devserver/store/schema.h"
#include "tests/devserver/testserver.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QTest>
#include <QTimeZone>
#include <QVariant>

using namespace Qt::StringLiterals;
using namespace devserver;

namespace {

const Caller developer{developmentUser, false};

QStringList workspaces(Connection& connection) {
    QStringList ids;
    const auto reply = QJsonDocument::fromJson(workspacesReply(connection, developer));
    for (const QJsonValue workspace : reply[u"items"].toArray()) {
        ids += workspace[u"id"].toString();
    }
    return ids;
}

/// Everything that a client could see.
QByteArray contents(const DatabaseAddress& address) {
    Connection connection(address);
    QByteArray all = identityReply(connection, developer) + workspacesReply(connection, developer);
    for (const QString& workspace : workspaces(connection)) {
        all += snapshotReply(connection, workspace);
    }
    return all + timerReply(connection, developer);
}

bool fill(const DatabaseAddress& address, QDate today) {
    Connection connection(address);
    migrate(connection);
    return addDemo(connection, today);
}

QDateTime local(const QJsonValue& value) {
    return QDateTime::fromString(value.toString(), Qt::ISODate).toTimeZone(QTimeZone("Asia/Jerusalem"));
}

} // namespace

/// The demo: the same every time, and a year that a person could have worked.
class TestDevserverDemo : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void theSameDayGivesTheSameData();
    void itIsAddedOnceToADatabaseWithoutWork();
    void ownWorkIsLeftAlone_data();
    void ownWorkIsLeftAlone();
    void itIsAYearOfBelievableWork_data();
    void itIsAYearOfBelievableWork();
    void workDaysAreNotDoubleBooked();
    void nightsOfClockChangesHaveWork();
    void theColleagueWorksOverMidnight();
    void reportsHaveSomethingToAddUp();
    void theProgramFillsItsDatabaseOnRequest();
};

void TestDevserverDemo::theSameDayGivesTheSameData() {
    const TestDatabase first;
    const TestDatabase second;
    QVERIFY(fill(first.address(), QDate(2026, 4, 1)));
    QVERIFY(fill(second.address(), QDate(2026, 4, 1)));
    QCOMPARE(contents(first.address()), contents(second.address()));
    QTemporaryDir folder;
    DatabaseAddress embedded;
    embedded.name = folder.filePath(u"same.sqlite"_s);
    QVERIFY(fill(embedded, QDate(2026, 4, 1)));
    QCOMPARE(contents(embedded), contents(first.address()));
}

void TestDevserverDemo::itIsAddedOnceToADatabaseWithoutWork() {
    const TestDatabase database;
    QVERIFY(fill(database.address(), QDate(2026, 4, 1)));
    const QByteArray before = contents(database.address());
    QVERIFY(fill(database.address(), QDate(2026, 4, 1)));
    QVERIFY(fill(database.address(), QDate(2026, 4, 9)));
    QCOMPARE(contents(database.address()), before);
}

void TestDevserverDemo::ownWorkIsLeftAlone_data() {
    QTest::addColumn<QString>("work");
    QTest::newRow("an entry")
        << u"time_entries (id, workspace_id, user_id, description, tag_ids, billable, start_at,"
           " version) VALUES ('own', ?, ?, 'my own', '[]', 0, 0, 1)"_s;
    QTest::newRow("a period")
        << u"timesheet_periods (id, workspace_id, user_id, status, from_date, to_date, timezone, start_at,"
           " end_at, version) VALUES ('own', ?, ?, 'submitted', '2026-03-22', '2026-03-28', 'UTC',"
           " 1774137600, 1774742400, 2)"_s;
}

void TestDevserverDemo::ownWorkIsLeftAlone() {
    QFETCH(QString, work);
    const TestDatabase database;
    {
        Connection connection(database.address());
        migrate(connection);
    }
    database.run(u"INSERT INTO "_s + work, {developmentWorkspace, developmentUser});
    const QByteArray before = contents(database.address());
    QVERIFY(!fill(database.address(), QDate(2026, 4, 1)));
    QCOMPARE(contents(database.address()), before);
}

void TestDevserverDemo::itIsAYearOfBelievableWork_data() {
    QTest::addColumn<QDate>("today");
    QTest::newRow("after the spring change") << QDate(2026, 3, 29);
    QTest::newRow("after the autumn change") << QDate(2025, 10, 26);
    QTest::newRow("a leap day") << QDate(2024, 2, 29);
    QTest::newRow("a Saturday") << QDate(2026, 8, 15);
    QTest::newRow("today") << currentDemoDay();
}

void TestDevserverDemo::itIsAYearOfBelievableWork() {
    QFETCH(QDate, today);
    const TestDatabase database;
    QVERIFY(fill(database.address(), today));
    Connection connection(database.address());
    const QStringList ids = workspaces(connection);
    QCOMPARE(ids.size(), 2);
    const auto number = [&](const char* sql) {
        return database
            .value(QString::fromLatin1(sql).replace(u"%1"_s, developmentUser).replace(u"%2"_s, ids[0]))
            .toInt();
    };
    QCOMPARE(number("SELECT COUNT(*) FROM users"), 2);
    QCOMPARE(number("SELECT COUNT(*) FROM clients"), 8);
    QCOMPARE(number("SELECT COUNT(*) FROM projects"), 30);
    QCOMPARE(number("SELECT COUNT(DISTINCT user_id) FROM members WHERE workspace_id = '%2'"), 2);
    const int total = number("SELECT COUNT(*) FROM time_entries");
    QVERIFY2(total > 2700 && total < 3300, qPrintable(QString::number(total)));
    QVERIFY(number("SELECT COUNT(*) FROM time_entries WHERE user_id = '%1' AND workspace_id = '%2'"
                   " AND deleted_at IS NULL") > 2000);
    QVERIFY(number("SELECT COUNT(*) FROM time_entries WHERE user_id <> '%1' AND workspace_id = '%2'") > 200);
    QVERIFY(number("SELECT COUNT(*) FROM time_entries WHERE deleted_at IS NOT NULL") > 0);
    QVERIFY(number("SELECT COUNT(DISTINCT description) FROM time_entries") > 200);
    QCOMPARE(number("SELECT COUNT(*) FROM time_entries WHERE stop_at IS NULL"), 0);
    QCOMPARE(number("SELECT COUNT(*) FROM time_entries e JOIN projects p ON p.id = e.project_id"
                    " WHERE p.workspace_id <> e.workspace_id OR p.archived = 1"),
             0);
    const QDateTime midnight = today.startOfDay(QTimeZone("Asia/Jerusalem"));
    QVERIFY(database.value(u"SELECT MAX(stop_at) FROM time_entries"_s).toLongLong() <=
            midnight.toSecsSinceEpoch());
    QVERIFY(database.value(u"SELECT MAX(stop_at) FROM time_entries"_s).toLongLong() >
            midnight.addDays(-5).toSecsSinceEpoch());

    const QJsonArray periods =
        QJsonDocument::fromJson(snapshotReply(connection, ids[0]))[u"timesheet_periods"].toArray();
    QCOMPARE(periods.size(), 3);
    QStringList statuses;
    for (const QJsonValue period : periods) {
        statuses += period[u"status"].toString();
        QCOMPARE(period[u"user_id"], developmentUser);
        QCOMPARE(local(period[u"start_at"]), QDate::fromString(period[u"from_date"].toString(), Qt::ISODate)
                                                 .startOfDay(QTimeZone("Asia/Jerusalem")));
        QCOMPARE(local(period[u"end_at"]), QDate::fromString(period[u"to_date"].toString(), Qt::ISODate)
                                               .addDays(1)
                                               .startOfDay(QTimeZone("Asia/Jerusalem")));
        QCOMPARE(local(period[u"start_at"]).date().dayOfWeek(), int(Qt::Sunday));
    }
    QCOMPARE(statuses, (QStringList{u"approved"_s, u"submitted"_s, u"open"_s}));
    QVERIFY(local(periods[1][u"end_at"]).date().addDays(7) <= today);
}

void TestDevserverDemo::workDaysAreNotDoubleBooked() {
    const TestDatabase database;
    QVERIFY(fill(database.address(), QDate(2026, 8, 15)));
    Connection connection(database.address());
    const auto snapshot = QJsonDocument::fromJson(snapshotReply(connection, workspaces(connection)[0]));
    QDateTime last;
    bool hebrew = false;
    bool english = false;
    for (const QJsonValue entry : snapshot[u"time_entries"].toArray()) {
        if (entry[u"user_id"] != developmentUser) {
            continue;
        }
        const QDateTime start = local(entry[u"start_at"]);
        const QDateTime stop = local(entry[u"stop_at"]);
        QVERIFY(!last.isValid() || last <= start);
        QVERIFY(start.time() >= QTime(8, 0) && stop.time() <= QTime(20, 0) && start.date() == stop.date());
        QVERIFY(start.date().dayOfWeek() != Qt::Friday && start.date().dayOfWeek() != Qt::Saturday);
        QCOMPARE(entry[u"duration_seconds"].toInteger(), start.secsTo(stop));
        hebrew = hebrew || entry[u"description"].toString().contains(QRegularExpression(u"[א-ת]"_s));
        english = english || entry[u"description"].toString().contains(QRegularExpression(u"[A-Za-z]{3}"_s));
        last = stop;
    }
    QVERIFY(hebrew && english);
}

void TestDevserverDemo::nightsOfClockChangesHaveWork() {
    const TestDatabase database;
    QVERIFY(fill(database.address(), QDate(2026, 8, 15)));
    // 2025-10-26 02:00 and 2026-03-27 02:00 in Israel.
    for (const char* change : {"2025-10-25T23:00:00Z", "2026-03-27T00:00:00Z"}) {
        const qint64 at = QDateTime::fromString(QString::fromLatin1(change), Qt::ISODate).toSecsSinceEpoch();
        QCOMPARE(database
                     .value(u"SELECT COUNT(DISTINCT workspace_id) FROM time_entries"
                            " WHERE start_at < ? AND stop_at > ? AND deleted_at IS NULL"_s,
                            {at, at})
                     .toInt(),
                 2);
    }
}

void TestDevserverDemo::theColleagueWorksOverMidnight() {
    const TestDatabase database;
    QVERIFY(fill(database.address(), QDate(2026, 8, 15)));
    Connection connection(database.address());
    const auto snapshot = QJsonDocument::fromJson(snapshotReply(connection, workspaces(connection)[0]));
    int late = 0;
    for (const QJsonValue entry : snapshot[u"time_entries"].toArray()) {
        const QDateTime start = local(entry[u"start_at"]);
        const QDateTime stop = local(entry[u"stop_at"]);
        late += start.date() < stop.date() && start.time() > QTime(21, 0) ? 1 : 0;
        QVERIFY(entry[u"user_id"] != developmentUser || start.date() == stop.date());
    }
    QVERIFY(late >= 10);
}

void TestDevserverDemo::reportsHaveSomethingToAddUp() {
    const TestDatabase database;
    QVERIFY(fill(database.address(), QDate(2026, 8, 15)));
    const auto number = [&database](const QString& sql) { return database.value(sql).toInt(); };
    for (const QString& workspace : {u"name = 'סטודיו גל' AND language = 'he' AND currency = 'ILS'"_s,
                                     u"name = 'Freelance' AND language = 'en' AND currency = 'EUR'"_s}) {
        QCOMPARE(number(u"SELECT COUNT(*) FROM workspaces WHERE rounding_minutes = 15 AND "_s + workspace),
                 1);
    }
    QCOMPARE(number(u"SELECT COUNT(*) FROM projects WHERE hourly_rate > 0"_s), 26);
    QCOMPARE(number(u"SELECT COUNT(DISTINCT client_id) FROM projects WHERE hourly_rate IS NULL"_s), 1);
    QCOMPARE(number(u"SELECT COUNT(*) FROM tasks"_s), 30 * 4);
    const int entries = number(u"SELECT COUNT(*) FROM time_entries"_s);
    QVERIFY(number(u"SELECT COUNT(*) FROM time_entries WHERE task_id IS NOT NULL"_s) > entries * 7 / 10);
    QVERIFY(number(u"SELECT COUNT(*) FROM time_entries WHERE tag_ids <> '[]'"_s) > entries / 10);
    QCOMPARE(number(u"SELECT COUNT(*) FROM time_entries e JOIN tasks t ON t.id = e.task_id"
                    " WHERE e.project_id IS NULL OR e.project_id <> t.project_id"_s),
             0);
    QCOMPARE(number(u"SELECT COUNT(*) FROM time_entries e JOIN tags t ON e.tag_ids LIKE '%' || t.id || '%'"
                    " WHERE e.workspace_id <> t.workspace_id"_s),
             0);
}

void TestDevserverDemo::theProgramFillsItsDatabaseOnRequest() {
    const TestDatabase database;
    for (int run = 0; run < 2; ++run) {
        TestServer server;
        QVERIFY(server.start(database, {u"--demo"_s}));
        TestClient client(server.port());
        const QString workspace = client.get("/v1/workspaces").body[u"items"][0][u"id"].toString();
        const Reply snapshot = client.get("/v1/sync/snapshot?workspace_id=" + workspace.toStdString());
        const auto entries = snapshot.body.value(u"time_entries").toArray().size();
        QVERIFY(entries > 2000 && entries < 3000);
        QVERIFY(client.get("/v1/me/timer").body.value(u"timer").isNull());
        QVERIFY(server.terminate());
        QCOMPARE(server.exitCode(), 0);
    }
}

QTEST_GUILESS_MAIN(TestDevserverDemo)
#include "demo.moc"
