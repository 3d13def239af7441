// SPDX-License-Identifier: MIT
#include "state/reportpicture.h"
#include "state/reportfigures.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {

constexpr int sunday = 7;
constexpr int monday = 1;

QJsonObject row(const QStringList& labels, int seconds) {
    return {{u"labels"_s, QJsonArray::fromStringList(labels)},
            {u"totals"_s, QJsonObject{{u"raw_duration_seconds"_s, seconds}}}};
}

QJsonObject entry(const QString& start, const QString& project, int seconds) {
    return {{u"entry"_s,
             QJsonObject{{u"start_at"_s, start},
                         {u"project_name"_s, project.isEmpty() ? QJsonValue() : QJsonValue(project)}}},
            {u"totals"_s, QJsonObject{{u"raw_duration_seconds"_s, seconds}}}};
}

QJsonObject report(const QString& kind, const QString& group, const QJsonArray& rows,
                   const QString& from = u"2026-03-01"_s, const QString& to = u"2026-03-03"_s) {
    return {{u"kind"_s, kind},
            {u"group_by"_s, QJsonArray{group}},
            {u"timezone"_s, u"Asia/Jerusalem"_s},
            {u"rows"_s, rows},
            {u"from_date"_s, from},
            {u"to_date"_s, to}};
}

QJsonObject picture(const QJsonObject& report, int weekday = sunday) {
    return ReportPicture::of(report, ReportFigures::rows(report, {}), weekday);
}

/// "2026-03-01 90: One 60, Two 30" for each column.
QStringList columnsOf(const QJsonObject& picture) {
    QStringList lines;
    for (const auto& column : picture[u"columns"].toArray()) {
        QStringList parts;
        for (const auto& part : column[u"parts"].toArray()) {
            parts.append(u"%1 %2"_s.arg(part[u"name"].toString()).arg(part[u"seconds"].toInt()).trimmed());
        }
        lines.append(u"%1 %2: %3"_s.arg(column[u"day"].toString())
                         .arg(column[u"seconds"].toInt())
                         .arg(parts.join(u", "_s))
                         .trimmed());
    }
    return lines;
}

QStringList seriesOf(const QJsonObject& picture) {
    QStringList texts;
    for (const auto& series : picture[u"series"].toArray()) {
        texts.append(u"%1 %2 %3"_s.arg(series[u"what"].toString(), series[u"name"].toString())
                         .arg(series[u"seconds"].toInt())
                         .simplified());
    }
    return texts;
}

} // namespace

class ReportPictureTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aDayHasAColumnAlsoWithoutWork();
    void entriesAreStackedByProject();
    void weeksStartAsTheServerSays();
    void aLongRangeOfDaysBecomesWeeks_data();
    void aLongRangeOfDaysBecomesWeeks();
    void partsStandOnEachOther();
    void theSmallestSeriesBecomeOthers();
    void whereThereIsNoneItSaysWhy_data();
    void whereThereIsNoneItSaysWhy();
    void whereThereIsNoneItNamesAReportThatHasOne_data();
    void whereThereIsNoneItNamesAReportThatHasOne();
};

void ReportPictureTest::aDayHasAColumnAlsoWithoutWork() {
    for (const auto& [kind, labels] :
         {std::pair(u"summary"_s, QStringList()), std::pair(u"weekly"_s, QStringList{u"2026-03-01"_s})}) {
        const QJsonObject shown = picture(report(kind, u"day"_s,
                                                 {row(labels + QStringList{u"2026-03-01"_s}, 90),
                                                  row(labels + QStringList{u"2026-03-03"_s}, 60)}));
        QCOMPARE(columnsOf(shown),
                 (QStringList{u"2026-03-01 90: 90"_s, u"2026-03-02 0:"_s, u"2026-03-03 60: 60"_s}));
        QCOMPARE(seriesOf(shown), QStringList{u"all 150"_s});
        QCOMPARE(shown[u"highest"].toInt(), 90);
        QCOMPARE(shown[u"unit"].toString(), u"day"_s);
        QVERIFY(!shown[u"named"].toBool());
    }
}

void ReportPictureTest::entriesAreStackedByProject() {
    const QJsonObject shown = picture(report(
        u"detailed"_s, u"project"_s,
        {entry(u"2026-03-02T23:00:00Z"_s, u"One"_s, 10), entry(u"2026-03-01T08:00:00Z"_s, u"Two"_s, 30),
         entry(u"2026-03-01T07:00:00Z"_s, {}, 5), entry(u"2026-03-01T06:00:00Z"_s, u"One"_s, 1)}));
    QCOMPARE(columnsOf(shown), (QStringList{u"2026-03-01 36: Two 30, One 1, 5"_s, u"2026-03-02 0:"_s,
                                            u"2026-03-03 10: One 10"_s}));
    QCOMPARE(seriesOf(shown), (QStringList{u"named Two 30"_s, u"named One 11"_s, u"none 5"_s}));
    QVERIFY(shown[u"named"].toBool());
}

void ReportPictureTest::weeksStartAsTheServerSays() {
    // The first week began before the range; nobody asked this side when weeks begin.
    const QJsonObject shown =
        picture(report(u"weekly"_s, u"client"_s,
                       {row({u"2026-02-23"_s, u"A"_s}, 7), row({u"2026-03-09"_s, u"A"_s}, 8)},
                       u"2026-03-01"_s, u"2026-03-10"_s),
                sunday);
    QCOMPARE(columnsOf(shown),
             (QStringList{u"2026-02-23 7: A 7"_s, u"2026-03-02 0:"_s, u"2026-03-09 8: A 8"_s}));
    QCOMPARE(shown[u"unit"].toString(), u"week"_s);
}

void ReportPictureTest::aLongRangeOfDaysBecomesWeeks_data() {
    QTest::addColumn<QString>("to");
    QTest::addColumn<int>("weekday");
    QTest::addColumn<QString>("unit");
    QTest::addColumn<int>("columns");
    QTest::addColumn<QString>("first");
    QTest::newRow("62 days") << u"2026-05-02"_s << sunday << u"day"_s << 62 << u"2026-03-02"_s;
    QTest::newRow("63 days") << u"2026-05-03"_s << sunday << u"week"_s << 10 << u"2026-03-01"_s;
    QTest::newRow("63 days from Monday") << u"2026-05-03"_s << monday << u"week"_s << 9 << u"2026-03-02"_s;
}

void ReportPictureTest::aLongRangeOfDaysBecomesWeeks() {
    QFETCH(const QString, to);
    QFETCH(const int, weekday);
    QFETCH(const int, columns);
    const QJsonObject shown =
        picture(report(u"summary"_s, u"day"_s, {row({u"2026-03-03"_s}, 5)}, u"2026-03-02"_s, to), weekday);
    QTEST(shown[u"unit"].toString(), "unit");
    QCOMPARE(shown[u"columns"].toArray().size(), columns);
    QTEST(shown[u"columns"][0][u"day"].toString(), "first");
}

void ReportPictureTest::partsStandOnEachOther() {
    const QJsonObject shown = picture(
        report(u"detailed"_s, u"day"_s,
               {entry(u"2026-03-01T08:00:00Z"_s, u"A"_s, 60), entry(u"2026-03-01T08:00:00Z"_s, u"B"_s, 20),
                entry(u"2026-03-02T08:00:00Z"_s, u"B"_s, 40)}));
    const QJsonValue first = shown[u"columns"][0][u"parts"];
    QCOMPARE(first[0][u"base"].toDouble(), 0.0);
    QCOMPARE(first[0][u"height"].toDouble(), 0.75);
    QCOMPARE(first[1][u"base"].toDouble(), 0.75);
    QCOMPARE(first[1][u"height"].toDouble(), 0.25);
    const QJsonValue second = shown[u"columns"][1][u"parts"];
    QCOMPARE(second[0][u"base"].toDouble(), 0.0);
    QCOMPARE(second[0][u"height"].toDouble(), 0.5);
    QCOMPARE(second[0][u"series"].toInt(), 1);
}

void ReportPictureTest::theSmallestSeriesBecomeOthers() {
    QJsonArray rows;
    for (int i = 1; i <= 8; ++i) {
        rows.append(entry(u"2026-03-01T08:00:00Z"_s, u"P%1"_s.arg(i), 100 - i));
    }
    QCOMPARE(seriesOf(picture(report(u"detailed"_s, {}, rows))).last(), u"named P8 92"_s);
    rows.append(entry(u"2026-03-01T08:00:00Z"_s, u"P9"_s, 91));
    const QJsonObject shown = picture(report(u"detailed"_s, {}, rows));
    QCOMPARE(seriesOf(shown).size(), 8);
    QCOMPARE(seriesOf(shown).last(), u"others 183"_s);
    QVERIFY(columnsOf(shown).first().endsWith(u", P7 93, 183"_s));
}

void ReportPictureTest::whereThereIsNoneItSaysWhy_data() {
    QTest::addColumn<QJsonObject>("given");
    QTest::addColumn<QString>("why");
    const QJsonArray days{row({u"2026-03-01"_s}, 5)};
    QJsonObject cut = report(u"summary"_s, u"day"_s, days);
    cut.insert(u"has_more"_s, true);
    QTest::newRow("there is one") << report(u"summary"_s, u"day"_s, days) << QString();
    QTest::newRow("no rows") << report(u"summary"_s, u"day"_s, {}) << u"rows"_s;
    QTest::newRow("projects") << report(u"summary"_s, u"project"_s, {row({u"A"_s}, 5)}) << u"days"_s;
    QTest::newRow("no date") << report(u"summary"_s, u"day"_s, {row({u"Monday"_s}, 5)}) << u"days"_s;
    QTest::newRow("outside") << report(u"summary"_s, u"day"_s, {row({u"2026-04-01"_s}, 5)}) << u"days"_s;
    QTest::newRow("before") << report(u"summary"_s, u"day"_s, {row({u"2026-02-28"_s}, 5)}) << u"days"_s;
    QTest::newRow("no range") << report(u"summary"_s, u"day"_s, days, u"soon"_s) << u"days"_s;
    QTest::newRow("cut") << cut << u"cut"_s;
    QTest::newRow("long") << report(u"summary"_s, u"day"_s, days, u"2026-03-01"_s, u"2040-01-01"_s)
                          << u"long"_s;
}

void ReportPictureTest::whereThereIsNoneItSaysWhy() {
    QFETCH(const QJsonObject, given);
    QFETCH(const QString, why);
    const QJsonObject shown = picture(given);
    QCOMPARE(shown[u"missing"].toString(), why);
    QCOMPARE(shown[u"columns"].toArray().isEmpty(), !why.isEmpty());
}

void ReportPictureTest::whereThereIsNoneItNamesAReportThatHasOne_data() {
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("group");
    QTest::addColumn<bool>("cut");
    QTest::addColumn<QString>("instead");
    QTest::newRow("there is one") << u"summary"_s << u"day"_s << false << QString();
    QTest::newRow("no days") << u"summary"_s << u"project"_s << false << u"detailed"_s;
    QTest::newRow("no days, and cut") << u"summary"_s << u"project"_s << true << u"detailed"_s;
    QTest::newRow("entries without a day") << u"detailed"_s << u"project"_s << false << u"day"_s;
    QTest::newRow("entries that were cut") << u"detailed"_s << u"project"_s << true << u"day"_s;
    QTest::newRow("entries that were cut, grouped") << u"detailed"_s << u"day"_s << true << u"day"_s;
    QTest::newRow("projects of weeks that were cut") << u"weekly"_s << u"project"_s << true << u"day"_s;
    QTest::newRow("days that were cut") << u"summary"_s << u"day"_s << true << u"week"_s;
    QTest::newRow("days of weeks that were cut") << u"weekly"_s << u"day"_s << true << u"week"_s;
    QTest::newRow("weeks that were cut") << u"summary"_s << u"week"_s << true << QString();
    QTest::newRow("weekly weeks that were cut") << u"weekly"_s << u"week"_s << true << QString();
}

void ReportPictureTest::whereThereIsNoneItNamesAReportThatHasOne() {
    QFETCH(const QString, kind);
    QFETCH(const QString, group);
    QFETCH(const bool, cut);
    QJsonObject given = report(kind, group, {row({u"2026-03-01"_s}, 5)});
    given.insert(u"has_more"_s, cut);
    QTEST(picture(given)[u"instead"].toString(u"nothing"_s), "instead");
}

QTEST_GUILESS_MAIN(ReportPictureTest)
#include "reportpicture.moc"
