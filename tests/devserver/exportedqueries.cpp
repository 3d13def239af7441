// SPDX-License-Identifier: MIT
#include "tests/devserver/reportworld.h"
#include "tests/support/exportreader.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {

/// The seconds of a duration as text, "26:03:04".
qint64 secondsOf(const QString& text) {
    const QStringList parts = text.split(u':');
    return parts.size() == 3
               ? parts[0].toLongLong() * 3600 + parts[1].toLongLong() * 60 + parts[2].toLongLong()
               : -1;
}

qint64 rawSeconds(const QJsonValue& row) {
    return row[u"totals"][u"raw_duration_seconds"].toInteger();
}

} // namespace

/// Exports of reports as they were answered, by then changed in every way.
class TestDevserverExportedQueries : public QObject {
    Q_OBJECT

    [[nodiscard]] QByteArray exported(const QString& snapshot, const QString& format) const;
    void changeEverything();

    ReportWorld m_world{ReportRules{u"en"_s, 15}};

private Q_SLOTS:
    void initTestCase();
    void exportsAreTheReportAsItWasAnswered_data();
    void exportsAreTheReportAsItWasAnswered();
    void aDetailedCsvCanBeImportedElsewhere_data();
    void aDetailedCsvCanBeImportedElsewhere();
};

void TestDevserverExportedQueries::initTestCase() {
    m_world.addRandom({u"2026-03-27T00:00:00Z"_s, u"2026-10-25T00:00:00Z"_s}, "Asia/Jerusalem");
}

QByteArray TestDevserverExportedQueries::exported(const QString& snapshot, const QString& format) const {
    const QString path = u"/v1/workspaces/%1/report-snapshots/%2/export?format=%3"_s.arg(
        m_world.people().workspace, snapshot, format);
    const Reply reply = m_world.client().get(path.toStdString());
    return reply.status == 200 ? QByteArray::fromStdString(reply.text) : QByteArray();
}

void TestDevserverExportedQueries::changeEverything() {
    const TestDatabase& database = m_world.database();
    database.run(u"UPDATE time_entries SET stop_at = stop_at + 1, description = 'changed'"
                 " WHERE stop_at IS NOT NULL"_s);
    database.run(u"UPDATE projects SET hourly_rate = hourly_rate + 1, name = name || ' changed'"_s);
    database.run(u"UPDATE clients SET name = name || ' changed'"_s);
    database.run(u"UPDATE workspaces SET rounding_minutes = 1, name = name || ' changed'"_s);
}

void TestDevserverExportedQueries::exportsAreTheReportAsItWasAnswered_data() {
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("group");
    for (const char* kind : {"summary", "weekly", "detailed"}) {
        for (const char* group : {"project", "client", "task", "user", "day", "week"}) {
            if (qstrcmp(kind, "detailed") != 0 || qstrcmp(group, "day") == 0) {
                QTest::addRow("%s by %s", kind, group)
                    << QString::fromLatin1(kind) << QString::fromLatin1(group);
            }
        }
    }
}

void TestDevserverExportedQueries::exportsAreTheReportAsItWasAnswered() {
    QFETCH(const QString, kind);
    QFETCH(const QString, group);
    const QJsonObject answered =
        m_world.query(kind, reportBody(u"2026-03-20"_s, u"2026-10-31"_s, u"Asia/Jerusalem"_s, group)).body;
    const QString snapshot = answered[u"snapshot_id"].toString();
    const QJsonArray rows = answered[u"rows"].toArray();
    QVERIFY(!rows.isEmpty());
    const QJsonArray stored = m_world.storedRows(snapshot);
    changeEverything();

    const QJsonObject report = readExport(u"json"_s, exported(snapshot, u"json"_s));
    QCOMPARE(report[u"rows"].toArray(), stored);
    QCOMPARE(report[u"totals"].toObject(), answered[u"totals"].toObject());
    const QJsonArray lines = readExport(u"csv"_s, exported(snapshot, u"csv"_s))[u"rows"].toArray();
    const QJsonArray cells = readExport(u"xlsx"_s, exported(snapshot, u"xlsx"_s))[u"rows"].toArray();
    const QJsonArray printed = readExport(u"html"_s, exported(snapshot, u"html"_s))[u"rows"].toArray();
    QCOMPARE(lines.size(), stored.size() + 1);
    QCOMPARE(cells.size(), stored.size() + 2);
    QCOMPARE(printed.size(), stored.size() + 2);
    const int column = static_cast<int>(lines[0].toArray().toVariantList().indexOf(u"Duration"_s));
    for (int i = 0; i < stored.size(); ++i) {
        if (i < rows.size()) {
            QCOMPARE(stored[i].toObject(), rows[i].toObject());
        }
        QCOMPARE(secondsOf(lines[i + 1][column].toString()), rawSeconds(stored[i]));
        QCOMPARE(cells[i + 1][column][u"value"].toInteger(), rawSeconds(stored[i]));
        QCOMPARE(secondsOf(printed[i + 1][column].toString()), rawSeconds(stored[i]));
        const QString amount = stored[i][u"totals"][u"amount"].toString();
        QCOMPARE(lines[i + 1].toArray().last().toString(), amount);
        QCOMPARE(cells[i + 1].toArray().last()[u"value"].toDouble(), amount.toDouble());
        if (kind != u"detailed") {
            const QJsonArray labels = stored[i][u"labels"].toArray();
            QCOMPARE(lines[0][labels.size()].toString(), u"Entries"_s);
            for (int label = 0; label < labels.size(); ++label) {
                QCOMPARE(lines[i + 1][label].toString(), labels[label].toString());
            }
        }
    }
    QCOMPARE(cells.last()[column][u"value"].toInteger(), rawSeconds(answered));
    QCOMPARE(secondsOf(printed.last()[column].toString()), rawSeconds(answered));
}

void TestDevserverExportedQueries::aDetailedCsvCanBeImportedElsewhere_data() {
    QTest::addColumn<QString>("language");
    QTest::newRow("English") << u"en"_s;
    QTest::newRow("Hebrew") << u"he"_s;
}

void TestDevserverExportedQueries::aDetailedCsvCanBeImportedElsewhere() {
    QFETCH(const QString, language);
    const TestDatabase& database = m_world.database();
    const World& people = m_world.people();
    database.run(u"UPDATE workspaces SET language = ? WHERE id = ?"_s, {language, people.workspace});
    const QStringList guarded{u"=1+1"_s, u"'=1+1"_s, u"''-שלום"_s, u"'\tx"_s};
    for (qsizetype i = 0; i < guarded.size(); ++i) {
        database.run(u"UPDATE time_entries SET description = ? WHERE id = (SELECT id FROM time_entries WHERE"
                     " workspace_id = ? AND stop_at IS NOT NULL AND deleted_at IS NULL ORDER BY id LIMIT 1"
                     " OFFSET %1)"_s.arg(i),
                     {guarded[i], people.workspace});
    }
    const QString elsewhere = World::newId();
    database.run(u"INSERT INTO workspaces (id, name, created_at) VALUES (?, 'Elsewhere', 9)"_s, {elsewhere});
    database.run(u"INSERT INTO members (workspace_id, user_id) VALUES (?, ?)"_s,
                 {elsewhere, people.developer});
    const Reply report = m_world.query(
        u"detailed"_s, reportBody(u"2026-01-01"_s, u"2026-12-31"_s, u"Asia/Jerusalem"_s, u"project"_s));
    const QByteArray csv = exported(report.body[u"snapshot_id"].toString(), u"csv"_s);
    TestClient client = m_world.client();
    const std::string imports = "/v1/workspaces/" + elsewhere.toStdString() + "/imports/csv/preview";
    Reply step = client.postTo(imports, {{u"content"_s, QString::fromUtf8(csv)},
                                         {u"timezone"_s, u"Pacific/Auckland"_s}, // the file knows better
                                         {u"source_namespace"_s, language},
                                         {u"assign_to_me"_s, true}});
    QCOMPARE(step.status, 201);
    QVERIFY2(step.body[u"invalid"].toInt() == 0, step.text.c_str());
    while (step.body[u"has_more"].toBool()) {
        const QJsonObject body{{u"preview_checksum"_s, step.body[u"checksum"]}, {u"limit"_s, 500}};
        step = client.postTo("/v1/imports/" + step.body[u"id"].toString().toStdString() + "/apply", body,
                             {{"Idempotency-Key", World::newId().toStdString()}});
        QCOMPARE(step.status, 200);
    }
    // What happened twice at the same moments in the same words is one record.
    const auto sums = [&database](const QString& workspace) {
        return database.value(u"SELECT SUM(seconds) FROM (SELECT DISTINCT start_at, stop_at, description,"
                              " stop_at - start_at AS seconds FROM time_entries WHERE workspace_id = ?"
                              " AND stop_at IS NOT NULL AND deleted_at IS NULL"
                              " AND start_at BETWEEN 1767218400 AND 1798754399) e"_s,
                              {workspace});
    };
    QVERIFY(sums(elsewhere).toLongLong() > 0);
    QCOMPARE(sums(elsewhere), sums(people.workspace));
    for (const QString& text : guarded) {
        QVERIFY2(
            database.value(u"SELECT COUNT(*) FROM time_entries WHERE workspace_id = ? AND description = ?"_s,
                           {elsewhere, text})
                    .toInt() > 0,
            qPrintable(text));
    }
}

QTEST_GUILESS_MAIN(TestDevserverExportedQueries)
#include "exportedqueries.moc"
