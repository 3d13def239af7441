// SPDX-License-Identifier: MIT
#include "state/weeks.h"

#include <QJsonObject>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

QJsonObject period(const QString& from, const QString& to, const QString& workspace = u"w1"_s) {
    return {{u"workspace_id"_s, workspace}, {u"from_date"_s, from}, {u"to_date"_s, to}};
}

} // namespace

class WeeksTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void weeksBeginAsTheTimesheetsDo_data();
    void weeksBeginAsTheTimesheetsDo();
    void otherNamesOfAZoneBeginTheSameWeeks_data();
    void otherNamesOfAZoneBeginTheSameWeeks();
    void everyDayLiesInAWeekThatBeginsWithTheWeekday();
};

void WeeksTest::weeksBeginAsTheTimesheetsDo_data() {
    QTest::addColumn<QJsonArray>("periods");
    QTest::addColumn<QByteArray>("zone");
    QTest::addColumn<int>("weekday");
    const QByteArray home = "Asia/Jerusalem"_ba;
    const QByteArray away = "Europe/Berlin"_ba;
    const QJsonObject sunday = period(u"2026-11-08"_s, u"2026-11-14"_s);
    const QJsonObject monday = period(u"2026-11-16"_s, u"2026-11-22"_s);
    QTest::newRow("none, in Israel") << QJsonArray() << home << int(Qt::Sunday);
    QTest::newRow("none, elsewhere") << QJsonArray() << away << int(Qt::Monday);
    QTest::newRow("none, in universal time") << QJsonArray() << "UTC"_ba << int(Qt::Monday);
    QTest::newRow("on Sundays") << QJsonArray{sunday} << away << int(Qt::Sunday);
    QTest::newRow("on Mondays") << QJsonArray{monday} << home << int(Qt::Monday);
    QTest::newRow("the newest counts") << QJsonArray{monday, sunday} << home << int(Qt::Monday);
    QTest::newRow("months say nothing")
        << QJsonArray{sunday, period(u"2026-12-01"_s, u"2026-12-31"_s)} << away << int(Qt::Sunday);
    QTest::newRow("another workspace's")
        << QJsonArray{period(u"2026-11-08"_s, u"2026-11-14"_s, u"w2"_s)} << away << int(Qt::Monday);
    QTest::newRow("no dates") << QJsonArray{period(u"2026"_s, {})} << home << int(Qt::Sunday);
}

void WeeksTest::weeksBeginAsTheTimesheetsDo() {
    QFETCH(const QJsonArray, periods);
    QFETCH(const QByteArray, zone);
    QFETCH(const int, weekday);
    QCOMPARE(firstWeekday(periods, u"w1"_s, QTimeZone(zone)), weekday);
}

void WeeksTest::otherNamesOfAZoneBeginTheSameWeeks_data() {
    QTest::addColumn<QByteArray>("zone");
    QTest::newRow("country") << "Israel"_ba;
    QTest::newRow("city") << "Asia/Tel_Aviv"_ba;
}

void WeeksTest::otherNamesOfAZoneBeginTheSameWeeks() {
    QFETCH(const QByteArray, zone);
    if (!QTimeZone(zone).isValid()) {
        QSKIP("not in this system's time zone database");
    }
    QCOMPARE(firstWeekday({}, u"w1"_s, QTimeZone(zone)), int(Qt::Sunday));
}

void WeeksTest::everyDayLiesInAWeekThatBeginsWithTheWeekday() {
    const QDate any(2026, 2, 25);
    for (int weekday = Qt::Monday; weekday <= Qt::Sunday; ++weekday) {
        for (int day = 0; day < 7; ++day) {
            const QDate first = startOfWeek(any.addDays(day), weekday);
            QCOMPARE(first.dayOfWeek(), weekday);
            QVERIFY(first <= any.addDays(day) && first.addDays(6) >= any.addDays(day));
        }
    }
}

QTEST_APPLESS_MAIN(WeeksTest)
#include "weeks.moc"
