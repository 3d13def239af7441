// SPDX-License-Identifier: MIT
#include "tests/devserver/importfixture.h"

#include <QTest>
#include <QVariant>

#include <array>
#include <atomic>
#include <barrier>
#include <thread>

using namespace Qt::StringLiterals;

/// Each record is written once, whatever is sent again, at once, or lost.
class TestDevserverImportRepeats : public ImportFixture {
    Q_OBJECT

    void restart();

private Q_SLOTS:
    void theSameKeyHearsTheSameAnswer();
    void aCompletedImportWritesNothing();
    void theSameFileWritesNothingNew_data();
    void theSameFileWritesNothingNew();
    void theSameFileInAnotherTimeZoneWritesNothingNew_data();
    void theSameFileInAnotherTimeZoneWritesNothingNew();
    void clockTimesOfBothPassesAreTwoRecords();
    void anOffsetThatChangesNothingMakesNoOtherRecord();
    void aDurationThatSaysWhatTheOffsetSaidMakesNoOtherRecord_data();
    void aDurationThatSaysWhatTheOffsetSaidMakesNoOtherRecord();
    void aLongerFileWritesWhatIsNew();
    void whatWasChangedOrDeletedSinceIsNotWrittenAgain();
    void duplicatesAreSkippedInClosedPeriods();
    void aRecordTwiceInTheFileIsWrittenOnce_data();
    void aRecordTwiceInTheFileIsWrittenOnce();
    void anotherNamespaceUserOrWorkspaceIsAnotherSource();
    void importsStagedSideBySideWriteOnce();
    void twoClientsWithTheSameKeyMakeOneStep();
    void twoClientsWithTheirOwnKeysTakeTurns();
    void aServerKilledBetweenStepsGoesOn();
    void aServerKilledInTheMiddleOfStepsGoesOn();
};

void TestDevserverImportRepeats::restart() {
    QVERIFY(m_server.start(m_database));
    m_client = std::make_unique<TestClient>(m_server.port());
    m_other = std::make_unique<TestClient>(m_server.port(), m_world.otherToken);
}

void TestDevserverImportRepeats::theSameKeyHearsTheSameAnswer() {
    const Reply staged = preview(records(60));
    const Reply first = applyAs(*m_client, staged, 25, u"one"_s);
    QCOMPARE(progressOf(first), u"importing 25/60"_s);
    QCOMPARE(applyAs(*m_client, staged, 25, u"one"_s).text, first.text);
    QCOMPARE(count(u"time_entries"_s), 25);
    QCOMPARE(progressOf(applyAs(*m_client, staged, 25, u"two"_s)), u"importing 50/60"_s);
    QCOMPARE(applyAs(*m_client, staged, 25, u"one"_s).text, first.text);
    const Reply last = applyAs(*m_client, staged, 25, u"three"_s);
    QCOMPARE(progressOf(last), u"completed 60/60"_s);
    QCOMPARE(applyAs(*m_client, staged, 25, u"three"_s).text, last.text);
    QCOMPARE(applyAs(*m_client, staged, 25, u"one"_s).text, first.text);
    QCOMPARE(count(u"time_entries"_s), 60);
}

void TestDevserverImportRepeats::aCompletedImportWritesNothing() {
    const Reply last = applyAll(preview(records(3)));
    QCOMPARE(progressOf(last), u"completed 3/3"_s);
    const Reply again = apply(last);
    QCOMPARE(again.status, 200);
    QCOMPARE(again.body, last.body);
    QCOMPARE(again.body.value(u"has_more"), false);
    QCOMPARE(count(u"time_entries"_s), 3);
}

void TestDevserverImportRepeats::theSameFileWritesNothingNew_data() {
    QTest::addColumn<QString>("again");
    const QString content = records(60);
    QTest::newRow("byte by byte") << content;
    QTest::newRow("with semicolons and other line ends")
        << QString(content).replace(u',', u';').replace(u'\n', u"\r\n"_s);
    QTest::newRow("with another column") << QString(content).replace(u'\n', u",extra\n"_s) + u",extra"_s;
}

void TestDevserverImportRepeats::theSameFileWritesNothingNew() {
    QFETCH(const QString, again);
    QCOMPARE(progressOf(applyAll(preview(records(60)))), u"completed 60/60"_s);
    const Reply staged = preview(again);
    QCOMPARE(numbersOf(staged), u"60 0 0 60"_s);
    const Reply first = apply(staged);
    QCOMPARE(progressOf(first), u"importing 25/60"_s);
    const Reply last = applyAll(first, 25);
    QCOMPARE(progressOf(last), u"completed 60/60"_s);
    QCOMPARE(last.body.value(u"written"), 0);
    QCOMPARE(last.body.value(u"skipped"), 60);
    QCOMPARE(count(u"time_entries"_s), 60);
}

void TestDevserverImportRepeats::theSameFileInAnotherTimeZoneWritesNothingNew_data() {
    QTest::addColumn<QString>("content");
    QTest::newRow("with ends") << records(60);
    QTest::newRow("with durations")
        << u"Start date,Start time,Duration\n"
           "2025-03-09,09:00,1:00\n2025-03-09,09:00,1:30\n2025-03-08,23:30,9:00"_s;
}

// Between the two the clocks change on different days, so that durations over
// a night do not end at the same time of day.
void TestDevserverImportRepeats::theSameFileInAnotherTimeZoneWritesNothingNew() {
    QFETCH(const QString, content);
    QJsonObject body = bodyOf(content);
    const auto previewIn = [&](const QString& zone) {
        body.insert(u"timezone"_s, zone);
        return m_client->postTo(previewOf(m_world.workspace), body);
    };
    const Reply before = previewIn(u"Asia/Jerusalem"_s);
    const int total = before.body.value(u"total").toInt();
    QCOMPARE(numbersOf(before), u"%1 %1 0 0"_s.arg(total));
    const Reply beside = previewIn(u"America/New_York"_s);
    QCOMPARE(numbersOf(beside), u"%1 %1 0 0"_s.arg(total));
    QVERIFY(beside.body.value(u"checksum") != before.body.value(u"checksum"));
    QCOMPARE(applyAll(before).body.value(u"written"), total);
    QCOMPARE(applyAll(beside).body.value(u"written"), 0);
    QCOMPARE(numbersOf(previewIn(u"America/New_York"_s)), u"%1 0 0 %1"_s.arg(total));
    QCOMPARE(count(u"time_entries"_s), total);
}

// The clocks of Jerusalem were put back to one o'clock.
void TestDevserverImportRepeats::clockTimesOfBothPassesAreTwoRecords() {
    const QString header = u"Start date,Start time,End date,End time,Duration\n"_s;
    const QString row = u"2025-10-26,01:10%1,2025-10-26,01:20%2,0:10\n"_s;
    const auto previewOf = [this](const QString& content) {
        QJsonObject body = bodyOf(content);
        body.insert(u"timezone"_s, u"Asia/Jerusalem"_s);
        return m_client->postTo(ImportFixture::previewOf(m_world.workspace), body);
    };
    const QString first = row.arg(u"+03:00"_s, u"+03:00"_s);
    const QString second = row.arg(u"+02:00"_s, u"+02:00"_s);
    QCOMPARE(numbersOf(previewOf(header + first + second)), u"2 2 0 0"_s);
    QCOMPARE(applyAll(previewOf(header + second)).body.value(u"written"), 1);
    QCOMPARE(m_database.value(u"SELECT start_at FROM time_entries"_s).toLongLong(), 1761433800);
    QCOMPARE(numbersOf(previewOf(header + first + second)), u"2 1 0 1"_s);
    // One offset, and the duration that tells the other, say the same.
    QCOMPARE(numbersOf(previewOf(header + row.arg(u"+02:00"_s, QString()))), u"1 0 0 1"_s);
    QCOMPARE(applyAll(previewOf(header + first)).body.value(u"written"), 1);
    QCOMPARE(numbersOf(previewOf(header + first + second)), u"2 0 0 2"_s);
}

// What was imported before offsets could be written is still the same with one.
void TestDevserverImportRepeats::anOffsetThatChangesNothingMakesNoOtherRecord() {
    const auto rowIn = [](const QString& offset) {
        return simple({u"x,2025-06-01,09:00%1,2025-06-01,10:00%1"_s.arg(offset)});
    };
    QCOMPARE(applyAll(preview(rowIn(QString()))).body.value(u"written"), 1);
    QCOMPARE(numbersOf(preview(rowIn(u"+00:00"_s))), u"1 0 0 1"_s);

    // Nor does one that says what the duration or the order says.
    const auto inJerusalem = [this](const QString& row, const QString& offset) {
        QJsonObject body = bodyOf(u"Start date,Start time,End date,End time,Duration\n"_s + row.arg(offset));
        body.insert(u"timezone"_s, u"Asia/Jerusalem"_s);
        return m_client->postTo(previewOf(m_world.workspace), body);
    };
    for (const QString& row :
         {u"2025-10-26,01:30%1,2025-10-26,03:30,2:00\n"_s, u"2025-10-26,00:30,2025-10-26,01:40%1,2:10\n"_s}) {
        QCOMPARE(applyAll(inJerusalem(row, QString())).body.value(u"written"), 1);
        QCOMPARE(numbersOf(inJerusalem(row, u"+02:00"_s)), u"1 0 0 1"_s);
    }
}

void TestDevserverImportRepeats::aDurationThatSaysWhatTheOffsetSaidMakesNoOtherRecord_data() {
    QTest::addColumn<QString>("row");
    QTest::addColumn<QString>("lengths"); // of the second pass and of the first
    QTest::newRow("start") << u"2025-10-26,01:30%1,2025-10-26,03:30"_s << u"2:00 3:00"_s;
    QTest::newRow("end") << u"2025-10-26,00:30,2025-10-26,01:40%1"_s << u"2:10 1:10"_s;
}

// The same history again, with a column more or less.
void TestDevserverImportRepeats::aDurationThatSaysWhatTheOffsetSaidMakesNoOtherRecord() {
    QFETCH(const QString, row);
    QFETCH(const QString, lengths);
    QJsonObject body = bodyOf({});
    body.insert(u"timezone"_s, u"Asia/Jerusalem"_s);
    const auto previewOf = [&](const QStringList& rows) {
        body.insert(u"content"_s, u"Start date,Start time,End date,End time,Duration\n"_s + rows.join(u'\n'));
        return m_client->postTo(ImportFixture::previewOf(m_world.workspace), body);
    };
    const QString second = row.arg(u"+02:00"_s) + u',';
    const QString longer = row.arg(QString()) + u',' + lengths.section(u' ', 0, 0);
    const QString first = row.arg(QString()) + u',' + lengths.section(u' ', 1);
    const Reply beside = previewOf({longer, first});
    QCOMPARE(numbersOf(previewOf({second, longer})), u"2 1 0 1"_s);
    QCOMPARE(applyAll(previewOf({second})).body.value(u"written"), 1);
    QCOMPARE(numbersOf(previewOf({longer})), u"1 0 0 1"_s);
    // Staged before, it is skipped as well, and takes no other record's place.
    QCOMPARE(applyAll(beside).body.value(u"written"), 1);
    QCOMPARE(count(u"time_entries"_s), 2);

    body.insert(u"source_namespace"_s, u"the other way round"_s);
    QCOMPARE(applyAll(previewOf({longer})).body.value(u"written"), 1);
    QCOMPARE(numbersOf(previewOf({second})), u"1 0 0 1"_s);
}

void TestDevserverImportRepeats::aLongerFileWritesWhatIsNew() {
    QCOMPARE(progressOf(applyAll(preview(records(10)))), u"completed 10/10"_s);
    const Reply staged = preview(records(15));
    QCOMPARE(numbersOf(staged), u"15 5 0 10"_s);
    QCOMPARE(sampleOf(staged).value(u"description"), u"work 10"_s);
    QCOMPARE(applyAll(staged).body.value(u"written"), 5);
    QCOMPARE(descriptions().size(), 15);
}

void TestDevserverImportRepeats::whatWasChangedOrDeletedSinceIsNotWrittenAgain() {
    QCOMPARE(progressOf(applyAll(preview(records(2)))), u"completed 2/2"_s);
    m_database.run(u"UPDATE time_entries SET description = 'mine' WHERE description = 'work 0'"_s);
    m_database.run(u"UPDATE time_entries SET deleted_at = 5 WHERE description = 'work 1'"_s);
    QCOMPARE(applyAll(preview(records(2))).body.value(u"written"), 0);
    QCOMPARE(descriptions(), (QStringList{u"mine"_s, u"work 1"_s}));
}

void TestDevserverImportRepeats::duplicatesAreSkippedInClosedPeriods() {
    QCOMPARE(progressOf(applyAll(preview(records(3)))), u"completed 3/3"_s);
    addPeriod(u"approved"_s, u"2025-06-01T00:00:00Z"_s, u"2025-06-08T00:00:00Z"_s);
    const Reply staged = preview(records(3));
    QCOMPARE(numbersOf(staged), u"3 0 0 3"_s);
    QCOMPARE(progressOf(applyAll(staged)), u"completed 3/3"_s);
    QCOMPARE(count(u"time_entries"_s), 3);
}

void TestDevserverImportRepeats::aRecordTwiceInTheFileIsWrittenOnce_data() {
    QTest::addColumn<int>("limit");
    QTest::newRow("in one step") << 500;
    QTest::newRow("in two") << 2;
}

void TestDevserverImportRepeats::aRecordTwiceInTheFileIsWrittenOnce() {
    QFETCH(const int, limit);
    const Reply last = applyAll(preview(records(2) + u'\n' + records(3).section(u'\n', 1)), limit);
    QCOMPARE(progressOf(last), u"completed 5/5"_s);
    QCOMPARE(last.body.value(u"written"), 3);
    QCOMPARE(descriptions(), (QStringList{u"work 0"_s, u"work 1"_s, u"work 2"_s}));
}

void TestDevserverImportRepeats::anotherNamespaceUserOrWorkspaceIsAnotherSource() {
    QJsonObject body = bodyOf(records(2));
    QCOMPARE(progressOf(applyAll(preview(records(2)))), u"completed 2/2"_s);
    const Reply others = m_other->postTo(previewOf(m_world.workspace), body);
    QCOMPARE(numbersOf(others), u"2 2 0 0"_s);
    QCOMPARE(progressOf(applyAs(*m_other, others, 25, u"k"_s)), u"completed 2/2"_s);
    QCOMPARE(count(u"time_entries WHERE user_id = '%1'"_s.arg(m_world.other)), 2);
    QCOMPARE(numbersOf(m_client->postTo(previewOf(m_world.secondWorkspace), body)), u"2 2 0 0"_s);
    body[u"source_namespace"] = u" old-tracker "_s;
    QCOMPARE(numbersOf(m_client->postTo(previewOf(m_world.workspace), body)), u"2 0 0 2"_s);
    body[u"source_namespace"] = u"Old-tracker"_s;
    QCOMPARE(numbersOf(m_client->postTo(previewOf(m_world.workspace), body)), u"2 2 0 0"_s);
}

void TestDevserverImportRepeats::importsStagedSideBySideWriteOnce() {
    const Reply left = preview(records(40));
    const Reply right = preview(records(60));
    QCOMPARE(numbersOf(right), u"60 60 0 0"_s);
    QCOMPARE(progressOf(apply(left)), u"importing 25/40"_s);
    const Reply middle = apply(right, 30);
    QCOMPARE(middle.body.value(u"written"), 5);
    QCOMPARE(middle.body.value(u"skipped"), 25);
    QCOMPARE(applyAll(left).body.value(u"skipped"), 5);
    QCOMPARE(applyAll(right).body.value(u"written"), 25);
    QStringList once = descriptions();
    once.removeDuplicates();
    QCOMPARE(once.size(), 60);
    QCOMPARE(count(u"time_entries"_s), 60);
}

void TestDevserverImportRepeats::twoClientsWithTheSameKeyMakeOneStep() {
    const Reply staged = preview(records(200));
    for (int round = 1; round <= 8; ++round) {
        std::array<Reply, 2> replies;
        std::array<std::thread, 2> threads;
        std::barrier together(2);
        const QString key = World::newId();
        for (size_t i = 0; i < 2; ++i) {
            threads[i] = std::thread([&, i] {
                TestClient client(m_server.port());
                const bool connected = client.get("/v1/me").status == 200;
                together.arrive_and_wait();
                if (connected) {
                    replies[i] = applyAs(client, staged, 25, key);
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        QCOMPARE(replies[0].body.value(u"checkpoint"), 25 * round);
        QCOMPARE(replies[1].text, replies[0].text);
    }
    QCOMPARE(count(u"time_entries"_s), 200);
}

void TestDevserverImportRepeats::twoClientsWithTheirOwnKeysTakeTurns() {
    const Reply staged = preview(records(1000));
    std::array<std::thread, 4> threads;
    std::atomic<int> failures = 0;
    for (std::thread& thread : threads) {
        thread = std::thread([&] {
            TestClient client(m_server.port());
            for (Reply reply = staged; reply.body.value(u"has_more").toBool();) {
                reply = applyAs(client, staged, 25, World::newId());
                failures += reply.status == 200 ? 0 : 1;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    QCOMPARE(failures.load(), 0);
    QCOMPARE(progressOf(apply(staged)), u"completed 1000/1000"_s);
    QStringList once = descriptions();
    QCOMPARE(once.size(), 1000);
    QCOMPARE(once.removeDuplicates(), 0);
}

void TestDevserverImportRepeats::aServerKilledBetweenStepsGoesOn() {
    const Reply staged = preview(records(60));
    const Reply first = applyAs(*m_client, staged, 25, u"one"_s);
    QCOMPARE(progressOf(first), u"importing 25/60"_s);
    QVERIFY(m_server.kill());
    restart();
    QCOMPARE(applyAs(*m_client, staged, 25, u"one"_s).text, first.text);
    QCOMPARE(count(u"time_entries"_s), 25);
    QCOMPARE(progressOf(applyAs(*m_client, staged, 25, u"two"_s)), u"importing 50/60"_s);
    QCOMPARE(progressOf(applyAll(staged)), u"completed 60/60"_s);
    QCOMPARE(count(u"time_entries"_s), 60);
}

void TestDevserverImportRepeats::aServerKilledInTheMiddleOfStepsGoesOn() {
    const Reply staged = preview(records(1500));
    for (int round = 1; round <= 4; ++round) {
        std::atomic<int> steps = 0;
        std::thread walker([&] {
            TestClient client(m_server.port());
            while (applyAs(client, staged, 10, World::newId()).status == 200) {
                ++steps;
            }
        });
        const bool begun = QTest::qWaitFor([&steps] { return steps >= 10; }, 30'000);
        const bool killed = m_server.kill();
        walker.join();
        restart();
        QVERIFY(begun && killed);
        // A step is written whole or not at all.
        QCOMPARE(count(u"time_entries"_s), m_database.value(u"SELECT checkpoint FROM imports"_s).toInt());
    }
    QCOMPARE(progressOf(applyAll(staged)), u"completed 1500/1500"_s);
    QStringList once = descriptions();
    QCOMPARE(once.size(), 1500);
    QCOMPARE(once.removeDuplicates(), 0);
}

QTEST_GUILESS_MAIN(TestDevserverImportRepeats)
#include "importrepeats.moc"
