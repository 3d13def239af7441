// SPDX-License-Identifier: MIT
#include "devserver/imports/rows.h"
#include "tests/devserver/importfixture.h"

#include <QJsonArray>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString anyHeader = u"Start date,Start time,Duration"_s;
const QString anyRow = u"2025-06-01,09:00,1:00"_s;

} // namespace

/// How a file is read: its form, its dates and times, each cell.
class TestDevserverImportRows : public ImportFixture {
    Q_OBJECT

private Q_SLOTS:
    void filesAreReadInManyForms_data();
    void filesAreReadInManyForms();
    void filesThatCannotBeReadAreRefusedAsAWhole_data();
    void filesThatCannotBeReadAreRefusedAsAWhole();
    void datesHaveOneFormInTheWholeFile_data();
    void datesHaveOneFormInTheWholeFile();
    void startAndEndAreInstantsOfTheZone_data();
    void startAndEndAreInstantsOfTheZone();
    void cellsThatCannotBeUsedAreNamed_data();
    void cellsThatCannotBeUsedAreNamed();
    void billableIsAWord_data();
    void billableIsAWord();
    void aRecordIsKnownByTheSameFingerprintForEver();
    void aRecordThatItsOffsetPutsLaterIsAnother();
};

void TestDevserverImportRows::filesAreReadInManyForms_data() {
    QTest::addColumn<QString>("content");
    QTest::addColumn<QString>("description");
    const QString header = u"Description,"_s + anyHeader;
    QTest::newRow("LF") << header + u"\nx,"_s + anyRow + u"\n"_s << u"x"_s;
    QTest::newRow("CRLF") << header + u"\r\nx,"_s + anyRow + u"\r\n"_s << u"x"_s;
    QTest::newRow("CR") << header + u"\rx,"_s + anyRow + u"\r"_s << u"x"_s;
    QTest::newRow("no last line end") << header + u"\nx,"_s + anyRow << u"x"_s;
    QTest::newRow("empty lines") << u"\n\n"_s + header + u"\n \n\r\nx,"_s + anyRow + u"\n\n"_s << u"x"_s;
    QTest::newRow("byte-order mark") << QChar(0xfeff) + header + u"\nx,"_s + anyRow << u"x"_s;
    QTest::newRow("semicolons") << u"Description;Start date;Start time;Duration\n"
                                   "x, y;2025-06-01;09:00;1:00"_s
                                << u"x, y"_s;
    QTest::newRow("tabs") << u"Description\tStart date\tStart time\tDuration\n"
                             "x, y; z\t2025-06-01\t09:00\t1:00"_s
                          << u"x, y; z"_s;
    QTest::newRow("a named separator") << u"sep=;\r\nDescription;Start date;Start time;Duration;a,b,c,d,e\r\n"
                                          "x;2025-06-01;09:00;1:00;"_s
                                       << u"x"_s;
    QTest::newRow("a named tab") << u"sep=\t\r\nDescription\tStart date\tStart time\tDuration\r\n"
                                    "x\t2025-06-01\t09:00\t1:00"_s
                                 << u"x"_s;
    QTest::newRow("a named separator between blanks")
        << u" sep=; \nDescription;Start date;Start time;Duration\nx;2025-06-01;09:00;1:00"_s << u"x"_s;
    QTest::newRow("a quoted named separator")
        << u"\"sep=|\"\nDescription|Start date|Start time|Duration\nx|2025-06-01|09:00|1:00"_s << u"x"_s;
    QTest::newRow("a comma behind every line") << header + u",\nx,"_s + anyRow + u",\n"_s << u"x"_s;
    QTest::newRow("a comma behind the titles") << header + u",\nx,"_s + anyRow << u"x"_s;
    QTest::newRow("commas behind the rows") << header + u"\nx,"_s + anyRow + u",,\n"_s << u"x"_s;
    QTest::newRow("a total that says so") << header + u"\nx,"_s + anyRow + u"\nTotal,,,1:00\n"_s << u"x"_s;
    QTest::newRow("a Hebrew total") << header + u"\nx,"_s + anyRow + u"\nסה״כ,,,1:00\n"_s << u"x"_s;
    QTest::newRow("a total without a word") << header + u"\nx,"_s + anyRow + u"\n,,,1:00\n"_s << u"x"_s;
    QTest::newRow("a short total") << header + u"\nx,"_s + anyRow + u"\nGrand total\n"_s << u"x"_s;
    for (const QString& total : {u"Totals:"_s, u"SUBTOTAL"_s, u"Sum :"_s, u"Total hours"_s,
                                 u"Grand Total Time:"_s, u"סה״כ שעות:"_s, u"סך הכול"_s, u"סך הכל זמן"_s}) {
        QTest::addRow("the total %s", qPrintable(total))
            << header + u"\nx,"_s + anyRow + u'\n' + total + u",,,1:00\n"_s << u"x"_s;
    }
    QTest::newRow("stops")
        << u"Description,Start date,Start time,Stop date,Stop time\nx,2025-06-01,09:00,2025-06-01,10:00"_s
        << u"x"_s;
    QTest::newRow("one column with commas")
        << u"Start date;Start time;Duration;Description;Tags, all\n2025-06-01;9:00;1:00;x;a,b,c,d,e"_s
        << u"x"_s;
    QTest::newRow("quoted separators") << header + u"\n\"x, \"\"y\"\";\","_s + anyRow << u"x, \"y\";"_s;
    QTest::newRow("quoted line breaks")
        << header + u"\r\n\"a\nb\r\nc\rd\","_s + anyRow + u"\r\n"_s << u"a\nb\r\nc\rd"_s;
    QTest::newRow("quoted header") << u"\"Description\",\"Start date\",\"Start time\",\"Duration\"\nx,"_s +
                                          anyRow
                                   << u"x"_s;
    QTest::newRow("any order and case")
        << u"DURATION,start  time , Description,START DATE\n1:00,09:00,x,2025-06-01"_s << u"x"_s;
    QTest::newRow("an end time without its date")
        << header + u",End time\nx,"_s + anyRow + u",10:00"_s << u"x"_s;
    QTest::newRow("an end date without its time")
        << header + u",End date\nx,"_s + anyRow + u",2025-06-01"_s << u"x"_s;
    QTest::newRow("an end date of another form without its time")
        << header + u",End date\nx,"_s + anyRow + u",01/06/2025"_s << u"x"_s;
    QTest::newRow("further columns") << u"Id,"_s + header + u",Amount (USD),Amount\n7,x,"_s + anyRow +
                                            u",3,4"_s
                                     << u"x"_s;
    QTest::newRow("blanks around cells") << header + u"\n  x  , 2025-06-01 ,09:00 , 1:00 "_s << u"x"_s;
    QTest::newRow("Hebrew") << header + u"\nתכנון ועיצוב,"_s + anyRow << u"תכנון ועיצוב"_s;
    QTest::newRow("beyond 16 bits") << header + u"\n\U0001F552,"_s + anyRow << u"\U0001F552"_s;
    QTest::newRow("no description") << anyHeader + u"\n"_s + anyRow << QString();
}

void TestDevserverImportRows::filesAreReadInManyForms() {
    QFETCH(const QString, content);
    QFETCH(const QString, description);
    const Reply reply = preview(content);
    QCOMPARE(numbersOf(reply), u"1 1 0 0"_s);
    QCOMPARE(sampleOf(reply).value(u"description").toString(), description);
    QCOMPARE(sampleOf(reply).value(u"start_at"), u"2025-06-01T09:00:00Z"_s);
    QCOMPARE(sampleOf(reply).value(u"stop_at"), u"2025-06-01T10:00:00Z"_s);
}

void TestDevserverImportRows::filesThatCannotBeReadAreRefusedAsAWhole_data() {
    QTest::addColumn<QString>("content");
    QTest::addColumn<QString>("message");
    const QString empty = u"The file is empty."_s;
    const auto missing = [](const QString& names) {
        return u"The first line does not name these columns: %1."_s.arg(names);
    };
    QTest::newRow("empty") << QString() << empty;
    QTest::newRow("a byte-order mark") << QString(QChar(0xfeff)) << empty;
    QTest::newRow("empty lines") << u"\r\n \n,,\n"_s << empty;
    QTest::newRow("no columns") << u"a,b\n1,2"_s
                                << missing(u"Start date; Start time; End date with End time, or Duration"_s);
    QTest::newRow("no end") << u"Start date,Start time,End date\n"_s
                            << missing(u"End date with End time, or Duration"_s);
    QTest::newRow("no start time") << u"Start date,Duration\n"_s << missing(u"Start time"_s);
    QTest::newRow("a column twice") << u"Start date,start DATE,Start time,Duration\n"_s
                                    << u"The file has the column Start date twice."_s;
    QTest::newRow("a quote in the middle") << anyHeader + u"\n\n"_s + anyRow + u"\n2025\"-06,9:00,1:00\n"_s
                                           << u"Line 4 has a quote in a place where none can be."_s;
    QTest::newRow("text behind a quote") << anyHeader + u"\n\"2025\"-06-01,9:00,1:00\n"_s
                                         << u"Line 2 has a quote in a place where none can be."_s;
    QTest::newRow("never closed") << anyHeader + u"\n"_s + anyRow + u"\n\"2025-06-01,9:00,1:00\n"_s + anyRow
                                  << u"A quote that is opened in the record of line 3 is never closed."_s;
}

void TestDevserverImportRows::filesThatCannotBeReadAreRefusedAsAWhole() {
    QFETCH(const QString, content);
    QFETCH(const QString, message);
    const Reply reply = preview(content);
    QCOMPARE(reply.status, 422);
    QCOMPARE(reply.errorCode(), u"invalid_csv"_s);
    QCOMPARE(reply.body[u"error"][u"message"].toString(), message);
    QCOMPARE(count(u"imports"_s), 0);
}

void TestDevserverImportRows::datesHaveOneFormInTheWholeFile_data() {
    QTest::addColumn<QStringList>("dates");
    QTest::addColumn<QStringList>("expected"); // a word for the refusal of the whole file
    QTest::newRow("year first") << QStringList{u"2025-03-04"_s, u"2025-12-31"_s}
                                << QStringList{u"2025-03-04"_s, u"2025-12-31"_s};
    QTest::newRow("day first") << QStringList{u"03/04/2025"_s, u"31/12/2025"_s}
                               << QStringList{u"2025-04-03"_s, u"2025-12-31"_s};
    QTest::newRow("month first") << QStringList{u"03/04/2025"_s, u"12/31/2025"_s}
                                 << QStringList{u"2025-03-04"_s, u"2025-12-31"_s};
    QTest::newRow("the last row decides")
        << QStringList{u"1/2/2025"_s, u"3/4/2025"_s, u"5/6/2025"_s, u"13/6/2025"_s}
        << QStringList{u"2025-02-01"_s, u"2025-04-03"_s, u"2025-06-05"_s, u"2025-06-13"_s};
    QTest::newRow("the same either way")
        << QStringList{u"05/05/2025"_s, u"06/06/2025"_s} << QStringList{u"2025-05-05"_s, u"2025-06-06"_s};
    QTest::newRow("could be both") << QStringList{u"05/05/2025"_s, u"03/04/2025"_s}
                                   << QStringList{u"could be"_s};
    QTest::newRow("day first and month first")
        << QStringList{u"31/12/2025"_s, u"12/31/2025"_s} << QStringList{u"more than one way"_s};
    QTest::newRow("year first and day first")
        << QStringList{u"2025-12-31"_s, u"31/12/2025"_s} << QStringList{u"more than one way"_s};
    QTest::newRow("year first and either")
        << QStringList{u"2025-12-31"_s, u"03/04/2025"_s} << QStringList{u"more than one way"_s};
    QTest::newRow("year first and the same either way")
        << QStringList{u"2025-12-31"_s, u"05/05/2025"_s} << QStringList{u"more than one way"_s};
    QTest::newRow("no date decides nothing") << QStringList{u"31/31/2025"_s, u"30/02/2025"_s, u"02/13/2025"_s}
                                             << QStringList{QString(), QString(), u"2025-02-13"_s};
    QTest::newRow("leap day") << QStringList{u"29/02/2024"_s, u"29/02/2025"_s}
                              << QStringList{u"2024-02-29"_s, QString()};
    QTest::newRow("year first with slashes")
        << QStringList{u"2026/09/23"_s, u"2026/12/31"_s} << QStringList{u"2026-09-23"_s, u"2026-12-31"_s};
    QTest::newRow("day first with dots")
        << QStringList{u"23.09.2026"_s, u"3.4.2026"_s} << QStringList{u"2026-09-23"_s, u"2026-04-03"_s};
    QTest::newRow("dots are never month first")
        << QStringList{u"03.04.2026"_s} << QStringList{u"2026-04-03"_s};
    QTest::newRow("day first with hyphens")
        << QStringList{u"23-09-2026"_s, u"03-04-2026"_s} << QStringList{u"2026-09-23"_s, u"2026-04-03"_s};
    QTest::newRow("hyphens either way") << QStringList{u"03-04-2026"_s} << QStringList{u"could be"_s};
    QTest::newRow("other signs") << QStringList{u"2025.06.01"_s, u"2025-6-1"_s, u"1.6/2025"_s,
                                                u"0025-06-01"_s}
                                 << QStringList{QString(), QString(), QString(), QString()};
}

void TestDevserverImportRows::datesHaveOneFormInTheWholeFile() {
    QFETCH(const QStringList, dates);
    QFETCH(const QStringList, expected);
    QString content = anyHeader;
    for (const QString& date : dates) {
        content += u"\n%1,09:00,1:00"_s.arg(date);
    }
    const Reply reply = preview(content);
    if (expected.size() == 1 && reply.status != 201) {
        QCOMPARE(reply.errorCode(), u"invalid_csv"_s);
        QVERIFY(reply.body[u"error"][u"message"].toString().contains(expected.first()));
        return;
    }
    QCOMPARE(reply.body.value(u"total").toInt(), expected.size());
    QCOMPARE(reply.body.value(u"invalid").toInt(), expected.count(QString()));
    QStringList days;
    for (const auto& entry : reply.body.value(u"sample").toArray()) {
        days += entry[u"start_at"].toString().left(10);
    }
    QStringList valid = expected;
    valid.removeAll(QString());
    QCOMPARE(days, valid);
}

void TestDevserverImportRows::startAndEndAreInstantsOfTheZone_data() {
    QTest::addColumn<QString>("zone");
    QTest::addColumn<QString>("row");
    QTest::addColumn<QString>("expected"); // start and stop, or the problem
    const QString jerusalem = u"Asia/Jerusalem"_s;
    const auto twice = [](const QString& column, const QString& zone, const QString& offsets) {
        return u"2 %1: This time was twice in %2, at %3, and nothing in the row tells which of both is meant."_s
            .arg(column, zone, offsets);
    };
    const QString bothOffsets = u"+03:00 and +02:00"_s;
    const auto never = [](const QString& column, const QString& zone) {
        return u"2 %1: This time does not exist in %2: the clocks were put forward over it."_s.arg(column,
                                                                                                   zone);
    };
    QTest::newRow("summer") << jerusalem << u"2025-06-01,9:05,2025-06-01,10:05:30,"_s
                            << u"2025-06-01T06:05:00Z 2025-06-01T07:05:30Z"_s;
    QTest::newRow("winter") << jerusalem << u"2025-01-01,09:05:09,2025-01-01,10:00,"_s
                            << u"2025-01-01T07:05:09Z 2025-01-01T08:00:00Z"_s;
    QTest::newRow("afternoon") << u"UTC"_s << u"2025-06-01,1:05 PM,2025-06-01,01:06:07pm,"_s
                               << u"2025-06-01T13:05:00Z 2025-06-01T13:06:07Z"_s;
    QTest::newRow("noon and midnight") << u"UTC"_s << u"2025-06-01,12:00 AM,2025-06-01,12:00 PM,"_s
                                       << u"2025-06-01T00:00:00Z 2025-06-01T12:00:00Z"_s;
    QTest::newRow("dotted halves") << u"UTC"_s << u"2025-06-01,9:00 a.m.,2025-06-01,1:00 P.M.,"_s
                                   << u"2025-06-01T09:00:00Z 2025-06-01T13:00:00Z"_s;
    QTest::newRow("narrow blanks") << u"UTC"_s << u"2025-06-01,9:00\u202fAM,2025-06-01,1:00\u00a0PM,"_s
                                   << u"2025-06-01T09:00:00Z 2025-06-01T13:00:00Z"_s;
    QTest::newRow("milliseconds") << u"UTC"_s
                                  << u"2025-06-01,09:00:00.250,2025-06-01,09:30:01.750,0:30:01.500"_s
                                  << u"2025-06-01T09:00:00Z 2025-06-01T09:30:01Z"_s;
    QTest::newRow("the end of a day") << u"UTC"_s << u"2025-06-01,23:00,2025-06-01,24:00,1:00:00"_s
                                      << u"2025-06-01T23:00:00Z 2025-06-02T00:00:00Z"_s;
    QTest::newRow("decimal hours") << u"UTC"_s << u"2025-06-01,09:00,,,1.5"_s
                                   << u"2025-06-01T09:00:00Z 2025-06-01T10:30:00Z"_s;
    QTest::newRow("rounded decimal hours") << u"UTC"_s << u"2025-06-01,09:00,2025-06-01,10:20,1.33"_s
                                           << u"2025-06-01T09:00:00Z 2025-06-01T10:20:00Z"_s;
    QTest::newRow("over midnight") << u"UTC"_s << u"2025-06-01,23:30,2025-06-02,00:30,1:00:00"_s
                                   << u"2025-06-01T23:30:00Z 2025-06-02T00:30:00Z"_s;
    QTest::newRow("of no length") << u"UTC"_s << u"2025-06-01,23:30,2025-06-01,23:30,0:00:00"_s
                                  << u"2025-06-01T23:30:00Z 2025-06-01T23:30:00Z"_s;
    QTest::newRow("end by duration") << u"UTC"_s << u"2025-06-01,23:30,,,27:00:01"_s
                                     << u"2025-06-01T23:30:00Z 2025-06-03T02:30:01Z"_s;
    QTest::newRow("duration a second off") << u"UTC"_s << u"2025-06-01,09:00,2025-06-01,10:00,0:59:59"_s
                                           << u"2025-06-01T09:00:00Z 2025-06-01T10:00:00Z"_s;
    QTest::newRow("duration two seconds off") << u"UTC"_s << u"2025-06-01,09:00,2025-06-01,10:00,1:00:02"_s
                                              << u"2 Duration: From start to end it is 1:00:00."_s;
    // In 2025 the clocks were put forward on 28 March at 2:00 and back on 26 October at 2:00.
    QTest::newRow("over the short night") << jerusalem << u"2025-03-28,01:30,2025-03-28,03:30,1:00:00"_s
                                          << u"2025-03-27T23:30:00Z 2025-03-28T00:30:00Z"_s;
    QTest::newRow("over the long night") << jerusalem << u"2025-10-26,00:30,2025-10-26,02:30,3:00:00"_s
                                         << u"2025-10-25T21:30:00Z 2025-10-26T00:30:00Z"_s;
    QTest::newRow("last second before")
        << jerusalem << u"2025-03-28,01:59:59,,,0:00:01"_s << u"2025-03-27T23:59:59Z 2025-03-28T00:00:00Z"_s;
    QTest::newRow("skipped") << jerusalem << u"2025-03-28,02:00,2025-03-28,03:30,"_s
                             << never(u"Start time"_s, jerusalem);
    QTest::newRow("skipped at the end")
        << jerusalem << u"2025-03-28,01:00,2025-03-28,02:59:59,"_s << never(u"End time"_s, jerusalem);
    QTest::newRow("first second after")
        << jerusalem << u"2025-03-28,03:00,,,1:00"_s << u"2025-03-28T00:00:00Z 2025-03-28T01:00:00Z"_s;
    QTest::newRow("repeated") << jerusalem << u"2025-10-26,01:00,2025-10-26,03:30,"_s
                              << twice(u"Start time"_s, jerusalem, bothOffsets);
    QTest::newRow("repeated at the end") << jerusalem << u"2025-10-26,00:00,2025-10-26,01:59:59,"_s
                                         << twice(u"End time"_s, jerusalem, bothOffsets);
    QTest::newRow("repeated, and the length tells which")
        << jerusalem << u"2025-10-26,01:30,2025-10-26,03:30,3:00:00"_s
        << u"2025-10-25T22:30:00Z 2025-10-26T01:30:00Z"_s;
    QTest::newRow("repeated the second time") << jerusalem << u"2025-10-26,01:30,2025-10-26,03:30,2:00:00"_s
                                              << u"2025-10-25T23:30:00Z 2025-10-26T01:30:00Z"_s;
    QTest::newRow("from one pass to the other, and the length tells so")
        << jerusalem << u"2025-10-26,01:10,2025-10-26,01:20,1:10:00"_s
        << u"2025-10-25T22:10:00Z 2025-10-25T23:20:00Z"_s;
    QTest::newRow("from one pass to the other, since the end comes last")
        << jerusalem << u"2025-10-26,01:50,2025-10-26,01:10,"_s
        << u"2025-10-25T22:50:00Z 2025-10-25T23:10:00Z"_s;
    QTest::newRow("within either pass") << jerusalem << u"2025-10-26,01:10,2025-10-26,01:20,0:10:00"_s
                                        << twice(u"Start time"_s, jerusalem, bothOffsets);
    QTest::newRow("within either pass, the end by duration")
        << jerusalem << u"2025-10-26,01:10,,,0:10:00"_s << twice(u"Start time"_s, jerusalem, bothOffsets);
    QTest::newRow("of no length in either pass")
        << jerusalem << u"2025-10-26,01:10,2025-10-26,01:10,0:00:00"_s
        << twice(u"Start time"_s, jerusalem, bothOffsets);
    QTest::newRow("repeated, and the length is of neither")
        << jerusalem << u"2025-10-26,01:30,2025-10-26,03:30,5:00:00"_s
        << u"2 Duration: From start to end it is 3:00:00 or 2:00:00."_s;
    QTest::newRow("repeated, and the end is before both")
        << jerusalem << u"2025-10-26,01:30,2025-10-26,00:30,"_s
        << u"2 End time: The entry would end before it starts."_s;
    QTest::newRow("in the first pass by offset")
        << jerusalem << u"2025-10-26,01:10+03:00,2025-10-26,01:20+03:00,0:10:00"_s
        << u"2025-10-25T22:10:00Z 2025-10-25T22:20:00Z"_s;
    QTest::newRow("in the second pass by offset")
        << jerusalem << u"2025-10-26,01:10:00+02:00,2025-10-26,01:20:00 +02:00,"_s
        << u"2025-10-25T23:10:00Z 2025-10-25T23:20:00Z"_s;
    QTest::newRow("in the second pass by one offset and the length")
        << jerusalem << u"2025-10-26,01:10+02:00,2025-10-26,01:20,0:10:00"_s
        << u"2025-10-25T23:10:00Z 2025-10-25T23:20:00Z"_s;
    QTest::newRow("in the second pass by offset, the end by duration")
        << jerusalem << u"2025-10-26,1:10 AM+02:00,,,0:10:00"_s
        << u"2025-10-25T23:10:00Z 2025-10-25T23:20:00Z"_s;
    QTest::newRow("the offset of the start leaves the end open")
        << jerusalem << u"2025-10-26,01:10+03:00,2025-10-26,01:20,"_s
        << twice(u"End time"_s, jerusalem, bothOffsets);
    QTest::newRow("an offset where none is needed")
        << jerusalem << u"2025-06-01,09:00+03:00,2025-06-01,10:00+03:00,"_s
        << u"2025-06-01T06:00:00Z 2025-06-01T07:00:00Z"_s;
    QTest::newRow("the offset of Greenwich, and one west of it")
        << u"America/Scoresbysund"_s << u"2020-10-25,00:30+00:00,2020-10-25,00:30-01:00,1:00:00"_s
        << u"2020-10-25T00:30:00Z 2020-10-25T01:30:00Z"_s;
    QTest::newRow("an offset of neither pass")
        << jerusalem << u"2025-10-26,01:10+04:00,2025-10-26,03:20,"_s
        << u"2 Start time: In Asia/Jerusalem the offset of this time is +03:00 or +02:00."_s;
    QTest::newRow("an offset of another season")
        << jerusalem << u"2025-06-01,09:00,2025-06-01,10:00+02:00,"_s
        << u"2 End time: In Asia/Jerusalem the offset of this time is +03:00."_s;
    QTest::newRow("behind the repeated hour")
        << jerusalem << u"2025-10-26,02:00,,,1:00"_s << u"2025-10-26T00:00:00Z 2025-10-26T01:00:00Z"_s;
    QTest::newRow("before the repeated hour")
        << jerusalem << u"2025-10-26,00:59:59,,,1:00"_s << u"2025-10-25T21:59:59Z 2025-10-25T22:59:59Z"_s;
    QTest::newRow("half an hour skipped") << u"Australia/Lord_Howe"_s << u"2025-10-05,02:15,,,1:00"_s
                                          << never(u"Start time"_s, u"Australia/Lord_Howe"_s);
    QTest::newRow("half an hour repeated")
        << u"Australia/Lord_Howe"_s << u"2025-04-06,01:45,,,1:00"_s
        << twice(u"Start time"_s, u"Australia/Lord_Howe"_s, u"+11:00 and +10:30"_s);
    QTest::newRow("a day that never was")
        << u"Pacific/Apia"_s << u"2011-12-30,12:00,,,1:00"_s << never(u"Start time"_s, u"Pacific/Apia"_s);
    QTest::newRow("years ahead") << jerusalem << u"2095-07-01,09:00,,,1:00"_s
                                 << u"2095-07-01T06:00:00Z 2095-07-01T07:00:00Z"_s;
}

void TestDevserverImportRows::startAndEndAreInstantsOfTheZone() {
    QFETCH(const QString, zone);
    QFETCH(const QString, row);
    QFETCH(const QString, expected);
    QJsonObject body = bodyOf(u"Start date,Start time,End date,End time,Duration\n"_s + row);
    body.insert(u"timezone"_s, zone);
    const Reply reply = m_client->postTo(previewOf(m_world.workspace), body);
    QCOMPARE(reply.status, 201);
    const QJsonObject entry = sampleOf(reply);
    const QString told = entry.isEmpty()
                             ? problemsOf(reply).join(u'\n')
                             : entry[u"start_at"].toString() + u' ' + entry[u"stop_at"].toString();
    QCOMPARE(told, expected);
}

void TestDevserverImportRows::cellsThatCannotBeUsedAreNamed_data() {
    QTest::addColumn<QString>("columns");
    QTest::addColumn<QString>("row");
    QTest::addColumn<QStringList>("problems");
    const QString times = u"Start date,Start time,End date,End time,Duration"_s;
    const QString noTime = u"This is not a time of day such as 09:30 or 09:30:15."_s;
    const QString noDuration = u"2 Duration: This is not a duration such as 1:30:00."_s;
    for (const QString& time :
         {u""_s, u"24:01"_s, u"9"_s, u"9:60"_s, u"9:00:60"_s, u"0:30 AM"_s, u"13:00 PM"_s, u"9h30"_s,
          u"٠٩:٣٠"_s, u"9:00+3"_s, u"9:00+03:60"_s, u"9:00+24:00"_s}) {
        QTest::addRow("start %s", qPrintable(time)) << times << u"2025-06-01,%1,2025-06-01,10:00,"_s.arg(time)
                                                    << QStringList{u"2 Start time: "_s + noTime};
    }
    QTest::newRow("end without a date")
        << times << u"2025-06-01,9:00,,10:00,"_s
        << QStringList{u"2 End date: This is not a date in the form YYYY-MM-DD."_s};
    QTest::newRow("end without a time")
        << times << u"2025-06-01,9:00,2025-06-01,,1:00"_s << QStringList{u"2 End time: "_s + noTime};
    QTest::newRow("no end at all") << times << u"2025-06-01,9:00,,,"_s
                                   << QStringList{
                                          u"2 End time: The row has neither an end nor a duration."_s};
    for (const QString& duration :
         {u"90"_s, u"1.5.5"_s, u"-1:00:00"_s, u"1:60:00"_s, u"1:00:60"_s, u"123456:00:00"_s}) {
        QTest::addRow("duration %s", qPrintable(duration))
            << times << u"2025-06-01,9:00,,,"_s + duration << QStringList{noDuration};
    }
    const QString tooLate = u"The entry would end after the year 9999."_s;
    QTest::newRow("end after the last year")
        << times << u"9998-12-31,9:00,,,99999:00"_s << QStringList{u"2 Duration: "_s + tooLate};
    QTest::newRow("no duration where there are no ends")
        << anyHeader << u"2025-06-01,9:00,"_s
        << QStringList{u"2 Duration: The row has neither an end nor a duration."_s};
    QTest::newRow("end before start") << times << u"2025-06-01,9:00,2025-06-01,8:59:59,"_s
                                      << QStringList{u"2 End time: The entry would end before it starts."_s};
    for (const QString& text : {u"Total review"_s, u"Sum up the week"_s, u"Subtotals, again"_s,
                                u"total: 3 trees"_s, u"סה״כ שעות של נועה"_s, u"סך הכול סיכום"_s}) {
        QTest::addRow("no start of %s", qPrintable(text))
            << u"Description;Start date;Start time;Duration"_s << text + u";;;1:00"_s
            << QStringList{u"2 Start date: This is not a date in the form YYYY-MM-DD."_s,
                           u"2 Start time: "_s + noTime};
    }
    QTest::newRow("several") << times << u"x,y,2025-06-01,z,w"_s
                             << QStringList{u"2 Start date: This is not a date in the form YYYY-MM-DD."_s,
                                            u"2 Start time: "_s + noTime, u"2 End time: "_s + noTime,
                                            noDuration};
    QTest::newRow("too few values") << times << u"2025-06-01,9:00"_s
                                    << QStringList{u"2 : The row has 2 values, but there are 5 columns."_s};
    QTest::newRow("too many values") << times << u"2025-06-01,9:00,2025-06-01,10:00,1:00,x"_s
                                     << QStringList{u"2 : The row has 6 values, but there are 5 columns."_s};
    QTest::newRow("client without a project")
        << anyHeader + u",Client,Project"_s << anyRow + u",Client,"_s
        << QStringList{u"2 Client: It needs a project, and the row names none."_s};
    QTest::newRow("task without a project")
        << anyHeader + u",Task"_s << anyRow + u",Cut"_s
        << QStringList{u"2 Task: It needs a project, and the row names none."_s};
    QTest::newRow("long project") << anyHeader + u",Project"_s << anyRow + u',' + QString(256, u'p')
                                  << QStringList{u"2 Project: The name is longer than 255 characters."_s};
    QTest::newRow("long tag") << anyHeader + u",Tags"_s << anyRow + u',' + QString(256, u't')
                              << QStringList{u"2 Tags: There can be 100 tags of 255 characters each."_s};
    QTest::newRow("long text") << anyHeader + u",Description"_s << anyRow + u',' + QString(100'001, u'd')
                               << QStringList{u"2 Description: The text is longer than 100000 characters."_s};
}

void TestDevserverImportRows::cellsThatCannotBeUsedAreNamed() {
    QFETCH(const QString, columns);
    QFETCH(const QString, row);
    QFETCH(const QStringList, problems);
    const Reply reply = preview(columns + u'\n' + row);
    QCOMPARE(problemsOf(reply), problems);
    QCOMPARE(numbersOf(reply), u"1 0 1 0"_s);
}

void TestDevserverImportRows::billableIsAWord_data() {
    QTest::addColumn<QString>("word");
    QTest::addColumn<QJsonValue>("billable");
    for (const QString& word : {u"Yes"_s, u"yes"_s, u"כן"_s, u"true"_s, u"TRUE"_s, u"1"_s, u"Y"_s, u"y"_s}) {
        QTest::newRow(qPrintable(word)) << word << QJsonValue(true);
    }
    for (const QString& word : {u"No"_s, u"לא"_s, u"false"_s, u"False"_s, u"0"_s, u"N"_s, u""_s}) {
        QTest::newRow(qPrintable(word)) << word << QJsonValue(false);
    }
    for (const QString& word : {u"2"_s, u"maybe"_s, u"yy"_s, u"-"_s}) {
        QTest::newRow(qPrintable(word)) << word << QJsonValue(QJsonValue::Undefined);
    }
}

void TestDevserverImportRows::billableIsAWord() {
    QFETCH(const QString, word);
    QFETCH(const QJsonValue, billable);
    const Reply reply = preview(anyHeader + u",Billable\n"_s + anyRow + u',' + word);
    QCOMPARE(sampleOf(reply).value(u"billable"), billable);
    QCOMPARE(problemsOf(reply),
             billable.isBool() ? QStringList() : QStringList{u"2 Billable: This is neither Yes nor No."_s});
}

// It stands in databases of earlier versions, which would import all their records again.
void TestDevserverImportRows::aRecordIsKnownByTheSameFingerprintForEver() {
    using namespace devserver;
    const ImportRow row{7,          u"\"a\\b\"\n\t\x01 שלום"_s,
                        u"לקוח"_s,  u"Trees"_s,
                        {},         {u"a, b"_s, u"ב"_s},
                        true,       1748768400,
                        1748772000, 1748779200,
                        -5};
    const QJsonObject identity{{u"description"_s, row.description},
                               {u"client"_s, row.client},
                               {u"project"_s, row.project},
                               {u"task"_s, u""_s},
                               {u"tags"_s, QJsonArray::fromStringList(row.tags)},
                               {u"billable"_s, true},
                               {u"clock_start"_s, row.clockStart},
                               {u"clock_stop"_s, row.clockStop}};
    QCOMPARE(fingerprintOf(row), fingerprintOf(identity));
    QCOMPARE(fingerprintOf(rowOf(contentOf(row), row.row)), fingerprintOf(identity));
}

// Staged and read again, they still are.
void TestDevserverImportRows::aRecordThatItsOffsetPutsLaterIsAnother() {
    using namespace devserver;
    ImportRow row;
    const QString first = fingerprintOf(row);
    row.laterStart = true;
    const QString startsLater = fingerprintOf(row);
    row.laterStop = true;
    const QString bothLater = fingerprintOf(row);
    QCOMPARE((QSet<QString>{first, startsLater, bothLater}).size(), 3);
    QCOMPARE(fingerprintOf(rowOf(contentOf(row), row.row)), bothLater);
    row.laterAnyway = true;
    QCOMPARE(fingerprintsOf(rowOf(contentOf(row), row.row)), (QStringList{first, bothLater}));
    QCOMPARE(entryOf(row).keys(), entryOf(ImportRow()).keys());
}

QTEST_GUILESS_MAIN(TestDevserverImportRows)
#include "importrows.moc"
