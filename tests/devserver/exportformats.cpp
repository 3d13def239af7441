// SPDX-License-Identifier: MIT
#include "tests/devserver/exportfixture.h"

#include <QJsonDocument>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

QJsonArray strings(std::initializer_list<const char*> texts) {
    QJsonArray array;
    for (const char* text : texts) {
        array.append(QString::fromUtf8(text));
    }
    return array;
}

QJsonObject cellAt(const QJsonObject& sheet, int row, int column) {
    return sheet[u"rows"][row][column].toObject();
}

QJsonArray valuesOf(const QJsonObject& sheet, int row) {
    QJsonArray values;
    const QJsonArray cells = sheet[u"rows"][row].toArray();
    for (const auto& cell : cells) {
        values.append(cell[u"value"]);
    }
    return values;
}

} // namespace

/// What the exports hold, as readers find it that are not ours.
class TestDevserverExportFormats : public QObject {
    Q_OBJECT

    [[nodiscard]] QJsonObject exported(const QString& format);

    ExportFixture m_fixture;

private Q_SLOTS:
    void initTestCase();
    void csvIsATable_data();
    void csvIsATable();
    void csvKeepsEveryText_data();
    void csvKeepsEveryText();
    void csvRunsNoFormula_data();
    void csvRunsNoFormula();
    void timesAreOfTheReportsZone_data();
    void timesAreOfTheReportsZone();
    void sheetsHaveTypedCells();
    void sheetsOfDetailedReportsHaveMoments();
    void sheetsAreReadRightToLeftInHebrew();
    void sheetsKeepEveryText_data();
    void sheetsKeepEveryText();
    void sheetsReplaceWhatACellCannotHold_data();
    void sheetsReplaceWhatACellCannotHold();
    void sheetsWriteDatesBeforeTheirCalendarAsText();
    void sheetsAreTheSameEachTime();
    void jsonIsTheStoredReport();
    void emptyReportsAreTablesWithoutRows();
};

void TestDevserverExportFormats::initTestCase() {
    QVERIFY(m_fixture.start());
}

QJsonObject TestDevserverExportFormats::exported(const QString& format) {
    const ExportFixture::Export answer = m_fixture.get(format);
    return answer.status == 200 ? readExport(format, answer.body) : QJsonObject();
}

void TestDevserverExportFormats::csvIsATable_data() {
    QTest::addColumn<QJsonObject>("header");
    QTest::addColumn<QJsonObject>("row");
    QTest::addColumn<QJsonArray>("titles");
    QTest::addColumn<QJsonArray>("cells");
    const QJsonObject totals = reportTotals(93'784, u"1302.50"_s, 12);
    QTest::newRow("summary") << reportHeader(u"summary"_s) << labelledRow(strings({"Website"}), totals)
                             << strings({"Project", "Entries", "Duration", "Rounded duration",
                                         "Billable duration", "Amount (ILS)"})
                             << strings({"Website", "12", "26:03:04", "26:15:00", "13:07:30", "1302.50"});
    QTest::newRow("summary by day in Hebrew")
        << reportHeader(u"summary"_s, u"he"_s, u"day"_s)
        << labelledRow(strings({"2026-03-05"}), reportTotals(59, QJsonValue::Null))
        << strings({"יום", "רשומות", "משך", "משך מעוגל", "משך לחיוב", "סכום (ILS)"})
        << strings({"2026-03-05", "1", "0:00:59", "0:15:00", "0:07:30", ""});
    QTest::newRow("weekly") << reportHeader(u"weekly"_s, u"en"_s, u"client"_s)
                            << labelledRow(strings({"2026-03-01", "מרפאת הדר"}), totals)
                            << strings({"Week beginning", "Client", "Entries", "Duration", "Rounded duration",
                                        "Billable duration", "Amount (ILS)"})
                            << strings({"2026-03-01", "מרפאת הדר", "12", "26:03:04", "26:15:00", "13:07:30",
                                        "1302.50"});
    QTest::newRow("weekly by week") << reportHeader(u"weekly"_s, u"en"_s, u"week"_s)
                                    << labelledRow(strings({"2026-03-01"}), totals)
                                    << strings({"Week beginning", "Entries", "Duration", "Rounded duration",
                                                "Billable duration", "Amount (ILS)"})
                                    << strings({"2026-03-01", "12", "26:03:04", "26:15:00", "13:07:30",
                                                "1302.50"});
    QTest::newRow("detailed") << reportHeader(u"detailed"_s) << detailedRow(u"Answer mail"_s)
                              << strings({"Start (Asia/Jerusalem)", "End (Asia/Jerusalem)", "User", "Client",
                                          "Project", "Task", "Description", "Tags", "Billable", "Duration",
                                          "Rounded duration", "Billable duration", "Amount (ILS)"})
                              << strings({"2026-03-05 09:08:09", "2026-03-05 10:00:00", "נועה לוי",
                                          "מרפאת הדר", "Website", "Design", "Answer mail", "urgent, דחוף",
                                          "Yes", "0:51:51", "1:00:00", "0:30:00", "172.83"});
    const QJsonObject bare{{u"project_name"_s, QJsonValue::Null},
                           {u"client_name"_s, QJsonValue::Null},
                           {u"task_name"_s, QJsonValue::Null},
                           {u"tags"_s, QJsonArray()},
                           {u"billable"_s, false},
                           {u"stop_at"_s, QJsonValue::Null}};
    QTest::newRow("detailed in Hebrew, of little")
        << reportHeader(u"detailed"_s, u"he"_s) << detailedRow({}, bare)
        << strings({"התחלה (Asia/Jerusalem)", "סיום (Asia/Jerusalem)", "משתמש", "לקוח", "פרויקט", "משימה",
                    "תיאור", "תגיות", "לחיוב", "משך", "משך מעוגל", "משך לחיוב", "סכום (ILS)"})
        << strings({"2026-03-05 09:08:09", "", "נועה לוי", "", "", "", "", "", "לא", "0:51:51", "1:00:00",
                    "0:30:00", "172.83"});
}

void TestDevserverExportFormats::csvIsATable() {
    QFETCH(const QJsonObject, header);
    QFETCH(const QJsonObject, row);
    QFETCH(const QJsonArray, titles);
    QFETCH(const QJsonArray, cells);
    m_fixture.store(header, {row, row});
    const QJsonObject table = exported(u"csv"_s);
    QVERIFY(table[u"byte_order_mark"].toBool());
    QVERIFY(table[u"ends_with_crlf"].toBool());
    QCOMPARE(table[u"bare_line_feeds"].toInt(), 0);
    QCOMPARE(table[u"rows"].toArray(), (QJsonArray{titles, cells, cells}));
}

void TestDevserverExportFormats::csvKeepsEveryText_data() {
    QTest::addColumn<QString>("text");
    QTest::newRow("quotes and commas") << u"he said \"yes\", \"\" and left"_s;
    QTest::newRow("line breaks") << u"one\ntwo\r\nthree"_s;
    QTest::newRow("Hebrew with points") << u"שָׁלוֹם, עולם"_s;
    QTest::newRow("emoji") << u"👩🏽‍💻 פגישה 🎉"_s;
    QTest::newRow("edges of blank") << u"  padded\t "_s;
    QTest::newRow("semicolons") << u"a;b;c"_s;
    QTest::newRow("long") << u"ארוך "_s.repeated(20'000);
}

void TestDevserverExportFormats::csvKeepsEveryText() {
    QFETCH(const QString, text);
    m_fixture.store(reportHeader(u"detailed"_s), {detailedRow(text)});
    QCOMPARE(exported(u"csv"_s)[u"rows"][1][6].toString(), text);
}

void TestDevserverExportFormats::csvRunsNoFormula_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("marked");
    for (const char* text :
         {"=1+1", "+1", "-1", "@SUM(A1)", "\t=1", "\r=1", "\n=1", "\nx", "=", "=\"quoted\",1", " =1",
          "\u00A0+1", "\u200F=1", "\u2067\u202B =1", "\uFEFF@x", "＝1+1", "＋1", "－1", "＠x"}) {
        QTest::newRow(text) << QString::fromUtf8(text) << true;
    }
    // The apostrophe is the person's own, and would be taken for the mark.
    for (const char* text : {"'=1", "''-1", "'\tx", "' =1", " '+1", " '\tx", "\u200F'=שלום"}) {
        QTest::newRow(text) << QString::fromUtf8(text) << true;
    }
    for (const char* text : {"1+1", " 1", "'", "'1", "it's =1", "''שלום", "a=b", "\u200Fשלום"}) {
        QTest::newRow(text) << QString::fromUtf8(text) << false;
    }
}

void TestDevserverExportFormats::csvRunsNoFormula() {
    QFETCH(const QString, text);
    QFETCH(const bool, marked);
    m_fixture.store(reportHeader(u"detailed"_s),
                    {detailedRow(text, {{u"project_name"_s, text}, {u"tags"_s, QJsonArray{text}}})});
    const QJsonObject table = exported(u"csv"_s);
    for (const int column : {4, 6, 7}) {
        QCOMPARE(table[u"rows"][1][column].toString(), marked ? u'\'' + text : text);
    }
}

void TestDevserverExportFormats::timesAreOfTheReportsZone_data() {
    QTest::addColumn<QString>("instant");
    QTest::addColumn<QString>("shown");
    QTest::newRow("winter") << u"2026-01-31T23:30:00Z"_s << u"2026-02-01 01:30:00"_s;
    QTest::newRow("before the clocks go forward") << u"2026-03-26T23:59:59Z"_s << u"2026-03-27 01:59:59"_s;
    QTest::newRow("after the clocks went forward") << u"2026-03-27T00:00:00Z"_s << u"2026-03-27 03:00:00"_s;
    QTest::newRow("the first time this hour is") << u"2026-10-24T22:30:00Z"_s << u"2026-10-25 01:30:00"_s;
    QTest::newRow("the second time this hour is") << u"2026-10-24T23:30:00Z"_s << u"2026-10-25 01:30:00"_s;
}

void TestDevserverExportFormats::timesAreOfTheReportsZone() {
    QFETCH(const QString, instant);
    QFETCH(const QString, shown);
    m_fixture.store(reportHeader(u"detailed"_s), {detailedRow(u"any"_s, {{u"start_at"_s, instant}})});
    QCOMPARE(exported(u"csv"_s)[u"rows"][1][0].toString(), shown);
    QCOMPARE(cellAt(exported(u"xlsx"_s), 1, 0)[u"value"].toString(), shown);
}

void TestDevserverExportFormats::sheetsHaveTypedCells() {
    m_fixture.store(reportHeader(u"weekly"_s),
                    {labelledRow(strings({"2026-03-01", "Website"}), reportTotals(93'784, u"1302.50"_s, 12)),
                     labelledRow(strings({"2026-03-08", "Website"}), reportTotals(59, QJsonValue::Null))});
    const QJsonObject sheet = exported(u"xlsx"_s);
    QCOMPARE(sheet[u"sheets"].toArray(), strings({"Weekly report"}));
    QCOMPARE(sheet[u"title"].toString(), u"סטודיו גל & Sons <Ltd>: Weekly report, 2026-01-01 – 2026-12-31"_s);
    QCOMPARE(sheet[u"right_to_left"].toBool(), false);
    QCOMPARE(sheet[u"frozen_at"].toString(), u"A2"_s);
    QCOMPARE(sheet[u"count"].toInt(), 4);
    QCOMPARE(valuesOf(sheet, 0), strings({"Week beginning", "Project", "Entries", "Duration",
                                          "Rounded duration", "Billable duration", "Amount (ILS)"}));
    QCOMPARE(valuesOf(sheet, 1),
             (QJsonArray{u"2026-03-01 00:00:00"_s, u"Website"_s, 12, 93'784, 94'500, 47'250, 1302.5}));
    QCOMPARE(cellAt(sheet, 2, 6)[u"value"], QJsonValue(QJsonValue::Null));
    QCOMPARE(valuesOf(sheet, 3),
             (QJsonArray{u"Total"_s, QJsonValue::Null, 3, 360'061, 360'900, 180'450, 1'234'567.5}));
    const QJsonArray formats =
        strings({"yyyy-mm-dd", "@", "#,##0", "[h]:mm:ss", "[h]:mm:ss", "[h]:mm:ss", "#,##0.00"});
    const QJsonArray types = strings({"d", "s", "n", "d", "d", "d", "n"});
    for (int column = 0; column < 7; ++column) {
        QCOMPARE(cellAt(sheet, 1, column)[u"format"], formats[column]);
        QCOMPARE(cellAt(sheet, 1, column)[u"type"], types[column]);
        QVERIFY(cellAt(sheet, 0, column)[u"bold"].toBool());
        QVERIFY(!cellAt(sheet, 1, column)[u"bold"].toBool());
        QVERIFY(sheet[u"widths"][column].toDouble() > 10);
    }
    QVERIFY(cellAt(sheet, 3, 3)[u"bold"].toBool());
}

void TestDevserverExportFormats::sheetsOfDetailedReportsHaveMoments() {
    m_fixture.store(reportHeader(u"detailed"_s), {detailedRow(u"Answer mail"_s)});
    const QJsonObject sheet = exported(u"xlsx"_s);
    QCOMPARE(valuesOf(sheet, 1),
             (QJsonArray{u"2026-03-05 09:08:09"_s, u"2026-03-05 10:00:00"_s, u"נועה לוי"_s, u"מרפאת הדר"_s,
                         u"Website"_s, u"Design"_s, u"Answer mail"_s, u"urgent, דחוף"_s, u"Yes"_s, 3111, 3600,
                         1800, 172.83}));
    QCOMPARE(cellAt(sheet, 1, 0)[u"type"].toString(), u"d"_s);
    QCOMPARE(cellAt(sheet, 1, 0)[u"format"].toString(), u"yyyy-mm-dd hh:mm:ss"_s);
    QCOMPARE(valuesOf(sheet, 2)[9].toInt(), 360'061);
}

void TestDevserverExportFormats::sheetsAreReadRightToLeftInHebrew() {
    m_fixture.store(reportHeader(u"summary"_s, u"he"_s),
                    {labelledRow(strings({"אתר"}), reportTotals(60, u"1.00"_s))});
    const QJsonObject sheet = exported(u"xlsx"_s);
    QVERIFY(sheet[u"right_to_left"].toBool());
    QCOMPARE(sheet[u"sheets"].toArray(), strings({"דוח מסכם"}));
    QCOMPARE(valuesOf(sheet, 0)[0].toString(), u"פרויקט"_s);
    QCOMPARE(valuesOf(sheet, 2)[0].toString(), u"סה״כ"_s);
}

void TestDevserverExportFormats::sheetsKeepEveryText_data() {
    QTest::addColumn<QString>("text");
    for (const char* text :
         {"=1+1", "+1", "-1", "@SUM(A1)", "{=1}", "https://example.org/", "mailto:a@example.org", "12",
          "TRUE", "one\ntwo\tthree", "  padded ", "<b>&amp;\"'</b>", "שלום 👩🏽‍💻"}) {
        QTest::newRow(text) << QString::fromUtf8(text);
    }
    QTest::newRow("the longest text") << QString(32'767, u'א');
}

void TestDevserverExportFormats::sheetsKeepEveryText() {
    QFETCH(const QString, text);
    m_fixture.store(reportHeader(u"detailed"_s), {detailedRow(text)});
    const QJsonObject cell = cellAt(exported(u"xlsx"_s), 1, 6);
    QCOMPARE(cell[u"value"].toString(), text);
    QVERIFY2(QStringList({u"s"_s, u"inlineStr"_s}).contains(cell[u"type"].toString()),
             qPrintable(cell[u"type"].toString()));
    QVERIFY(!cell[u"link"].toBool());
}

void TestDevserverExportFormats::sheetsReplaceWhatACellCannotHold_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("kept");
    QTest::newRow("control characters") << u"a\u0001b\u001bc\rd"_s << u"a\uFFFDb\uFFFDc\uFFFDd"_s;
    QTest::newRow("a line break of two") << u"a\r\nb"_s << u"a\nb"_s;
    QTest::newRow("no characters") << u"a\uFFFEb\uFFFFc"_s << u"a\uFFFDb\uFFFDc"_s;
    // In the file an underscore that begins an escape is itself escaped.
    QTest::newRow("what looks escaped") << u"_x0041_ _x004"_s << u"_x005F_x0041_ _x004"_s;
    QTest::newRow("too long") << QString(32'768, u'א') << QString(QString(32'766, u'א') + u'…');
    QTest::newRow("cut before a pair")
        << QString(QString(32'765, u'א') + u"👍👍"_s) << QString(QString(32'765, u'א') + u'…');
}

void TestDevserverExportFormats::sheetsReplaceWhatACellCannotHold() {
    QFETCH(const QString, text);
    QFETCH(const QString, kept);
    m_fixture.store(reportHeader(u"detailed"_s), {detailedRow(text)});
    QCOMPARE(cellAt(exported(u"xlsx"_s), 1, 6)[u"value"].toString(), kept);
}

void TestDevserverExportFormats::sheetsWriteDatesBeforeTheirCalendarAsText() {
    m_fixture.store(reportHeader(u"detailed"_s),
                    {detailedRow(u"old"_s, {{u"start_at"_s, u"1850-01-01T12:00:00Z"_s},
                                            {u"stop_at"_s, u"9999-12-31T23:59:59Z"_s}})});
    const QJsonArray row = valuesOf(exported(u"xlsx"_s), 1);
    QVERIFY2(row[0].toString().startsWith(u"1850-01-01 14:"), qPrintable(row[0].toString()));
    QCOMPARE(row[1].toString(), u"10000-01-01 01:59:59"_s);
}

void TestDevserverExportFormats::sheetsAreTheSameEachTime() {
    m_fixture.store(reportHeader(u"detailed"_s), {detailedRow(u"any"_s)});
    const QByteArray first = m_fixture.get(u"xlsx"_s).body;
    // Its times have whole seconds: the clock has to move on.
    const qint64 second = QDateTime::currentSecsSinceEpoch();
    QTRY_VERIFY(QDateTime::currentSecsSinceEpoch() > second);
    QVERIFY(!first.isEmpty());
    QCOMPARE(m_fixture.get(u"xlsx"_s).body, first);
}

void TestDevserverExportFormats::jsonIsTheStoredReport() {
    const QJsonObject header = reportHeader(u"detailed"_s);
    const QJsonArray rows{detailedRow(u"=1 \"quoted\" \u0001 <b> 👍"_s), detailedRow(u"שלום\n\u2028"_s)};
    m_fixture.store(header, rows);
    QJsonObject whole = header;
    whole.insert(u"rows"_s, rows);
    QCOMPARE(exported(u"json"_s), whole);
}

void TestDevserverExportFormats::emptyReportsAreTablesWithoutRows() {
    const QJsonObject header = reportHeader(u"summary"_s);
    m_fixture.store(header, {});
    QCOMPARE(exported(u"csv"_s)[u"count"].toInt(), 1);
    const QJsonObject sheet = exported(u"xlsx"_s);
    QCOMPARE(sheet[u"count"].toInt(), 2);
    QCOMPARE(valuesOf(sheet, 1)[0].toString(), u"Total"_s);
    QJsonObject whole = header;
    whole.insert(u"rows"_s, QJsonArray());
    QCOMPARE(exported(u"json"_s), whole);
}

QTEST_GUILESS_MAIN(TestDevserverExportFormats)
#include "exportformats.moc"
