// SPDX-License-Identifier: MIT
#include "state/daysums.h"

#include <QDateTime>
#include <QJsonObject>
#include <QTest>

#include <limits>

using namespace Qt::StringLiterals;

namespace {

using Entries = std::vector<DaySums::Entry>;

qint64 instant(const QString& text) {
    return QDateTime::fromString(text, Qt::ISODateWithMs).toMSecsSinceEpoch();
}

QDate day(const QString& text) {
    return QDate::fromString(text, Qt::ISODate);
}

} // namespace

class DaySumsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aDayIsTheOneThatTheClocksShow_data();
    void aDayIsTheOneThatTheClocksShow();
    void everyHourHasTheDayOfItsClock_data();
    void everyHourHasTheDayOfItsClock();
    void eachDayHasTheSumOfItsRows();
    void sumsOfTodayAndOfItsWeek_data();
    void sumsOfTodayAndOfItsWeek();
    void ofWhatIsOverMidnightAPartCounts_data();
    void ofWhatIsOverMidnightAPartCounts();
};

void DaySumsTest::aDayIsTheOneThatTheClocksShow_data() {
    QTest::addColumn<QByteArray>("zone");
    QTest::addColumn<QString>("time");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char* name, const char* zone, const char* time, const char* expected) {
        QTest::newRow(name) << QByteArray(zone) << QString::fromLatin1(time) << QString::fromLatin1(expected);
    };
    row("last second of a summer day", "Asia/Jerusalem", "2026-07-01T20:59:59Z", "2026-07-01");
    row("first second of a summer day", "Asia/Jerusalem", "2026-07-01T21:00:00Z", "2026-07-02");
    row("last second of a winter day", "Asia/Jerusalem", "2026-01-01T21:59:59Z", "2026-01-01");
    row("first second of a winter day", "Asia/Jerusalem", "2026-01-01T22:00:00Z", "2026-01-02");
    row("the day of 23 hours begins", "Asia/Jerusalem", "2026-03-26T22:00:00Z", "2026-03-27");
    row("the day of 23 hours ends", "Asia/Jerusalem", "2026-03-27T20:59:59Z", "2026-03-27");
    row("after the day of 23 hours", "Asia/Jerusalem", "2026-03-27T21:00:00Z", "2026-03-28");
    row("the day of 25 hours begins", "Asia/Jerusalem", "2026-10-24T21:00:00Z", "2026-10-25");
    row("the day of 25 hours ends", "Asia/Jerusalem", "2026-10-25T21:59:59Z", "2026-10-25");
    row("after the day of 25 hours", "Asia/Jerusalem", "2026-10-25T22:00:00Z", "2026-10-26");
    row("midnight is skipped", "America/Havana", "2026-03-08T05:00:00Z", "2026-03-08");
    row("before the skipped midnight", "America/Havana", "2026-03-08T04:59:59Z", "2026-03-07");
    row("a whole day is skipped", "Pacific/Apia", "2011-12-30T10:00:00Z", "2011-12-31");
    row("before the epoch", "Asia/Jerusalem", "1969-12-31T22:00:00Z", "1970-01-01");
}

void DaySumsTest::aDayIsTheOneThatTheClocksShow() {
    QFETCH(const QByteArray, zone);
    QFETCH(const QString, time);
    QFETCH(const QString, expected);
    LocalDays days((QTimeZone(zone)));
    QCOMPARE(days.of(instant(time)), day(expected));
    // What was asked before changes no answer.
    for (const qint64 hours : {-30, -1, 1, 30, 0}) {
        const qint64 other = instant(time) + hours * 3600 * 1000;
        QCOMPARE(days.of(other), LocalDays(days.zone()).of(other));
    }
}

void DaySumsTest::everyHourHasTheDayOfItsClock_data() {
    QTest::addColumn<QByteArray>("zone");
    QTest::addColumn<int>("year");
    for (const char* zone :
         {"Asia/Jerusalem", "America/Havana", "America/Sao_Paulo", "Asia/Kathmandu", "UTC", "UTC+05:30"}) {
        for (const int year : {1969, 2017, 2045}) {
            QTest::addRow("%s in %d", zone, year) << QByteArray(zone) << year;
        }
    }
}

void DaySumsTest::everyHourHasTheDayOfItsClock() {
    QFETCH(const QByteArray, zone);
    QFETCH(const int, year);
    LocalDays days((QTimeZone(zone)));
    const qint64 first = instant(u"%1-01-01T00:30:00Z"_s.arg(year));
    for (qint64 hour = 0; hour < 366 * 24; ++hour) {
        const qint64 at = first + hour * 3600 * 1000;
        QCOMPARE(days.of(at), QDateTime::fromMSecsSinceEpoch(at, days.zone()).date());
    }
}

void DaySumsTest::eachDayHasTheSumOfItsRows() {
    const QDate monday = day(u"2026-11-16"_s);
    const Entries entries{{monday.addDays(1), 10},
                          {monday, 3600},
                          {monday, 25 * 3600}, // over midnight
                          {QDate(), 7},
                          {QDate(), 1},
                          {monday.addDays(-3), 0},
                          {monday, 5}}; // out of its order
    const std::vector<DaySums::Heading> expected{{0, 10}, {1, 26 * 3600}, {3, 8}, {5, 0}, {6, 5}};
    QCOMPARE(DaySums::headings(entries), expected);
    QVERIFY(DaySums::headings({}).empty());
}

void DaySumsTest::sumsOfTodayAndOfItsWeek_data() {
    QTest::addColumn<QString>("today");
    QTest::addColumn<int>("weekday");
    QTest::addColumn<qint64>("ofToday");
    QTest::addColumn<qint64>("ofWeek");
    // 2026-11-22 is a Sunday; each day of November has as many seconds as its number.
    QTest::newRow("Sunday, the first day") << u"2026-11-22"_s << int(Qt::Sunday) << qint64(22) << qint64(175);
    QTest::newRow("Saturday, the last day")
        << u"2026-11-28"_s << int(Qt::Sunday) << qint64(28) << qint64(175);
    QTest::newRow("Sunday, the last day") << u"2026-11-22"_s << int(Qt::Monday) << qint64(22) << qint64(133);
    QTest::newRow("Monday, the first day") << u"2026-11-16"_s << int(Qt::Monday) << qint64(16) << qint64(133);
    QTest::newRow("from Saturday on") << u"2026-11-22"_s << int(Qt::Saturday) << qint64(22) << qint64(168);
    QTest::newRow("nothing this week") << u"2026-12-16"_s << int(Qt::Sunday) << qint64(0) << qint64(0);
}

void DaySumsTest::sumsOfTodayAndOfItsWeek() {
    QFETCH(const QString, today);
    QFETCH(const int, weekday);
    QFETCH(const qint64, ofToday);
    QFETCH(const qint64, ofWeek);
    const QTimeZone zone("Asia/Jerusalem");
    Entries entries{{QDate(), 1000, day(today).startOfDay(zone).toMSecsSinceEpoch()}};
    for (int number = 1; number <= 30; ++number) {
        const QDate date(2026, 11, number);
        entries.push_back({date, number, date.startOfDay(zone).toMSecsSinceEpoch()});
    }
    const DaySums::Totals totals = DaySums::totals(entries, day(today), weekday, zone);
    QCOMPARE(totals.today, ofToday);
    QCOMPARE(totals.week, ofWeek);
}

void DaySumsTest::ofWhatIsOverMidnightAPartCounts_data() {
    QTest::addColumn<QString>("start");
    QTest::addColumn<qint64>("seconds");
    QTest::addColumn<qint64>("ofToday");
    QTest::addColumn<qint64>("ofWeek");
    // Today is Sunday 2026-10-25, the first day of its week, with 25 hours from 21:00 UTC on.
    const qint64 hour = 3600;
    const auto row = [](const char* name, const char* start, qint64 seconds, qint64 today, qint64 week) {
        QTest::newRow(name) << QString::fromLatin1(start) << seconds << today << week;
    };
    row("into the week", "2026-10-24T20:00:00Z", 3 * hour, 2 * hour, 2 * hour);
    row("up to its beginning", "2026-10-24T20:00:00Z", hour, 0, 0);
    row("into tomorrow", "2026-10-25T21:00:00Z", 3 * hour, hour, 3 * hour);
    row("over the whole day", "2026-10-24T20:00:00Z", 30 * hour, 25 * hour, 29 * hour);
    row("out of the week", "2026-10-31T21:00:00Z", 3 * hour, 0, hour);
    row("without an end in sight", "2026-10-24T20:00:00Z", std::numeric_limits<qint64>::max(), 25 * hour,
        (7 * 24 + 1) * hour);
    row("less than nothing", "2026-10-25T08:00:00Z", std::numeric_limits<qint64>::min(), 0, 0);
}

void DaySumsTest::ofWhatIsOverMidnightAPartCounts() {
    QFETCH(const QString, start);
    QFETCH(const qint64, seconds);
    QFETCH(const qint64, ofToday);
    QFETCH(const qint64, ofWeek);
    const QTimeZone zone("Asia/Jerusalem");
    const Entries entries{{LocalDays(zone).of(instant(start)), seconds, instant(start)}};
    const DaySums::Totals totals = DaySums::totals(entries, day(u"2026-10-25"_s), Qt::Sunday, zone);
    QCOMPARE(totals.today, ofToday);
    QCOMPARE(totals.week, ofWeek);
}

QTEST_APPLESS_MAIN(DaySumsTest)
#include "daysums.moc"
