// SPDX-License-Identifier: MIT
#include "tests/devserver/reportworld.h"

#include "devserver/base/time.h"

#include <QJsonDocument>
#include <QSet>
#include <QTest>

#include <optional>

using namespace Qt::StringLiterals;
using devserver::Entry;

namespace {

const QStringList kinds{u"summary"_s, u"detailed"_s, u"weekly"_s};
const QStringList groupings{u"project"_s, u"client"_s, u"task"_s, u"user"_s, u"day"_s, u"week"_s};

QByteArray textOf(const QJsonValue& value) {
    return value.isArray() ? QJsonDocument(value.toArray()).toJson()
                           : QJsonDocument(value.toObject()).toJson();
}

QJsonArray firstOf(const QJsonArray& rows, qsizetype count) {
    QJsonArray first;
    for (qsizetype i = 0; i < qMin(count, rows.size()); ++i) {
        first += rows[i];
    }
    return first;
}

QJsonObject with(QJsonObject body, const QString& key, const QJsonValue& value) {
    body.insert(key, value);
    return body;
}

QJsonObject without(QJsonObject body, const QString& key) {
    body.remove(key);
    return body;
}

QJsonObject march() {
    return reportBody(u"2026-03-01"_s, u"2026-03-31"_s, u"Asia/Jerusalem"_s, u"project"_s);
}

} // namespace

/// Reports: their sums, their rules, and that they stay as they were answered.
class TestDevserverReports : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void sumsAreThoseOfAPlainSum_data();
    void sumsAreThoseOfAPlainSum();
    void allGroupingsAgreeOverWholeEntries();
    void anEntryOverMidnightIsSplitBetweenItsDays();
    void weeksBeginAsTheWorkspaceReckons();
    void repliesSayWhatWasAsked();
    void queriesThatMakeNoSenseAreRefused_data();
    void queriesThatMakeNoSenseAreRefused();
    void onlyMembersGetReports();
    void theReplyHoldsTheFirstRowsAndTheSnapshotAll();
    void snapshotsStayAsTheyWereAnswered();
    void snapshotsOlderThanADayAreForgotten();
    void theNewestTwentySnapshotsAreKept();
    void aRefusedReportWaitsForNoWriter();
    void anEntryThatChangesItsProjectLosesItsTask();

private:
    std::optional<ReportWorld> m_unasked; ///< refuses every query, and so stays as it was made
};

void TestDevserverReports::sumsAreThoseOfAPlainSum_data() {
    QTest::addColumn<ReportRules>("rules");
    QTest::addColumn<QByteArray>("zone");
    QTest::addColumn<QStringList>("moments");
    QTest::addColumn<QList<QStringList>>("ranges");
    const QStringList israel{u"2026-03-27T00:00:00Z"_s, u"2026-10-24T23:00:00Z"_s};
    const QList<QStringList> israelRanges{{u"2026-03-25"_s, u"2026-03-29"_s},
                                          {u"2026-03-27"_s, u"2026-03-27"_s},
                                          {u"2026-10-25"_s, u"2026-10-25"_s},
                                          {u"2026-01-01"_s, u"2026-12-31"_s}};
    QTest::newRow("Israel, quarters of an hour")
        << ReportRules{u"he"_s, 15} << "Asia/Jerusalem"_ba << israel << israelRanges;
    QTest::newRow("Israel, not rounded")
        << ReportRules{u"en"_s, 0} << "Asia/Jerusalem"_ba << israel << israelRanges;
    QTest::newRow("New York, seven minutes")
        << ReportRules{u"en"_s, 7} << "America/New_York"_ba
        << QStringList{u"2026-03-08T07:00:00Z"_s, u"2026-11-01T06:00:00Z"_s}
        << QList<QStringList>{{u"2026-03-08"_s, u"2026-03-08"_s}, {u"2026-02-27"_s, u"2026-11-05"_s}};
    QTest::newRow("Kathmandu") << ReportRules{u"en"_s, 60} << "Asia/Kathmandu"_ba
                               << QStringList{u"2026-05-31T18:15:00Z"_s}
                               << QList<QStringList>{{u"2026-05-25"_s, u"2026-06-03"_s}};
    QTest::newRow("a day without midnight")
        << ReportRules{u"he"_s, 15} << "America/Sao_Paulo"_ba << QStringList{u"2018-11-04T03:00:00Z"_s}
        << QList<QStringList>{{u"2018-11-03"_s, u"2018-11-04"_s}, {u"2018-11-04"_s, u"2018-11-10"_s}};
    QTest::newRow("a day with two midnights")
        << ReportRules{u"en"_s, 15} << "America/Havana"_ba << QStringList{u"2026-11-01T04:30:00Z"_s}
        << QList<QStringList>{{u"2026-10-31"_s, u"2026-10-31"_s}, {u"2026-11-01"_s, u"2026-11-07"_s}};
    QTest::newRow("a day that never was")
        << ReportRules{u"he"_s, 15} << "Pacific/Apia"_ba << QStringList{u"2011-12-30T10:00:00Z"_s}
        << QList<QStringList>{{u"2011-12-28"_s, u"2012-01-02"_s}, {u"2011-12-30"_s, u"2011-12-30"_s}};
}

void TestDevserverReports::sumsAreThoseOfAPlainSum() {
    QFETCH(const ReportRules, rules);
    QFETCH(const QByteArray, zone);
    QFETCH(const QStringList, moments);
    QFETCH(const QList<QStringList>, ranges);
    ReportWorld world(rules);
    world.addRandom(moments, zone);
    QJsonArray queries;
    for (const QStringList& range : ranges) {
        for (const QString& kind : kinds) {
            for (const QString& group : groupings) {
                QJsonObject query = reportBody(range[0], range[1], QString::fromLatin1(zone), group);
                queries += with(with(query, u"group_by"_s, group), u"kind"_s, kind);
            }
        }
    }
    const QJsonArray expected = world.plainSums(queries);
    QCOMPARE(expected.size(), queries.size());
    QSet<QJsonValue::Type> amounts;
    for (qsizetype i = 0; i < queries.size(); ++i) {
        const QJsonObject query = queries[i].toObject();
        const Reply reply = world.query(query.value(u"kind").toString(),
                                        with(query, u"group_by"_s, QJsonArray{query.value(u"group_by")}));
        QCOMPARE(reply.status, 200);
        const QJsonArray rows = expected[i][u"rows"].toArray();
        const QByteArray asked = textOf(query);
        QVERIFY2(reply.body.value(u"totals") == expected[i][u"totals"],
                 asked + textOf(reply.body.value(u"totals")) + textOf(expected[i][u"totals"]));
        const QJsonArray answered = reply.body.value(u"rows").toArray();
        for (qsizetype row = 0; row < rows.size(); ++row) {
            QVERIFY2(answered[row] == rows[row], asked + textOf(answered[row]) + textOf(rows[row]));
        }
        QCOMPARE(answered.size(), rows.size());
        QCOMPARE(reply.body.value(u"has_more"), QJsonValue(false));
        for (const auto& row : rows) {
            amounts += row[u"totals"][u"amount"].type();
        }
    }
    QCOMPARE(amounts, (QSet{QJsonValue::String, QJsonValue::Null}));
}

void TestDevserverReports::allGroupingsAgreeOverWholeEntries() {
    ReportWorld world({u"he"_s, 15});
    world.addRandom({u"2026-03-27T00:00:00Z"_s}, "Asia/Jerusalem");
    const QJsonObject body = reportBody(u"2026-02-01"_s, u"2026-05-01"_s, u"Asia/Jerusalem"_s, {});
    const QJsonValue totals =
        world.query(u"summary"_s, with(body, u"group_by"_s, QJsonArray{u"project"_s})).body.value(u"totals");
    QVERIFY(totals[u"rounded_duration_seconds"].toInteger() > totals[u"raw_duration_seconds"].toInteger());
    for (const QString& kind : kinds) {
        for (const QString& group : groupings) {
            const Reply reply = world.query(kind, with(body, u"group_by"_s, QJsonArray{group}));
            QCOMPARE(reply.body.value(u"totals"), totals);
            qint64 rounded = 0;
            const QJsonArray rows = reply.body.value(u"rows").toArray();
            for (const auto& row : rows) {
                rounded += row[u"totals"][u"rounded_duration_seconds"].toInteger();
            }
            QCOMPARE(rounded, totals[u"rounded_duration_seconds"].toInteger());
        }
    }
}

void TestDevserverReports::anEntryOverMidnightIsSplitBetweenItsDays() {
    ReportWorld world({u"he"_s, 15});
    // 23:10 to 00:35 in Jerusalem: 50 and 35 minutes, and five more up to the quarter.
    Entry entry = world.entry(u"2026-01-10T21:10:00Z"_s, 5100);
    entry.projectId = world.projects[0];
    entry.billable = true;
    world.add({entry});
    const auto rows = [&world](const QString& group, const QString& to = u"2026-01-31"_s) {
        const auto body = reportBody(u"2026-01-01"_s, to, u"Asia/Jerusalem"_s, group);
        return world.query(u"summary"_s, body).body.value(u"rows").toArray();
    };
    const auto row = [](const QString& label, int raw, int rounded, const QString& amount) {
        return QJsonObject{{u"labels"_s, QJsonArray{label}},
                           {u"totals"_s, QJsonObject{{u"raw_duration_seconds"_s, raw},
                                                     {u"rounded_duration_seconds"_s, rounded},
                                                     {u"billable_duration_seconds"_s, raw},
                                                     {u"amount"_s, amount},
                                                     {u"entry_count"_s, 1}}}};
    };
    QCOMPARE(rows(u"day"_s), (QJsonArray{row(u"2026-01-10"_s, 3000, 3000, u"250.00"_s),
                                         row(u"2026-01-11"_s, 2100, 2400, u"200.00"_s)}));
    QCOMPARE(rows(u"day"_s, u"2026-01-10"_s), (QJsonArray{row(u"2026-01-10"_s, 3000, 3000, u"250.00"_s)}));
    QCOMPARE(rows(u"project"_s), (QJsonArray{row(u"אתר"_s, 5100, 5400, u"450.00"_s)}));
    QCOMPARE(rows(u"project"_s, u"2026-01-10"_s), (QJsonArray{row(u"אתר"_s, 5100, 5400, u"450.00"_s)}));
}

void TestDevserverReports::weeksBeginAsTheWorkspaceReckons() {
    for (const auto& [language, label] :
         {std::pair(u"he"_s, u"2026-03-01"_s), std::pair(u"en"_s, u"2026-02-23"_s)}) {
        ReportWorld world({language, 0});
        world.add({world.entry(u"2026-03-01T10:00:00Z"_s, 60)}); // a Sunday
        const QJsonObject body = with(march(), u"group_by"_s, QJsonArray{u"week"_s});
        for (const QString& kind : {u"summary"_s, u"weekly"_s}) {
            const QJsonArray rows = world.query(kind, body).body.value(u"rows").toArray();
            QCOMPARE(rows.size(), 1);
            QCOMPARE(rows[0][u"labels"], QJsonArray{label});
        }
        const QJsonObject byDay = with(march(), u"group_by"_s, QJsonArray{u"day"_s});
        const QJsonArray days = world.query(u"weekly"_s, byDay).body.value(u"rows").toArray();
        QCOMPARE(days[0][u"labels"], (QJsonArray{label, u"2026-03-01"_s}));
        const QJsonArray rows = world.query(u"weekly"_s, march()).body.value(u"rows").toArray();
        QCOMPARE(rows[0][u"labels"],
                 (QJsonArray{label, language == u"he" ? u"ללא פרויקט"_s : u"No project"_s}));
    }
}

void TestDevserverReports::repliesSayWhatWasAsked() {
    const ReportWorld world;
    const Reply reply = world.query(u"summary"_s, march());
    QCOMPARE(reply.status, 200);
    QVERIFY(!reply.body.value(u"snapshot_id").toString().isEmpty());
    const QJsonObject totals{{u"raw_duration_seconds"_s, 0},
                             {u"rounded_duration_seconds"_s, 0},
                             {u"billable_duration_seconds"_s, 0},
                             {u"amount"_s, u"0.00"_s},
                             {u"entry_count"_s, 0}};
    QCOMPARE(without(reply.body, u"snapshot_id"_s), (QJsonObject{{u"kind"_s, u"summary"_s},
                                                                 {u"group_by"_s, QJsonArray{u"project"_s}},
                                                                 {u"from_date"_s, u"2026-03-01"_s},
                                                                 {u"to_date"_s, u"2026-03-31"_s},
                                                                 {u"timezone"_s, u"Asia/Jerusalem"_s},
                                                                 {u"currency"_s, u"EUR"_s},
                                                                 {u"totals"_s, totals},
                                                                 {u"has_more"_s, false},
                                                                 {u"rows"_s, QJsonArray()}}));
    const QByteArray header = world.database()
                                  .value(u"SELECT header FROM report_snapshots WHERE id = ?"_s,
                                         {reply.body.value(u"snapshot_id").toString()})
                                  .toString()
                                  .toUtf8();
    QCOMPARE(QJsonDocument::fromJson(header).object(), (QJsonObject{{u"kind"_s, u"summary"_s},
                                                                    {u"group_by"_s, u"project"_s},
                                                                    {u"from_date"_s, u"2026-03-01"_s},
                                                                    {u"to_date"_s, u"2026-03-31"_s},
                                                                    {u"timezone"_s, u"Asia/Jerusalem"_s},
                                                                    {u"workspace"_s, u"Sums"_s},
                                                                    {u"language"_s, u"he"_s},
                                                                    {u"currency"_s, u"EUR"_s},
                                                                    {u"totals"_s, totals}}));
}

void TestDevserverReports::queriesThatMakeNoSenseAreRefused_data() {
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QJsonObject>("body");
    QTest::addColumn<QString>("message");
    const auto row = [](const char* name, const QString& key, const QJsonValue& value,
                        const QString& message) {
        QTest::newRow(name) << u"summary"_s << with(march(), key, value) << message;
    };
    QTest::newRow("kind") << u"monthly"_s << march() << u"A report is either summary, detailed or weekly."_s;
    QTest::newRow("kind in capitals")
        << u"Summary"_s << march() << u"A report is either summary, detailed or weekly."_s;
    const QString first = u"The first day must be a date of the form YYYY-MM-DD."_s;
    const QString last = u"The last day must be a date of the form YYYY-MM-DD."_s;
    row("empty first day", u"from_date"_s, QString(), first);
    row("first day that is no date", u"from_date"_s, u"2026-02-29"_s, first);
    row("first day without zeros", u"from_date"_s, u"2026-3-1"_s, first);
    row("first day the other way round", u"from_date"_s, u"01/03/2026"_s, first);
    row("first day with a time", u"from_date"_s, u"2026-03-01T00:00:00"_s, first);
    row("first day with a line break", u"from_date"_s, u"2026-03-01\n"_s, first);
    row("first day in other digits", u"from_date"_s, u"٢٠٢٦-٠٣-٠١"_s, first);
    row("first day as a number", u"from_date"_s, 20260301, first);
    row("last day that is no date", u"to_date"_s, u"2026-13-01"_s, last);
    QTest::newRow("no last day") << u"weekly"_s << without(march(), u"to_date"_s) << last;
    row("end before start", u"to_date"_s, u"2026-02-28"_s, u"The last day lies before the first day."_s);
    row("more than ten years", u"to_date"_s, u"2036-03-01"_s, u"A report covers at most 10 years."_s);
    const QString zone = u"The server does not know this time zone."_s;
    for (const char* name : {"", "Nowhere", "Asia", "Asia/Atlantis", "asia/jerusalem", "UTC+3", "+03:00",
                             "EST5EDT,M3.2.0", "../Jerusalem", "Asia/../UTC"}) {
        QTest::addRow("zone \"%s\"", name)
            << u"summary"_s << with(march(), u"timezone"_s, QString::fromLatin1(name)) << zone;
    }
    QTest::newRow("no zone") << u"summary"_s << without(march(), u"timezone"_s) << zone;
    const QString one = u"A report is grouped by exactly one of project, client, task, user, day and week."_s;
    row("no group", u"group_by"_s, QJsonArray(), one);
    row("two groups", u"group_by"_s, QJsonArray{u"day"_s, u"user"_s}, one);
    row("group as text", u"group_by"_s, u"day"_s, one);
    row("group as a number", u"group_by"_s, QJsonArray{1}, one);
    QTest::newRow("group missing") << u"detailed"_s << without(march(), u"group_by"_s) << one;
    const QString known = u"A report is grouped by project, client, task, user, day or week."_s;
    row("unknown group", u"group_by"_s, QJsonArray{u"month"_s}, known);
    row("empty group", u"group_by"_s, QJsonArray{QString()}, known);
    const QString limit = u"The limit must be a whole number from 1 to 500."_s;
    row("limit of nothing", u"limit"_s, 0, limit);
    row("limit too high", u"limit"_s, 501, limit);
    row("half a limit", u"limit"_s, 1.5, limit);
    row("limit as text", u"limit"_s, u"10"_s, limit);
    row("limit null", u"limit"_s, QJsonValue::Null, limit);
}

void TestDevserverReports::queriesThatMakeNoSenseAreRefused() {
    QFETCH(const QString, kind);
    QFETCH(const QJsonObject, body);
    QFETCH(const QString, message);
    if (!m_unasked) {
        m_unasked.emplace();
    }
    const Reply reply = m_unasked->query(kind, body);
    QCOMPARE(reply.status, 422);
    QCOMPARE(reply.errorCode(), u"invalid_report"_s);
    QCOMPARE(reply.body[u"error"][u"message"].toString(), message);
    QCOMPARE(m_unasked->database().value(u"SELECT COUNT(*) FROM report_snapshots"_s).toInt(), 0);
}

void TestDevserverReports::onlyMembersGetReports() {
    const ReportWorld world;
    const World& people = world.people();
    const auto status = [&](const QString& workspace, const QByteArray& token) {
        return world.client(token)
            .postTo(u"/v1/workspaces/%1/reports/summary/query"_s.arg(workspace).toStdString(), march())
            .status;
    };
    QCOMPARE(status(people.workspace, {}), 200);
    QCOMPARE(status(people.workspace, people.otherToken), 200);
    QCOMPARE(status(people.foreignWorkspace, people.otherToken), 200);
    QCOMPARE(status(people.foreignWorkspace, {}), 404);
    QCOMPARE(status(people.secondWorkspace, people.otherToken), 404);
    QCOMPARE(status(World::newId(), {}), 404);
    QCOMPARE(status(u"ws-1"_s, {}), 404);
    QCOMPARE(status(people.workspace, people.revokedToken), 401);
}

void TestDevserverReports::theReplyHoldsTheFirstRowsAndTheSnapshotAll() {
    ReportWorld world;
    QList<Entry> entries;
    for (int i = 0; i < 1234; ++i) {
        entries += world.entry(u"2026-03-01T10:00:00Z"_s, i);
        entries.last().startAt += i / 2; // some begin together
        entries.last().stopAt = entries.last().startAt + i;
    }
    world.add(entries);
    QJsonObject query = with(with(march(), u"kind"_s, u"detailed"_s), u"group_by"_s, u"user"_s);
    const QJsonArray expected = world.plainSums({query})[0][u"rows"].toArray();
    QCOMPARE(expected.size(), 1234);

    const auto check = [&](const QJsonObject& body, int shown, bool more) {
        const Reply reply = world.query(u"detailed"_s, body);
        QCOMPARE(reply.body.value(u"rows").toArray(), firstOf(expected, shown));
        QCOMPARE(reply.body.value(u"has_more"), QJsonValue(more));
        QCOMPARE(reply.body.value(u"totals")[u"entry_count"].toInt(), 1234);
        QCOMPARE(world.storedRows(reply.body.value(u"snapshot_id").toString()), expected);
    };
    check(march(), 500, true);
    check(with(march(), u"limit"_s, 7), 7, true);

    world.database().run(u"DELETE FROM time_entries WHERE start_at >= ?"_s,
                         {*devserver::parseInstant(u"2026-03-01T10:04:10Z"_s)});
    const Reply all = world.query(u"detailed"_s, march());
    QCOMPARE(all.body.value(u"rows").toArray().size(), 500);
    QCOMPARE(all.body.value(u"has_more"), QJsonValue(false));
}

void TestDevserverReports::snapshotsStayAsTheyWereAnswered() {
    ReportWorld world;
    world.addRandom({u"2026-03-15T00:00:00Z"_s}, "UTC");
    const Reply summary = world.query(u"summary"_s, march());
    const Reply detailed = world.query(u"detailed"_s, march());
    QVERIFY(summary.body.value(u"rows").toArray().size() > 3);
    QVERIFY(detailed.body.value(u"rows").toArray().size() > 20);
    world.database().run(u"UPDATE time_entries SET description = 'changed', stop_at = start_at"
                         " WHERE stop_at IS NOT NULL"_s);
    world.database().run(u"UPDATE projects SET name = 'renamed', hourly_rate = 1"_s);
    for (const Reply& before : {summary, detailed}) {
        QCOMPARE(world.storedRows(before.body.value(u"snapshot_id").toString()),
                 before.body.value(u"rows").toArray());
    }
    const Reply after = world.query(u"detailed"_s, march());
    QVERIFY(after.body.value(u"rows") != detailed.body.value(u"rows"));
    QVERIFY(after.body.value(u"snapshot_id") != detailed.body.value(u"snapshot_id"));
}

void TestDevserverReports::snapshotsOlderThanADayAreForgotten() {
    ReportWorld world;
    world.add({world.entry(u"2026-03-01T10:00:00Z"_s, 60)});
    const auto ask = [&world](const QByteArray& token = {}) {
        return world.query(u"summary"_s, march(), token).body.value(u"snapshot_id").toString();
    };
    const auto age = [&world](const QString& snapshot, int seconds) {
        world.database().run(u"UPDATE report_snapshots SET created_at = created_at - ? WHERE id = ?"_s,
                             {seconds, snapshot});
    };
    const QString old = ask();
    const QString recent = ask();
    const QString another = ask(world.people().otherToken);
    age(old, 25 * 3600);
    age(recent, 23 * 3600);
    age(another, 25 * 3600);
    const QString now = ask();
    for (const QString& forgotten : {old, another}) {
        QCOMPARE(world.storedRows(forgotten), QJsonArray());
    }
    for (const QString& kept : {recent, now}) {
        QCOMPARE(world.storedRows(kept).size(), 1);
    }
    QCOMPARE(world.database().value(u"SELECT COUNT(*) FROM report_snapshots"_s).toInt(), 2);
}

void TestDevserverReports::theNewestTwentySnapshotsAreKept() {
    ReportWorld world;
    world.add({world.entry(u"2026-03-01T10:00:00Z"_s, 60)});
    const auto ask = [&world](const QByteArray& token = {}) {
        return world.query(u"summary"_s, march(), token).body.value(u"snapshot_id").toString();
    };
    const QString others = ask(world.people().otherToken);
    QStringList own;
    for (int i = 0; i < 22; ++i) {
        world.database().run(u"UPDATE report_snapshots SET created_at = created_at - 60"_s);
        own += ask();
    }
    for (qsizetype i = 0; i < own.size(); ++i) {
        QCOMPARE(world.storedRows(own[i]).size(), i < 2 ? 0 : 1);
    }
    QCOMPARE(world.storedRows(others).size(), 1);
    QCOMPARE(world.database().value(u"SELECT COUNT(*) FROM report_snapshots"_s).toInt(), 21);
}

void TestDevserverReports::aRefusedReportWaitsForNoWriter() {
    const ReportWorld world;
    devserver::Connection connection(world.database().address());
    const devserver::Transaction writing(connection, devserver::Transaction::Kind::Write);
    QCOMPARE(world.query(u"monthly"_s, march()).status, 422);
    QCOMPARE(world.query(u"summary"_s, march(), world.people().revokedToken).status, 401);
}

void TestDevserverReports::anEntryThatChangesItsProjectLosesItsTask() {
    ReportWorld world;
    Entry entry = world.entry(u"2026-03-01T10:00:00Z"_s, 60);
    entry.projectId = world.projects[0];
    entry.taskId = world.tasks[0];
    world.add({entry});
    const auto task = [&world] {
        return world.query(u"detailed"_s, march()).body.value(u"rows")[0][u"entry"][u"task_name"];
    };
    const auto move = [&](int version, const QString& project) {
        const QJsonObject payload{{u"project_id"_s, project}, {u"description"_s, u"moved"_s}};
        const Reply reply = world.client().push(
            mutation(world.people().workspace, u"entry.update"_s, entry.id, version, payload));
        QCOMPARE(reply.result().value(u"status").toString(), u"accepted"_s);
    };
    QCOMPARE(task(), QJsonValue(u"Design"_s));
    move(1, world.projects[0]);
    QCOMPARE(task(), QJsonValue(u"Design"_s));
    move(2, world.projects[1]);
    QCOMPARE(task(), QJsonValue(QJsonValue::Null));
}

QTEST_GUILESS_MAIN(TestDevserverReports)
#include "reports.moc"
