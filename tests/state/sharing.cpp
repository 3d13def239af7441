// SPDX-License-Identifier: MIT
#include "state/sharing.h"

#include "tests/state/history.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QJsonObject entry(const QString& id, const QString& description) {
    return {{u"id"_s, id}, {u"description"_s, description}, {u"version"_s, 1}};
}

QJsonObject snapshot(const QJsonArray& entries) {
    return {{u"workspace_id"_s, u"w"_s},
            {u"cursor"_s, 7},
            {u"catalog"_s, QJsonObject{{u"projects"_s, QJsonArray{entry(u"p"_s, u"Garden"_s)}}}},
            {u"time_entries"_s, entries}};
}

/// The same, and nothing of it shared.
QJsonObject anew(const QJsonObject& object) {
    return QJsonDocument::fromJson(QJsonDocument(object).toJson()).object();
}

QByteArray text(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

/// For each entry "=" where it shares the data of one before, else "+".
QString shares(const QJsonObject& before, const QJsonObject& after) {
    const QJsonArray known = before.value(u"time_entries").toArray();
    QString found;
    for (const auto& value : after.value(u"time_entries").toArray()) {
        const bool shared = std::any_of(known.begin(), known.end(), [&](const QJsonValue& one) {
            return sharesData(one.toObject(), value.toObject());
        });
        found += shared ? u'=' : u'+';
    }
    return found;
}

} // namespace

/// What a server says again is held once.
class SharingTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void whatIsSaidAgainIsTheSame();
    void entriesAreSharedWhereverTheyStand_data();
    void entriesAreSharedWhereverTheyStand();
    void membersComeAndGo();
    void numbersWithAnotherTextAreOthers_data();
    void numbersWithAnotherTextAreOthers();
    void anyTwoStatesGiveTheTextOfTheLater_data();
    void anyTwoStatesGiveTheTextOfTheLater();
};

void SharingTest::whatIsSaidAgainIsTheSame() {
    const QJsonObject before = snapshot({entry(u"a"_s, u"one"_s), entry(u"b"_s, u"two"_s)});
    QVERIFY(sharesData(sharingWith(before, anew(before)), before));
    QCOMPARE(sharingWith({}, before), before);
}

void SharingTest::entriesAreSharedWhereverTheyStand_data() {
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("after");
    QTest::addColumn<QString>("shared");
    const auto row = [](const char* name, const char* before, const char* after, const char* shared) {
        QTest::newRow(name) << QString::fromLatin1(before) << QString::fromLatin1(after)
                            << QString::fromLatin1(shared);
    };
    row("one at the end", "a b c", "a b c d", "===+");
    row("one in front", "a b c", "d a b c", "+===");
    row("one inside", "a b c", "a d b c", "=+==");
    row("one less", "a b c", "a c", "==");
    row("one changed", "a b c", "a b2 c", "=+=");
    row("one moved to the end", "a b c", "b c a", "===");
    row("one moved to the front", "a b c", "c a b", "===");
    row("turned round", "a b c", "c b a", "===");
    row("moved and changed", "a b c", "c a2 b", "=+=");
    row("all others", "a b", "c d", "++");
    row("repeated", "a a b", "a b a", "===");
    row("the first", "", "a", "+");
}

void SharingTest::entriesAreSharedWhereverTheyStand() {
    QFETCH(const QString, before);
    QFETCH(const QString, after);
    const auto entriesOf = [](const QString& words) {
        QJsonArray entries;
        for (const QString& word : words.split(u' ', Qt::SkipEmptyParts)) {
            entries.append(entry(word.left(1), word));
        }
        return entries;
    };
    const QJsonObject known = snapshot(entriesOf(before));
    const QJsonObject now = anew(snapshot(entriesOf(after)));
    const QJsonObject shared = sharingWith(known, now);
    QCOMPARE(text(shared), text(now));
    QTEST(shares(known, shared), "shared");
    QVERIFY(sharesData(shared.value(u"catalog").toObject(), known.value(u"catalog").toObject()));
}

void SharingTest::membersComeAndGo() {
    const QJsonObject before{{u"gone"_s, 1}, {u"kind"_s, u"text"_s}, {u"list"_s, QJsonArray{1, 2}}};
    const QJsonObject now{
        {u"fresh"_s, QJsonValue()}, {u"kind"_s, QJsonArray{u"text"_s}}, {u"list"_s, QJsonValue()}};
    QCOMPARE(text(sharingWith(before, now)), text(now));
    QCOMPARE(text(sharingWith(now, before)), text(before));
    QCOMPARE(text(sharingWith(before, {})), "{}");
}

void SharingTest::numbersWithAnotherTextAreOthers_data() {
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArray>("after");
    QTest::newRow("in an entry") << QByteArray(R"({"e":[{"id":"a","n":9223372036854775807}]})")
                                 << QByteArray(R"({"e":[{"id":"a","n":9223372036854775808}]})");
    QTest::newRow("in a list") << QByteArray(R"({"e":[9223372036854775807]})")
                               << QByteArray(R"({"e":[9223372036854775808]})");
    QTest::newRow("a member") << QByteArray(R"({"e":9007199254740993})")
                              << QByteArray(R"({"e":9007199254740992})");
    QTest::newRow("within a member") << QByteArray(R"({"e":{"n":[9223372036854775807]}})")
                                     << QByteArray(R"({"e":{"n":[9223372036854775808]}})");
}

void SharingTest::numbersWithAnotherTextAreOthers() {
    QFETCH(const QByteArray, before);
    QFETCH(const QByteArray, after);
    const QJsonObject known = QJsonDocument::fromJson(before).object();
    const QJsonObject now = QJsonDocument::fromJson(after).object();
    QVERIFY(text(known) != text(now));
    QCOMPARE(text(sharingWith(known, now)), text(now));
}

void SharingTest::anyTwoStatesGiveTheTextOfTheLater_data() {
    QTest::addColumn<quint32>("seed");
    for (quint32 seed = 1; seed <= 20; ++seed) {
        QTest::addRow("seed %u", seed) << seed;
    }
}

void SharingTest::anyTwoStatesGiveTheTextOfTheLater() {
    QFETCH(const quint32, seed);
    History history(seed);
    QJsonObject held;
    for (int i = 0; i < 150; ++i) {
        const QString step = history.step();
        const QJsonObject now = anew(history.state().value(u"snapshot").toObject());
        const QJsonObject shared = sharingWith(held, now);
        QVERIFY2(text(shared) == text(now), qPrintable(step));
        held = shared;
    }
}

QTEST_GUILESS_MAIN(SharingTest)
#include "sharing.moc"
