// SPDX-License-Identifier: MIT
#include "state/reporttable.h"

#include <QJsonObject>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QStringList figures{u"Raw"_s, u"Rounded"_s, u"Share"_s, u"Amount"_s, u"Currency"_s};

QJsonObject row(const QStringList& labels, const QString& amount = u"12.50"_s) {
    return {{u"labels"_s, QJsonArray::fromStringList(labels)},
            {u"totals"_s,
             QJsonObject{{u"raw_duration_seconds"_s, 360'061}, {u"rounded_duration_seconds"_s, 900}}},
            {u"share"_s, 125},
            {u"amount_text"_s, amount},
            {u"currency"_s, amount.isEmpty() ? QString() : u"EUR"_s}};
}

} // namespace

class ReportTableTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void rowsAreLinesOfCells();
    void aRowFillsItsColumns_data();
    void aRowFillsItsColumns();
    void anEntryIsNamedByDayProjectAndDescription();
    void noTextIsAFormula_data();
    void noTextIsAFormula();
    void aTextStaysInItsCell_data();
    void aTextStaysInItsCell();
    void thePageHoldsTextsOnly();
};

void ReportTableTest::rowsAreLinesOfCells() {
    const ReportTable table(QStringList{u"Project"_s} + figures, {row({u"One"_s}), row({u"Two"_s}, {})});
    QCOMPARE(table.text(), u"Project\tRaw\tRounded\tShare\tAmount\tCurrency\n"
                           "One\t100:01:01\t00:15:00\t12.5\t12.50\tEUR\n"
                           "Two\t100:01:01\t00:15:00\t12.5\t\t\n"_s);
}

void ReportTableTest::aRowFillsItsColumns_data() {
    QTest::addColumn<QStringList>("labels");
    QTest::addColumn<QString>("start");
    QTest::newRow("both") << QStringList{u"2026-03-01"_s, u"One"_s} << u"2026-03-01\tOne\t100"_s;
    QTest::newRow("too few") << QStringList{u"2026-03-01"_s} << u"2026-03-01\t\t100"_s;
    QTest::newRow("too many") << QStringList{u"a"_s, u"b"_s, u"c"_s} << u"a\tb / c\t100"_s;
    QTest::newRow("none") << QStringList() << u"\t\t100"_s;
}

void ReportTableTest::aRowFillsItsColumns() {
    QFETCH(const QStringList, labels);
    QFETCH(const QString, start);
    const ReportTable table(QStringList{u"Week"_s, u"Project"_s} + figures, {row(labels)});
    const QString line = table.text().split(u'\n').at(1);
    QVERIFY2(line.startsWith(start), qPrintable(line));
    QCOMPARE(line.count(u'\t'), 6);
}

void ReportTableTest::anEntryIsNamedByDayProjectAndDescription() {
    QJsonObject detailed = row({u"not shown"_s});
    detailed.insert(u"entry"_s, QJsonObject{{u"description"_s, u"Plan"_s}, {u"project_name"_s, u"One"_s}});
    detailed.insert(u"day"_s, u"2026-03-05"_s);
    const ReportTable table(QStringList{u"Day"_s, u"Project"_s, u"Description"_s} + figures, {detailed});
    QVERIFY(table.text().contains(u"\n2026-03-05\tOne\tPlan\t100:01:01\t"_s));
}

void ReportTableTest::noTextIsAFormula_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("guarded");
    QTest::newRow("plain") << u"Plan = act"_s << false;
    QTest::newRow("empty") << QString() << false;
    QTest::newRow("number") << u"12.50"_s << false;
    QTest::newRow("equals") << u"=1+1"_s << true;
    QTest::newRow("plus") << u"+1"_s << true;
    QTest::newRow("minus") << u"-1"_s << true;
    QTest::newRow("at") << u"@SUM(A1)"_s << true;
    QTest::newRow("full width") << u"＝1"_s << true;
    QTest::newRow("behind blanks") << u" \u00a0=1"_s << true;
    QTest::newRow("behind a direction mark") << u"\u200f=1"_s << true;
    QTest::newRow("tab") << u"\tx"_s << true;
    QTest::newRow("line feed") << u"\nx"_s << true;
}

void ReportTableTest::noTextIsAFormula() {
    QFETCH(const QString, text);
    QFETCH(const bool, guarded);
    QCOMPARE(ReportTable::harmless(text), guarded ? u'\'' + text : text);
    const ReportTable table(QStringList{u"Project"_s} + figures, {row({text})});
    QCOMPARE(table.text().split(u'\n').at(1).startsWith(u'\''), guarded);
    QCOMPARE(table.html(false).contains(u"<td>'"_s) || table.html(false).contains(u"<td>&#39;"_s), guarded);
}

void ReportTableTest::aTextStaysInItsCell_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("cell");
    QTest::newRow("tab") << u"a\tb"_s << u"a b"_s;
    QTest::newRow("lines") << u"a\r\nb"_s << u"a  b"_s;
    QTest::newRow("quote inside") << u"12\" pipe"_s << u"12\" pipe"_s;
    QTest::newRow("quote in front") << u"\"No\" she said"_s << u"\"\"\"No\"\" she said\""_s;
}

void ReportTableTest::aTextStaysInItsCell() {
    QFETCH(const QString, text);
    QFETCH(const QString, cell);
    const ReportTable table(QStringList{u"Project"_s} + figures, {row({text})});
    const QStringList lines = table.text().split(u'\n');
    QCOMPARE(lines.size(), 3);
    QCOMPARE(lines.at(1).section(u'\t', 0, 0), cell);
}

void ReportTableTest::thePageHoldsTextsOnly() {
    const ReportTable table(QStringList{u"פרויקט"_s} + figures, {row({u"<script>x</script>&"_s})});
    QVERIFY(table.html(true).contains(u"<table dir=\"rtl\"><tr><th>פרויקט</th>"_s));
    QVERIFY(table.html(false).contains(u"<table dir=\"ltr\">"_s));
    QVERIFY(table.html(true).contains(u"<td>&lt;script&gt;x&lt;/script&gt;&amp;</td>"_s));
}

QTEST_GUILESS_MAIN(ReportTableTest)
#include "reporttable.moc"
