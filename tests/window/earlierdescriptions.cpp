// SPDX-License-Identifier: MIT
#include "qt/qml/TimerKelvaro/earlierdescriptions.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTest>
#include <QTimeZone>

using namespace Qt::StringLiterals;

class EarlierDescriptionsTest : public QObject {
    Q_OBJECT

    void show(const QJsonArray& entries, const QString& workspace = u"w1"_s);
    /// What is offered, as "description|project id|billable".
    [[nodiscard]] QStringList offered(const QString& text = {}) const;

    std::unique_ptr<Controller> m_controller;
    std::unique_ptr<EarlierDescriptions> m_earlier;

private Q_SLOTS:
    void init();

    void offersEachDescriptionWithItsProjectOnce();
    void findsTheTextAnywhere_data();
    void findsTheTextAnywhere();
    void leavesOutAProjectThatCannotBeChosen();
    void tellsNameAndColourOfTheProject();
    void offersTheNewestOfMany();
    void readsManyEntriesAStretchAtATime();
    void readsNothingTwiceAndNothingUnasked();
    void forgetsTheAccountThatWasLeft();
    void forgetsTheOtherWorkspaceAtOnce();
};

namespace {

/// The later the minute, the newer.
QJsonObject entry(int minute, const QString& description, const QJsonValue& project = {},
                  bool billable = false) {
    const QDateTime start(QDate(2021, 3, 1), QTime(9, 0), QTimeZone::utc());
    const auto text = [&start](int minutes) { return start.addSecs(60 * minutes).toString(Qt::ISODate); };
    return {
        {u"id"_s, u"e%1"_s.arg(minute, 6, 10, QChar(u'0'))},
        {u"workspace_id"_s, u"w1"_s},
        {u"description"_s, description},
        {u"project_id"_s, project},
        {u"billable"_s, billable},
        {u"start_at"_s, text(minute)},
        {u"stop_at"_s, text(minute + 1)},
        {u"version"_s, 1},
    };
}

QJsonArray many(int count) {
    QJsonArray entries;
    for (int i = 0; i < count; ++i) {
        entries.append(entry(i, u"Task %1"_s.arg(i)));
    }
    return entries;
}

} // namespace

void EarlierDescriptionsTest::init() {
    m_earlier = std::make_unique<EarlierDescriptions>();
    m_controller = std::make_unique<Controller>();
    m_earlier->setController(m_controller.get());
    m_earlier->setWanted(true);
}

void EarlierDescriptionsTest::show(const QJsonArray& entries, const QString& workspace) {
    const QJsonArray projects{
        QJsonObject{{u"id"_s, u"p1"_s}, {u"name"_s, u"One"_s}, {u"color"_s, u"#e4572e"_s}},
        QJsonObject{{u"id"_s, u"p2"_s}, {u"name"_s, u"Two"_s}},
    };
    m_controller->applyDurable({
        {u"workspace"_s, workspace},
        {u"snapshot"_s,
         QJsonObject{{u"time_entries"_s, entries}, {u"catalog"_s, QJsonObject{{u"projects"_s, projects}}}}},
    });
    Q_EMIT m_controller->changed();
}

QStringList EarlierDescriptionsTest::offered(const QString& text) const {
    QStringList all;
    const QVariantList rows = m_earlier->matching(text);
    for (const QVariant& row : rows) {
        const QVariantMap map = row.toMap();
        all.append(map.value(u"description"_s).toString() + u'|' + map.value(u"project_id"_s).toString() +
                   u'|' + (map.value(u"billable"_s).toBool() ? u'1' : u'0'));
    }
    return all;
}

void EarlierDescriptionsTest::offersEachDescriptionWithItsProjectOnce() {
    show({entry(1, u"Plan"_s, u"p1"_s), entry(2, u"Call"_s, u"p1"_s), entry(3, u"Plan"_s, u"p2"_s),
          entry(4, u"Plan"_s, u"p1"_s, true), entry(5, {}, u"p1"_s), entry(6, u"  "_s), entry(7, u"Plan"_s)});
    // Billable as it was the last time.
    QCOMPARE(offered(), (QStringList{u"Plan||0"_s, u"Plan|p1|1"_s, u"Plan|p2|0"_s, u"Call|p1|0"_s}));
}

void EarlierDescriptionsTest::findsTheTextAnywhere_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("found");
    const QStringList all{u"Äpfel||0"_s, u"פגישה עם דנה||0"_s, u"Weekly planning||0"_s};
    QTest::newRow("nothing") << QString() << all;
    QTest::newRow("blank") << u" "_s << all;
    QTest::newRow("beginning") << u"week"_s << QStringList{all[2]};
    QTest::newRow("inside") << u"PLAN"_s << QStringList{all[2]};
    QTest::newRow("two words") << u" weekly plan "_s << QStringList{all[2]};
    QTest::newRow("Hebrew") << u"דנה"_s << QStringList{all[1]};
    QTest::newRow("accent in another case") << u"ÄPFEL"_s << QStringList{all[0]};
    QTest::newRow("none") << u"lunch"_s << QStringList();
}

void EarlierDescriptionsTest::findsTheTextAnywhere() {
    QFETCH(const QString, text);
    show({entry(1, u"Weekly planning"_s), entry(2, u"פגישה עם דנה"_s), entry(3, u"Äpfel"_s)});
    QTEST(offered(text), "found");
}

void EarlierDescriptionsTest::leavesOutAProjectThatCannotBeChosen() {
    show({entry(1, u"Plan"_s), entry(2, u"Plan"_s, u"archived"_s, true)});
    QCOMPARE(offered(), QStringList{u"Plan||1"_s});
}

void EarlierDescriptionsTest::tellsNameAndColourOfTheProject() {
    show({entry(1, u"Plan"_s, u"p1"_s)});
    const QVariantMap row = m_earlier->matching({}).constFirst().toMap();
    QCOMPARE(row.value(u"project"_s), u"One"_s);
    QCOMPARE(row.value(u"color"_s), u"#e4572e"_s);
}

void EarlierDescriptionsTest::offersTheNewestOfMany() {
    show(many(100));
    QCOMPARE(offered().size(), 20);
    QCOMPARE(offered().first(), u"Task 99||0"_s);
    QCOMPARE(offered(u"task 3"_s).first(), u"Task 39||0"_s);
}

void EarlierDescriptionsTest::readsManyEntriesAStretchAtATime() {
    show({entry(1, u"Plan"_s)});
    QSignalSpy updated(m_earlier.get(), &EarlierDescriptions::updated);
    show(many(9000));
    // Until all are read, the ones from before.
    QCOMPARE(offered(), QStringList{u"Plan||0"_s});
    QVERIFY(updated.isEmpty());
    QTRY_COMPARE(updated.size(), 1);
    QCOMPARE(offered(u"TASK 0"_s), QStringList{u"Task 0||0"_s});
    QCOMPARE(offered(u"plan"_s), QStringList());
}

void EarlierDescriptionsTest::readsNothingTwiceAndNothingUnasked() {
    show({entry(1, u"Plan"_s)});
    QSignalSpy updated(m_earlier.get(), &EarlierDescriptions::updated);
    Q_EMIT m_controller->changed();
    m_earlier->setWanted(false);
    show({entry(1, u"Plan"_s), entry(2, u"Call"_s)});
    QVERIFY(updated.isEmpty());
    m_earlier->setWanted(true);
    QCOMPARE(updated.size(), 1);
    QCOMPARE(offered(), (QStringList{u"Call||0"_s, u"Plan||0"_s}));
}

void EarlierDescriptionsTest::forgetsTheAccountThatWasLeft() {
    show({entry(1, u"Plan"_s)});
    m_earlier->setWanted(false);
    Q_EMIT m_controller->accountLeft();
    QCOMPARE(offered(), QStringList());

    // Nor does what was still being read come back.
    m_earlier->setWanted(true);
    show(many(9000));
    Q_EMIT m_controller->accountLeft();
    QCoreApplication::processEvents();
    QCOMPARE(offered(), QStringList());
}

void EarlierDescriptionsTest::forgetsTheOtherWorkspaceAtOnce() {
    show({entry(1, u"Plan"_s)});
    show(many(9000), u"w2"_s);
    QCOMPARE(offered(), QStringList());
}

QTEST_GUILESS_MAIN(EarlierDescriptionsTest)
#include "earlierdescriptions.moc"
