// SPDX-License-Identifier: MIT
#include "vault/documenttext.h"
#include "vault/wipe.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRandomGenerator>
#include <QTest>

#include <algorithm>
#include <limits>

using namespace Qt::StringLiterals;

namespace {

// Reproducible documents of every kind of value that JSON has.
class Documents {
public:
    explicit Documents(quint32 seed) : m_random(seed) {}

    int number(int bound) { return static_cast<int>(m_random.bounded(bound)); }

    QString text() {
        static const QStringList pieces{u"plain"_s,
                                        u"\"quoted\""_s,
                                        u"back\\slash"_s,
                                        u"/slash"_s,
                                        u"שלום"_s,
                                        u"😀"_s,
                                        u"tab\tend"_s,
                                        u"line\nend"_s,
                                        QString(QChar(1)),
                                        QString(QChar(0)),
                                        QString(QChar(0x7f)),
                                        QString(QChar(0xd800)),
                                        QString(QChar(0xdc00)),
                                        QString(QChar(0x2028)),
                                        u"é"_s};
        QString result = u""_s; // not a null one: no key that was ever read is that
        for (int count = number(4); count > 0; --count) {
            result += pieces.at(number(static_cast<int>(pieces.size())));
        }
        return result;
    }

    QJsonValue scalar() {
        static const QJsonArray numbers{0,
                                        -1,
                                        0.5,
                                        -0.0,
                                        1e17,
                                        1e300,
                                        5e-324,
                                        0.1 + 0.2,
                                        std::numeric_limits<qint64>::max(),
                                        std::numeric_limits<qint64>::min(),
                                        9007199254740993LL,
                                        9223372036854775808.0,
                                        std::numeric_limits<double>::infinity(),
                                        std::numeric_limits<double>::quiet_NaN()};
        switch (number(5)) {
        case 0:
            return QJsonValue::Null;
        case 1:
            return number(2) == 1;
        case 2:
            return text();
        default:
            return numbers.at(number(static_cast<int>(numbers.size())));
        }
    }

    QJsonValue value(int depth) {
        const int kind = depth > 0 ? number(4) : 0;
        return kind == 1   ? QJsonValue(object(depth - 1))
               : kind == 2 ? QJsonValue(array(depth - 1))
                           : scalar();
    }

    QJsonObject object(int depth) {
        QJsonObject result;
        for (int count = number(6); count > 0; --count) {
            result.insert(text(), value(depth));
        }
        return result;
    }

    QJsonArray array(int depth) {
        QJsonArray result;
        const bool large = number(8) == 0;
        for (int count = large ? 200 + number(400) : number(6); count > 0; --count) {
            result.append(value(large ? std::min(depth, 1) : depth));
        }
        return result;
    }

    QJsonValue mutated(const QJsonValue& value, int depth) {
        if (value.isObject() && number(4) != 0) {
            return mutated(value.toObject(), depth);
        }
        if (value.isArray() && number(4) != 0) {
            return mutated(value.toArray(), depth);
        }
        return this->value(depth);
    }

    QJsonObject mutated(QJsonObject object, int depth) {
        const QStringList keys = object.keys();
        if (keys.isEmpty() || number(5) == 0) {
            object.insert(text(), value(depth));
            return object;
        }
        const QString& key = keys.at(number(static_cast<int>(keys.size())));
        if (number(6) == 0) {
            object.remove(key);
        } else {
            object[key] = mutated(object.value(key), depth - 1);
        }
        return object;
    }

    QJsonArray mutated(QJsonArray array, int depth) {
        if (array.isEmpty() || number(4) == 0) {
            array.append(value(depth));
            return array;
        }
        const int index = number(static_cast<int>(array.size()));
        if (number(4) == 0) {
            array.removeAt(index);
        } else {
            array[index] = mutated(array.at(index), depth - 1);
        }
        return array;
    }

private:
    QRandomGenerator m_random;
};

QByteArray plainText(const QJsonObject& state) {
    return QJsonDocument(state).toJson(QJsonDocument::Compact);
}

QByteArray textOf(DocumentText& text, const QJsonObject& state) {
    text.update(state);
    QByteArray bytes;
    bytes.reserve(text.longest());
    text.appendTo(bytes);
    return bytes;
}

QJsonObject entry(int number) {
    return {{u"id"_s, number}, {u"description"_s, u"entry"_s}};
}

QJsonObject document(const QJsonArray& entries, const QJsonArray& queue) {
    return {{u"snapshot"_s, QJsonObject{{u"time_entries"_s, entries}}}, {u"queue"_s, queue}};
}

} // namespace

class DocumentTextTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void edgeDocumentsAreByteIdentical_data();
    void edgeDocumentsAreByteIdentical();
    void randomDocumentsAreByteIdenticalThroughChanges_data();
    void randomDocumentsAreByteIdenticalThroughChanges();
    void largeArraysAreByteIdenticalAfterEveryChange_data();
    void largeArraysAreByteIdenticalAfterEveryChange();
    void numbersThatCompareEqualAreToldApart();
    void updateTellsWhetherTheTextChanged_data();
    void updateTellsWhetherTheTextChanged();
    void nestingIsThatOfTheText_data();
    void nestingIsThatOfTheText();
    void clearForgetsOnlyTheText();
    void textIsBuiltInPlace();
    void wipingReachesEverySharedCopy();
};

void DocumentTextTest::edgeDocumentsAreByteIdentical_data() {
    QTest::addColumn<QByteArray>("json");
    QTest::newRow("empty") << QByteArray("{}");
    QTest::newRow("empty members") << QByteArray(R"({"a":{},"b":[],"c":"","":null})");
    QTest::newRow("nested empties") << QByteArray(R"({"a":{"b":{"c":{"d":[[],[[]],{}]}}}})");
    QTest::newRow("escapes") << QByteArray(R"({"\"\\\n\u0001":"\"\\\/\b\f\n\r\t\u0000\u001f"})");
    QTest::newRow("unicode") << QByteArray(R"({"שלום":["é","😀","\ud800"]})");
    QTest::newRow("numbers") << QByteArray(R"({"n":[0,-0,-0.0,1.5,1e17,1e-7,9223372036854775807,1e400]})");
}

void DocumentTextTest::edgeDocumentsAreByteIdentical() {
    QFETCH(QByteArray, json);
    const QJsonObject state = QJsonDocument::fromJson(json).object();
    DocumentText text;
    QCOMPARE(textOf(text, state), plainText(state));
    QCOMPARE(textOf(text, state), plainText(state));
}

void DocumentTextTest::randomDocumentsAreByteIdenticalThroughChanges_data() {
    QTest::addColumn<quint32>("seed");
    for (quint32 seed = 1; seed <= 30; ++seed) {
        QTest::addRow("seed %u", seed) << seed;
    }
}

void DocumentTextTest::randomDocumentsAreByteIdenticalThroughChanges() {
    QFETCH(quint32, seed);
    Documents documents(seed);
    DocumentText text;
    QJsonObject state = documents.object(5);
    for (int round = 0; round < 40; ++round) {
        QCOMPARE(textOf(text, state), plainText(state));
        state = documents.number(20) == 0 ? documents.object(5) : documents.mutated(state, 5);
    }
}

void DocumentTextTest::largeArraysAreByteIdenticalAfterEveryChange_data() {
    QTest::addColumn<int>("count");
    for (const int count : {0, 1, 255, 256, 257, 511, 512, 513, 3000}) {
        QTest::addRow("%d entries", count) << count;
    }
}

void DocumentTextTest::largeArraysAreByteIdenticalAfterEveryChange() {
    QFETCH(int, count);
    QJsonArray entries;
    for (int number = 0; number < count; ++number) {
        entries.append(entry(number));
    }
    QJsonArray queue;
    DocumentText text;
    const auto check = [&] {
        const QJsonObject state = document(entries, queue);
        QCOMPARE(textOf(text, state), plainText(state));
    };
    check();
    queue.append(entry(-1));
    check();
    entries.append(entry(count));
    check();
    entries[count / 2] = entry(-2);
    check();
    entries[0] = u"another kind"_s;
    check();
    entries.prepend(entry(-3));
    check();
    entries.removeAt(entries.size() / 2);
    check();
    while (entries.size() > 1) {
        entries.removeLast();
    }
    check();
    entries = {};
    queue = {};
    check();
}

void DocumentTextTest::numbersThatCompareEqualAreToldApart() {
    DocumentText text;
    for (const QJsonValue& number :
         {QJsonValue(std::numeric_limits<qint64>::max()), QJsonValue(9223372036854775808.0), QJsonValue(1)}) {
        const QJsonObject state{{u"deep"_s, QJsonArray{number, QJsonObject{{QString(), number}}}}};
        QCOMPARE(textOf(text, state), plainText(state));
    }
}

void DocumentTextTest::updateTellsWhetherTheTextChanged_data() {
    QTest::addColumn<quint32>("seed");
    for (quint32 seed = 1; seed <= 5; ++seed) {
        QTest::addRow("seed %u", seed) << seed;
    }
}

void DocumentTextTest::updateTellsWhetherTheTextChanged() {
    QFETCH(quint32, seed);
    Documents documents(seed);
    DocumentText text;
    QJsonObject state = documents.object(5);
    QByteArray last;
    for (int round = 0; round < 40; ++round) {
        const QByteArray next = plainText(state);
        QCOMPARE(text.update(state), next != last);
        QVERIFY(!text.update(state));
        // The same once more, but nothing of it shared.
        if (plainText(QJsonDocument::fromJson(next).object()) == next) {
            QVERIFY(!text.update(QJsonDocument::fromJson(next).object()));
        }
        last = next;
        state = documents.number(20) == 0 ? documents.object(5) : documents.mutated(state, 5);
    }
    text.clear();
    QVERIFY(text.update({}));
}

void DocumentTextTest::nestingIsThatOfTheText_data() {
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<int>("nesting");
    QTest::newRow("empty") << QByteArray("{}") << 1;
    QTest::newRow("values") << QByteArray(R"({"a":1,"b":"[[[[","[[[[":"\\"})") << 1;
    QTest::newRow("empty members") << QByteArray(R"({"a":{},"b":[]})") << 2;
    QTest::newRow("quotes") << QByteArray(R"({"a":["\"[[",{"\"[":"]\\"}]})") << 3;
    QTest::newRow("below the members") << QByteArray(R"({"a":{"b":{"c":{"d":[[],[[]],{}]}}}})") << 7;
    QTest::newRow("the deepest of several") << QByteArray(R"({"a":[[]],"b":{"c":[{"d":{}}]},"e":{}})") << 5;
}

void DocumentTextTest::nestingIsThatOfTheText() {
    QFETCH(QByteArray, json);
    QFETCH(int, nesting);
    DocumentText text;
    text.update(QJsonDocument::fromJson(json).object());
    QCOMPARE(text.nesting(), nesting);
    text.update({});
    QCOMPARE(text.nesting(), 1);
}

void DocumentTextTest::clearForgetsOnlyTheText() {
    const QJsonObject state = document({entry(1), entry(2)}, {entry(3)});
    DocumentText text;
    QCOMPARE(textOf(text, state), plainText(state));
    text.clear();
    QCOMPARE(textOf(text, state), plainText(state));
    text.clear();
    QCOMPARE(textOf(text, {}), QByteArray("{}"));
}

void DocumentTextTest::textIsBuiltInPlace() {
    // A buffer that grew would have left parts of the text behind in freed memory.
    QJsonArray entries;
    for (int number = 0; number < 5000; ++number) {
        entries.append(entry(number));
    }
    DocumentText text;
    const QByteArray result = textOf(text, document(entries, {}));
    QVERIFY(text.longest() >= result.size());
    QVERIFY(result.capacity() - result.size() < 1000);
}

void DocumentTextTest::wipingReachesEverySharedCopy() {
    QByteArray secret(32, 's');
    const QByteArray copy = secret;
    wipe(secret);
    QVERIFY(secret.isEmpty());
    QCOMPARE(copy, QByteArray(32, '\0'));
}

QTEST_GUILESS_MAIN(DocumentTextTest)
#include "documenttext.moc"
