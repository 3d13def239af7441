// SPDX-License-Identifier: MIT
#include "devserver/base/json.h"
#include "devserver/base/time.h"
#include "devserver/http/address.h"
#include "devserver/options.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

#include <tuple>

using namespace Qt::StringLiterals;
using namespace devserver;

/// The server's readers and writers of small texts.
class TestDevserverText : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void instantsAreReadAndWrittenAsUtc_data();
    void instantsAreReadAndWrittenAsUtc();
    void otherTimesAreRefused_data();
    void otherTimesAreRefused();
    void everyStringSurvivesJson_data();
    void everyStringSurvivesJson();
    void aZoneThatIsUnknownIsNoOther();
    void onlyPrivateHostsAreServed_data();
    void onlyPrivateHostsAreServed();
    void listenAddressesNeedAnAddressAndAPort_data();
    void listenAddressesNeedAnAddressAndAPort();
    void mistakesOnTheCommandLineAreOneSentence_data();
    void mistakesOnTheCommandLineAreOneSentence();
    void databaseAddressesAreTakenApart();
};

void TestDevserverText::instantsAreReadAndWrittenAsUtc_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("written");
    QTest::newRow("as the client writes") << u"2024-03-05T07:08:09Z"_s << QByteArray("2024-03-05T07:08:09Z");
    QTest::newRow("epoch") << u"1970-01-01T00:00:00Z"_s << QByteArray("1970-01-01T00:00:00Z");
    QTest::newRow("before the epoch") << u"1969-12-31T23:59:59Z"_s << QByteArray("1969-12-31T23:59:59Z");
    QTest::newRow("east") << u"2024-03-05T01:00:00+02:00"_s << QByteArray("2024-03-04T23:00:00Z");
    QTest::newRow("west, half hour") << u"2024-02-28T22:00:00-03:30"_s << QByteArray("2024-02-29T01:30:00Z");
    QTest::newRow("fraction") << u"2024-03-05T07:08:09.999Z"_s << QByteArray("2024-03-05T07:08:09Z");
    QTest::newRow("first") << u"0001-01-01T00:00:00Z"_s << QByteArray("0001-01-01T00:00:00Z");
    QTest::newRow("last") << u"9999-12-31T23:59:59Z"_s << QByteArray("9999-12-31T23:59:59Z");
}

void TestDevserverText::instantsAreReadAndWrittenAsUtc() {
    QFETCH(QString, text);
    const auto instant = parseInstant(text);
    QVERIFY(instant);
    QTEST(instantText(*instant), "written");
}

void TestDevserverText::otherTimesAreRefused_data() {
    QTest::addColumn<QString>("text");
    for (const char* text : {"", "2024-03-05", "2024-03-05T07:08:09", "2024-03-05T07:08Z",
                             "2024-02-30T00:00:00Z", "2024-03-05T24:00:00Z", "2024-03-05T07:60:00Z",
                             "2024-03-05T07:08:09+24:00", "2024-03-05T07:08:09+02",
                             "0001-01-01T00:00:00+01:00", "9999-12-31T23:59:59-01:00", "0000-12-31T00:00:00Z",
                             "2024-03-05T07:08:09Z\n", " 2024-03-05T07:08:09Z", "+02024-03-05T07:08:09Z"}) {
        QTest::newRow(*text ? text : "empty") << QString::fromLatin1(text);
    }
}

void TestDevserverText::otherTimesAreRefused() {
    QFETCH(QString, text);
    QVERIFY(!parseInstant(text));
}

void TestDevserverText::everyStringSurvivesJson_data() {
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QString();
    QTest::newRow("quotes") << u"\"\\/\b\f\n\r\t"_s;
    QTest::newRow("controls") << u"\x01\x1f\x7f"_s;
    QTest::newRow("hebrew") << u"שלום \u200f!"_s;
    QTest::newRow("beyond the first plane") << QString::fromUtf8("\xF0\x9F\x95\x92");
}

void TestDevserverText::everyStringSurvivesJson() {
    QFETCH(QString, text);
    JsonWriter json;
    json.beginArray().value(text).beginObject().field("a", text).field("b", true).endObject().endArray();
    const QJsonObject object{{u"a"_s, text}, {u"b"_s, true}};
    QCOMPARE(json.take(), QJsonDocument(QJsonArray{text, object}).toJson(QJsonDocument::Compact));
}

void TestDevserverText::aZoneThatIsUnknownIsNoOther() {
    QCOMPARE(storedZone(u"Asia/Jerusalem"_s).id(), "Asia/Jerusalem");
    QVERIFY_THROWS_EXCEPTION(std::runtime_error, std::ignore = storedZone(u"Asia/Nowhere"_s));
}

void TestDevserverText::onlyPrivateHostsAreServed_data() {
    QTest::addColumn<QString>("header");
    QTest::addColumn<bool>("served");
    for (const char* host : {"127.0.0.1", "127.9.9.9:80", "localhost", "LOCALHOST:18080", "[::1]:18080",
                             "10.1.2.3:1", "172.16.0.1", "172.31.255.255", "192.168.5.5"}) {
        QTest::newRow(host) << QString::fromLatin1(host) << true;
    }
    for (const char* host :
         {"example.com", "example.com:18080", "127.0.0.1.example.com", "localhost.example.com", "172.32.0.1",
          "172.15.0.1", "11.0.0.1", "192.169.0.1", "8.8.8.8", "0.0.0.0", "::1", "[::1", "[::2]",
          "[::ffff:127.0.0.1]", "a@127.0.0.1", "127.0.0.1:", "127.1", "x:y:z"}) {
        QTest::newRow(host) << QString::fromLatin1(host) << false;
    }
    QTest::newRow("empty") << QString() << false;
}

void TestDevserverText::onlyPrivateHostsAreServed() {
    QFETCH(QString, header);
    QTEST(isPrivateHostHeader(header), "served");
}

void TestDevserverText::listenAddressesNeedAnAddressAndAPort_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("understood");
    QTest::newRow("IPv4") << u"127.0.0.1:18080"_s << u"127.0.0.1:18080"_s;
    QTest::newRow("localhost") << u"localhost:0"_s << u"127.0.0.1:0"_s;
    QTest::newRow("IPv6") << u"[::1]:80"_s << u"[::1]:80"_s;
    for (const char* text : {"127.0.0.1", "18080", ":18080", "127.0.0.1:", "127.0.0.1:65536", "127.0.0.1:-1",
                             "example.com:80", "::1:80", "127.0.0.1:80x"}) {
        QTest::newRow(text) << QString::fromLatin1(text) << QString();
    }
}

void TestDevserverText::listenAddressesNeedAnAddressAndAPort() {
    QFETCH(QString, text);
    const auto address = parseListenAddress(text);
    QTEST(address ? address->text() : QString(), "understood");
}

void TestDevserverText::mistakesOnTheCommandLineAreOneSentence_data() {
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("unknown option") << QStringList{u"--colour"_s};
    QTest::newRow("missing value") << QStringList{u"--listen"_s};
    QTest::newRow("bad address") << QStringList{u"--listen"_s, u"here"_s};
    QTest::newRow("stray argument") << QStringList{u"demo"_s};
    QTest::newRow("no file") << QStringList{u"--database"_s, u"sqlite:"_s};
    QTest::newRow("another kind") << QStringList{u"--database"_s, u"mysql://a@b/c"_s};
    QTest::newRow("no database") << QStringList{u"--database"_s, u"postgresql://a@b/"_s};
    QTest::newRow("password for all to see") << QStringList{u"--database"_s, u"postgresql://a:secret@b/c"_s};
}

void TestDevserverText::mistakesOnTheCommandLineAreOneSentence() {
    QFETCH(QStringList, arguments);
    const auto read = readOptions(QStringList{u"program"_s} + arguments);
    const auto* notice = std::get_if<Notice>(&read);
    QVERIFY(notice);
    QCOMPARE(notice->exitCode, 2);
    QVERIFY2(notice->text.endsWith(u'.') && !notice->text.contains(u'\n'), qPrintable(notice->text));
    QVERIFY(!notice->text.contains(u"secret"));
}

void TestDevserverText::databaseAddressesAreTakenApart() {
    const auto read = readOptions({u"program"_s, u"--database"_s, u"postgresql://me@127.0.0.1:5433/work"_s});
    const auto* options = std::get_if<Options>(&read);
    QVERIFY(options);
    QCOMPARE(options->database.kind, DatabaseAddress::Kind::Postgresql);
    QCOMPARE(options->database.user, u"me"_s);
    QCOMPARE(options->database.host, u"127.0.0.1"_s);
    QCOMPARE(options->database.port, 5433);
    QCOMPARE(options->database.name, u"work"_s);
    QCOMPARE(options->listen.text(), u"127.0.0.1:18080"_s);
    QVERIFY(!options->demo);
}

QTEST_GUILESS_MAIN(TestDevserverText)
#include "text.moc"
