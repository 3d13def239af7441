// SPDX-License-Identifier: MIT
#include "state/timetext.h"

#include <QTest>

using namespace Qt::StringLiterals;

/// A Wednesday forenoon in Jerusalem.
class TimeTextTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void readsShortForms_data();
    void readsShortForms();
    void dayTypedOverBringsItsOffset_data();
    void dayTypedOverBringsItsOffset();
    void leavesWhatIsNoShortForm_data();
    void leavesWhatIsNoShortForm();
    void readsInTheZoneOnTheDayOfItsClocks_data();
    void readsInTheZoneOnTheDayOfItsClocks();
    void dayWithoutAYearIsTheLastOne_data();
    void dayWithoutAYearIsTheLastOne();
    void stepsByMinutes_data();
    void stepsByMinutes();
    void offersEveryQuarterOfADay_data();
    void offersEveryQuarterOfADay();
    void ordersRepeatedQuartersAsTheClocksShowThem();
    void offersOneMoreTimeAmongTheQuarters();
    void standsAtTheQuarterUpToATime_data();
    void standsAtTheQuarterUpToATime();
};

namespace {

const QTimeZone jerusalem("Asia/Jerusalem");
const QTimeZone berlin("Europe/Berlin");
const QTimeZone kolkata("Asia/Kolkata");
const QTimeZone lordHowe("Australia/Lord_Howe");
const QTimeZone beirut("Asia/Beirut");

QDateTime instant(const QString& text) {
    return QDateTime::fromString(text, Qt::ISODate);
}

const QDateTime morning = instant(u"2026-09-23T08:07:00Z"_s);

} // namespace

void TimeTextTest::readsShortForms_data() {
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("other");
    QTest::addColumn<QString>("text");
    const auto row = [](const char* typed, const char* text, const char* other = "") {
        QTest::addRow("%s|%s", typed, other)
            << QString::fromUtf8(typed) << QString::fromLatin1(other) << QString::fromLatin1(text);
    };
    row("9", "2026-09-23T09:00:00+03:00");
    row("15", "2026-09-23T15:00:00+03:00");
    row("9:15", "2026-09-23T09:15:00+03:00");
    row("09:15", "2026-09-23T09:15:00+03:00");
    row("915", "2026-09-23T09:15:00+03:00");
    row("0915", "2026-09-23T09:15:00+03:00");
    row("9:15:30", "2026-09-23T09:15:30+03:00");
    row("0:00", "2026-09-23T00:00:00+03:00");
    row("24:00", "2026-09-24T00:00:00+03:00");
    row("yesterday 2400", "2026-09-23T00:00:00+03:00");
    row("  9:15 ", "2026-09-23T09:15:00+03:00");
    row("today 9", "2026-09-23T09:00:00+03:00");
    row("היום 9:15", "2026-09-23T09:15:00+03:00");
    row("yesterday 17:00", "2026-09-22T17:00:00+03:00");
    row("Yesterday  1700", "2026-09-22T17:00:00+03:00");
    row("אתמול 17:00", "2026-09-22T17:00:00+03:00");
    row("17:00 אתמול", "2026-09-22T17:00:00+03:00");
    row("tomorrow 8", "2026-09-24T08:00:00+03:00");
    row("מחר 8", "2026-09-24T08:00:00+03:00");
    row("23.9 9:00", "2026-09-23T09:00:00+03:00");
    row("3.09. 9", "2026-09-03T09:00:00+03:00");
    row("23.12.2024 9:00", "2024-12-23T09:00:00+02:00");
    row("2026-09-23 09:00", "2026-09-23T09:00:00+03:00");
    row("2025-01-02 7", "2025-01-02T07:00:00+02:00");
    row("2026-09-23 24:00", "2026-09-24T00:00:00+03:00");
    row("2026-10-25 24:00", "2026-10-26T00:00:00+02:00");

    row("9:15", "2026-01-05T09:15:00+02:00", "2026-01-05T08:00:00+02:00");
    // Late in the evening of the fifth where the clocks are.
    row("9:15", "2026-01-05T09:15:00+02:00", "2026-01-04T23:30:00Z");
    row("9:15", "2026-09-23T09:15:00+03:00", "not yet");
    row("yesterday 9:15", "2026-09-22T09:15:00+03:00", "2026-01-05T08:00:00+02:00");
    row("2:00 1.1", "2026-01-01T02:00:00+02:00", "2025-12-31T22:00:00+02:00");
    row("9:15", "2026-01-05T09:15:00+02:00", "2026-01-05");

    // The clocks show it twice.
    row("1:20", "2026-10-25T01:20:00+02:00", "2026-10-25T01:10:00+02:00");
    row("25.10.2026 1:20", "2026-10-25T01:20:00+02:00", "2026-10-24T23:10:00Z");
    row("1:20", "2026-10-25T01:20:00+03:00", "2026-10-25T01:10:00+03:00");
    row("1:20", "2026-10-25T01:20:00+03:00", "2026-10-25T02:10:00+02:00");
}

void TimeTextTest::readsShortForms() {
    QFETCH(const QString, typed);
    QFETCH(const QString, other);
    QTEST(TimeText::completed(typed, other, morning, jerusalem), "text");
}

void TimeTextTest::dayTypedOverBringsItsOffset_data() {
    QTest::addColumn<QString>("former");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("text"); // that is meant
    const auto row = [](const char* name, const char* former, const char* typed, const char* text) {
        QTest::newRow(name) << QString::fromLatin1(former) << QString::fromLatin1(typed)
                            << QString::fromLatin1(text);
    };
    row("over a change of the clocks", "2026-10-23T09:00:00+03:00", "2026-10-26T09:00:00+03:00",
        "2026-10-26T09:00:00+02:00");
    row("and back", "2026-10-26T09:00:00+02:00", "2026-10-23T09:00:00+02:00", "2026-10-23T09:00:00+03:00");
    row("over none", "2026-10-20T09:00:00+03:00", "2026-10-23T09:00:00+03:00", "2026-10-23T09:00:00+03:00");
    row("to a repeated hour", "2026-10-26T01:10:00+02:00", "2026-10-25T01:10:00+02:00",
        "2026-10-25T01:10:00+02:00");
    row("to a skipped one", "2026-03-26T02:30:00+02:00", "2026-03-27T02:30:00+02:00",
        "2026-03-27T02:30:00+02:00");
    row("of another zone", "2026-10-23T09:00:00+01:00", "2026-10-26T09:00:00+01:00",
        "2026-10-26T09:00:00+01:00");
    row("offset typed", "2026-10-23T09:00:00+03:00", "2026-10-26T09:00:00+04:00",
        "2026-10-26T09:00:00+04:00");
    row("offset typed, same day", "2026-10-26T09:00:00+02:00", "2026-10-26T09:00:00+03:00",
        "2026-10-26T09:00:00+03:00");
    row("time typed, too", "2026-10-23T09:00:00+03:00", "2026-10-26T09:15:00+03:00",
        "2026-10-26T09:15:00+03:00");
    row("nothing before", "", "2026-10-26T09:00:00+03:00", "2026-10-26T09:00:00+03:00");
}

void TimeTextTest::dayTypedOverBringsItsOffset() {
    QFETCH(const QString, former);
    QFETCH(const QString, typed);
    QFETCH(const QString, text);
    QCOMPARE(TimeText::meant(typed, {}, morning, jerusalem, former), text);
    QCOMPARE(TimeText::completed(typed, {}, morning, jerusalem, former), text.isEmpty() ? typed : text);
}

void TimeTextTest::leavesWhatIsNoShortForm_data() {
    QTest::addColumn<QString>("typed");
    for (const char* const typed : {"",
                                    " ",
                                    "24:01",
                                    "9:60",
                                    "9:5",
                                    "9:15:60",
                                    "91530",
                                    "nine",
                                    "yesterday",
                                    "tomorrow ",
                                    "23.9",
                                    "31.4 9:00",
                                    "30.2 9",
                                    "23/9 9:00",
                                    "2026-13-01 9:00",
                                    "2026-9-3 9:00",
                                    "today 25",
                                    "today at 9",
                                    "9:00 17:00",
                                    "-9:00",
                                    "2026-09-23",
                                    "2026-09-23T09:00",
                                    "2026-09-23T09:00:00",
                                    "2026-09-23T09:00:00+02:00",
                                    "2026-09-23T09:00:00Z",
                                    "2026-09-23 09:00+02:00"}) {
        QTest::newRow(typed) << QString::fromLatin1(typed);
    }
    // The clocks went from 2:00 to 3:00.
    QTest::newRow("skipped") << u"27.3.2026 2:30"_s;
    QTest::newRow("skipped, ISO day") << u"2026-03-27 02:30"_s;
}

void TimeTextTest::leavesWhatIsNoShortForm() {
    QFETCH(const QString, typed);
    QCOMPARE(TimeText::completed(typed, {}, morning, jerusalem), typed);
}

void TimeTextTest::readsInTheZoneOnTheDayOfItsClocks_data() {
    QTest::addColumn<QTimeZone>("zone");
    QTest::addColumn<QString>("now");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("text");
    const auto row = [](const char* name, const QTimeZone& zone, const char* now, const char* typed,
                        const char* text) {
        QTest::newRow(name) << zone << QString::fromLatin1(now) << QString::fromLatin1(typed)
                            << QString::fromLatin1(text);
    };
    row("next day east", kolkata, "2026-09-23T20:00:00Z", "9", "2026-09-24T09:00:00+05:30");
    row("day before west", QTimeZone("America/New_York"), "2026-09-23T02:00:00Z", "9",
        "2026-09-22T09:00:00-04:00");
    row("yesterday over the year's end", berlin, "2026-12-31T23:30:00Z", "yesterday 23",
        "2026-12-31T23:00:00+01:00");
    row("yesterday before a change of clocks", jerusalem, "2026-03-27T10:00:00Z", "yesterday 9",
        "2026-03-26T09:00:00+02:00");
    row("after it", jerusalem, "2026-03-27T10:00:00Z", "9", "2026-03-27T09:00:00+03:00");
    row("first of two", jerusalem, "2026-10-25T10:00:00Z", "1:30", "2026-10-25T01:30:00+03:00");
    row("behind the two", jerusalem, "2026-10-25T10:00:00Z", "2:00", "2026-10-25T02:00:00+02:00");
    row("first of two in Berlin", berlin, "2026-10-25T10:00:00Z", "2:59", "2026-10-25T02:59:00+02:00");
    row("last before the skipped", berlin, "2026-03-29T10:00:00Z", "1:59", "2026-03-29T01:59:00+01:00");
    row("first behind the skipped", berlin, "2026-03-29T10:00:00Z", "3:00", "2026-03-29T03:00:00+02:00");
    row("skipped", berlin, "2026-03-29T10:00:00Z", "2:00", "2:00");
    row("half an hour skipped", lordHowe, "2026-10-03T20:00:00Z", "2:15", "2:15");
    row("half an hour is over", lordHowe, "2026-10-03T20:00:00Z", "2:30", "2026-10-04T02:30:00+11:00");
    row("midnight skipped", beirut, "2026-03-29T10:00:00Z", "0:15", "0:15");
}

void TimeTextTest::readsInTheZoneOnTheDayOfItsClocks() {
    QFETCH(const QTimeZone, zone);
    QFETCH(const QString, now);
    QFETCH(const QString, typed);
    QTEST(TimeText::completed(typed, {}, instant(now), zone), "text");
}

void TimeTextTest::dayWithoutAYearIsTheLastOne_data() {
    QTest::addColumn<QString>("now");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("day");
    const auto row = [](const char* now, const char* typed, const char* day) {
        QTest::addRow("%s at %s", typed, now)
            << QString::fromLatin1(now) << QString::fromLatin1(typed) << QString::fromLatin1(day);
    };
    row("2027-01-02T10:00:00Z", "31.12 9", "2026-12-31");
    row("2026-12-31T10:00:00Z", "1.1 9", "2027-01-01");
    row("2026-12-31T10:00:00Z", "31.1 9", "2027-01-31");
    row("2026-12-31T10:00:00Z", "1.2 9", "2026-02-01");
    row("2026-11-22T10:00:00Z", "3.4 9", "2026-04-03");
    row("2026-11-22T10:00:00Z", "29.2 9", "2024-02-29");
    row("2028-02-01T10:00:00Z", "29.2 9", "2028-02-29");
}

void TimeTextTest::dayWithoutAYearIsTheLastOne() {
    QFETCH(const QString, now);
    QFETCH(const QString, typed);
    QTEST(TimeText::completed(typed, {}, instant(now), jerusalem).left(10), "day");
}

void TimeTextTest::stepsByMinutes_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("minutes");
    QTest::addColumn<QString>("other");
    QTest::addColumn<QString>("stepped");
    const auto row = [](const char* text, int minutes, const char* stepped, const char* other = "") {
        QTest::addRow("%s %d|%s", text, minutes, other)
            << QString::fromLatin1(text) << minutes << QString::fromLatin1(other)
            << QString::fromLatin1(stepped);
    };
    row("2026-09-23T09:07:00+03:00", 15, "2026-09-23T09:22:00+03:00");
    row("2026-09-23T09:07:00+03:00", -15, "2026-09-23T08:52:00+03:00");
    row("2026-12-31T23:50:00+02:00", 15, "2027-01-01T00:05:00+02:00");
    row("2026-09-23T06:00:00Z", 15, "2026-09-23T09:15:00+03:00");
    row("2026-09-23T09:00:00", 15, "2026-09-23T09:15:00");
    row("2026-03-27T01:45:00+02:00", 15, "2026-03-27T03:00:00+03:00");
    row("2026-03-27T03:00:00+03:00", -15, "2026-03-27T01:45:00+02:00");
    row("2026-10-25T01:45:00+03:00", 15, "2026-10-25T01:00:00+02:00");
    row("2026-10-25T01:00:00+02:00", -15, "2026-10-25T01:45:00+03:00");
    row("9:15", 15, "2026-09-23T09:30:00+03:00");
    row("9:15", 15, "2026-01-05T09:30:00+02:00", "2026-01-05T09:00:00+02:00");
    row("", 15, "2026-09-23T11:15:00+03:00");
    row("", -15, "2026-09-23T10:45:00+03:00");
    row("", 15, "2026-01-05T09:15:00+02:00", "2026-01-05T09:00:00+02:00");
    row("some time", 15, "some time");
}

void TimeTextTest::stepsByMinutes() {
    QFETCH(const QString, text);
    QFETCH(const int, minutes);
    QFETCH(const QString, other);
    QTEST(TimeText::stepped(text, minutes, other, morning, jerusalem), "stepped");
}

void TimeTextTest::offersEveryQuarterOfADay_data() {
    QTest::addColumn<QTimeZone>("zone");
    QTest::addColumn<QDate>("day");
    QTest::addColumn<int>("count");
    QTest::addColumn<QString>("skipped"); // first and last
    QTest::addColumn<QString>("twice");
    const auto row = [](const QTimeZone& zone, QDate day, int count, const char* skipped, const char* twice) {
        QTest::addRow("%s %s", zone.id().constData(), qPrintable(day.toString(Qt::ISODate)))
            << zone << day << count << QString::fromLatin1(skipped) << QString::fromLatin1(twice);
    };
    row(jerusalem, {2026, 9, 23}, 96, "", "");
    row(jerusalem, {2026, 3, 27}, 96, "02:00 02:45", "");
    row(jerusalem, {2026, 3, 26}, 96, "", "");
    row(jerusalem, {2026, 10, 25}, 100, "", "01:00 01:45");
    row(berlin, {2026, 3, 29}, 96, "02:00 02:45", "");
    row(berlin, {2026, 10, 25}, 100, "", "02:00 02:45");
    row(berlin, {2026, 12, 31}, 96, "", "");
    row(kolkata, {2026, 10, 25}, 96, "", "");
    row(lordHowe, {2026, 10, 4}, 96, "02:00 02:15", "");
    row(lordHowe, {2026, 4, 5}, 98, "", "01:30 01:45");
    row(beirut, {2026, 3, 29}, 96, "00:00 00:45", "");
    row(beirut, {2026, 10, 24}, 100, "", "23:00 23:45");
}

void TimeTextTest::offersEveryQuarterOfADay() {
    QFETCH(const QTimeZone, zone);
    QFETCH(const QDate, day);
    const QList<TimeText::Quarter> quarters = TimeText::quarters(day, zone);
    QStringList skipped;
    QStringList twice;
    QDateTime before;
    for (const TimeText::Quarter& quarter : quarters) {
        const QString time = quarter.time.toString(u"HH:mm");
        if (!quarter.at.isValid()) {
            skipped.append(time);
            continue;
        }
        // What the clocks show then, and a quarter of an hour after the one before, skipped ones left out.
        QCOMPARE(quarter.at.date(), day);
        QCOMPARE(quarter.at.time(), quarter.time);
        QCOMPARE(quarter.at.offsetFromUtc(), zone.offsetFromUtc(quarter.at));
        QVERIFY(!before.isValid() || before.secsTo(quarter.at) == 900);
        before = quarter.at;
        if (quarter.twice) {
            twice.append(time);
        }
    }
    const auto ends = [](const QStringList& times) {
        return times.isEmpty() ? QString() : times.first() + u' ' + times.last();
    };
    QTEST(static_cast<int>(quarters.size()), "count");
    QTEST(ends(skipped), "skipped");
    QTEST(ends(twice), "twice");
}

void TimeTextTest::ordersRepeatedQuartersAsTheClocksShowThem() {
    QStringList texts;
    const QList<TimeText::Quarter> quarters = TimeText::quarters({2026, 10, 25}, jerusalem);
    for (const TimeText::Quarter& quarter : quarters.mid(3, 10)) {
        texts.append(quarter.at.toString(Qt::ISODate).mid(11));
    }
    QCOMPARE(texts,
             (QStringList{u"00:45:00+03:00"_s, u"01:00:00+03:00"_s, u"01:15:00+03:00"_s, u"01:30:00+03:00"_s,
                          u"01:45:00+03:00"_s, u"01:00:00+02:00"_s, u"01:15:00+02:00"_s, u"01:30:00+02:00"_s,
                          u"01:45:00+02:00"_s, u"02:00:00+02:00"_s}));
}

void TimeTextTest::offersOneMoreTimeAmongTheQuarters() {
    const auto around = [](QTime other, qsizetype from) {
        QStringList times;
        for (const TimeText::Quarter& quarter :
             TimeText::quarters({2026, 9, 23}, jerusalem, other).mid(from, 3)) {
            times.append(quarter.time.toString());
        }
        return times;
    };
    QCOMPARE(around({9, 7, 30}, 36), (QStringList{u"09:00:00"_s, u"09:07:30"_s, u"09:15:00"_s}));
    QCOMPARE(around({9, 15}, 36), (QStringList{u"09:00:00"_s, u"09:15:00"_s, u"09:30:00"_s}));
    QCOMPARE(around({23, 59}, 95), (QStringList{u"23:45:00"_s, u"23:59:00"_s}));
    // The clocks show it twice, and not at all.
    const auto twice = TimeText::quarters({2026, 10, 25}, jerusalem, {1, 10});
    QCOMPARE(
        std::count_if(twice.begin(), twice.end(), [](const auto& one) { return one.time == QTime(1, 10); }),
        2);
    QVERIFY(!TimeText::quarters({2026, 3, 27}, jerusalem, {2, 10}).at(9).at.isValid());
}

void TimeTextTest::standsAtTheQuarterUpToATime_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QDate>("day");
    QTest::addColumn<QString>("quarter");
    const auto row = [](const char* text, QDate day, const char* quarter) {
        QTest::addRow("%s %s", text, qPrintable(day.toString(Qt::ISODate)))
            << QString::fromLatin1(text) << day << QString::fromLatin1(quarter);
    };
    row("2026-09-23T09:15:00+03:00", {2026, 9, 23}, "2026-09-23T09:15:00+03:00");
    row("2026-09-23T09:29:00+03:00", {2026, 9, 23}, "2026-09-23T09:15:00+03:00");
    row("2026-09-23T23:59:59+03:00", {2026, 9, 23}, "2026-09-23T23:45:00+03:00");
    row("2026-09-23T09:29:00+03:00", {2026, 1, 5}, "2026-01-05T09:15:00+02:00");
    row("2026-10-25T01:20:00+03:00", {2026, 10, 25}, "2026-10-25T01:15:00+03:00");
    row("2026-10-25T01:20:00+02:00", {2026, 10, 25}, "2026-10-25T01:15:00+02:00");
    row("2026-09-23T01:20:00+03:00", {2026, 10, 25}, "2026-10-25T01:15:00+03:00");
    row("2026-09-23T02:20:00+03:00", {2026, 3, 27}, "2026-03-27T01:45:00+02:00");
}

void TimeTextTest::standsAtTheQuarterUpToATime() {
    QFETCH(const QString, text);
    QFETCH(const QDate, day);
    const QList<TimeText::Quarter> quarters = TimeText::quarters(day, jerusalem);
    const qsizetype found = TimeText::quarterOf(TimeText::shown(text, jerusalem), quarters);
    QTEST(quarters.at(found).at.toString(Qt::ISODate), "quarter");
}

QTEST_GUILESS_MAIN(TimeTextTest)
#include "timetext.moc"
