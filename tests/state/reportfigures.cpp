// SPDX-License-Identifier: MIT
#include "state/reportfigures.h"
#include "state/projectcolors.h"
#include "state/reportpicture.h"
#include "state/reportranges.h"

#include <QTest>

#include <numeric>

using namespace Qt::StringLiterals;

namespace {

QJsonArray catalog() {
    const auto project = [](const QString& id, const QString& name, const QString& color) {
        return QJsonObject{{u"id"_s, id}, {u"name"_s, name}, {u"color"_s, color}};
    };
    return {project(u"p1"_s, u"Ferry"_s, u"#2E86AB"_s), project(u"p2"_s, u"Web: shop"_s, u"#aa3300"_s),
            project(u"p3"_s, u"Twin"_s, u"#111111"_s), project(u"p4"_s, u"Twin"_s, u"#222222"_s),
            project(u"p5"_s, u"Odd"_s, u"url(javascript:1)"_s)};
}

QJsonObject row(const QString& label, qint64 seconds, const QJsonValue& amount = QJsonValue::Null) {
    return {{u"labels"_s, QJsonArray{label}},
            {u"totals"_s, QJsonObject{{u"raw_duration_seconds"_s, seconds}, {u"amount"_s, amount}}}};
}

QJsonObject report(const QString& group, const QJsonArray& rows, const QString& kind = u"summary"_s) {
    return {{u"kind"_s, kind},
            {u"group_by"_s, QJsonArray{group}},
            {u"timezone"_s, u"Asia/Jerusalem"_s},
            {u"currency"_s, u"ILS"_s},
            {u"rows"_s, rows}};
}

} // namespace

class ReportFiguresTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void sharesAddUp_data();
    void sharesAddUp();
    void aReportThatWasCutSharesTheWhole();
    void aRowHasItsProjectsColour_data();
    void aRowHasItsProjectsColour();
    void anEntryHasTheColourOfItsProjectsId();
    void theAmountIsToldAsTheServerTellsIt_data();
    void theAmountIsToldAsTheServerTellsIt();
    void anEntryIsOfTheDayInTheReportsZone();
    void rangesAreWholePeriods_data();
    void rangesAreWholePeriods();
};

void ReportFiguresTest::sharesAddUp_data() {
    QTest::addColumn<QList<qint64>>("parts");
    QTest::addColumn<qint64>("whole");
    QTest::addColumn<QList<int>>("shares");
    QTest::newRow("thirds") << QList<qint64>{1, 1, 1} << qint64{0} << QList<int>{334, 333, 333};
    QTest::newRow("the one that lost the most") << QList<qint64>{2, 1} << qint64{0} << QList<int>{667, 333};
    QTest::newRow("one") << QList<qint64>{5} << qint64{0} << QList<int>{1000};
    QTest::newRow("none") << QList<qint64>{} << qint64{0} << QList<int>{};
    QTest::newRow("no time") << QList<qint64>{0, 0} << qint64{0} << QList<int>{0, 0};
    QTest::newRow("negative") << QList<qint64>{-5, 10} << qint64{0} << QList<int>{0, 1000};
    QTest::newRow("tiny beside huge") << QList<qint64>{1, 1'000'000} << qint64{0} << QList<int>{0, 1000};
    QTest::newRow("a part of more") << QList<qint64>{1, 1} << qint64{8} << QList<int>{125, 125};
    QTest::newRow("more than the whole") << QList<qint64>{3, 1} << qint64{2} << QList<int>{750, 250};
}

void ReportFiguresTest::sharesAddUp() {
    QFETCH(const QList<qint64>, parts);
    QFETCH(const qint64, whole);
    QFETCH(const QList<int>, shares);
    QCOMPARE(ReportFigures::shares(parts, whole), shares);
}

void ReportFiguresTest::aReportThatWasCutSharesTheWhole() {
    QJsonObject cut = report(u"project"_s, {row(u"Ferry"_s, 100), row(u"Twin"_s, 100)});
    cut.insert(u"totals"_s, QJsonObject{{u"raw_duration_seconds"_s, 1000}});
    QCOMPARE(ReportFigures::rows(cut, {})[0][u"share"].toInt(), 500);
    cut.insert(u"has_more"_s, true);
    QCOMPARE(ReportFigures::rows(cut, {})[0][u"share"].toInt(), 100);
}

void ReportFiguresTest::aRowHasItsProjectsColour_data() {
    QTest::addColumn<QString>("group");
    QTest::addColumn<QString>("label");
    QTest::addColumn<QString>("colour");
    QTest::newRow("project") << u"project"_s << u"Ferry"_s << u"#2e86ab"_s;
    QTest::newRow("task") << u"task"_s << u"Ferry: Timetable"_s << u"#2e86ab"_s;
    QTest::newRow("colons everywhere") << u"task"_s << u"Web: shop: till: test"_s << u"#aa3300"_s;
    QTest::newRow("two of one name") << u"project"_s << u"Twin"_s << QString();
    QTest::newRow("no colour") << u"project"_s << u"Odd"_s << QString();
    QTest::newRow("unknown") << u"project"_s << u"No project"_s << QString();
    QTest::newRow("a client of a project's name") << u"client"_s << u"Ferry"_s << QString();
}

void ReportFiguresTest::aRowHasItsProjectsColour() {
    QFETCH(const QString, group);
    QFETCH(const QString, label);
    QFETCH(const QString, colour);
    QCOMPARE(ReportFigures::rows(report(group, {row(label, 1)}), catalog())[0][u"color"].toString(), colour);
}

void ReportFiguresTest::anEntryHasTheColourOfItsProjectsId() {
    const QJsonObject detailed{
        {u"entry"_s, QJsonObject{{u"project_id"_s, u"p4"_s}, {u"project_name"_s, u"Twin"_s}}}};
    const QJsonArray rows = ReportFigures::rows(report(u"day"_s, {detailed}, u"detailed"_s), catalog());
    QCOMPARE(rows[0][u"color"].toString(), u"#222222"_s);
}

void ReportFiguresTest::theAmountIsToldAsTheServerTellsIt_data() {
    QTest::addColumn<QJsonValue>("amount");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("currency");
    QTest::newRow("text") << QJsonValue(u"22230.00"_s) << u"22230.00"_s << u"ILS"_s;
    QTest::newRow("nothing earned") << QJsonValue(u"0.00"_s) << u"0.00"_s << u"ILS"_s;
    QTest::newRow("number") << QJsonValue(12.5) << u"12.50"_s << u"ILS"_s;
    QTest::newRow("null") << QJsonValue(QJsonValue::Null) << QString() << QString();
    QTest::newRow("absent") << QJsonValue(QJsonValue::Undefined) << QString() << QString();
}

void ReportFiguresTest::theAmountIsToldAsTheServerTellsIt() {
    QFETCH(const QJsonValue, amount);
    QFETCH(const QString, text);
    QFETCH(const QString, currency);
    const QJsonArray rows = ReportFigures::rows(report(u"client"_s, {row(u"A"_s, 1, amount)}), {});
    QCOMPARE(rows[0][u"amount_text"].toString(), text);
    QCOMPARE(rows[0][u"currency"].toString(), currency);
}

void ReportFiguresTest::anEntryIsOfTheDayInTheReportsZone() {
    const QJsonObject late{{u"entry"_s, QJsonObject{{u"start_at"_s, u"2026-03-04T22:30:00Z"_s}}}};
    QJsonObject detailed = report(u"day"_s, {late}, u"detailed"_s);
    QCOMPARE(ReportFigures::rows(detailed, {})[0][u"day"].toString(), u"2026-03-05"_s);
    detailed.insert(u"timezone"_s, u"Europe/London"_s);
    QCOMPARE(ReportFigures::rows(detailed, {})[0][u"day"].toString(), u"2026-03-04"_s);
    detailed.insert(u"timezone"_s, u"Nowhere/Else"_s);
    QCOMPARE(ReportFigures::rows(detailed, {})[0][u"day"].toString(), QString());
}

void ReportFiguresTest::rangesAreWholePeriods_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<QDate>("today");
    QTest::addColumn<int>("weekday");
    QTest::addColumn<QDate>("from");
    QTest::addColumn<QDate>("to");
    const QDate sunday(2026, 3, 1);
    QTest::newRow("today") << u"today"_s << sunday << 7 << sunday << sunday;
    QTest::newRow("week from Sunday") << u"this_week"_s << sunday << 7 << sunday << QDate(2026, 3, 7);
    QTest::newRow("week from Monday") << u"this_week"_s << sunday << 1 << QDate(2026, 2, 23) << sunday;
    QTest::newRow("its last day") << u"this_week"_s << QDate(2026, 3, 7) << 7 << sunday << QDate(2026, 3, 7);
    QTest::newRow("last week") << u"last_week"_s << sunday << 7 << QDate(2026, 2, 22) << QDate(2026, 2, 28);
    QTest::newRow("month") << u"this_month"_s << QDate(2024, 2, 29) << 7 << QDate(2024, 2, 1)
                           << QDate(2024, 2, 29);
    QTest::newRow("month before a long one")
        << u"last_month"_s << QDate(2026, 3, 31) << 7 << QDate(2026, 2, 1) << QDate(2026, 2, 28);
    QTest::newRow("month of the year before")
        << u"last_month"_s << QDate(2026, 1, 5) << 7 << QDate(2025, 12, 1) << QDate(2025, 12, 31);
    QTest::newRow("year") << u"this_year"_s << sunday << 7 << QDate(2026, 1, 1) << QDate(2026, 12, 31);
    QTest::newRow("unknown") << u"ever"_s << sunday << 7 << QDate() << QDate();
}

void ReportFiguresTest::rangesAreWholePeriods() {
    QFETCH(const QString, name);
    QFETCH(const QDate, today);
    QFETCH(const int, weekday);
    const ReportRange range = ReportRange::named(name, today, weekday);
    QTEST(range.from, "from");
    QTEST(range.to, "to");
}

QTEST_GUILESS_MAIN(ReportFiguresTest)
#include "reportfigures.moc"
