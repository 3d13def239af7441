// SPDX-License-Identifier: MIT
#include "tests/support/client.h"
#include "tests/support/desk.h"
#include "tests/support/vaultfile.h"

#include <QDateTime>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString start = u"2024-03-01T08:00:00Z"_s;
const QString stop = u"2024-03-01T09:00:00Z"_s;
const QString notFound = u"Entry not found in this workspace"_s;
const QString lockedEntry =
    u"This entry is submitted or approved. Reopen its period in the Web workbench first."_s;
const QString invalidTimes =
    u"Enter valid ISO timestamps with an explicit offset; end must be after start."_s;

QJsonObject locked() {
    return sample::period(u"approved"_s, u"2024-03-01T00:00:00Z"_s, u"2024-03-08T00:00:00Z"_s);
}

/// The entry "e1", booked on the sample's project.
QJsonObject booked() {
    QJsonObject entry = sample::entry(u"e1"_s, start, stop);
    entry.insert(u"project_id", u"project-1"_s);
    entry.insert(u"billable", true);
    entry.insert(u"tag_ids", QJsonArray{u"tag-1"_s});
    return entry;
}

QJsonObject running(const QString& workspace = u"ws-1"_s) {
    QJsonObject entry = sample::entry(u"t1"_s, start, QJsonValue());
    entry.insert(u"workspace_id", workspace);
    return entry;
}

} // namespace

/// What a person does with an entry that is there becomes one change of the queue, or is refused before it.
class EntryActionsTest : public QObject {
    Q_OBJECT

    /// Loads these; what is queued from now on stays queued.
    void load(const QJsonArray& entries, const QJsonArray& periods = {}, const QJsonObject& timer = {});
    void makeBusy();
    [[nodiscard]] QJsonObject payload(qsizetype index = 0) const;
    [[nodiscard]] QStringList operations() const;
    void edit(const QString& key, const QVariant& value) { m_controller->editEntry(u"e1"_s, {{key, value}}); }

    std::unique_ptr<Desk> m_desk;
    Controller* m_controller = nullptr;

private Q_SLOTS:
    // A zone far from UTC, so that local and universal time cannot be mixed up.
    void initTestCase() { qputenv("TZ", "Asia/Jerusalem"); }
    void init() { startClean(); }
    void cleanup() { m_desk.reset(); }

    void continuingStartsATimerWithTheSame();
    void continuingStopsTheRunningTimerFirst();
    void continuingRecordsBothChangesOrNone();
    void continuingWithATimerOfAnotherWorkspaceIsRefused();
    void continuingTheRunningEntryDoesNothing();
    void whatCannotBeBookedIsNotStartedAgain();

    void editingRecordsOnlyWhatDiffers_data();
    void editingRecordsOnlyWhatDiffers();
    void editingSeveralMembersIsOneChange();
    void editingNothingRecordsNothing();
    void editingTheRunningTimerLeavesItRunning();
    void badTimesAreRefused_data();
    void badTimesAreRefused();
    void anEntryWithoutLengthCanBeRenamed();
    void editingIntoAClosedPeriodIsRefused();
    void editingOutOfAClosedPeriodIsRefused();
    void anEntryWithAWaitingChangeIsEditedOnTopOfIt();

    void duplicatingMakesAnotherEntryThatSaysTheSame();
    void duplicatingIntoAClosedPeriodIsRefused();
    void anEntryWithoutReadableTimesIsNotDuplicated();

    void deletingTakesTheEntryOffTheListAtOnce();
    void undoingQueuesTheRestoreBehindTheDeletion();
    void undoIsOfferedUntilTheNextAction();
    void undoIsOfferedAfterTheServerTookTheDeletion();
    void undoingIntoAPeriodSubmittedSinceIsRefused();
    void undoIsNotOfferedForARefusedDeletion();
    void deletingALockedEntryIsRefused();

    void unknownEntriesAreRefused_data();
    void unknownEntriesAreRefused();
    void nothingIsDoneWhileBusy();
};

void EntryActionsTest::load(const QJsonArray& entries, const QJsonArray& periods, const QJsonObject& timer) {
    m_desk = std::make_unique<Desk>(sample::snapshot(entries, periods));
    m_desk->peer.answer("GET", u"/v1/me/timer"_s, PeerReply::json({{u"timer"_s, timer}}));
    m_controller = m_desk->controller.get();
    QVERIFY(m_desk->load());
    m_desk->holdPushes();
}

void EntryActionsTest::makeBusy() {
    m_desk->peer.answer("GET", u"/v1/sync/snapshot"_s, PeerReply::only(PeerReply::Delivery::Never));
    m_controller->refresh();
    QVERIFY(m_controller->busy());
}

QJsonObject EntryActionsTest::payload(qsizetype index) const {
    return mutationAt(*m_controller, index).value(u"payload").toObject();
}

QStringList EntryActionsTest::operations() const {
    QStringList names;
    for (int i = 0; i < m_controller->pending(); ++i) {
        names.append(mutationAt(*m_controller, i).value(u"operation").toString());
    }
    return names;
}

void EntryActionsTest::continuingStartsATimerWithTheSame() {
    load({booked()});
    m_controller->continueEntry(u"e1"_s);
    QCOMPARE(operations(), QStringList{u"timer.start"_s});
    const QJsonObject mutation = mutationAt(*m_controller, 0);
    QVERIFY(mutation.value(u"entity_id").toString() != u"e1"_s);
    QCOMPARE(mutation.value(u"base_version"), QJsonValue(0));
    QJsonObject said = payload();
    const QDateTime started = QDateTime::fromString(said.take(u"start_at").toString(), Qt::ISODate);
    QVERIFY(qAbs(started.secsTo(QDateTime::currentDateTimeUtc())) < 60);
    QCOMPARE(said, QJsonObject({{u"description"_s, u"Entry e1"_s},
                                {u"project_id"_s, u"project-1"_s},
                                {u"tag_ids"_s, QJsonArray()},
                                {u"billable"_s, true}}));
    QCOMPARE(m_controller->timer().value(u"description"_s).toString(), u"Entry e1"_s);
}

void EntryActionsTest::continuingStopsTheRunningTimerFirst() {
    load({booked(), running()}, {}, running());
    m_controller->continueEntry(u"e1"_s);
    QCOMPARE(operations(), QStringList({u"timer.stop"_s, u"timer.start"_s}));
    QCOMPARE(mutationAt(*m_controller, 0).value(u"entity_id").toString(), u"t1"_s);
    QCOMPARE(mutationAt(*m_controller, 0).value(u"base_version"), QJsonValue(3));
    QCOMPARE(payload(1).value(u"description").toString(), u"Entry e1"_s);
    QVERIFY(!listedEntry(*m_controller, u"id"_s, u"t1"_s).isEmpty());
    QCOMPARE(m_controller->timer().value(u"id"_s).toString(),
             mutationAt(*m_controller, 1).value(u"entity_id").toString());
    QCOMPARE(m_desk->stored().value(u"queue").toArray(), queueOf(*m_controller));
}

void EntryActionsTest::continuingRecordsBothChangesOrNone() {
    load({booked(), running()}, {}, running());
    const SaveBlocker blocker(m_desk->peer.url());
    m_controller->continueEntry(u"e1"_s);
    QCOMPARE(m_controller->message(), u"The write was not accepted because secure local storage failed."_s);
    QCOMPARE(m_controller->pending(), 0);
    QCOMPARE(m_controller->timer().value(u"id"_s).toString(), u"t1"_s);
}

void EntryActionsTest::continuingWithATimerOfAnotherWorkspaceIsRefused() {
    load({booked()}, {}, running(u"ws-2"_s));
    m_controller->continueEntry(u"e1"_s);
    QCOMPARE(m_controller->message(),
             u"Select the running timer's workspace before stopping it in this native preview."_s);
    QCOMPARE(m_controller->pending(), 0);
}

void EntryActionsTest::continuingTheRunningEntryDoesNothing() {
    load({running()}, {}, running());
    const QString message = m_controller->message();
    m_controller->continueEntry(u"t1"_s);
    QCOMPARE(m_controller->pending(), 0);
    QCOMPARE(m_controller->message(), message);
}

void EntryActionsTest::whatCannotBeBookedIsNotStartedAgain() {
    QJsonObject entry = booked();
    entry.insert(u"project_id", u"archived"_s);
    load({entry, running()}, {}, running());
    m_controller->continueEntry(u"e1"_s);
    m_controller->duplicateEntry(u"e1"_s);
    QCOMPARE(m_controller->message(),
             u"This entry's project can no longer be booked; start with another project instead."_s);
    QCOMPARE(m_controller->pending(), 0);
    QCOMPARE(m_controller->timer().value(u"id"_s).toString(), u"t1"_s);
}

void EntryActionsTest::editingRecordsOnlyWhatDiffers_data() {
    QTest::addColumn<QVariantMap>("changes");
    QTest::addColumn<QJsonObject>("payload");
    const QVariantMap same{{u"description"_s, u"Entry e1"_s},
                           {u"project_id"_s, u"project-1"_s},
                           {u"billable"_s, true},
                           {u"start_at"_s, start},
                           {u"stop_at"_s, stop}};
    const auto row = [&same](const char* name, const QString& key, const QVariant& value,
                             const QJsonValue& recorded) {
        QVariantMap changes = same;
        changes.insert(key, value);
        QTest::newRow(name) << changes << QJsonObject{{key, recorded}};
    };
    row("description", u"description"_s, u" נו \n"_s, u" נו \n"_s);
    row("no description", u"description"_s, QString(), QString());
    row("project", u"project_id"_s, u"project-2"_s, u"project-2"_s);
    row("no project", u"project_id"_s, QString(), QJsonValue::Null);
    row("billable", u"billable"_s, false, false);
    row("start", u"start_at"_s, u"2024-03-01T09:30:00+02:00"_s, u"2024-03-01T07:30:00Z"_s);
    row("local start", u"start_at"_s, u"2024-03-01T09:30:00"_s, u"2024-03-01T07:30:00Z"_s);
    row("end", u"stop_at"_s, u"2024-03-01T09:00:01.9Z"_s, u"2024-03-01T09:00:01Z"_s);
    QVariantMap unknown = same;
    unknown.insert(u"billable"_s, false);
    unknown.insert(u"user_id"_s, u"somebody"_s);
    QTest::newRow("unknown members are nobody's") << unknown << QJsonObject{{u"billable"_s, false}};
}

void EntryActionsTest::editingRecordsOnlyWhatDiffers() {
    QFETCH(const QVariantMap, changes);
    QFETCH(const QJsonObject, payload);
    load({booked()});
    m_controller->editEntry(u"e1"_s, changes);
    QCOMPARE(operations(), QStringList{u"entry.update"_s});
    QCOMPARE(mutationAt(*m_controller, 0).value(u"entity_id").toString(), u"e1"_s);
    QCOMPARE(mutationAt(*m_controller, 0).value(u"base_version"), QJsonValue(3));
    QCOMPARE(this->payload(), payload);
}

void EntryActionsTest::editingSeveralMembersIsOneChange() {
    load({booked()});
    m_controller->editEntry(u"e1"_s, {{u"description"_s, u"Moved"_s},
                                      {u"start_at"_s, u"2024-03-02T08:00:00Z"_s},
                                      {u"stop_at"_s, u"2024-03-02T08:30:00Z"_s}});
    QCOMPARE(m_controller->pending(), 1);
    QCOMPARE(payload().size(), 3);
    const QVariantMap listed = listedEntry(*m_controller, u"id"_s, u"e1"_s);
    QCOMPARE(listed.value(u"duration_text"_s).toString(), u"00:30:00"_s);
    QCOMPARE(listed.value(u"project_id"_s).toString(), u"project-1"_s);
}

void EntryActionsTest::editingNothingRecordsNothing() {
    load({booked()});
    m_controller->editEntry(u"e1"_s, {{u"description"_s, u"Entry e1"_s},
                                      {u"start_at"_s, u"2024-03-01T10:00:00.4+02:00"_s},
                                      {u"stop_at"_s, u"2024-03-01T11:00:00+02:00"_s}});
    QCOMPARE(m_controller->pending(), 0);
    QCOMPARE(m_controller->message(), u"The entry says so already; nothing was changed."_s);
    m_controller->editEntry(u"e1"_s, {});
    QCOMPARE(m_controller->pending(), 0);
}

void EntryActionsTest::editingTheRunningTimerLeavesItRunning() {
    load({running()}, {}, running());
    m_controller->editEntry(
        u"t1"_s,
        {{u"description"_s, u"Better"_s}, {u"start_at"_s, u"2024-03-01T07:00:00Z"_s}, {u"stop_at"_s, stop}});
    QCOMPARE(payload(),
             QJsonObject({{u"description"_s, u"Better"_s}, {u"start_at"_s, u"2024-03-01T07:00:00Z"_s}}));
    QCOMPARE(m_controller->timer().value(u"description"_s).toString(), u"Better"_s);
    QCOMPARE(m_controller->timer().value(u"start_at"_s).toString(), u"2024-03-01T07:00:00Z"_s);

    const QString tomorrow = QDateTime::currentDateTimeUtc().addDays(1).toString(Qt::ISODate);
    m_controller->editEntry(u"t1"_s, {{u"start_at"_s, tomorrow}});
    QCOMPARE(m_controller->message(), invalidTimes);
    QCOMPARE(m_controller->pending(), 1);
}

void EntryActionsTest::badTimesAreRefused_data() {
    QTest::addColumn<QVariantMap>("changes");
    const auto row = [](const char* name, const QString& from, const QString& to) {
        QTest::newRow(name) << QVariantMap{{u"start_at"_s, from}, {u"stop_at"_s, to}};
    };
    row("end first", stop, start);
    row("no length", u"2024-03-01T07:00:00Z"_s, u"2024-03-01T07:00:00.9Z"_s);
    row("no end", start, QString());
    row("no start", QString(), stop);
    row("no time", u"yesterday"_s, stop);
    row("no such day", u"2024-02-30T08:00:00Z"_s, stop);
    row("in the year 10000", start, u"9999-12-31T23:30:00-02:00"_s);
    QTest::newRow("a start behind the end that stays")
        << QVariantMap{{u"start_at"_s, u"2024-03-01T09:00:00Z"_s}};
    QTest::newRow("an end before the start that stays")
        << QVariantMap{{u"stop_at"_s, u"2024-03-01T10:00:00+02:00"_s}};
    QTest::newRow("beside a good description")
        << QVariantMap{{u"description"_s, u"New"_s}, {u"stop_at"_s, start}};
}

void EntryActionsTest::badTimesAreRefused() {
    QFETCH(const QVariantMap, changes);
    load({booked()});
    m_controller->editEntry(u"e1"_s, changes);
    QCOMPARE(m_controller->message(), invalidTimes);
    QCOMPARE(m_controller->pending(), 0);
}

void EntryActionsTest::anEntryWithoutLengthCanBeRenamed() {
    load({sample::entry(u"e1"_s, start, start)});
    m_controller->editEntry(
        u"e1"_s, {{u"description"_s, u"Nothing"_s}, {u"start_at"_s, start}, {u"stop_at"_s, start}});
    QCOMPARE(payload(), QJsonObject({{u"description"_s, u"Nothing"_s}}));
}

void EntryActionsTest::editingIntoAClosedPeriodIsRefused() {
    load({sample::entry(u"e1"_s, u"2024-02-29T08:00:00Z"_s, u"2024-02-29T09:00:00Z"_s)}, {locked()});
    edit(u"stop_at"_s, u"2024-03-01T02:00:01+02:00"_s);
    QCOMPARE(m_controller->message(), lockedEntry);
    QCOMPARE(m_controller->pending(), 0);
    edit(u"stop_at"_s, u"2024-03-01T02:00:00+02:00"_s); // up to it
    QCOMPARE(m_controller->pending(), 1);
}

void EntryActionsTest::editingOutOfAClosedPeriodIsRefused() {
    load({booked()}, {locked()});
    m_controller->editEntry(
        u"e1"_s, {{u"start_at"_s, u"2024-02-01T08:00:00Z"_s}, {u"stop_at"_s, u"2024-02-01T09:00:00Z"_s}});
    QCOMPARE(m_controller->message(), lockedEntry);
    edit(u"description"_s, u"New"_s);
    QCOMPARE(m_controller->pending(), 0);
}

void EntryActionsTest::anEntryWithAWaitingChangeIsEditedOnTopOfIt() {
    load({booked()});
    edit(u"description"_s, u"First"_s);
    edit(u"billable"_s, false);
    edit(u"description"_s, u"First"_s); // says so already, in the queue
    m_controller->deleteEntry(u"e1"_s);
    QCOMPARE(operations(), QStringList({u"entry.update"_s, u"entry.update"_s, u"entry.delete"_s}));
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(mutationAt(*m_controller, i).value(u"base_version"), QJsonValue(3 + i));
    }
}

void EntryActionsTest::duplicatingMakesAnotherEntryThatSaysTheSame() {
    load({booked()});
    m_controller->duplicateEntry(u"e1"_s);
    m_controller->duplicateEntry(u"e1"_s);
    QCOMPARE(operations(), QStringList({u"entry.create"_s, u"entry.create"_s}));
    const QJsonObject first = mutationAt(*m_controller, 0);
    QCOMPARE(first.value(u"base_version"), QJsonValue(0));
    QVERIFY(first.value(u"entity_id") != mutationAt(*m_controller, 1).value(u"entity_id"));
    QCOMPARE(payload(), QJsonObject({{u"description"_s, u"Entry e1"_s},
                                     {u"project_id"_s, u"project-1"_s},
                                     {u"tag_ids"_s, QJsonArray{u"tag-1"_s}},
                                     {u"billable"_s, true},
                                     {u"start_at"_s, start},
                                     {u"stop_at"_s, stop}}));
    QCOMPARE(m_controller->entries().size(), 3);
}

void EntryActionsTest::duplicatingIntoAClosedPeriodIsRefused() {
    load({booked()}, {locked()});
    m_controller->duplicateEntry(u"e1"_s);
    QCOMPARE(m_controller->message(), lockedEntry);
    QCOMPARE(m_controller->pending(), 0);
}

void EntryActionsTest::anEntryWithoutReadableTimesIsNotDuplicated() {
    load({sample::entry(u"e1"_s, start, u"later"_s)});
    m_controller->duplicateEntry(u"e1"_s);
    QCOMPARE(m_controller->message(), invalidTimes);
    QCOMPARE(m_controller->pending(), 0);
}

void EntryActionsTest::deletingTakesTheEntryOffTheListAtOnce() {
    load({booked()});
    QVERIFY(!m_controller->canUndoDelete());
    m_controller->deleteEntry(u"e1"_s);
    QCOMPARE(operations(), QStringList{u"entry.delete"_s});
    QCOMPARE(mutationAt(*m_controller, 0).value(u"base_version"), QJsonValue(3));
    QVERIFY(payload().isEmpty());
    QVERIFY(m_controller->entries().isEmpty());
    QVERIFY(m_controller->canUndoDelete());
    QCOMPARE(m_controller->message(), u"Saved securely on this device"_s);
}

void EntryActionsTest::undoingQueuesTheRestoreBehindTheDeletion() {
    load({booked()});
    m_controller->deleteEntry(u"e1"_s);
    const QJsonObject deletion = mutationAt(*m_controller, 0);
    m_controller->undoDelete();
    QCOMPARE(operations(), QStringList({u"entry.delete"_s, u"entry.restore"_s}));
    QCOMPARE(mutationAt(*m_controller, 0), deletion);
    QCOMPARE(mutationAt(*m_controller, 1).value(u"entity_id").toString(), u"e1"_s);
    QCOMPARE(mutationAt(*m_controller, 1).value(u"base_version"), QJsonValue(4));
    QVERIFY(payload(1).isEmpty());
    QCOMPARE(m_controller->entries().size(), 1);
    QVERIFY(!m_controller->canUndoDelete());
    m_controller->undoDelete();
    QCOMPARE(m_controller->pending(), 2);
}

void EntryActionsTest::undoIsOfferedUntilTheNextAction() {
    load({booked(), sample::entry(u"e2"_s, start, stop)});
    m_controller->deleteEntry(u"e1"_s);
    m_controller->editEntry(u"e2"_s, {{u"stop_at"_s, start}}); // refused: nothing was done
    QVERIFY(m_controller->canUndoDelete());
    m_controller->editEntry(u"e2"_s, {{u"description"_s, u"New"_s}});
    QVERIFY(!m_controller->canUndoDelete());
    m_controller->undoDelete();
    QCOMPARE(m_controller->pending(), 2);
    m_controller->deleteEntry(u"e2"_s);
    QVERIFY(m_controller->canUndoDelete());
}

void EntryActionsTest::undoIsOfferedAfterTheServerTookTheDeletion() {
    load({booked()});
    m_desk->peer.answer("GET", u"/v1/me"_s, PeerReply::json(sample::identity()));
    m_desk->peer.answer("POST", u"/v1/sync/push"_s, [](const PeerRequest& request) {
        const QJsonObject mutation = sample::pushed(request);
        QJsonObject entry = booked();
        entry.insert(u"version", mutation.value(u"base_version").toInt() + 1);
        const bool deletes = mutation.value(u"operation").toString() == u"entry.delete"_s;
        entry.insert(u"deleted_at", deletes ? QJsonValue(stop) : QJsonValue());
        return sample::pushReply({sample::result(mutation, u"accepted"_s, entry)});
    });
    QJsonObject deleted = booked();
    deleted.insert(u"version", 4);
    deleted.insert(u"deleted_at", stop);
    m_desk->peer.answer("GET", u"/v1/sync/snapshot"_s, PeerReply::json(sample::snapshot({deleted})));
    m_controller->deleteEntry(u"e1"_s);
    QTRY_COMPARE(m_controller->pending(), 0);
    QTRY_VERIFY(!m_controller->busy());
    QVERIFY(m_controller->canUndoDelete());
    m_desk->holdPushes();
    m_controller->undoDelete();
    QCOMPARE(operations(), QStringList{u"entry.restore"_s});
    QCOMPARE(mutationAt(*m_controller, 0).value(u"base_version"), QJsonValue(4));
    QCOMPARE(m_controller->entries().size(), 1);
}

void EntryActionsTest::undoingIntoAPeriodSubmittedSinceIsRefused() {
    load({booked()});
    m_controller->deleteEntry(u"e1"_s);
    QJsonObject state = m_controller->durableState();
    state.insert(u"snapshot", sample::snapshot({booked()}, {locked()}));
    m_controller->applyDurable(state);
    QVERIFY(m_controller->canUndoDelete());
    m_controller->undoDelete();
    QCOMPARE(m_controller->message(), lockedEntry);
    QCOMPARE(operations(), QStringList{u"entry.delete"_s});
}

void EntryActionsTest::undoIsNotOfferedForARefusedDeletion() {
    load({booked()});
    m_desk->peer.answer("GET", u"/v1/me"_s, PeerReply::json(sample::identity()));
    m_desk->peer.answer("POST", u"/v1/sync/push"_s, [](const PeerRequest& request) {
        return sample::pushReply({sample::result(sample::pushed(request), u"conflict"_s, booked())});
    });
    m_controller->deleteEntry(u"e1"_s);
    QVERIFY(m_controller->canUndoDelete());
    QTRY_VERIFY(!m_controller->retained().isEmpty());
    QVERIFY(!m_controller->canUndoDelete());
}

void EntryActionsTest::deletingALockedEntryIsRefused() {
    load({booked()}, {locked()});
    m_controller->deleteEntry(u"e1"_s);
    QCOMPARE(m_controller->message(), lockedEntry);
    QCOMPARE(m_controller->pending(), 0);
    QVERIFY(!m_controller->canUndoDelete());
}

void EntryActionsTest::unknownEntriesAreRefused_data() {
    QTest::addColumn<QString>("id");
    QTest::newRow("no id") << QString();
    QTest::newRow("unknown") << u"e2"_s;
    QTest::newRow("other letter case") << u"E1"_s;
    QTest::newRow("deleted") << u"gone"_s;
}

void EntryActionsTest::unknownEntriesAreRefused() {
    QFETCH(const QString, id);
    QJsonObject deleted = sample::entry(u"gone"_s, start, stop);
    deleted.insert(u"deleted_at", stop);
    load({booked(), deleted});
    const std::initializer_list<std::function<void()>> actions{
        [&] { m_controller->continueEntry(id); },
        [&] {
            m_controller->editEntry(id, {{u"description"_s, u"New"_s}});
        },
        [&] { m_controller->duplicateEntry(id); },
        [&] { m_controller->deleteEntry(id); },
    };
    for (const auto& act : actions) {
        m_controller->synchronize();
        QTRY_VERIFY(!m_controller->busy());
        QVERIFY(m_controller->message() != notFound);
        act();
        QCOMPARE(m_controller->message(), notFound);
        QVERIFY(!m_controller->busy());
    }
    QCOMPARE(m_controller->pending(), 0);
}

void EntryActionsTest::nothingIsDoneWhileBusy() {
    load({booked()});
    m_controller->deleteEntry(u"e1"_s);
    QVERIFY(m_controller->canUndoDelete());
    makeBusy();
    QSignalSpy changed(m_controller, &Controller::changed);
    m_controller->undoDelete();
    m_controller->continueEntry(u"e1"_s);
    m_controller->editEntry(u"e1"_s, {{u"description"_s, u"New"_s}});
    m_controller->duplicateEntry(u"e1"_s);
    m_controller->deleteEntry(u"e1"_s);
    QCOMPARE(m_controller->pending(), 1);
    QCOMPARE(changed.size(), 0);
    QVERIFY(m_controller->canUndoDelete());
}

QTEST_MAIN(EntryActionsTest)
#include "entryactions.moc"
