// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "tests/support/client.h"
#include "tests/support/devserver.h"

#include <QDateTime>
#include <QJsonArray>
#include <QTest>
#include <QTimeZone>

using namespace Qt::StringLiterals;

namespace {

const QString zone = u"Asia/Jerusalem"_s;
const QString loaded = u"Server snapshot loaded"_s;
const QString firstRows = u"First 500 rows shown. Exports contain the complete snapshot."_s;

/// Someone who reads reports of the real server, without secure storage.
struct ServerReader {
    explicit ServerReader(DevServer::Data data) : server(data) { controller.setReadOnly(true); }

    [[nodiscard]] bool connectAndSettle() {
        return server.start() && connectAndLoad(controller, server.url()) && waitForSilence(controller);
    }

    /// The message of the report over these days.
    [[nodiscard]] QString report(const QString& kind, const QString& group, const QString& from,
                                 const QString& to) {
        controller.queryReport(kind, from, to, zone, group);
        return waitForSilence(controller) && !controller.busy() ? controller.message() : QString();
    }

    [[nodiscard]] QString yearReport(const QString& kind, const QString& group) {
        return report(kind, group, today.addDays(-366).toString(Qt::ISODate), today.toString(Qt::ISODate));
    }

    DevServer server;
    Controller controller;
    const QDate today = QDateTime::currentDateTime().toTimeZone(QTimeZone(zone.toLatin1())).date();
};

struct Sum {
    int entries = 0;
    qint64 seconds = 0;
};

Sum sumOf(const QJsonArray& entries) {
    Sum sum;
    for (const auto& value : entries) {
        const QJsonObject entry = value.toObject();
        if (entry.value(u"stop_at").isString() && entry.value(u"deleted_at").isNull()) {
            sum.seconds += entry.value(u"duration_seconds").toInteger();
            ++sum.entries;
        }
    }
    return sum;
}

} // namespace

/// Reports as the real server gives them.
class ServerReportsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }

    void everyKindAndGroupAgreesWithTheEntries();
    void onlyTheFirstFiveHundredRowsAreShown();
    void aReportOfNothingIsEmpty();
    void theServersSentenceIsShownAndTheReportKept();
    void aReportAskedAgainKnowsWhatWasRecordedSince();
    void withoutAServerTheReportStays();
};

void ServerReportsTest::everyKindAndGroupAgreesWithTheEntries() {
    ServerReader reader(DevServer::Data::Demo);
    QVERIFY(reader.connectAndSettle());
    const Sum sum = sumOf(reader.server.entries());
    QVERIFY(sum.entries > 1000);
    for (const QString& kind : {u"summary"_s, u"weekly"_s, u"detailed"_s}) {
        for (const QString& group : {u"project"_s, u"client"_s, u"task"_s, u"user"_s, u"day"_s, u"week"_s}) {
            const QString message = reader.yearReport(kind, group);
            QCOMPARE(message, reader.controller.reportRows().size() == 500 ? firstRows : loaded);
            const QVariantMap totals = reader.controller.reportTotals();
            QCOMPARE(totals.value(u"raw_duration_seconds"_s).toLongLong(), sum.seconds);
            QCOMPARE(totals.value(u"entry_count"_s).toInt(), sum.entries);
            if (message == firstRows) {
                continue;
            }
            qint64 rows = 0;
            const QVariantList shown = reader.controller.reportRows();
            for (const QVariant& row : shown) {
                QVERIFY(!row.toMap().value(u"labels"_s).toStringList().join(QString()).isEmpty());
                rows += row.toMap().value(u"totals"_s).toMap().value(u"raw_duration_seconds"_s).toLongLong();
            }
            QCOMPARE(rows, sum.seconds);
        }
    }
}

void ServerReportsTest::onlyTheFirstFiveHundredRowsAreShown() {
    ServerReader reader(DevServer::Data::Demo);
    QVERIFY(reader.connectAndSettle());
    QCOMPARE(reader.yearReport(u"detailed"_s, u"project"_s), firstRows);
    const QVariantList rows = reader.controller.reportRows();
    QCOMPARE(rows.size(), 500);
    QVERIFY(reader.controller.reportTotals().value(u"entry_count"_s).toInt() > 500);
    QString last = u"9999"_s;
    for (const QVariant& row : rows) {
        const QVariantMap entry = row.toMap().value(u"entry"_s).toMap();
        QVERIFY(entry.contains(u"description"_s));
        QVERIFY(entry.value(u"start_at"_s).toString() <= last);
        last = entry.value(u"start_at"_s).toString();
    }
    QCOMPARE(reader.report(u"detailed"_s, u"project"_s, reader.today.addDays(-30).toString(Qt::ISODate),
                           reader.today.toString(Qt::ISODate)),
             loaded);
    QVERIFY(!reader.controller.reportRows().isEmpty() && reader.controller.reportRows().size() < 500);
}

void ServerReportsTest::aReportOfNothingIsEmpty() {
    ServerReader reader(DevServer::Data::Empty);
    QVERIFY(reader.connectAndSettle());
    QCOMPARE(reader.yearReport(u"summary"_s, u"project"_s), loaded);
    QVERIFY(reader.controller.reportRows().isEmpty());
    QCOMPARE(reader.controller.reportTotals().value(u"raw_duration_seconds"_s), QVariant(0));
    QCOMPARE(reader.controller.reportTotals().value(u"entry_count"_s), QVariant(0));
}

void ServerReportsTest::theServersSentenceIsShownAndTheReportKept() {
    ServerReader reader(DevServer::Data::Demo);
    QVERIFY(reader.connectAndSettle());
    QCOMPARE(reader.yearReport(u"summary"_s, u"client"_s), loaded);
    const QVariantList rows = reader.controller.reportRows();
    const QVariantMap totals = reader.controller.reportTotals();
    QVERIFY(rows.size() > 1);
    reader.controller.queryReport(u"detailed"_s, u"2026-03-02"_s, u"2026-03-01"_s, zone, u"day"_s);
    QVERIFY(waitForSilence(reader.controller));
    QCOMPARE(reader.controller.message(), u"The last day lies before the first day."_s);
    QVERIFY(!reader.controller.busy());
    QCOMPARE(reader.controller.reportRows(), rows);
    QCOMPARE(reader.controller.reportTotals(), totals);
}

void ServerReportsTest::aReportAskedAgainKnowsWhatWasRecordedSince() {
    ServerReader reader(DevServer::Data::Empty);
    QVERIFY(reader.connectAndSettle());
    const auto record = [&reader](const QString& entry, const QString& start, const QString& stop) {
        return reader.server
            .push(u"entry.create"_s, entry, 0,
                  {{u"description"_s, u"night"_s}, {u"start_at"_s, start}, {u"stop_at"_s, stop}})
            .value(u"status")
            .toString();
    };
    // The night to 27 March 2026, in which Israel's clocks went from 02:00 to 03:00.
    QCOMPARE(record(u"00000000-0000-4000-8000-000000000001"_s, u"2026-03-26T21:30:00Z"_s,
                    u"2026-03-27T01:00:00Z"_s),
             u"accepted"_s);
    QCOMPARE(reader.report(u"summary"_s, u"day"_s, u"2026-03-26"_s, u"2026-03-27"_s), loaded);
    const auto day = [](const QString& label, int seconds) {
        return QVariantMap{{u"labels"_s, QVariantList{label}},
                           {u"totals"_s, QVariantMap{{u"raw_duration_seconds"_s, seconds},
                                                     {u"rounded_duration_seconds"_s, seconds},
                                                     {u"billable_duration_seconds"_s, 0},
                                                     {u"amount"_s, u"0.00"_s},
                                                     {u"entry_count"_s, 1}}}};
    };
    QCOMPARE(reader.controller.reportRows(),
             (QVariantList{day(u"2026-03-26"_s, 1800), day(u"2026-03-27"_s, 10800)}));
    QCOMPARE(record(u"00000000-0000-4000-8000-000000000002"_s, u"2026-03-27T08:00:00Z"_s,
                    u"2026-03-27T08:00:01Z"_s),
             u"accepted"_s);
    QCOMPARE(reader.controller.reportTotals().value(u"entry_count"_s), QVariant(1));
    QCOMPARE(reader.report(u"summary"_s, u"day"_s, u"2026-03-26"_s, u"2026-03-27"_s), loaded);
    QCOMPARE(reader.controller.reportTotals().value(u"entry_count"_s), QVariant(2));
}

void ServerReportsTest::withoutAServerTheReportStays() {
    ServerReader reader(DevServer::Data::Demo);
    QVERIFY(reader.connectAndSettle());
    QCOMPARE(reader.yearReport(u"summary"_s, u"user"_s), loaded);
    const QVariantList rows = reader.controller.reportRows();
    reader.server.kill();
    QCOMPARE(reader.yearReport(u"weekly"_s, u"user"_s), u"Report request failed"_s);
    QCOMPARE(reader.controller.reportRows(), rows);
    QVERIFY(reader.server.start());
    QCOMPARE(reader.yearReport(u"weekly"_s, u"user"_s), loaded);
    QVERIFY(reader.controller.reportRows().size() > rows.size());
}

QTEST_MAIN(ServerReportsTest)
#include "serverreports.moc"
