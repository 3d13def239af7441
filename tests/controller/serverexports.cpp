// SPDX-License-Identifier: MIT
#include "tests/controller/accountserver.h"
#include "tests/controller/filedialogs.h"
#include "tests/support/client.h"
#include "tests/support/exportreader.h"
#include "tests/support/sqlitefile.h"

#include <QDir>
#include <QFile>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSignalSpy>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

const QString exportedMessage = u"Report exported from its server snapshot"_s;
const QStringList formats{u"csv"_s, u"xlsx"_s, u"json"_s, u"html"_s};

/// Someone at a client of the real server who exports reports into a folder of their own.
struct Exporter {
    explicit Exporter(Controller& client, const DevServer& devServer)
        : controller(client), server(devServer) {}

    [[nodiscard]] bool loadReport(const QString& kind, const QString& group = u"project"_s) {
        const QDate today = QDate::currentDate().addDays(1);
        controller.queryReport(kind, today.addDays(-400).toString(Qt::ISODate), today.toString(Qt::ISODate),
                               u"Asia/Jerusalem"_s, group);
        return waitForSilence(controller) && controller.message() != u"Report request failed" &&
               !snapshot().isEmpty();
    }

    /// The message once the export has ended.
    [[nodiscard]] QString exportTo(const QString& name, const QString& format) {
        dialogs.choose(folder.filePath(name));
        controller.downloadReport(format);
        return waitForSilence(controller) ? controller.message() : QString();
    }

    [[nodiscard]] QByteArray fileNamed(const QString& name) const {
        QFile file(folder.filePath(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    [[nodiscard]] QStringList files() const {
        return QDir(folder.path()).entryList(QDir::Files | QDir::Hidden);
    }

    /// The newest snapshot that the server has.
    [[nodiscard]] QString snapshot() const {
        return SqliteFile(server.databaseFile())
            .run(u"SELECT id FROM report_snapshots ORDER BY rowid DESC LIMIT 1"_s)
            .toString();
    }

    /// What the server sends another client of the same person.
    [[nodiscard]] QByteArray sent(const QString& format, const QString& token = {}) const {
        QNetworkAccessManager network;
        QNetworkRequest request{
            QUrl(server.url() + u"/v1/workspaces/%1/report-snapshots/%2/export?format=%3"_s.arg(
                                    controller.workspace(), snapshot(), format))};
        if (!token.isEmpty()) {
            request.setRawHeader("Authorization", "Bearer " + token.toUtf8());
        }
        const std::unique_ptr<QNetworkReply> reply(network.get(request));
        QSignalSpy finished(reply.get(), &QNetworkReply::finished);
        const bool ended = reply->isFinished() || finished.wait(30'000);
        return ended && reply->error() == QNetworkReply::NoError ? reply->readAll() : QByteArray();
    }

    Controller& controller;
    const DevServer& server;
    FileDialogs dialogs;
    QTemporaryDir folder;
};

/// The same with the demo year and without secure storage.
struct DemoDesk {
    [[nodiscard]] bool start() {
        controller.setReadOnly(true);
        return server.start() && connectAndLoad(controller, server.url()) && waitForSilence(controller);
    }

    DevServer server{DevServer::Data::Demo};
    Controller controller;
    Exporter exporter{controller, server};
};

struct Sum {
    qint64 rows = 0;
    qint64 seconds = 0;
};

/// The closed entries of the development user's workspace, as the server lists them.
Sum sumOfEntries(const DevServer& server) {
    Sum sum;
    const QJsonArray entries = server.entries();
    for (const auto& entry : entries) {
        if (entry[u"stop_at"].isString() && entry[u"deleted_at"].isNull()) {
            sum.seconds += entry[u"duration_seconds"].toInteger();
            ++sum.rows;
        }
    }
    return sum;
}

} // namespace

/// Reports of the real server, saved as a person would and opened by readers that are not ours.
class ServerExportsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }

    void everyKindInEveryFormatAgreesWithTheEntries();
    void signedInPeopleExportTheirOwnReports_data();
    void signedInPeopleExportTheirOwnReports();
    void whatIsRecordedLaterIsNotInTheExport();
    void aFailedQueryLeavesTheLastReportToExport();
    void aReportThatTheServerHasForgottenIsNoExport();
    void withoutAServerThereIsNoExport();
};

void ServerExportsTest::everyKindInEveryFormatAgreesWithTheEntries() {
    DemoDesk desk;
    QVERIFY(desk.start());
    const Sum entries = sumOfEntries(desk.server);
    QVERIFY(entries.rows > 1000);
    for (const QString& kind : {u"summary"_s, u"weekly"_s, u"detailed"_s}) {
        for (const QString& format : formats) {
            QVERIFY(desk.exporter.loadReport(kind));
            const QString name = kind + u'.' + format;
            QCOMPARE(desk.exporter.exportTo(name, format), exportedMessage);
            const QByteArray bytes = desk.exporter.fileNamed(name);
            QVERIFY(bytes.size() > 1000);
            QVERIFY(bytes == desk.exporter.sent(format));
            const ExportSums exported = exportSums(format, bytes);
            QCOMPARE(exported.seconds, entries.seconds);
            QCOMPARE(exported.totalSeconds, format == u"csv" ? -1 : entries.seconds);
            if (kind == u"detailed") {
                QCOMPARE(exported.rows, entries.rows);
                QCOMPARE(desk.controller.reportRows().size(), 500);
            } else {
                QVERIFY(exported.rows >= desk.controller.reportRows().size());
            }
        }
    }
    QCOMPARE(desk.exporter.files().size(), 12);
}

void ServerExportsTest::signedInPeopleExportTheirOwnReports_data() {
    QTest::addColumn<QString>("format");
    for (const QString& format : formats) {
        QTest::newRow(qPrintable(format)) << format;
    }
}

void ServerExportsTest::signedInPeopleExportTheirOwnReports() {
    QFETCH(const QString, format);
    AccountServer desk;
    QVERIFY(desk.start() && desk.signIn(AccountServer::dana()) && desk.record(u"Dana's work"_s));
    Exporter exporter(*desk.controller, desk.server);
    QVERIFY(exporter.loadReport(u"detailed"_s));
    QCOMPARE(exporter.exportTo(u"report"_s, format), exportedMessage);
    const QByteArray bytes = exporter.fileNamed(u"report"_s);
    QVERIFY(!bytes.isEmpty());
    QVERIFY(bytes == exporter.sent(format, desk.token()));
    QCOMPARE(exporter.sent(format), QByteArray()); // the development user's request
    QCOMPARE(exportSums(format, bytes).rows, 1);
    QCOMPARE(exportSums(format, bytes).seconds, 3600);
}

void ServerExportsTest::whatIsRecordedLaterIsNotInTheExport() {
    DemoDesk desk;
    QVERIFY(desk.start());
    QVERIFY(desk.exporter.loadReport(u"detailed"_s));
    const qint64 answered = desk.controller.reportTotals().value(u"raw_duration_seconds"_s).toLongLong();
    SqliteFile(desk.server.databaseFile())
        .run(u"UPDATE time_entries SET stop_at = stop_at + 60 WHERE stop_at IS NOT NULL"_s);
    for (const QString& format : formats) {
        QCOMPARE(desk.exporter.exportTo(format, format), exportedMessage);
        QCOMPARE(exportSums(format, desk.exporter.fileNamed(format)).seconds, answered);
    }
    QVERIFY(desk.exporter.loadReport(u"detailed"_s));
    QVERIFY(desk.controller.reportTotals().value(u"raw_duration_seconds"_s).toLongLong() > answered);
}

void ServerExportsTest::aFailedQueryLeavesTheLastReportToExport() {
    DemoDesk desk;
    QVERIFY(desk.start());
    QVERIFY(desk.exporter.loadReport(u"summary"_s));
    desk.controller.queryReport(u"summary"_s, u"2026-03-02"_s, u"2026-03-01"_s, u"UTC"_s, u"project"_s);
    QVERIFY(waitForSilence(desk.controller));
    QCOMPARE(desk.controller.message(), u"The last day lies before the first day."_s);
    QCOMPARE(desk.exporter.exportTo(u"report.csv"_s, u"csv"_s), exportedMessage);
    QVERIFY(desk.exporter.fileNamed(u"report.csv"_s) == desk.exporter.sent(u"csv"_s));
}

void ServerExportsTest::aReportThatTheServerHasForgottenIsNoExport() {
    DemoDesk desk;
    QVERIFY(desk.start());
    QVERIFY(desk.exporter.loadReport(u"summary"_s));
    QCOMPARE(desk.exporter.exportTo(u"report.csv"_s, u"csv"_s), exportedMessage);
    const QByteArray earlier = desk.exporter.fileNamed(u"report.csv"_s);
    SqliteFile file(desk.server.databaseFile());
    file.run(u"DELETE FROM report_rows"_s);
    file.run(u"DELETE FROM report_snapshots"_s);
    for (const QString& format : formats) {
        QCOMPARE(desk.exporter.exportTo(u"report.csv"_s, format), u"Export failed"_s);
    }
    QCOMPARE(desk.exporter.fileNamed(u"report.csv"_s), earlier);
    QCOMPARE(desk.exporter.files(), QStringList{u"report.csv"_s});
}

void ServerExportsTest::withoutAServerThereIsNoExport() {
    DemoDesk desk;
    QVERIFY(desk.start());
    QVERIFY(desk.exporter.loadReport(u"weekly"_s));
    desk.server.kill();
    QCOMPARE(desk.exporter.exportTo(u"report.html"_s, u"html"_s), u"Export failed"_s);
    QCOMPARE(desk.exporter.files(), QStringList());
    QVERIFY(desk.server.start());
    QCOMPARE(desk.exporter.exportTo(u"report.html"_s, u"html"_s), exportedMessage);
}

QTEST_MAIN(ServerExportsTest)
#include "serverexports.moc"
