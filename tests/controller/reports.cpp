// SPDX-License-Identifier: MIT
#include "tests/controller/reader.h"
#include "tests/support/client.h"

#include <QJsonArray>
#include <QSignalSpy>
#include <QTest>
#include <QUuid>

using namespace Qt::StringLiterals;

namespace {

QJsonObject with(QJsonObject object, const QString& key, const QJsonValue& value) {
    object.insert(key, value);
    return object;
}

} // namespace

class ReportsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }

    void forwardsTheQueryUnchanged_data();
    void forwardsTheQueryUnchanged();
    void everyQueryHasAKeyOfItsOwn();
    void asksNothingWithoutAWorkspace();
    void secondQueryWhileOneIsPendingIsIgnored();
    void saysWhetherTheRowsAreAll_data();
    void saysWhetherTheRowsAreAll();
    void reportWithoutRowsIsStillANewOne();
    void failedQueryKeepsTheLastReport_data();
    void failedQueryKeepsTheLastReport();
    void aReportAddsNothingToWhatIsKept();
};

void ReportsTest::forwardsTheQueryUnchanged_data() {
    QTest::addColumn<QStringList>("values");
    QTest::newRow("summary") << QStringList{u"summary"_s, u"2026-03-01"_s, u"2026-03-31"_s,
                                            u"Asia/Jerusalem"_s, u"project"_s};
    QTest::newRow("weekly") << QStringList{u"weekly"_s, u"2026-01-01"_s, u"2026-12-31"_s, u"UTC"_s,
                                           u"week"_s};
    QTest::newRow("unchecked") << QStringList{u"detailed"_s, u"31.2."_s, u" "_s, u"Nowhere/At all"_s,
                                              u"לקוח"_s};
    QTest::newRow("empty") << QStringList{u"summary"_s, QString(), QString(), QString(), QString()};
}

void ReportsTest::forwardsTheQueryUnchanged() {
    QFETCH(const QStringList, values);
    Reader reader;
    QVERIFY(reader.connectAndSettle());
    reader.peer.forgetRequests();
    reader.controller.queryReport(values[0], values[1], values[2], values[3], values[4]);
    QVERIFY(reader.controller.busy());
    QVERIFY(waitForSilence(reader.controller));
    QVERIFY(!reader.controller.busy());
    QCOMPARE(reader.peer.log(),
             QStringList{u"POST /v1/workspaces/ws-1/reports/"_s + values[0] + u"/query"_s});
    const PeerRequest sent = reader.peer.requests().first();
    QCOMPARE(sent.json(), (QJsonObject{{u"from_date"_s, values[1]},
                                       {u"to_date"_s, values[2]},
                                       {u"timezone"_s, values[3]},
                                       {u"group_by"_s, QJsonArray{values[4]}},
                                       {u"limit"_s, 500}}));
    QCOMPARE(sent.headers.value("content-type"), "application/json");
}

void ReportsTest::everyQueryHasAKeyOfItsOwn() {
    Reader reader;
    QVERIFY(reader.connectAndSettle());
    QVERIFY(reader.loadReport());
    QVERIFY(reader.loadReport());
    const QList<PeerRequest> sent = reader.peer.requests("POST", Reader::queryPath());
    QCOMPARE(sent.size(), 2);
    const QByteArray first = sent[0].headers.value("idempotency-key");
    QVERIFY(!QUuid::fromString(QLatin1StringView(first)).isNull());
    QVERIFY(first != sent[1].headers.value("idempotency-key"));
}

void ReportsTest::asksNothingWithoutAWorkspace() {
    Reader reader;
    QVERIFY(reader.connectAndSettle());
    reader.controller.applyDurable({});
    reader.peer.forgetRequests();
    QSignalSpy changed(&reader.controller, &Controller::changed);
    reader.query();
    QVERIFY(waitForSilence(reader.controller));
    QVERIFY(changed.isEmpty());
    QCOMPARE(reader.peer.log(), QStringList());
}

void ReportsTest::secondQueryWhileOneIsPendingIsIgnored() {
    Reader reader;
    QVERIFY(reader.connectAndSettle());
    reader.peer.answer("POST", Reader::queryPath(),
                       PeerReply::json(Reader::reportReply()).delivered(PeerReply::Delivery::Hold));
    reader.query();
    QTRY_COMPARE(reader.peer.held(), 1);
    QSignalSpy changed(&reader.controller, &Controller::changed);
    reader.query();
    QVERIFY(changed.isEmpty());
    reader.peer.release();
    QTRY_COMPARE(reader.controller.reportRows().size(), 2);
    QVERIFY(waitForSilence(reader.controller));
    QCOMPARE(reader.peer.requests("POST", Reader::queryPath()).size(), 1);
}

void ReportsTest::saysWhetherTheRowsAreAll_data() {
    QTest::addColumn<QJsonObject>("reply");
    QTest::addColumn<QString>("message");
    const QString first = u"First 500 rows shown. Exports contain the complete snapshot."_s;
    const QString all = u"Server snapshot loaded"_s;
    const QJsonObject full = Reader::reportReply(500);
    QTest::newRow("more") << with(full, u"has_more"_s, true) << first;
    QTest::newRow("no more") << with(full, u"has_more"_s, false) << all;
    QTest::newRow("not said") << full << all;
    QTest::newRow("not a boolean") << with(full, u"has_more"_s, u"true"_s) << all;
}

void ReportsTest::saysWhetherTheRowsAreAll() {
    QFETCH(const QJsonObject, reply);
    QFETCH(const QString, message);
    Reader reader;
    QVERIFY(reader.connectAndSettle());
    reader.peer.answer("POST", Reader::queryPath(), PeerReply::json(reply));
    reader.query();
    QTRY_COMPARE(reader.controller.message(), message);
    QVERIFY(!reader.controller.busy());
    QCOMPARE(reader.controller.reportRows(), reply.value(u"rows").toArray().toVariantList());
    QCOMPARE(reader.controller.reportTotals(), reply.value(u"totals").toObject().toVariantMap());
}

void ReportsTest::reportWithoutRowsIsStillANewOne() {
    Reader reader;
    QVERIFY(reader.connectAndSettle());
    QVERIFY(reader.loadReport());
    reader.peer.answer("POST", Reader::queryPath(), PeerReply::json({{u"snapshot_id"_s, u"report-2"_s}}));
    QVERIFY(reader.loadReport());
    QVERIFY(reader.controller.reportRows().isEmpty());
    QVERIFY(reader.controller.reportTotals().isEmpty());
    reader.peer.forgetRequests();
    reader.controller.downloadReport(u"csv"_s);
    QVERIFY(waitForSilence(reader.controller));
    QCOMPARE(reader.peer.log(), QStringList{u"GET /v1/workspaces/ws-1/report-snapshots/report-2/export"_s});
}

void ReportsTest::failedQueryKeepsTheLastReport_data() {
    QTest::addColumn<PeerReply>("reply");
    QTest::addColumn<QString>("message");
    const QString fallback = u"Report request failed"_s;
    const auto refused = [](const QJsonValue& message, int status) {
        return PeerReply::json({{u"error"_s, QJsonObject{{u"message"_s, message}}}}, status);
    };
    QTest::newRow("with a message") << refused(u"The range is too long."_s, 400)
                                    << u"The range is too long."_s;
    QTest::newRow("with an empty message") << refused(QString(), 400) << QString();
    QTest::newRow("message not a string") << refused(5, 422) << fallback;
    QTest::newRow("created") << PeerReply::json(Reader::reportReply(1), 201) << fallback;
    QTest::newRow("empty body") << PeerReply::text({}, 404) << fallback;
    QTest::newRow("ok without JSON") << PeerReply::text("<html>") << fallback;
    QTest::newRow("redirect") << PeerReply::json({}, 302).with("Location", "/v1/me") << fallback;
    QTest::newRow("no answer") << PeerReply::only(PeerReply::Delivery::Close) << fallback;
    QTest::newRow("half an answer")
        << PeerReply::json(Reader::reportReply(9)).delivered(PeerReply::Delivery::Cut) << fallback;
}

void ReportsTest::failedQueryKeepsTheLastReport() {
    QFETCH(const PeerReply, reply);
    QFETCH(const QString, message);
    Reader reader;
    QVERIFY(reader.connectAndSettle());
    QVERIFY(reader.loadReport());
    const QVariantList rows = reader.controller.reportRows();
    const QVariantMap totals = reader.controller.reportTotals();
    reader.peer.answer("POST", Reader::queryPath(), reply);
    reader.query();
    QTRY_COMPARE(reader.controller.message(), message);
    QVERIFY(!reader.controller.busy());
    QCOMPARE(reader.controller.reportRows(), rows);
    QCOMPARE(reader.controller.reportTotals(), totals);

    reader.controller.downloadReport(u"csv"_s);
    QTRY_COMPARE(reader.controller.message(), u"Report exported from its server snapshot"_s);
    QCOMPARE(reader.peer.requests("GET", Reader::exportPath()).size(), 1);
}

// Not even an empty catalog where there is none.
void ReportsTest::aReportAddsNothingToWhatIsKept() {
    Reader reader;
    QVERIFY(reader.connectAndSettle());
    QJsonObject state = reader.controller.durableState();
    QJsonObject snapshot = state.value(u"snapshot").toObject();
    snapshot.remove(u"catalog"_s);
    state.insert(u"snapshot"_s, snapshot);
    reader.controller.applyDurable(state);
    const QJsonObject before = reader.controller.durableState();
    QVERIFY(!before.value(u"snapshot").toObject().contains(u"catalog"));
    QVERIFY(reader.loadReport());
    QCOMPARE(reader.controller.durableState(), before);
}

QTEST_MAIN(ReportsTest)
#include "reports.moc"
