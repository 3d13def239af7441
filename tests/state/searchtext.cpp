// SPDX-License-Identifier: MIT
#include "state/searchtext.h"

#include <QTest>

using namespace Qt::StringLiterals;

class SearchTextTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void findsWhatAPersonMeans_data();
    void findsWhatAPersonMeans();
    void findsNothingAcrossFields();
};

void SearchTextTest::findsWhatAPersonMeans_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("wanted");
    QTest::addColumn<bool>("found");
    QTest::newRow("within a word") << u"Weekly review"_s << u"view"_s << true;
    QTest::newRow("letter case") << u"Weekly Review"_s << u"REVIEW"_s << true;
    QTest::newRow("Hebrew") << u"פגישת תכנון"_s << u"תכנון"_s << true;
    QTest::newRow("Greek's two small sigmas") << u"ΟΔΟΣ"_s << u"οδος"_s << true;
    QTest::newRow("German sharp s") << u"Straße"_s << u"STRASSE"_s << true;
    QTest::newRow("a mark of its own") << u"Café"_s << u"cafe\u0301"_s << true;
    QTest::newRow("full width") << u"ＡＢＣ"_s << u"abc"_s << true;
    QTest::newRow("white space") << u"Call\n  the  bank"_s << u" the bank "_s << true;
    QTest::newRow("Hebrew quotation mark") << u"דו״ח שבועי"_s << u"דו\"ח"_s << true;
    QTest::newRow("Hebrew apostrophe") << u"צ׳ק"_s << u"צ'ק"_s << true;
    QTest::newRow("Hebrew hyphen") << u"בית־ספר"_s << u"בית-ספר"_s << true;
    QTest::newRow("Hebrew points") << u"שָׁלוֹם"_s << u"שלום"_s << true;
    QTest::newRow("marks that are not seen") << u"\u2067פגישה\u2069"_s << u"\u200fפגישה"_s << true;
    QTest::newRow("curly quotation marks") << u"“Plan” for Dana’s"_s << u"\"plan\" for dana's"_s << true;
    QTest::newRow("another word") << u"Weekly review"_s << u"daily"_s << false;
    QTest::newRow("other letters") << u"Café"_s << u"cafe"_s << false;
}

void SearchTextTest::findsWhatAPersonMeans() {
    QFETCH(const QString, text);
    QFETCH(const QString, wanted);
    QFETCH(const bool, found);
    QCOMPARE(searchText(text).contains(searchText(wanted)), found);
}

void SearchTextTest::findsNothingAcrossFields() {
    const QString both = searchText(QStringList{u"Call"_s, u"Bank"_s});
    QVERIFY(both.contains(searchText(u"bank"_s)));
    QVERIFY(!both.contains(searchText(u"call bank"_s)));
    QVERIFY(!both.contains(searchText(u"callbank"_s)));
}

QTEST_APPLESS_MAIN(SearchTextTest)
#include "searchtext.moc"
