// SPDX-License-Identifier: MIT
#include "state/replylimits.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

/// A value that is this many levels deep.
QJsonValue nested(int levels, bool arrays) {
    QJsonValue value = 1;
    for (int i = 0; i < levels; ++i) {
        value = arrays ? QJsonValue(QJsonArray{value}) : QJsonValue(QJsonObject{{u"a"_s, value}});
    }
    return value;
}

QJsonObject withVersion(const QJsonValue& version) {
    return {{u"time_entries"_s, QJsonArray{QJsonObject{{u"id"_s, u"e1"_s}, {u"version"_s, version}}}}};
}

bool canBeRead(const QJsonObject& document) {
    QJsonParseError error;
    QJsonDocument::fromJson(QJsonDocument(document).toJson(QJsonDocument::Compact), &error);
    return error.error == QJsonParseError::NoError;
}

} // namespace

class ReplyLimitsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void keepsWhatTheDocumentCanHold_data();
    void keepsWhatTheDocumentCanHold();
    void keepsVersionsThatAChangeCanBeBasedOn_data();
    void keepsVersionsThatAChangeCanBeBasedOn();
};

void ReplyLimitsTest::keepsWhatTheDocumentCanHold_data() {
    QTest::addColumn<int>("levels");
    QTest::addColumn<bool>("arrays");
    for (const int levels : {1, 1022, 1023, 1024}) {
        QTest::addRow("%d objects", levels) << levels << false;
        QTest::addRow("%d levels of arrays", levels) << levels << true;
    }
}

void ReplyLimitsTest::keepsWhatTheDocumentCanHold() {
    QFETCH(const int, levels);
    QFETCH(const bool, arrays);
    const QJsonObject reply{{u"a"_s, nested(levels - 1, arrays)}};
    QVERIFY(canBeRead(reply));
    // The two places where the document holds a reply at its deepest.
    const QJsonObject asSnapshot{{u"snapshot"_s, reply}};
    QCOMPARE(canBeKept(reply), canBeRead(asSnapshot));
    const QJsonObject push{{u"results"_s, QJsonArray{reply}}};
    const QJsonObject item{{u"result"_s, reply}};
    const QJsonObject asResult{{u"queue"_s, QJsonArray{item}}};
    QCOMPARE(canBeKept(push), canBeRead(asResult));
}

void ReplyLimitsTest::keepsVersionsThatAChangeCanBeBasedOn_data() {
    QTest::addColumn<QJsonValue>("version");
    QTest::addColumn<bool>("kept");
    QTest::newRow("the largest") << QJsonValue(2147483647) << true;
    QTest::newRow("one more") << QJsonValue(Q_INT64_C(2147483648)) << false;
    QTest::newRow("far more") << QJsonValue(1e300) << false;
    QTest::newRow("the smallest") << QJsonValue(Q_INT64_C(-2147483648)) << true;
    QTest::newRow("one less") << QJsonValue(Q_INT64_C(-2147483649)) << false;
    QTest::newRow("none") << QJsonValue() << true;
    QTest::newRow("a text") << QJsonValue(u"99999999999"_s) << true;
}

void ReplyLimitsTest::keepsVersionsThatAChangeCanBeBasedOn() {
    QFETCH(const QJsonValue, version);
    QFETCH(const bool, kept);
    QCOMPARE(canBeKept(withVersion(version)), kept);
    QCOMPARE(canBeKept({{u"version"_s, version}}), kept);
    QCOMPARE(canBeKept({{u"results"_s, QJsonArray{QJsonObject{{u"canonical"_s, withVersion(version)}}}}}),
             kept);
}

QTEST_MAIN(ReplyLimitsTest)
#include "replylimits.moc"
