// SPDX-License-Identifier: MIT
#include "controller/entrylist.h"

#include "controller/controller.h"
#include "tests/support/sample.h"

#include <QJsonObject>
#include <QRandomGenerator>
#include <QTest>

#include <algorithm>
#include <map>

using namespace Qt::StringLiterals;

namespace {

const QString start = u"2024-03-01T08:00:00Z"_s;
const QString stop = u"2024-03-01T09:00:00Z"_s;

QString text(const QVariant& row, const QString& key) {
    return row.toMap().value(key).toString();
}

ProjectedEntries projected(const QJsonArray& entries) {
    ProjectedEntries list;
    for (const auto& entry : entries) {
        list.append({entry.toObject(), entry[u"period_locked"].toBool()});
    }
    return list;
}

/// What the window is given of each row.
QVariantList maps(const EntryList& list) {
    QVariantList rows;
    for (const ProjectedEntry& row : list.rows()) {
        rows.append(EntryList::map(row));
    }
    return rows;
}

QStringList ids(const EntryList& list) {
    QStringList found;
    for (const ProjectedEntry& row : list.rows()) {
        found.append(row.entry.value(u"id").toString());
    }
    return found;
}

/// The rules, written down naively: what has to be listed, in any order.
QVariantList expectedRows(const QJsonArray& entries) {
    QVariantList rows;
    for (const auto& value : entries) {
        const QJsonObject entry = value.toObject();
        const bool running = entry.contains(u"stop_at") && entry.value(u"stop_at").isNull();
        if (running || entry.value(u"deleted_at").isString()) {
            continue;
        }
        QVariantMap row = entry.toVariantMap();
        row.insert(u"period_locked"_s, entry.value(u"period_locked").toBool());
        const auto seconds = static_cast<qint64>(entry.value(u"duration_seconds").toDouble());
        row.insert(u"duration_text"_s, Controller::formatSeconds(seconds));
        rows.append(row);
    }
    return rows;
}

void sortForComparison(QVariantList& rows) {
    std::sort(rows.begin(), rows.end(), [](const QVariant& left, const QVariant& right) {
        return text(left, u"id"_s) < text(right, u"id"_s);
    });
}

bool newestFirst(const QVariantList& rows) {
    return std::is_sorted(rows.begin(), rows.end(), [](const QVariant& left, const QVariant& right) {
        return text(left, u"start_at"_s) > text(right, u"start_at"_s);
    });
}

QJsonArray values(const std::map<QString, QJsonObject>& entries) {
    QJsonArray array;
    for (const auto& [id, entry] : entries) {
        array.append(entry);
    }
    return array;
}

/// One random change of one entry: added, removed, or altered in what the list looks at.
void change(std::map<QString, QJsonObject>& entries, QRandomGenerator& random) {
    const QString id = QString::number(random.bounded(40));
    // Few different starts, so that many entries share one.
    const QString begin = u"2024-03-0%1T08:00:00Z"_s.arg(1 + random.bounded(5));
    QJsonObject entry = sample::entry(id, begin, stop);
    switch (random.bounded(8)) {
    case 0:
        entries.erase(id);
        return;
    case 1:
        entry.insert(u"stop_at", QJsonValue());
        break;
    case 2:
        entry.remove(u"stop_at");
        break;
    case 3:
        entry.insert(u"deleted_at", stop);
        break;
    case 4:
        entry.remove(u"start_at");
        break;
    case 5:
        entry.insert(u"duration_seconds", QJsonValue());
        break;
    default:
        entry.insert(u"duration_seconds", random.bounded(200000));
        entry.insert(u"local_pending", true);
        entry.insert(u"period_locked", random.bounded(2) == 0);
        break;
    }
    entries[id] = entry;
}

} // namespace

class EntryListTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void anEmptyArrayListsNothing();
    void theRunningTimerIsNotListed();
    void anEntryWithoutAnyStopIsListed();
    void deletedEntriesAreHidden_data();
    void deletedEntriesAreHidden();
    void everyKeyIsKeptAndTheDurationAdded();
    void durationsAsText_data();
    void durationsAsText();
    void theOrderIsThatOfTheTextNotOfTheInstant();
    void aMissingStartSortsLast();
    void anUnchangedArrayKeepsTheSharedList();
    void anyRowOfUpdatesEqualsARebuild();
};

void EntryListTest::anEmptyArrayListsNothing() {
    EntryList list;
    QVERIFY(list.rows().isEmpty());
    list.update(projected({sample::entry(u"a"_s, start, stop)}));
    QCOMPARE(list.rows().size(), 1);
    list.update({});
    QVERIFY(list.rows().isEmpty());
}

void EntryListTest::theRunningTimerIsNotListed() {
    EntryList list;
    list.update(projected({sample::entry(u"a"_s, start, QJsonValue()), sample::entry(u"b"_s, start, stop)}));
    QCOMPARE(ids(list), QStringList{u"b"_s});
}

void EntryListTest::anEntryWithoutAnyStopIsListed() {
    QJsonObject entry = sample::entry(u"a"_s, start, stop);
    entry.remove(u"stop_at");
    EntryList list;
    list.update(projected({entry}));
    QCOMPARE(ids(list), QStringList{u"a"_s});
    QVERIFY(!list.rows().first().entry.contains(u"stop_at"));
}

void EntryListTest::deletedEntriesAreHidden_data() {
    QTest::addColumn<QJsonValue>("deletedAt");
    QTest::addColumn<bool>("listed");
    QTest::newRow("a time") << QJsonValue(stop) << false;
    QTest::newRow("any text") << QJsonValue(u"pending-deletion"_s) << false;
    QTest::newRow("null") << QJsonValue() << true;
    QTest::newRow("absent") << QJsonValue(QJsonValue::Undefined) << true;
}

void EntryListTest::deletedEntriesAreHidden() {
    QFETCH(const QJsonValue, deletedAt);
    QFETCH(const bool, listed);
    QJsonObject entry = sample::entry(u"a"_s, start, stop);
    entry.insert(u"deleted_at", deletedAt);
    EntryList list;
    list.update(projected({entry}));
    QCOMPARE(list.rows().size(), listed ? 1 : 0);
}

void EntryListTest::everyKeyIsKeptAndTheDurationAdded() {
    QJsonObject entry = sample::entry(u"a"_s, start, stop);
    entry.insert(u"local_pending", true);
    entry.insert(u"period_locked", false);
    entry.insert(u"anything", QJsonArray{1, u"two"_s});
    EntryList list;
    list.update(projected({entry}));
    QVariantMap expected = entry.toVariantMap();
    expected.insert(u"duration_text"_s, u"01:00:00"_s);
    QCOMPARE(maps(list), QVariantList{expected});
}

void EntryListTest::durationsAsText_data() {
    QTest::addColumn<QJsonValue>("seconds");
    QTest::addColumn<QString>("shown");
    QTest::newRow("a day but a second") << QJsonValue(86399) << u"23:59:59"_s;
    QTest::newRow("over a day") << QJsonValue(90000) << u"25:00:00"_s;
    QTest::newRow("negative") << QJsonValue(-3) << u"00:00:00"_s;
    QTest::newRow("null") << QJsonValue() << u"00:00:00"_s;
    QTest::newRow("absent") << QJsonValue(QJsonValue::Undefined) << u"00:00:00"_s;
    QTest::newRow("a text") << QJsonValue(u"90"_s) << u"00:00:00"_s;
}

void EntryListTest::durationsAsText() {
    QFETCH(const QJsonValue, seconds);
    QFETCH(const QString, shown);
    QJsonObject entry = sample::entry(u"a"_s, start, stop);
    entry.insert(u"duration_seconds", seconds);
    EntryList list;
    list.update(projected({entry}));
    QCOMPARE(text(maps(list).first(), u"duration_text"_s), shown);
}

void EntryListTest::theOrderIsThatOfTheTextNotOfTheInstant() {
    EntryList list;
    // "Z" comes behind "+" in the text, though the instants are the same; the
    // third is the latest instant and the smallest text.
    list.update(projected({sample::entry(u"a"_s, u"2024-03-01T08:00:00+00:00"_s, stop),
                           sample::entry(u"b"_s, u"2024-03-01T08:00:00Z"_s, stop),
                           sample::entry(u"c"_s, u"2024-03-01T07:59:00-05:00"_s, stop)}));
    QCOMPARE(ids(list), QStringList({u"b"_s, u"a"_s, u"c"_s}));
}

void EntryListTest::aMissingStartSortsLast() {
    QJsonObject entry = sample::entry(u"a"_s, start, stop);
    entry.remove(u"start_at");
    EntryList list;
    list.update(projected({entry, sample::entry(u"b"_s, start, stop)}));
    QCOMPARE(ids(list), QStringList({u"b"_s, u"a"_s}));
}

void EntryListTest::anUnchangedArrayKeepsTheSharedList() {
    EntryList list;
    const QJsonArray entries{sample::entry(u"a"_s, start, stop), sample::entry(u"b"_s, start, stop)};
    list.update(projected(entries));
    const ProjectedEntries before = list.rows();
    list.update(projected(entries));
    QCOMPARE(list.rows().constData(), before.constData());
    list.update(projected({entries.at(0)}));
    QVERIFY(list.rows().constData() != before.constData());
    QCOMPARE(before.size(), 2);
}

void EntryListTest::anyRowOfUpdatesEqualsARebuild() {
    QRandomGenerator random(20240301);
    EntryList list;
    std::map<QString, QJsonObject> entries;
    for (int round = 0; round < 400; ++round) {
        const int changes = random.bounded(6);
        for (int i = 0; i < changes; ++i) {
            change(entries, random);
        }
        if (random.bounded(50) == 0) {
            entries.clear();
        }
        const QJsonArray array = values(entries);
        list.update(projected(array));
        QVariantList rows = maps(list);
        QVERIFY(newestFirst(rows));
        sortForComparison(rows);
        QVariantList expected = expectedRows(array);
        sortForComparison(expected);
        QCOMPARE(rows, expected);
    }
}

QTEST_MAIN(EntryListTest)
#include "entrylist.moc"
