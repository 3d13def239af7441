// SPDX-License-Identifier: MIT
#include "tests/controller/filelimit.h"
#include "tests/controller/reader.h"
#include "tests/support/client.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

class ReportExportTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }

    void exportsNothingBeforeAReport_data();
    void exportsNothingBeforeAReport();
    void asksForTheFileFirst_data();
    void asksForTheFileFirst();
    void cancelledExportAsksNothing();
    void exportRequestIsBare();
    void exportCarriesTheSession();
    void exportNeitherKeepsNorSendsCookies();
    void exportWritesTheBytesAsTheyCome_data();
    void exportWritesTheBytesAsTheyCome();
    void exportReplacesAnExistingFile();
    void failedExportLeavesTheFileAlone_data();
    void failedExportLeavesTheFileAlone();
    void failedExportCreatesNoFile();
    void fullDiskLeavesTheFileAlone();
    void vanishedFolderIsReported();
    void directoryInTheWayIsReported();
    void exportDoesNotTouchAPendingQuery();
    void exportFollowsTheLastSuccessfulReport();
    void exportIsWrittenAlthoughTheAccountHasChanged();
    void aRefusedExportEndsTheSession_data();
    void aRefusedExportEndsTheSession();
    void aLateRefusalIsOfTheSessionBefore();
};

void ReportExportTest::exportsNothingBeforeAReport_data() {
    QTest::addColumn<QJsonValue>("snapshotId");
    QTest::newRow("no report") << QJsonValue(QJsonValue::Undefined);
    QTest::newRow("a report without snapshot") << QJsonValue(QJsonValue::Null);
    QTest::newRow("a snapshot that is no string") << QJsonValue(7);
    QTest::newRow("an empty snapshot id") << QJsonValue(QString());
}

void ReportExportTest::exportsNothingBeforeAReport() {
    QFETCH(const QJsonValue, snapshotId);
    Reader reader;
    QVERIFY(reader.connectAndSettle());
    if (!snapshotId.isUndefined()) {
        QJsonObject report = Reader::reportReply();
        report.insert(u"snapshot_id"_s, snapshotId);
        reader.peer.answer("POST", Reader::queryPath(), PeerReply::json(report));
        QVERIFY(reader.loadReport());
    }
    reader.peer.forgetRequests();
    QSignalSpy changed(&reader.controller, &Controller::changed);
    reader.controller.downloadReport(u"csv"_s);
    QVERIFY(waitForSilence(reader.controller));
    QVERIFY(changed.isEmpty());
    QVERIFY(reader.dialogs.seen().isEmpty());
    QCOMPARE(reader.peer.log(), QStringList());
}

void ReportExportTest::asksForTheFileFirst_data() {
    QTest::addColumn<QString>("format");
    for (const char* format : {"csv", "xlsx", "json", "html"}) {
        QTest::newRow(format) << QString::fromLatin1(format);
    }
}

void ReportExportTest::asksForTheFileFirst() {
    QFETCH(const QString, format);
    Reader reader;
    QVERIFY(reader.connectAndSettle());
    QVERIFY(reader.loadReport());
    reader.peer.forgetRequests();
    qsizetype askedBefore = -1;
    reader.dialogs.afterChoosing([&] { askedBefore = reader.peer.requests().size(); });
    reader.controller.downloadReport(format);
    QTRY_COMPARE(reader.controller.message(), u"Report exported from its server snapshot"_s);
    QCOMPARE(askedBefore, 0);
    QCOMPARE(reader.dialogs.seen().size(), 1);
    const FileDialogs::Seen dialog = reader.dialogs.seen().first();
    QCOMPARE(dialog.title, u"Save report"_s);
    QCOMPARE(dialog.proposedName, u"timer-report."_s + format);
    QCOMPARE(dialog.nameFilters, QStringList{u"All Files (*)"_s});
    QCOMPARE(dialog.acceptMode, QFileDialog::AcceptSave);
    QVERIFY(!dialog.hasParent);
    const PeerRequest sent = reader.peer.requests().first();
    QCOMPARE(sent.method, "GET");
    QCOMPARE(sent.path, Reader::exportPath());
    QCOMPARE(sent.query, u"format="_s + format);
}

void ReportExportTest::cancelledExportAsksNothing() {
    Reader reader;
    QVERIFY(reader.connectAndSettle());
    QVERIFY(reader.loadReport());
    reader.peer.forgetRequests();
    reader.dialogs.cancel();
    QSignalSpy changed(&reader.controller, &Controller::changed);
    reader.controller.downloadReport(u"csv"_s);
    QVERIFY(waitForSilence(reader.controller));
    QCOMPARE(reader.dialogs.seen().size(), 1);
    QVERIFY(changed.isEmpty());
    QCOMPARE(reader.peer.log(), QStringList());
    QCOMPARE(reader.files(), QStringList());
}

void ReportExportTest::exportRequestIsBare() {
    Reader reader;
    QVERIFY(reader.connectAndSettle());
    QVERIFY(reader.loadReport());
    reader.controller.downloadReport(u"csv"_s);
    QVERIFY(waitForSilence(reader.controller));
    const PeerRequest sent = reader.peer.requests("GET", Reader::exportPath()).value(0);
    for (const char* header : {"authorization", "idempotency-key", "content-type", "cookie"}) {
        QVERIFY2(!sent.headers.contains(header), header);
    }
    QVERIFY(sent.body.isEmpty());
}

void ReportExportTest::exportCarriesTheSession() {
    Reader reader;
    QVERIFY(reader.connectAndSettle());
    reader.signIn();
    QVERIFY(reader.loadReport());
    reader.controller.downloadReport(u"csv"_s);
    QVERIFY(waitForSilence(reader.controller));
    const PeerRequest sent = reader.peer.requests("GET", Reader::exportPath()).value(0);
    QCOMPARE(sent.headers.value("authorization"), "Bearer " + Reader::token().toUtf8());
}

void ReportExportTest::exportNeitherKeepsNorSendsCookies() {
    Reader reader;
    QVERIFY(reader.connectAndSettle());
    QVERIFY(reader.loadReport());
    reader.peer.answer("GET", Reader::exportPath(),
                       PeerReply::text("a").with("Set-Cookie", "former=account; Path=/"));
    for (int i = 1; i <= 2; ++i) {
        reader.controller.downloadReport(u"csv"_s);
        QTRY_COMPARE(reader.peer.requests("GET", Reader::exportPath()).size(), i);
        QVERIFY(waitForSilence(reader.controller));
    }
    QVERIFY(!reader.peer.requests().last().headers.contains("cookie"));
}

void ReportExportTest::exportWritesTheBytesAsTheyCome_data() {
    QTest::addColumn<QByteArray>("body");
    QByteArray everyByte;
    for (int i = 0; i < 256; ++i) {
        everyByte.append(static_cast<char>(i));
    }
    QTest::newRow("text") << QByteArray("a,b\n\"\xd7\x90\",2\n");
    QTest::newRow("line ends and byte order mark") << QByteArray("\xef\xbb\xbf"
                                                                 "a\r\nb\r\n");
    QTest::newRow("every byte") << everyByte;
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("3 MB") << everyByte.repeated(12000);
}

void ReportExportTest::exportWritesTheBytesAsTheyCome() {
    QFETCH(const QByteArray, body);
    Reader reader;
    QVERIFY(reader.connectAndSettle());
    QVERIFY(reader.loadReport());
    reader.peer.answer("GET", Reader::exportPath(), PeerReply::text(body));
    reader.controller.downloadReport(u"xlsx"_s);
    QTRY_COMPARE(reader.controller.message(), u"Report exported from its server snapshot"_s);
    QCOMPARE(reader.readTarget(), body);
    QCOMPARE(reader.files(), QStringList{u"report.csv"_s});
}

void ReportExportTest::exportReplacesAnExistingFile() {
    Reader reader;
    QVERIFY(reader.connectAndSettle());
    QVERIFY(reader.loadReport());
    QVERIFY(reader.writeTarget("an older report that is longer than the new one"));
    QFile open(reader.target);
    QVERIFY(open.open(QIODevice::ReadOnly));
    reader.controller.downloadReport(u"csv"_s);
    QTRY_COMPARE(reader.controller.message(), u"Report exported from its server snapshot"_s);
    QCOMPARE(reader.readTarget(), "whole report");
    // Whoever still reads the old file sees it whole: the new one took its name, not its place.
    QCOMPARE(open.readAll(), "an older report that is longer than the new one");
}

void ReportExportTest::failedExportLeavesTheFileAlone_data() {
    QTest::addColumn<PeerReply>("reply");
    QTest::newRow("404") << PeerReply::json({{u"error"_s, QJsonObject{{u"message"_s, u"Gone."_s}}}}, 404);
    QTest::newRow("500") << PeerReply::text("half a report", 500);
    QTest::newRow("201") << PeerReply::text("another report", 201);
    QTest::newRow("204") << PeerReply::text({}, 204);
    QTest::newRow("redirect") << PeerReply::text({}, 302).with("Location", "/v1/me");
    QTest::newRow("no answer") << PeerReply::only(PeerReply::Delivery::Close);
    QTest::newRow("half an answer") << PeerReply::text("half a report").delivered(PeerReply::Delivery::Cut);
}

void ReportExportTest::failedExportLeavesTheFileAlone() {
    QFETCH(const PeerReply, reply);
    Reader reader;
    QVERIFY(reader.connectAndSettle());
    QVERIFY(reader.loadReport());
    QVERIFY(reader.writeTarget("older"));
    reader.peer.answer("GET", Reader::exportPath(), reply);
    reader.peer.forgetRequests();
    reader.controller.downloadReport(u"csv"_s);
    QTRY_COMPARE(reader.controller.message(), u"Export failed"_s);
    QCOMPARE(reader.readTarget(), "older");
    QCOMPARE(reader.files(), QStringList{u"report.csv"_s});
    QVERIFY(reader.peer.requests("GET", u"/v1/me"_s).isEmpty());
}

void ReportExportTest::failedExportCreatesNoFile() {
    Reader reader;
    QVERIFY(reader.connectAndSettle());
    QVERIFY(reader.loadReport());
    reader.peer.answer("GET", Reader::exportPath(), PeerReply::json({}, 503));
    reader.controller.downloadReport(u"csv"_s);
    QTRY_COMPARE(reader.controller.message(), u"Export failed"_s);
    QCOMPARE(reader.files(), QStringList());
}

void ReportExportTest::fullDiskLeavesTheFileAlone() {
    Reader reader;
    QVERIFY(reader.connectAndSettle());
    QVERIFY(reader.loadReport());
    QVERIFY(reader.writeTarget("older"));
    reader.peer.answer("GET", Reader::exportPath(), PeerReply::text(QByteArray(100000, 'x')));
    {
        const FileLimit limit(4096);
        reader.controller.downloadReport(u"csv"_s);
        QTRY_COMPARE(reader.controller.message(), u"Unable to save the export"_s);
    }
    QCOMPARE(reader.readTarget(), "older");
    QCOMPARE(reader.files(), QStringList{u"report.csv"_s});
}

void ReportExportTest::vanishedFolderIsReported() {
    Reader reader;
    QVERIFY(reader.connectAndSettle());
    QVERIFY(reader.loadReport());
    reader.peer.answer("GET", Reader::exportPath(), [&reader](const PeerRequest&) {
        reader.folder.remove();
        return PeerReply::text("whole report");
    });
    reader.controller.downloadReport(u"csv"_s);
    QTRY_COMPARE(reader.controller.message(), u"Unable to save the export"_s);
    QVERIFY(!QFile::exists(reader.folder.path()));
}

void ReportExportTest::directoryInTheWayIsReported() {
    Reader reader;
    QVERIFY(reader.connectAndSettle());
    QVERIFY(reader.loadReport());
    reader.peer.answer("GET", Reader::exportPath(), [&reader](const PeerRequest&) {
        return PeerReply::text(QDir().mkpath(reader.target + u"/kept"_s) ? "whole report" : "");
    });
    reader.controller.downloadReport(u"csv"_s);
    QTRY_COMPARE(reader.controller.message(), u"Unable to save the export"_s);
    QVERIFY(QFileInfo(reader.target + u"/kept"_s).isDir());
    QCOMPARE(reader.files(), QStringList());
}

void ReportExportTest::exportDoesNotTouchAPendingQuery() {
    Reader reader;
    QVERIFY(reader.connectAndSettle());
    QVERIFY(reader.loadReport());
    reader.peer.answerOnce("POST", Reader::queryPath(),
                           PeerReply::json(Reader::reportReply(5)).delivered(PeerReply::Delivery::Hold));
    reader.query();
    QTRY_COMPARE(reader.peer.held(), 1);
    reader.controller.downloadReport(u"csv"_s);
    QTRY_COMPARE(reader.controller.message(), u"Report exported from its server snapshot"_s);
    QVERIFY(reader.controller.busy());
    reader.peer.answer("GET", Reader::exportPath(), PeerReply::json({}, 500));
    reader.controller.downloadReport(u"csv"_s);
    QTRY_COMPARE(reader.controller.message(), u"Export failed"_s);
    QVERIFY(!reader.controller.busy());
    reader.peer.release();
    QTRY_COMPARE(reader.controller.reportRows().size(), 5);
}

void ReportExportTest::exportFollowsTheLastSuccessfulReport() {
    Reader reader;
    QVERIFY(reader.connectAndSettle());
    QVERIFY(reader.loadReport());
    reader.peer.answer("POST", Reader::queryPath(), PeerReply::json(Reader::reportReply(1, u"report-2"_s)));
    QVERIFY(reader.loadReport());
    reader.peer.answer("GET", u"/v1/workspaces/ws-1/report-snapshots/report-2/export"_s,
                       PeerReply::text("second report"));
    reader.controller.downloadReport(u"csv"_s);
    QTRY_COMPARE(reader.controller.message(), u"Report exported from its server snapshot"_s);
    QCOMPARE(reader.readTarget(), "second report");
}

void ReportExportTest::exportIsWrittenAlthoughTheAccountHasChanged() {
    Reader reader;
    QVERIFY(reader.connectAndSettle());
    QVERIFY(reader.loadReport());
    reader.peer.answer("GET", Reader::exportPath(),
                       PeerReply::text("whole report").delivered(PeerReply::Delivery::Hold));
    reader.controller.downloadReport(u"csv"_s);
    QTRY_COMPARE(reader.peer.held(), 1);
    QVERIFY(connectAndLoad(reader.controller, reader.peer.url()));
    reader.peer.release();
    QTRY_COMPARE(reader.controller.message(), u"Report exported from its server snapshot"_s);
    QCOMPARE(reader.readTarget(), "whole report");
}

void ReportExportTest::aRefusedExportEndsTheSession_data() {
    QTest::addColumn<PeerReply>("reply");
    QTest::addColumn<bool>("signedIn");
    QTest::addColumn<bool>("refused");
    QTest::newRow("401") << PeerReply::json({}, 401) << true << true;
    QTest::newRow("without JSON") << PeerReply::text("<html>", 401) << true << true;
    QTest::newRow("without a session") << PeerReply::json({}, 401) << false << false;
    QTest::newRow("404") << PeerReply::json({}, 404) << true << false;
}

void ReportExportTest::aRefusedExportEndsTheSession() {
    QFETCH(const PeerReply, reply);
    QFETCH(const bool, signedIn);
    QFETCH(const bool, refused);
    Reader reader;
    QVERIFY(reader.connectAndSettle());
    if (signedIn) {
        reader.signIn();
    }
    QVERIFY(reader.loadReport());
    reader.peer.answer("GET", Reader::exportPath(), reply);
    bool atChanged = false;
    connect(&reader.controller, &Controller::changed, this,
            [&] { atChanged = reader.controller.sessionRefused(); });
    reader.controller.downloadReport(u"csv"_s);
    QTRY_COMPARE(reader.controller.message(), u"Export failed"_s);
    QCOMPARE(atChanged, refused);
    QCOMPARE(reader.controller.sessionRefused(), refused);
}

void ReportExportTest::aLateRefusalIsOfTheSessionBefore() {
    Reader reader;
    QVERIFY(reader.connectAndSettle());
    reader.signIn();
    QVERIFY(reader.loadReport());
    reader.peer.answer("GET", Reader::exportPath(),
                       PeerReply::json({}, 401).delivered(PeerReply::Delivery::Hold));
    reader.controller.downloadReport(u"csv"_s);
    QTRY_COMPARE(reader.peer.held(), 1);
    QVERIFY(connectAndLoad(reader.controller, reader.peer.url()));
    reader.peer.release();
    QTRY_COMPARE(reader.controller.message(), u"Export failed"_s);
    QVERIFY(!reader.controller.sessionRefused());
}

QTEST_MAIN(ReportExportTest)
#include "reportexport.moc"
