// SPDX-License-Identifier: MIT
#include "state/timestamp.h"

#include <QTest>

using namespace Qt::StringLiterals;

class TimestampTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void namesOfTheDatabaseAreZones_data();
    void namesOfTheDatabaseAreZones();
    void nothingElseIsAZone_data();
    void nothingElseIsAZone();
};

void TimestampTest::namesOfTheDatabaseAreZones_data() {
    QTest::addColumn<int>("offset");
    QTest::newRow("UTC") << 0;
    QTest::newRow("Asia/Jerusalem") << 2 * 3600;
    QTest::newRow("Israel") << 2 * 3600;
    QTest::newRow("America/Argentina/Buenos_Aires") << -3 * 3600;
    QTest::newRow("America/Port-au-Prince") << -5 * 3600;
    QTest::newRow("Etc/GMT+3") << -3 * 3600;
    QTest::newRow("EST5EDT") << -5 * 3600;
    QTest::newRow("GMT-0") << 0;
}

void TimestampTest::namesOfTheDatabaseAreZones() {
    QFETCH(const int, offset);
    const QString name = QString::fromLatin1(QTest::currentDataTag());
    QVERIFY(knownZone(name).isValid());
    QCOMPARE(zoneNamed(name), knownZone(name));
    QCOMPARE(knownZone(name).offsetFromUtc(stamp(u"2024-01-15T12:00:00Z"_s)), offset);
}

void TimestampTest::nothingElseIsAZone_data() {
    QTest::addColumn<QString>("name");
    for (const auto& name :
         {u""_s, u"Nowhere/Else"_s, u"UTC+3"_s, u"UTC+03:00"_s, u"+03:00"_s, u"FOO5"_s, u"IST-2"_s,
          u"IST-2IDT,M3.4.4/26,M10.5.0"_s, u"<+03>-3"_s, u"../Jerusalem"_s, u"Asia/../Asia/Jerusalem"_s,
          u"/usr/share/zoneinfo/Asia/Jerusalem"_s, u"Asia/Jerusalem\n"_s, u" Asia/Jerusalem"_s}) {
        QTest::addRow("\"%s\"", qPrintable(name)) << name;
    }
}

void TimestampTest::nothingElseIsAZone() {
    QFETCH(const QString, name);
    QVERIFY(!knownZone(name).isValid());
    QCOMPARE(zoneNamed(name), QTimeZone::utc());
    const QString summer = u"2024-07-01T22:30:00Z"_s;
    QCOMPARE(timeText(summer, name), u"2024-07-01 22:30:00 +00:00"_s);
}

QTEST_APPLESS_MAIN(TimestampTest)
#include "timestamp.moc"
