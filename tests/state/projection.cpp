// SPDX-License-Identifier: MIT
#include "state/syncstate.h"
#include "tests/state/fixtures.h"

#include <QJsonDocument>
#include <QTest>

using namespace Qt::StringLiterals;

class ProjectionTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void followsTheRules_data() { addCases(u"project.json"_s); }
    void followsTheRules();
    void leavesItsInputAlone_data() { addCases(u"project.json"_s); }
    void leavesItsInputAlone();
    void ordersOddIdsAsStringsCompare();
};

void ProjectionTest::followsTheRules() {
    QFETCH(const QJsonObject, given);
    const QString found =
        differences(given.value("expected"_L1), SyncState::project(given.value("state"_L1).toObject()));
    QVERIFY2(found.isEmpty(), qPrintable(found));
}

void ProjectionTest::leavesItsInputAlone() {
    QFETCH(const QJsonObject, given);
    const QJsonObject state = given.value("state"_L1).toObject();
    const QByteArray before = QJsonDocument(state).toJson();
    const QJsonObject view = SyncState::project(state);
    QCOMPARE(QJsonDocument(state).toJson(), before);
    QCOMPARE(view.keys(), QStringList({u"entries"_s, u"timer"_s}));
}

void ProjectionTest::ordersOddIdsAsStringsCompare() {
    QStringList ids{u""_s,       u"b\uffff"_s,   u"c"_s,        u"a"_s,
                    u"A"_s,      u"aaaa"_s,      u"aaab"_s,     u"aaaaa"_s,
                    u"aaaaB"_s,  u"ab"_s,        u"\u00e9"_s,   u"\uffff"_s,
                    u"\u05d0"_s, u"aaa\uffff"_s, u"zzzzzzzz"_s, u"aa"_s + QChar(0)};
    QJsonArray entries;
    for (const QString& id : std::as_const(ids)) {
        entries.append(QJsonObject{{u"id"_s, id}, {u"workspace_id"_s, u"w"_s}, {u"user_id"_s, u"u"_s}});
    }
    const QJsonObject view = SyncState::project({{u"workspace"_s, u"w"_s},
                                                 {u"me"_s, QJsonObject{{u"id"_s, u"u"_s}}},
                                                 {u"snapshot"_s, QJsonObject{{u"time_entries"_s, entries}}}});
    std::sort(ids.begin(), ids.end());
    QStringList found;
    for (const auto& entry : view.value("entries"_L1).toArray()) {
        found.append(entry.toObject().value("id"_L1).toString());
    }
    QCOMPARE(found, ids);
}

QTEST_GUILESS_MAIN(ProjectionTest)
#include "projection.moc"
