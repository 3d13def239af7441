// SPDX-License-Identifier: MIT
#include "tests/devserver/exportfixture.h"

#include <QDir>
#include <QTest>

#include <csignal>
#include <sys/resource.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int manyRows = 100'000;

const QStringList formats{u"csv"_s, u"xlsx"_s, u"json"_s, u"html"_s};

void formatRows() {
    QTest::addColumn<QString>("format");
    for (const QString& format : formats) {
        QTest::newRow(qPrintable(format)) << format;
    }
}

/// How many files without a name a process keeps open.
int namelessFiles(qint64 process) {
    int count = 0;
    const QDir open(u"/proc/%1/fd"_s.arg(process));
    for (const QFileInfo& file : open.entryInfoList(QDir::Files | QDir::System | QDir::Hidden)) {
        count += file.symLinkTarget().endsWith(u"(deleted)"_s) ? 1 : 0;
    }
    return count;
}

/// While it lives, a process cannot make a file longer than this.
class FilesUpTo {
public:
    FilesUpTo(qint64 process, rlim_t bytes) : m_process(static_cast<pid_t>(process)) {
        const rlimit limit{bytes, RLIM_INFINITY};
        m_set = prlimit(m_process, RLIMIT_FSIZE, &limit, nullptr) == 0;
    }
    ~FilesUpTo() {
        const rlimit none{RLIM_INFINITY, RLIM_INFINITY};
        prlimit(m_process, RLIMIT_FSIZE, &none, nullptr);
    }
    Q_DISABLE_COPY_MOVE(FilesUpTo)

    [[nodiscard]] bool isSet() const { return m_set; }

private:
    pid_t m_process;
    bool m_set;
};

} // namespace

/// Who gets an export, and that it is complete or refused.
class TestDevserverExports : public QObject {
    Q_OBJECT

    void storeReport();
    [[nodiscard]] int namelessFiles();

    ExportFixture m_fixture;

private Q_SLOTS:
    void initTestCase();
    void answersNameTheirFile_data();
    void answersNameTheirFile();
    void aPartIsNotCutOut();
    void unknownFormatsAreRefused_data();
    void unknownFormatsAreRefused();
    void othersReportsAreNotFound_data();
    void othersReportsAreNotFound();
    void reportsAreNotFoundAfterLeavingTheWorkspace();
    void namesThatAreNoIdsAreNotFound_data();
    void namesThatAreNoIdsAreNotFound();
    void unknownTokensAreRefused();
    void rowsComeInTheirOrder();
    void aDamagedRowIsNoReport_data();
    void aDamagedRowIsNoReport();
    void aFullDiskIsNoReport_data();
    void aFullDiskIsNoReport();
    void aSheetWithoutItsEndIsNoReport();
    void manyRowsAreCompleteAndLeaveMemoryFlat();
    void moreRowsThanASheetHoldsAreRefused();
};

void TestDevserverExports::initTestCase() {
    // Inherited by the server: it hears of a file that may not grow as of a full disk.
    std::signal(SIGXFSZ, SIG_IGN);
    QVERIFY(m_fixture.start());
}

void TestDevserverExports::storeReport() {
    m_fixture.store(reportHeader(u"detailed"_s), {detailedRow(u"Answer mail"_s)});
}

int TestDevserverExports::namelessFiles() {
    return ::namelessFiles(m_fixture.server.process().processId());
}

void TestDevserverExports::answersNameTheirFile_data() {
    QTest::addColumn<QString>("format");
    QTest::addColumn<QByteArray>("type");
    QTest::newRow("csv") << u"csv"_s << QByteArray("text/csv; charset=utf-8; header=present");
    QTest::newRow("xlsx") << u"xlsx"_s
                          << QByteArray("application/vnd.openxmlformats-officedocument.spreadsheetml.sheet");
    QTest::newRow("json") << u"json"_s << QByteArray("application/json");
    QTest::newRow("html") << u"html"_s << QByteArray("text/html; charset=utf-8");
}

void TestDevserverExports::answersNameTheirFile() {
    QFETCH(const QString, format);
    QFETCH(const QByteArray, type);
    storeReport();
    const ExportFixture::Export answer = m_fixture.get(format);
    QCOMPARE(answer.status, 200);
    QCOMPARE(answer.header("Content-Type"), type);
    QCOMPARE(answer.header("Content-Disposition"),
             "attachment; filename=\"timer-report." + format.toLatin1() + '"');
    QCOMPARE(answer.header("X-Content-Type-Options"), "nosniff");
    QCOMPARE(answer.header("Cache-Control"), "no-store");
    QCOMPARE(answer.header("Content-Length").toLongLong(), answer.body.size());
}

void TestDevserverExports::aPartIsNotCutOut() {
    const QString snapshot = m_fixture.store(reportHeader(u"detailed"_s), {detailedRow(u"Answer mail"_s)});
    const QString path =
        u"/v1/workspaces/%1/report-snapshots/%2/export?format=csv"_s.arg(m_fixture.world.workspace, snapshot);
    for (const char* range : {"bytes=0-9", "bytes=5-", "bytes=-3", "bytes=0-1,4-5", "bytes=900000-"}) {
        const Reply reply = TestClient(m_fixture.server.port()).get(path.toStdString(), {{"Range", range}});
        QCOMPARE(reply.status, 200);
        QCOMPARE(QByteArray::fromStdString(reply.text), m_fixture.get(u"csv"_s).body);
    }
}

void TestDevserverExports::unknownFormatsAreRefused_data() {
    QTest::addColumn<QString>("format");
    for (const char* format : {"", "pdf", "CSV", "csv%20", "csv%00"}) {
        QTest::newRow(format) << QString::fromLatin1(format);
    }
}

void TestDevserverExports::unknownFormatsAreRefused() {
    QFETCH(const QString, format);
    storeReport();
    const ExportFixture::Export answer = m_fixture.get(format);
    QCOMPARE(answer.status, 422);
    QCOMPARE(answer.errorCode(), u"unknown_format"_s);
    QVERIFY(answer.body.contains("The format must be csv, xlsx, json or html."));
}

void TestDevserverExports::othersReportsAreNotFound_data() {
    formatRows();
}

void TestDevserverExports::othersReportsAreNotFound() {
    QFETCH(const QString, format);
    const World& world = m_fixture.world;
    const auto requireNotFound = [&](const QString& workspace, const QString& snapshot,
                                     const QByteArray& token) {
        const ExportFixture::Export answer = m_fixture.get(workspace, snapshot, format, token);
        QCOMPARE(answer.status, 404);
        QCOMPARE(answer.errorCode(), u"not_found"_s);
    };
    const QJsonObject header = reportHeader(u"summary"_s);
    const QString developers = m_fixture.store(header, {});
    requireNotFound(world.workspace, World::newId(), {});
    requireNotFound(world.workspace, developers, world.otherToken);
    requireNotFound(world.secondWorkspace, developers, {});
    requireNotFound(World::newId(), developers, {});
    const QString others = m_fixture.storeFor(world.other, world.workspace, header, {});
    requireNotFound(world.workspace, others, {});
    QCOMPARE(m_fixture.get(format, world.otherToken).status, 200);
    const QString foreign = m_fixture.storeFor(world.other, world.foreignWorkspace, header, {});
    requireNotFound(world.foreignWorkspace, foreign, {});
}

void TestDevserverExports::reportsAreNotFoundAfterLeavingTheWorkspace() {
    const World& world = m_fixture.world;
    const QString snapshot = m_fixture.storeFor(world.other, world.workspace, reportHeader(u"summary"_s), {});
    QCOMPARE(m_fixture.get(u"csv"_s, world.otherToken).status, 200);
    const QVariantList membership{world.workspace, world.other};
    m_fixture.database.run(u"DELETE FROM members WHERE workspace_id = ? AND user_id = ?"_s, membership);
    QCOMPARE(m_fixture.get(u"csv"_s, world.otherToken).status, 404);
    m_fixture.database.run(u"INSERT INTO members (workspace_id, user_id) VALUES (?, ?)"_s, membership);
    QCOMPARE(m_fixture.get(u"csv"_s, world.otherToken).status, 200);
}

void TestDevserverExports::namesThatAreNoIdsAreNotFound_data() {
    QTest::addColumn<QString>("name");
    for (const char* name : {"1", "%00", "'", "%27%20OR%201=1", "..", "%2e%2e", "%D7%90"}) {
        QTest::newRow(name) << QString::fromLatin1(name);
    }
}

void TestDevserverExports::namesThatAreNoIdsAreNotFound() {
    QFETCH(const QString, name);
    const QString snapshot = m_fixture.store(reportHeader(u"summary"_s), {});
    QCOMPARE(m_fixture.get(m_fixture.world.workspace, name, u"csv"_s).status, 404);
    QCOMPARE(m_fixture.get(name, snapshot, u"csv"_s).status, 404);
}

void TestDevserverExports::unknownTokensAreRefused() {
    storeReport();
    for (const QByteArray& token : {QByteArray("nobody's"), m_fixture.world.revokedToken}) {
        const ExportFixture::Export answer = m_fixture.get(u"csv"_s, token);
        QCOMPARE(answer.status, 401);
        QCOMPARE(answer.errorCode(), u"unauthorized"_s);
    }
}

void TestDevserverExports::rowsComeInTheirOrder() {
    m_fixture.store(reportHeader(u"summary"_s), {});
    const QJsonObject row = labelledRow({u"Row #"_s}, reportTotals(60, u"1.00"_s));
    m_fixture.fill(row, 1500, 1000);
    m_fixture.fill(row, 0, 1500);
    const QJsonObject report = readExport(u"json"_s, m_fixture.get(u"json"_s).body);
    const QJsonArray rows = report[u"rows"].toArray();
    QCOMPARE(rows.size(), 2500);
    for (int i = 0; i < 2500; ++i) {
        QCOMPARE(rows[i][u"labels"][0].toString(), u"Row %1"_s.arg(i));
    }
}

void TestDevserverExports::aDamagedRowIsNoReport_data() {
    QTest::addColumn<QString>("format");
    for (const char* format : {"csv", "xlsx", "html"}) {
        QTest::newRow(format) << QString::fromLatin1(format);
    }
}

void TestDevserverExports::aDamagedRowIsNoReport() {
    QFETCH(const QString, format);
    const QString snapshot = m_fixture.store(reportHeader(u"summary"_s), {});
    m_fixture.fill(labelledRow({u"Row #"_s}, reportTotals(60, u"1.00"_s)), 0, 3000);
    m_fixture.database.run(
        u"UPDATE report_rows SET content = '{\"labels\":' WHERE snapshot_id = ? AND position = 2900"_s,
        {snapshot});
    const ExportFixture::Export answer = m_fixture.get(format);
    QCOMPARE(answer.status, 500);
    QCOMPARE(answer.errorCode(), u"internal"_s);
    QCOMPARE(answer.header("Content-Disposition"), QByteArray());
    QTRY_COMPARE(namelessFiles(), 0);
    storeReport();
    QCOMPARE(m_fixture.get(format).status, 200);
}

void TestDevserverExports::aFullDiskIsNoReport_data() {
    formatRows();
}

void TestDevserverExports::aFullDiskIsNoReport() {
    QFETCH(const QString, format);
    m_fixture.store(reportHeader(u"summary"_s), {});
    m_fixture.fill(labelledRow({u"Row #"_s}, reportTotals(60, u"1.00"_s)), 0, 5000);
    const QByteArray complete = m_fixture.get(format).body;
    int refused = 0;
    int exported = 0;
    for (rlim_t limit = 100'000; exported < 3; limit += limit / 10) {
        const FilesUpTo fewer(m_fixture.server.process().processId(), limit);
        QVERIFY(fewer.isSet());
        const ExportFixture::Export answer = m_fixture.get(format);
        if (answer.status == 200) {
            QCOMPARE(answer.body, complete);
            ++exported;
        } else {
            QCOMPARE(answer.status, 500);
            ++refused;
        }
    }
    QVERIFY(refused > 3);
    QTRY_COMPARE(namelessFiles(), 0);
}

// A workbook's rows are written twice, the second time with a little before and behind them.
void TestDevserverExports::aSheetWithoutItsEndIsNoReport() {
    m_fixture.store(reportHeader(u"summary"_s), {});
    m_fixture.fill(labelledRow({u"Row #"_s}, reportTotals(60, u"1.00"_s)), 0, 5000);
    const QByteArray complete = m_fixture.get(u"xlsx"_s).body;
    const auto whole = static_cast<rlim_t>(readExport(u"xlsx-size"_s, complete)[u"sheet_bytes"].toInteger());
    QVERIFY(whole > 100'000);
    for (rlim_t missing = 1; missing < 2500; missing += 150) {
        const FilesUpTo fewer(m_fixture.server.process().processId(), whole - missing);
        QVERIFY(fewer.isSet());
        QCOMPARE(m_fixture.get(u"xlsx"_s).status, 500);
    }
    const FilesUpTo enough(m_fixture.server.process().processId(), 8 * whole);
    QCOMPARE(m_fixture.get(u"xlsx"_s).body, complete);
    QTRY_COMPARE(namelessFiles(), 0);
}

void TestDevserverExports::manyRowsAreCompleteAndLeaveMemoryFlat() {
    const qint64 process = m_fixture.server.process().processId();
    const QJsonObject row =
        labelledRow({u"Row # of a report with many rows"_s}, reportTotals(93'784, u"1302.50"_s, 12));
    m_fixture.store(reportHeader(u"summary"_s), {row});
    for (const QString& format : formats) {
        QCOMPARE(m_fixture.get(format).status, 200);
    }
    m_fixture.fill(row, 1, manyRows - 1);
    const qint64 before = peakMemory(process);
    QVERIFY(before > 0);
    for (const QString& format : formats) {
        const ExportFixture::Export answer = m_fixture.get(format);
        QCOMPARE(answer.status, 200);
        const qint64 kept = peakMemory(process) - before;
        QVERIFY2(kept < qint64{16} * 1024, qPrintable(u"%1 takes %2 KiB"_s.arg(format).arg(kept)));
        if (format == u"csv") {
            QCOMPARE(readExport(format, answer.body)[u"count"].toInt(), 1 + manyRows);
        } else if (format == u"xlsx") {
            QCOMPARE(readExport(u"xlsx-size"_s, answer.body)[u"count"].toInt(), 2 + manyRows);
        } else if (format == u"json") {
            QCOMPARE(readExport(format, answer.body)[u"rows"].toArray().size(), manyRows);
        } else {
            QCOMPARE(answer.body.count("<tr><td"), manyRows + 1);
        }
    }
}

void TestDevserverExports::moreRowsThanASheetHoldsAreRefused() {
    constexpr int sheet = 1'048'576 - 2; // beside the header and the totals
    m_fixture.store(reportHeader(u"summary"_s), {});
    m_fixture.fill({}, sheet, 1); // the last of them
    const ExportFixture::Export answer = m_fixture.get(u"xlsx"_s);
    QCOMPARE(answer.status, 422);
    QCOMPARE(answer.errorCode(), u"too_many_rows"_s);
    QVERIFY(answer.body.contains("This report has more rows than a spreadsheet can hold (1,048,576);"));
    QCOMPARE(m_fixture.get(u"json"_s).status, 200);
}

QTEST_GUILESS_MAIN(TestDevserverExports)
#include "exports.moc"
