// SPDX-License-Identifier: MIT
#include "devserver/base/json.h"
#include "devserver/base/time.h"
#include "devserver/reports/days.h"
#include "devserver/reports/sums.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace devserver;

namespace {

QByteArray textOf(const ReportTotals& totals) {
    JsonWriter json;
    json.beginObject();
    writeTotals(json, totals);
    return json.endObject().take().mid(QByteArrayView(R"({"totals":)").size()).chopped(1);
}

ReportDays daysOf(QDate from, QDate to, const char* zone) {
    return {from, to, QTimeZone(zone), u"en"_s};
}

} // namespace

/// What reports are made of: sums of parts of entries, and the days of a zone.
class TestDevserverReportRules : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void timeAndMoneyAreRoundedOncePerEntry_data();
    void timeAndMoneyAreRoundedOncePerEntry();
    void partsAddUpToTheWhole();
    void oneMissingRateLeavesNoAmount();
    void amountsAreExactHoweverLarge();
    void daysHaveTheLengthOfTheirZone_data();
    void daysHaveTheLengthOfTheirZone();
    void entriesTouchTheDaysTheyLieIn_data();
    void entriesTouchTheDaysTheyLieIn();
    void zonesAreKnownByTheirNames();
};

void TestDevserverReportRules::timeAndMoneyAreRoundedOncePerEntry_data() {
    QTest::addColumn<int>("seconds");
    QTest::addColumn<int>("minutes");
    QTest::addColumn<int>("rate");
    QTest::addColumn<int>("rounded");
    QTest::addColumn<QString>("amount");
    QTest::newRow("not rounded") << 3601 << 0 << 100'00 << 3601 << u"100.03"_s;
    QTest::newRow("a second more") << 901 << 15 << 100'00 << 1800 << u"50.00"_s;
    QTest::newRow("a whole quarter") << 900 << 15 << 100'00 << 900 << u"25.00"_s;
    QTest::newRow("a second") << 1 << 15 << 100'00 << 900 << u"25.00"_s;
    QTest::newRow("nothing") << 0 << 15 << 100'00 << 0 << u"0.00"_s;
    QTest::newRow("half a hundredth goes up") << 1800 << 0 << 1 << 1800 << u"0.01"_s;
    QTest::newRow("less goes down") << 1799 << 0 << 1 << 1799 << u"0.00"_s;
    QTest::newRow("free of charge") << 1800 << 15 << 0 << 1800 << u"0.00"_s;
}

void TestDevserverReportRules::timeAndMoneyAreRoundedOncePerEntry() {
    QFETCH(const int, seconds);
    QFETCH(const int, minutes);
    QFETCH(const int, rate);
    QFETCH(const int, rounded);
    QFETCH(const QString, amount);
    const WorkedTime work{1000, 1000 + seconds, true, rate, minutes};
    QCOMPARE(textOf(partOf(work, work.start, work.stop)),
             u"{\"raw_duration_seconds\":%1,\"rounded_duration_seconds\":%2,"
             "\"billable_duration_seconds\":%1,\"amount\":\"%3\",\"entry_count\":1}"_s.arg(seconds)
                 .arg(rounded)
                 .arg(amount)
                 .toUtf8());
}

void TestDevserverReportRules::partsAddUpToTheWhole() {
    // 0.5 of a hundredth an hour: parts rounded one by one would lose or gain.
    const WorkedTime work{0, 7 * 1800 + 1, true, 1, 15};
    const ReportTotals whole = partOf(work, work.start, work.stop);
    for (const qint64 step : {1800, 1799, 601, 12601}) {
        ReportTotals sum;
        for (qint64 from = 0; from < work.stop; from += step) {
            const ReportTotals part = partOf(work, from, qMin(from + step, work.stop));
            QVERIFY(part.amount >= 0);
            QVERIFY(from + step >= work.stop || part.roundedSeconds == part.rawSeconds);
            sum.add(part);
        }
        sum.entries = 1;
        QCOMPARE(textOf(sum), textOf(whole));
    }
}

void TestDevserverReportRules::oneMissingRateLeavesNoAmount() {
    const WorkedTime paid{0, 3600, true, 50'00, 0};
    const WorkedTime lacking{0, 0, true, std::nullopt, 0};
    const WorkedTime unpaid{0, 3600, false, std::nullopt, 0};
    ReportTotals sum;
    sum.add(partOf(paid, 0, 3600));
    sum.add(partOf(unpaid, 0, 3600));
    QVERIFY(textOf(sum).contains(R"("billable_duration_seconds":3600,"amount":"50.00",)"));
    sum.add(partOf(lacking, 0, 0));
    QVERIFY(textOf(sum).contains(R"("billable_duration_seconds":3600,"amount":null,)"));
}

void TestDevserverReportRules::amountsAreExactHoweverLarge() {
    // A thousand years at the price of a house.
    const qint64 seconds = qint64{1000} * 365 * 86400;
    const WorkedTime work{0, seconds, true, 1'000'000'01, 0};
    QVERIFY(textOf(partOf(work, 0, seconds)).contains(R"("amount":"8760000087600.00")"));
}

void TestDevserverReportRules::daysHaveTheLengthOfTheirZone_data() {
    QTest::addColumn<QByteArray>("zone");
    QTest::addColumn<QDate>("from");
    QTest::addColumn<QDate>("to");
    QTest::addColumn<int>("minutes");
    QTest::newRow("Jerusalem, spring")
        << "Asia/Jerusalem"_ba << QDate(2026, 3, 27) << QDate(2026, 3, 27) << 23 * 60;
    QTest::newRow("Jerusalem, autumn")
        << "Asia/Jerusalem"_ba << QDate(2026, 10, 25) << QDate(2026, 10, 25) << 25 * 60;
    QTest::newRow("half an hour") << "Australia/Lord_Howe"_ba << QDate(2026, 4, 5) << QDate(2026, 4, 5)
                                  << 24 * 60 + 30;
    QTest::newRow("two midnights") << "America/Havana"_ba << QDate(2026, 11, 1) << QDate(2026, 11, 1)
                                   << 25 * 60;
    QTest::newRow("before two midnights")
        << "America/Havana"_ba << QDate(2026, 10, 31) << QDate(2026, 10, 31) << 24 * 60;
    QTest::newRow("two midnights, Azores")
        << "Atlantic/Azores"_ba << QDate(2026, 10, 25) << QDate(2026, 10, 25) << 25 * 60;
    QTest::newRow("back to the day before")
        << "America/Sao_Paulo"_ba << QDate(2019, 2, 16) << QDate(2019, 2, 16) << 25 * 60;
    QTest::newRow("no midnight") << "America/Sao_Paulo"_ba << QDate(2018, 11, 4) << QDate(2018, 11, 4)
                                 << 23 * 60;
    QTest::newRow("a day that never was")
        << "Pacific/Apia"_ba << QDate(2011, 12, 30) << QDate(2011, 12, 30) << 0;
    QTest::newRow("around it") << "Pacific/Apia"_ba << QDate(2011, 12, 29) << QDate(2011, 12, 31) << 48 * 60;
    QTest::newRow("the last day of all") << "UTC"_ba << QDate(9999, 12, 31) << QDate(9999, 12, 31) << 24 * 60;
}

void TestDevserverReportRules::daysHaveTheLengthOfTheirZone() {
    QFETCH(const QByteArray, zone);
    QFETCH(const QDate, from);
    QFETCH(const QDate, to);
    QFETCH(const int, minutes);
    const ReportDays days = daysOf(from, to, zone);
    QCOMPARE(days.end() - days.begin(), minutes * 60);
}

void TestDevserverReportRules::entriesTouchTheDaysTheyLieIn_data() {
    QTest::addColumn<qint64>("start"); // seconds after the first of three days
    QTest::addColumn<qint64>("stop");
    QTest::addColumn<QStringList>("dates");
    const qint64 day = 86400;
    const QString first = u"2026-06-10"_s;
    const QString second = u"2026-06-11"_s;
    const QString third = u"2026-06-12"_s;
    QTest::newRow("within") << day + 1 << day + 2 << QStringList{second};
    QTest::newRow("up to midnight") << day - 5 << day << QStringList{first};
    QTest::newRow("over midnight") << day - 5 << day + 1 << QStringList{first, second};
    QTest::newRow("from midnight") << day << day + 1 << QStringList{second};
    QTest::newRow("a whole day") << day << 2 * day << QStringList{second};
    QTest::newRow("empty at midnight") << day << day << QStringList{second};
    QTest::newRow("empty") << day + 7 << day + 7 << QStringList{second};
    QTest::newRow("from before") << -day << qint64(1) << QStringList{first};
    QTest::newRow("up to the range") << -day << qint64(0) << QStringList();
    QTest::newRow("out of the range") << 2 * day + 5 << 9 * day << QStringList{third};
    QTest::newRow("at its end") << 3 * day << 3 * day << QStringList();
    QTest::newRow("over everything") << -day << 9 * day << QStringList{first, second, third};
}

void TestDevserverReportRules::entriesTouchTheDaysTheyLieIn() {
    QFETCH(const qint64, start);
    QFETCH(const qint64, stop);
    QFETCH(const QStringList, dates);
    const ReportDays days = daysOf(QDate(2026, 6, 10), QDate(2026, 6, 12), "Asia/Kathmandu");
    QStringList touched;
    for (const ReportDays::Day& day : days.touchedBy(days.begin() + start, days.begin() + stop)) {
        touched += day.date;
        QCOMPARE(day.end - day.begin, 86400);
        QCOMPARE(day.week, u"2026-06-08"_s);
    }
    QCOMPARE(touched, dates);
}

void TestDevserverReportRules::zonesAreKnownByTheirNames() {
    for (const QString& name : {u"Asia/Jerusalem"_s, u"UTC"_s, u"Etc/UTC"_s, u"Etc/GMT+3"_s, u"Israel"_s,
                                u"America/Argentina/Buenos_Aires"_s}) {
        QVERIFY2(zoneNamed(name).has_value(), qPrintable(name));
    }
    QCOMPARE(zoneNamed(u"Asia/Jerusalem"_s)->id(), "Asia/Jerusalem");
    for (const QString& name :
         {QString(), u"Nowhere"_s, u"Asia"_s, u"America/Argentina"_s, u"FOO5"_s, u"Asia/Jerusalem/"_s,
          u"/Asia/Jerusalem"_s, u"UTC\n"_s, u"zone.tab"_s, u"UTC+3"_s, u"UTC-03"_s, u"UTC+03:00"_s,
          u"+03:00"_s, u"../Jerusalem"_s, u"Asia/../Asia/Jerusalem"_s, u"GMT+3"_s, u"Etc/GMT+15"_s,
          u"EST5EDT4"_s, u"leapseconds"_s}) {
        QVERIFY2(!zoneNamed(name), qPrintable(name));
    }
}

QTEST_GUILESS_MAIN(TestDevserverReportRules)
#include "reportrules.moc"
