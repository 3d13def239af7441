// SPDX-License-Identifier: MIT
#include "tests/devserver/exportfixture.h"

#include <QCryptographicHash>
#include <QRegularExpression>
#include <QTest>
#include <QUrl>

#include <tuple>

using namespace Qt::StringLiterals;

namespace {

/// The pages that a browser prints of this file, as text; empty when it fails.
QStringList printedPages(const QString& file) {
    const QString pdf = file + u".pdf"_s;
    // What it prints otherwise is of no interest; without a file there are no pages.
    std::ignore = outputOf(QStringLiteral(CHROMIUM),
                           {u"--headless"_s, u"--no-sandbox"_s, u"--disable-gpu"_s, u"--disable-quic"_s,
                            u"--no-first-run"_s, u"--disable-background-networking"_s,
                            u"--disable-component-update"_s, u"--disable-sync"_s,
                            u"--disable-dev-shm-usage"_s, u"--host-resolver-rules=MAP * ~NOTFOUND"_s,
                            u"--user-data-dir="_s + file + u".profile"_s, u"--no-pdf-header-footer"_s,
                            u"--print-to-pdf="_s + pdf, QUrl::fromLocalFile(file).toString()});
    const QByteArray text = outputOf(u"pdftotext"_s, {u"-layout"_s, pdf, u"-"_s});
    return QString::fromUtf8(text).split(u'\f', Qt::SkipEmptyParts);
}

QString pageSize(const QString& file) {
    const QString about = QString::fromUtf8(outputOf(u"pdfinfo"_s, {file + u".pdf"_s}));
    static const QRegularExpression line(u"Page size: *(.*) pts \\(A4\\)"_s);
    return line.match(about).captured(1);
}

} // namespace

/// The printable page: what it says, and how a browser prints it.
class TestDevserverExportHtml : public QObject {
    Q_OBJECT

    [[nodiscard]] QString exported();

    ExportFixture m_fixture;

private Q_SLOTS:
    void initTestCase();
    void thePageNeedsNothingButItself();
    void textsAreEscaped();
    void theLanguageGivesTheDirection_data();
    void theLanguageGivesTheDirection();
    void anEmptyReportSaysSo();
    void reportsPrintOnA4_data();
    void reportsPrintOnA4();
    void rowsAreNotBrokenAndTitlesRepeat_data();
    void rowsAreNotBrokenAndTitlesRepeat();
    void everySheetSaysWhatItIsAndWhichOne();
    void momentsStandOnOneLine();
    void theTotalIsNeverAloneOnASheet();
    void anEmptyAmountIsExplained_data();
    void anEmptyAmountIsExplained();
};

void TestDevserverExportHtml::initTestCase() {
    QVERIFY(m_fixture.start());
}

QString TestDevserverExportHtml::exported() {
    const ExportFixture::Export answer = m_fixture.get(u"html"_s);
    return answer.status == 200 ? QString::fromUtf8(answer.body) : QString();
}

void TestDevserverExportHtml::thePageNeedsNothingButItself() {
    m_fixture.store(reportHeader(u"detailed"_s), {detailedRow(u"any"_s)});
    const QString page = exported();
    QVERIFY(page.startsWith(u"<!DOCTYPE html>"));
    QVERIFY(page.contains(u"<meta charset=\"utf-8\">"));
    for (const char* part :
         {"<script", "<link", "<img", "<iframe", "src=", "href=", "url(", "@import", "//"}) {
        QVERIFY2(!page.contains(QLatin1String(part)), part);
    }
    const QString style = page.section(u"<style>"_s, 1).section(u"</style>"_s, 0, 0);
    const QByteArray hash = QCryptographicHash::hash(style.toUtf8(), QCryptographicHash::Sha256).toBase64();
    QVERIFY(page.contains(
        u"content=\"default-src 'none'; style-src 'sha256-%1'\""_s.arg(QString::fromLatin1(hash))));
}

void TestDevserverExportHtml::textsAreEscaped() {
    const QString text = u"<script>alert(1)</script> & \"quoted\" </td>"_s;
    const QJsonObject change{{u"project_name"_s, text},
                             {u"client_name"_s, text},
                             {u"task_name"_s, text},
                             {u"user_name"_s, text},
                             {u"tags"_s, QJsonArray{text}}};
    m_fixture.store(reportHeader(u"detailed"_s), {detailedRow(text, change)});
    const QString page = exported();
    QCOMPARE(page.count(u"<script"), 0);
    QCOMPARE(
        page.count(u"<bdi>&lt;script&gt;alert(1)&lt;/script&gt; &amp; &quot;quoted&quot; &lt;/td&gt;</bdi>"),
        6);
    QVERIFY(page.contains(u"<title>סטודיו גל &amp; Sons &lt;Ltd&gt; – Detailed report</title>"));
    QVERIFY(page.contains(u"<h1>סטודיו גל &amp; Sons &lt;Ltd&gt;</h1>"));
}

void TestDevserverExportHtml::theLanguageGivesTheDirection_data() {
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("opening");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("total");
    QTest::newRow("Hebrew") << u"he"_s << u"<html lang=\"he\" dir=\"rtl\">"_s << u"דוח שבועי"_s << u"סה״כ"_s;
    QTest::newRow("English") << u"en"_s << u"<html lang=\"en\" dir=\"ltr\">"_s << u"Weekly report"_s
                             << u"Total"_s;
}

void TestDevserverExportHtml::theLanguageGivesTheDirection() {
    QFETCH(const QString, language);
    QFETCH(const QString, opening);
    QFETCH(const QString, title);
    QFETCH(const QString, total);
    m_fixture.store(reportHeader(u"weekly"_s, language),
                    {labelledRow({u"2026-03-01"_s, u"Website"_s}, reportTotals(93'784, u"1302.50"_s))});
    const QString page = exported();
    for (const QString& part :
         {opening, title, u"2026-01-01 – 2026-12-31"_s, u"Asia/Jerusalem"_s,
          u"<td class=\"time\">2026-03-01</td>"_s, u"<td class=\"number\">26:03:04</td>"_s,
          u"<td class=\"number\">1,302.50</td>"_s, total, u"<td class=\"number\">100:01:01</td>"_s,
          u"<td class=\"number\">1,234,567.50</td>"_s}) {
        QVERIFY2(page.contains(part), qPrintable(part));
    }
}

void TestDevserverExportHtml::anEmptyReportSaysSo() {
    m_fixture.store(reportHeader(u"summary"_s), {});
    const QString page = exported();
    QVERIFY(page.contains(u"There are no entries in this range."));
    QCOMPARE(page.count(u"<tr>"), 2); // titles and totals
    m_fixture.store(reportHeader(u"summary"_s), {labelledRow({u"Website"_s}, reportTotals(1, u"0.10"_s))});
    QVERIFY(!exported().contains(u"There are no entries"));
}

void TestDevserverExportHtml::reportsPrintOnA4_data() {
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("size");
    QTest::newRow("summary") << u"summary"_s << u"594.96 x 841.92"_s;
    QTest::newRow("detailed") << u"detailed"_s << u"841.92 x 594.96"_s;
}

void TestDevserverExportHtml::reportsPrintOnA4() {
    QFETCH(const QString, kind);
    QFETCH(const QString, size);
    const QString word = u"Unbroken"_s.repeated(60);
    m_fixture.store(
        reportHeader(kind),
        {kind == u"detailed" ? detailedRow(word) : labelledRow({word}, reportTotals(93'784, u"7.10"_s))});
    const QString file = m_fixture.save(u"report.html"_s, exported().toUtf8());
    const QStringList pages = printedPages(file);
    QCOMPARE(pageSize(file), size);
    QCOMPARE(pages.size(), 1);
    // Nothing is cut off at the side.
    QVERIFY2(pages[0].contains(u"Amount") && pages[0].contains(u"1,234,567.50"), qPrintable(pages[0]));
}

void TestDevserverExportHtml::rowsAreNotBrokenAndTitlesRepeat_data() {
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("total");
    QTest::newRow("Hebrew") << u"he"_s << u"תיאור"_s << u"סה״כ"_s;
    QTest::newRow("English") << u"en"_s << u"Description"_s << u"Total"_s;
}

void TestDevserverExportHtml::rowsAreNotBrokenAndTitlesRepeat() {
    QFETCH(const QString, language);
    QFETCH(const QString, title);
    QFETCH(const QString, total);
    QJsonArray rows;
    for (int i = 100; i < 140; ++i) {
        rows.append(detailedRow(u"first%1\nשורה\nline\nline\nlast%1"_s.arg(i)));
    }
    m_fixture.store(reportHeader(u"detailed"_s, language), rows);
    const QString file = m_fixture.save(language + u".html"_s, exported().toUtf8());
    const QStringList pages = printedPages(file);
    QVERIFY2(pages.size() > 2, qPrintable(QString::number(pages.size())));
    int found = 0;
    for (const QString& page : pages) {
        QVERIFY2(page.contains(title), qPrintable(page));
        QCOMPARE(page.contains(total), page == pages.last());
        for (int i = 100; i < 140; ++i) {
            const bool begins = page.contains(u"first%1"_s.arg(i));
            QCOMPARE(page.contains(u"last%1"_s.arg(i)), begins);
            found += begins ? 1 : 0;
        }
    }
    QCOMPARE(found, 40);
}

void TestDevserverExportHtml::everySheetSaysWhatItIsAndWhichOne() {
    QJsonArray rows;
    for (int i = 0; i < 120; ++i) {
        rows.append(labelledRow({u"Row %1"_s.arg(i)}, reportTotals(60, u"1.00"_s)));
    }
    m_fixture.store(reportHeader(u"summary"_s), rows);
    const QStringList pages = printedPages(m_fixture.save(u"sheets.html"_s, exported().toUtf8()));
    QVERIFY(pages.size() > 2);
    for (qsizetype i = 0; i < pages.size(); ++i) {
        const QRegularExpression number(u"\\s%1 ?/ ?%2\\s"_s.arg(i + 1).arg(pages.size()));
        QVERIFY2(pages[i].contains(number), qPrintable(pages[i].right(200)));
        QVERIFY2(pages[i].contains(u"Sons <Ltd>") && pages[i].contains(u"Summary report"),
                 qPrintable(pages[i]));
        QVERIFY2(pages[i].contains(u"2026-12-31"), qPrintable(pages[i]));
    }
}

void TestDevserverExportHtml::momentsStandOnOneLine() {
    m_fixture.store(reportHeader(u"detailed"_s), {detailedRow(u"any"_s)});
    const QStringList pages = printedPages(m_fixture.save(u"moments.html"_s, exported().toUtf8()));
    static const QRegularExpression moment(u"2026-03-05 +09:08:09"_s);
    QVERIFY2(pages.value(0).contains(moment), qPrintable(pages.value(0)));
}

void TestDevserverExportHtml::theTotalIsNeverAloneOnASheet() {
    // One more row at a time, over more than a sheet: some count fills one exactly.
    for (int count = 30; count < 42; ++count) {
        QJsonArray rows;
        for (int i = 0; i < count; ++i) {
            rows.append(labelledRow({u"Row %1"_s.arg(i)}, reportTotals(60, u"1.00"_s)));
        }
        m_fixture.store(reportHeader(u"summary"_s), rows);
        const QStringList pages = printedPages(m_fixture.save(u"total.html"_s, exported().toUtf8()));
        QVERIFY2(pages.constLast().contains(u"Row %1"_s.arg(count - 1)), qPrintable(pages.constLast()));
        QVERIFY(pages.constLast().contains(u"Total"));
    }
}

void TestDevserverExportHtml::anEmptyAmountIsExplained_data() {
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("sentence");
    QTest::newRow("Hebrew") << u"he"_s << u"הסכום ריק במקום שבו לרשומה לחיוב אין תעריף שעתי."_s;
    QTest::newRow("English") << u"en"_s << u"An amount is empty where a billable entry has no hourly rate."_s;
}

void TestDevserverExportHtml::anEmptyAmountIsExplained() {
    QFETCH(const QString, language);
    QFETCH(const QString, sentence);
    QJsonObject header = reportHeader(u"summary"_s, language);
    m_fixture.store(header, {labelledRow({u"Website"_s}, reportTotals(60, u"1.00"_s))});
    QVERIFY(!exported().contains(sentence));
    header[u"totals"] = reportTotals(60, QJsonValue());
    m_fixture.store(header, {labelledRow({u"Website"_s}, reportTotals(60, QJsonValue()))});
    QVERIFY(exported().contains(sentence));
}

QTEST_GUILESS_MAIN(TestDevserverExportHtml)
#include "exporthtml.moc"
