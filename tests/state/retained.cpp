// SPDX-License-Identifier: MIT
#include "state/retained.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {

constexpr auto homeZone = "Asia/Jerusalem"_L1;
const QString notSaved = u"The change could not be saved for sending again; it is retained as it was."_s;
const QString notRemoved =
    u"The copy was written, but the queue could not be saved securely; nothing was removed."_s;

QJsonObject item(const QString& operation, const QString& entity, const QJsonObject& payload,
                 const QString& status = u"pending"_s, const QJsonObject& result = {}) {
    static int number = 0;
    QJsonObject made{{u"status"_s, status},
                     {u"mutation"_s, QJsonObject{{u"mutation_id"_s, u"m%1"_s.arg(++number)},
                                                 {u"device_id"_s, u"device"_s},
                                                 {u"workspace_id"_s, u"w"_s},
                                                 {u"entity_id"_s, entity},
                                                 {u"base_version"_s, 3},
                                                 {u"operation"_s, operation},
                                                 {u"payload"_s, payload}}}};
    if (!result.isEmpty()) {
        made.insert(u"result"_s, result);
    }
    return made;
}

QJsonObject elsewhere(QJsonObject moved) {
    QJsonObject mutation = moved.value(u"mutation").toObject();
    mutation.insert(u"workspace_id"_s, u"other"_s);
    moved.insert(u"mutation"_s, mutation);
    return moved;
}

QJsonObject based(QJsonObject item, int version) {
    QJsonObject mutation = item.value(u"mutation").toObject();
    mutation.insert(u"base_version"_s, version);
    item.insert(u"mutation"_s, mutation);
    return item;
}

QJsonObject edit(const QString& entity, const QString& status = u"pending"_s,
                 const QJsonObject& result = {}) {
    return item(u"entry.update"_s, entity, {{u"description"_s, u"Mine"_s}}, status, result);
}

QJsonObject start(const QString& entity, const QString& status, const QJsonObject& result = {}) {
    return item(u"timer.start"_s, entity,
                {{u"description"_s, u"Mine"_s},
                 {u"project_id"_s, u"p1"_s},
                 {u"tag_ids"_s, QJsonArray()},
                 {u"billable"_s, true},
                 {u"start_at"_s, u"2024-03-01T08:00:00Z"_s}},
                status, result);
}

QJsonObject stop(const QString& entity, const QString& status = u"pending"_s,
                 const QJsonObject& result = {}) {
    return item(u"timer.stop"_s, entity, {{u"stop_at"_s, u"2024-07-01T09:30:00Z"_s}}, status, result);
}

QJsonObject entry(const QString& id, int version) {
    return {{u"id"_s, id},
            {u"workspace_id"_s, u"w"_s},
            {u"description"_s, u"Theirs"_s},
            {u"project_id"_s, u"gone"_s},
            {u"tag_ids"_s, QJsonArray{u"t1"_s, u"t2"_s}},
            {u"billable"_s, false},
            {u"start_at"_s, u"2024-03-01T07:00:00Z"_s},
            {u"stop_at"_s, QJsonValue()},
            {u"deleted_at"_s, QJsonValue()},
            {u"version"_s, version}};
}

QJsonObject document(const QJsonArray& queue, const QJsonArray& entries = {}) {
    const QJsonArray projects{QJsonObject{{u"id"_s, u"p1"_s}, {u"name"_s, u"Garden"_s}}};
    return {{u"auth"_s, QJsonObject{{u"token"_s, u"kept"_s}}},
            {u"workspace"_s, u"w"_s},
            {u"snapshot"_s, QJsonObject{{u"catalog"_s, QJsonObject{{u"projects"_s, projects}}},
                                        {u"time_entries"_s, entries}}},
            {u"timer"_s, QJsonObject{{u"id"_s, u"running"_s}}},
            {u"queue"_s, queue}};
}

QJsonObject field(const QString& name, const QJsonValue& recorded, const QJsonValue& server) {
    return {{u"name"_s, name}, {u"recorded"_s, recorded}, {u"server"_s, server}};
}

QJsonObject mutationOf(const QJsonObject& of) {
    return of.value(u"mutation").toObject();
}

QJsonArray fieldsOf(const QJsonObject& state, const QString& inZone = homeZone) {
    return Retained::describe(state, inZone).value(u"fields").toArray();
}

/// Stores or refuses, and remembers what it was asked to store.
struct Store {
    bool accepts = true;
    QList<QJsonObject> asked;

    PersistState callback() {
        return [this](const QJsonObject& candidate) {
            asked.append(candidate);
            return accepts;
        };
    }
};

} // namespace

class RetainedTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void nothingIsRetainedWhileTheHeadWaits_data();
    void nothingIsRetainedWhileTheHeadWaits();
    void tellsWhatWasRefused();
    void findsTheServersSentence_data();
    void findsTheServersSentence();
    void showsFieldsSideBySide_data();
    void showsFieldsSideBySide();
    void showsTheNewerOfSnapshotAndVerdict();
    void readsTimesInTheZone_data();
    void readsTimesInTheZone();
    void aCreationLeavesWithTheLaterChangesOfItsEntry_data();
    void aCreationLeavesWithTheLaterChangesOfItsEntry();
    void laterChangesDoNotCountOnWhatWasRemoved();
    void aStopOfTheServersTimerKeepsItsVersion_data();
    void aStopOfTheServersTimerKeepsItsVersion();
    void sendsTheSameChangeAgainAsANewOne_data();
    void sendsTheSameChangeAgainAsANewOne();
    void aRefusedCreationTakesItsEditsAlong_data();
    void aRefusedCreationTakesItsEditsAlong();
    void onlyWhatTheServerDoesNotHaveTakesEditsAlong();
    void sendsAStartBehindTheStopThatClearsItsWay_data();
    void sendsAStartBehindTheStopThatClearsItsWay();
    void sendsNothingAgainThatWasNotRefused();
    void takesWhatLeavesOutOfTheQueueAlone();
    void whatCannotBeStoredChangesNothing();
    void worksWithoutAnErrorText();
};

void RetainedTest::nothingIsRetainedWhileTheHeadWaits_data() {
    QTest::addColumn<QJsonArray>("queue");
    QTest::newRow("empty") << QJsonArray();
    QTest::newRow("pending") << QJsonArray{edit(u"e"_s)};
    QTest::newRow("refused behind a pending one") << QJsonArray{edit(u"e"_s), edit(u"f"_s, u"conflict"_s)};
}

void RetainedTest::nothingIsRetainedWhileTheHeadWaits() {
    QFETCH(const QJsonArray, queue);
    QCOMPARE(Retained::describe(document(queue), homeZone), QJsonObject());
    QCOMPARE(Retained::leaving(queue), QJsonArray());
}

void RetainedTest::tellsWhatWasRefused() {
    const QJsonObject head = start(u"e"_s, u"rejected"_s, {{u"message"_s, u"No such project."_s}});
    const QJsonObject told =
        Retained::describe(document({head, stop(u"e"_s), edit(u"f"_s)}, {entry(u"f"_s, 4)}), homeZone);
    QCOMPARE(told.value(u"operation").toString(), u"timer.start"_s);
    QCOMPARE(told.value(u"status").toString(), u"rejected"_s);
    QCOMPARE(told.value(u"sentence").toString(), u"No such project."_s);
    QCOMPARE(told.value(u"leaving").toInt(), 2);
    QCOMPARE(told.value(u"pending").toInt(), 3);
}

void RetainedTest::findsTheServersSentence_data() {
    QTest::addColumn<QJsonObject>("result");
    QTest::addColumn<QString>("sentence");
    const QString said = u"Because."_s;
    const auto error = [](const QJsonValue& value) { return QJsonObject{{u"error"_s, value}}; };
    QTest::newRow("message") << QJsonObject{{u"message"_s, said}} << said;
    QTest::newRow("error.message") << error(QJsonObject{{u"message"_s, said}}) << said;
    QTest::newRow("reason") << QJsonObject{{u"reason"_s, said}} << said;
    QTest::newRow("error") << error(said) << said;
    QTest::newRow("an empty one before")
        << QJsonObject{{u"message"_s, QString()}, {u"reason"_s, said}} << said;
    QTest::newRow("not a text") << QJsonObject{{u"message"_s, 7}} << QString();
    QTest::newRow("none") << QJsonObject{{u"status"_s, u"conflict"_s}} << QString();
}

void RetainedTest::findsTheServersSentence() {
    QFETCH(const QJsonObject, result);
    QTEST(Retained::describe(document({edit(u"e"_s, u"conflict"_s, result)}), homeZone)
              .value(u"sentence")
              .toString(),
          "sentence");
}

void RetainedTest::showsFieldsSideBySide_data() {
    QTest::addColumn<QJsonObject>("state");
    QTest::addColumn<QJsonArray>("fields");
    const QJsonValue none;
    const QString conflict = u"conflict"_s;
    const QString theirStart = u"2024-03-01 09:00:00"_s;

    QTest::newRow("an edit names its entry and the field that it changes")
        << document({edit(u"e"_s, conflict)}, {entry(u"e"_s, 5)})
        << QJsonArray{field(u"description"_s, u"Mine"_s, u"Theirs"_s),
                      field(u"start_at"_s, none, theirStart)};
    QTest::newRow("an edit that empties the description")
        << document({item(u"entry.update"_s, u"e"_s, {{u"description"_s, QString()}}, conflict)},
                    {entry(u"e"_s, 5)})
        << QJsonArray{field(u"description"_s, QString(), u"Theirs"_s),
                      field(u"start_at"_s, none, theirStart)};
    QTest::newRow("a stop") << document({stop(u"e"_s, conflict)}, {entry(u"e"_s, 5)})
                            << QJsonArray{field(u"description"_s, none, u"Theirs"_s),
                                          field(u"start_at"_s, none, theirStart),
                                          field(u"stop_at"_s, u"2024-07-01 12:30:00"_s, none)};
    QTest::newRow("a creation that the server does not have")
        << document({start(u"e"_s, conflict)}, {entry(u"another"_s, 5)})
        << QJsonArray{field(u"description"_s, u"Mine"_s, none), field(u"project"_s, u"Garden"_s, none),
                      field(u"billable"_s, true, none), field(u"start_at"_s, u"2024-03-01 10:00:00"_s, none)};
    QTest::newRow("a creation that the server has differently")
        << document({start(u"e"_s, conflict)}, {entry(u"e"_s, 5)})
        << QJsonArray{field(u"description"_s, u"Mine"_s, u"Theirs"_s),
                      field(u"project"_s, u"Garden"_s, u"gone"_s), field(u"billable"_s, true, false),
                      field(u"start_at"_s, u"2024-03-01 10:00:00"_s, theirStart),
                      field(u"tags"_s, none, u"t1, t2"_s)};
    QJsonObject deleted = entry(u"e"_s, 5);
    deleted.insert(u"deleted_at"_s, u"2024-03-02T10:00:00Z"_s);
    QTest::newRow("an entry that was deleted")
        << document({edit(u"e"_s, u"rejected"_s)}, {deleted})
        << QJsonArray{field(u"description"_s, u"Mine"_s, u"Theirs"_s), field(u"start_at"_s, none, theirStart),
                      field(u"deleted_at"_s, none, u"2024-03-02 12:00:00"_s)};
    QTest::newRow("an edit of what the server never showed")
        << document({edit(u"e"_s, u"rejected"_s)}) << QJsonArray{field(u"description"_s, u"Mine"_s, none)};
    QJsonObject foreign = entry(u"e"_s, 5);
    foreign.insert(u"workspace_id"_s, u"other"_s);
    QTest::newRow("an entry of another workspace is not the one")
        << document({edit(u"e"_s, conflict)}, {foreign})
        << QJsonArray{field(u"description"_s, u"Mine"_s, none)};
}

void RetainedTest::showsFieldsSideBySide() {
    QFETCH(const QJsonObject, state);
    QTEST(fieldsOf(state), "fields");
}

void RetainedTest::showsTheNewerOfSnapshotAndVerdict() {
    QJsonObject canonical = entry(u"e"_s, 4);
    canonical.insert(u"description"_s, u"Then"_s);
    const QJsonArray queue{edit(u"e"_s, u"conflict"_s, {{u"canonical"_s, canonical}})};
    QCOMPARE(fieldsOf(document(queue)).first().toObject().value(u"server").toString(), u"Then"_s);
    QCOMPARE(fieldsOf(document(queue, {entry(u"e"_s, 3)})).first().toObject().value(u"server").toString(),
             u"Then"_s);
    QCOMPARE(fieldsOf(document(queue, {entry(u"e"_s, 5)})).first().toObject().value(u"server").toString(),
             u"Theirs"_s);
}

void RetainedTest::readsTimesInTheZone_data() {
    QTest::addColumn<QString>("time");
    QTest::addColumn<QString>("zone");
    QTest::addColumn<QString>("shown");
    const QString summer = u"2024-07-01T22:30:00Z"_s;
    QTest::newRow("summer time") << summer << u"Asia/Jerusalem"_s << u"2024-07-02 01:30:00"_s;
    QTest::newRow("winter time") << u"2024-01-01T22:30:00Z"_s << u"Asia/Jerusalem"_s
                                 << u"2024-01-02 00:30:00"_s;
    QTest::newRow("another zone") << summer << u"America/New_York"_s << u"2024-07-01 18:30:00"_s;
    QTest::newRow("an offset in the text")
        << u"2024-07-01T22:30:00+02:00"_s << u"UTC"_s << u"2024-07-01 20:30:00"_s;
    QTest::newRow("an unknown zone") << summer << u"Nowhere/Else"_s << u"2024-07-01 22:30:00 +00:00"_s;
    QTest::newRow("not a time") << u"tomorrow"_s << u"UTC"_s << u"tomorrow"_s;
}

void RetainedTest::readsTimesInTheZone() {
    QFETCH(const QString, time);
    QFETCH(const QString, zone);
    QFETCH(const QString, shown);
    const QJsonArray queue{item(u"timer.stop"_s, u"e"_s, {{u"stop_at"_s, time}}, u"conflict"_s)};
    QCOMPARE(fieldsOf(document(queue), zone), QJsonArray{field(u"stop_at"_s, shown, QJsonValue())});
}

void RetainedTest::aCreationLeavesWithTheLaterChangesOfItsEntry_data() {
    QTest::addColumn<QJsonArray>("leaving");
    QTest::addColumn<QJsonObject>("staying");
    QTest::addColumn<int>("base");
    const QJsonObject created =
        item(u"entry.create"_s, u"e"_s, {{u"description"_s, u"Mine"_s}}, u"rejected"_s);
    QTest::newRow("a start alone") << QJsonArray{start(u"e"_s, u"conflict"_s)} << stop(u"f"_s) << 3;
    QTest::newRow("a start with its stop")
        << QJsonArray{start(u"e"_s, u"conflict"_s), stop(u"e"_s)} << edit(u"f"_s) << 3;
    QTest::newRow("a manual entry with its edits")
        << QJsonArray{created, edit(u"e"_s), edit(u"e"_s)} << edit(u"f"_s) << 3;
    QTest::newRow("the same id in another workspace")
        << QJsonArray{created, edit(u"e"_s)} << elsewhere(edit(u"e"_s)) << 3;
    QTest::newRow("an edit alone") << QJsonArray{edit(u"e"_s, u"conflict"_s)} << based(edit(u"e"_s), 4) << 3;
    QTest::newRow("a stop alone") << QJsonArray{stop(u"e"_s, u"rejected"_s)} << based(edit(u"e"_s), 4) << 3;
}

void RetainedTest::aCreationLeavesWithTheLaterChangesOfItsEntry() {
    QFETCH(const QJsonArray, leaving);
    QFETCH(const QJsonObject, staying);
    QFETCH(const int, base);
    // The head, what stays, and then what else leaves.
    QJsonArray queue{leaving.first(), staying};
    for (qsizetype i = 1; i < leaving.size(); ++i) {
        queue.append(leaving.at(i));
    }
    QCOMPARE(Retained::leaving(queue), leaving);
    QCOMPARE(Retained::describe(document(queue), homeZone).value(u"leaving").toInteger(), leaving.size());
    QJsonObject state = document(queue);
    Store store;
    QVERIFY(Retained::remove(state, leaving, store.callback()));
    QCOMPARE(state, document({based(staying, base)}));
}

void RetainedTest::laterChangesDoNotCountOnWhatWasRemoved() {
    const QJsonObject head = edit(u"e"_s, u"conflict"_s);
    const QJsonObject second = edit(u"e"_s);
    const QJsonObject third = stop(u"e"_s);
    const QJsonObject other = edit(u"f"_s);
    QJsonObject state = document({head, based(second, 4), other, elsewhere(second), based(third, 5)});
    Store store;
    QVERIFY(Retained::remove(state, {head}, store.callback()));
    QCOMPARE(state, document({based(second, 3), other, elsewhere(second), based(third, 4)}));
    // What counts on nothing that was removed keeps its very words.
    QJsonObject odd = other;
    odd.insert(u"mutation"_s, QJsonObject{{u"entity_id"_s, u"f"_s}});
    state = document({head, odd});
    QVERIFY(Retained::remove(state, {head}, store.callback()));
    QCOMPARE(state, document({odd}));
    // There is no version before the first.
    state = document({head, based(second, 0)});
    QVERIFY(Retained::remove(state, {head}, store.callback()));
    QCOMPARE(state, document({based(second, 0)}));
}

void RetainedTest::aStopOfTheServersTimerKeepsItsVersion_data() {
    QTest::addColumn<QString>("status");
    QTest::addColumn<int>("server");
    QTest::addColumn<int>("stopped");
    QTest::addColumn<int>("later");
    QTest::addColumn<int>("stoppedThen");
    QTest::addColumn<int>("laterThen");
    // The refused change is one of version 3.
    QTest::newRow("stopped after a rejection") << u"rejected"_s << 3 << 3 << 4 << 3 << 4;
    QTest::newRow("stopped after a conflict") << u"conflict"_s << 5 << 5 << 6 << 5 << 5;
    QTest::newRow("stopped before a rejection") << u"rejected"_s << 3 << 4 << 5 << 3 << 4;
}

void RetainedTest::aStopOfTheServersTimerKeepsItsVersion() {
    QFETCH(const QString, status);
    QFETCH(const int, server);
    QFETCH(const int, stopped);
    QFETCH(const int, later);
    QFETCH(const int, stoppedThen);
    QFETCH(const int, laterThen);
    const QJsonArray entries{entry(u"e"_s, server)};
    const QJsonObject head = edit(u"e"_s, status);
    const QJsonObject ending = stop(u"e"_s);
    const QJsonObject last = edit(u"e"_s);
    QJsonObject state = document({head, based(ending, stopped), based(last, later)}, entries);
    Store store;
    QVERIFY(Retained::remove(state, {head}, store.callback()));
    QCOMPARE(state, document({based(ending, stoppedThen), based(last, laterThen)}, entries));
}

void RetainedTest::sendsTheSameChangeAgainAsANewOne_data() {
    QTest::addColumn<QJsonObject>("head");
    QTest::addColumn<QJsonArray>("entries");
    QTest::addColumn<int>("version");
    const QJsonObject verdict{{u"canonical"_s, entry(u"e"_s, 8)}};
    const QString conflict = u"conflict"_s;
    QTest::newRow("the snapshot's version") << edit(u"e"_s, conflict) << QJsonArray{entry(u"e"_s, 9)} << 9;
    QTest::newRow("the verdict's version") << edit(u"e"_s, conflict, verdict) << QJsonArray() << 8;
    QTest::newRow("the snapshot's before the verdict's")
        << edit(u"e"_s, conflict, verdict) << QJsonArray{entry(u"e"_s, 9)} << 9;
    QTest::newRow("the verdict's before an older snapshot's")
        << edit(u"e"_s, conflict, verdict) << QJsonArray{entry(u"e"_s, 7)} << 8;
    QTest::newRow("as recorded where the server has none")
        << edit(u"e"_s, u"rejected"_s) << QJsonArray{entry(u"f"_s, 9)} << 3;
    QTest::newRow("a stop") << stop(u"e"_s, conflict) << QJsonArray{entry(u"e"_s, 9)} << 9;
}

void RetainedTest::sendsTheSameChangeAgainAsANewOne() {
    QFETCH(const QJsonObject, head);
    QFETCH(const QJsonArray, entries);
    QFETCH(const int, version);
    const QJsonObject behind = edit(u"e"_s);
    QJsonObject mutation = mutationOf(head);
    mutation.insert(u"mutation_id"_s, u"new"_s);
    mutation.insert(u"base_version"_s, version);
    const QJsonObject expected =
        document({QJsonObject{{u"status"_s, u"pending"_s}, {u"mutation"_s, mutation}}, behind}, entries);

    QJsonObject state = document({head, behind}, entries);
    Store store;
    QString error = u"from before"_s;
    QVERIFY(Retained::resend(state, u"new"_s, store.callback(), &error));
    QCOMPARE(state, expected);
    QCOMPARE(store.asked, QList<QJsonObject>{expected});
    QVERIFY(error.isNull());
}

void RetainedTest::aRefusedCreationTakesItsEditsAlong_data() {
    QTest::addColumn<QJsonObject>("head");
    QTest::addColumn<QJsonArray>("behind");
    QTest::addColumn<QJsonObject>("corrected"); // what of the head's payload is another
    QTest::addColumn<QJsonArray>("left");
    const QString began = u"2024-07-01T08:00:00Z"_s;
    const QString ended = u"2024-07-01T10:30:00Z"_s;
    const QJsonObject created =
        item(u"entry.create"_s, u"e"_s,
             {{u"description"_s, u"Long"_s}, {u"project_id"_s, u"archived"_s}, {u"stop_at"_s, u"then"_s}},
             u"rejected"_s);
    const QJsonObject started = start(u"e"_s, u"rejected"_s);
    const auto update = [](const QJsonObject& payload) { return item(u"entry.update"_s, u"e"_s, payload); };
    const QJsonObject first = update({{u"description"_s, u"First"_s}});
    const QJsonObject named = update({{u"description"_s, u"Last"_s}});
    const QJsonObject booked = update({{u"project_id"_s, u"p2"_s}});
    const QJsonObject both{{u"description"_s, u"Last"_s}, {u"project_id"_s, u"p2"_s}};
    const QJsonObject times{{u"start_at"_s, began}, {u"stop_at"_s, ended}};
    const QJsonObject moved = update(times);
    const QJsonObject ending = stop(u"e"_s);
    QJsonObject laterStop = mutationOf(ending);
    laterStop.insert(u"payload"_s, QJsonObject{{u"stop_at"_s, ended}});
    const QJsonObject movedEnding{{u"status"_s, u"pending"_s}, {u"mutation"_s, laterStop}};
    const QJsonObject deletion = item(u"entry.delete"_s, u"e"_s, {});
    const QJsonObject other = edit(u"f"_s);
    const QJsonObject foreign = elsewhere(booked);

    QTest::newRow("in their order") << created
                                    << QJsonArray{based(first, 1), based(booked, 2), based(named, 3)} << both
                                    << QJsonArray();
    QTest::newRow("the times of an entry with an end")
        << created << QJsonArray{based(moved, 1)} << times << QJsonArray();
    QTest::newRow("no other entry's, nor another workspace's")
        << created << QJsonArray{other, foreign, based(named, 1), foreign, based(booked, 2), other} << both
        << QJsonArray{other, foreign, foreign, other};
    QTest::newRow("a deletion counts on the creation then")
        << created << QJsonArray{based(booked, 1), based(named, 2), based(deletion, 3)} << both
        << QJsonArray{based(deletion, 1)};
    QTest::newRow("past a start's stop")
        << started << QJsonArray{based(booked, 1), based(ending, 2), based(named, 3)} << both
        << QJsonArray{based(ending, 1)};
    QTest::newRow("a start's stop takes its end")
        << started << QJsonArray{based(ending, 1), other, based(moved, 2)}
        << QJsonObject{{u"start_at"_s, began}} << QJsonArray{based(movedEnding, 1), other};
    QTest::newRow("a start without a stop takes no end")
        << started << QJsonArray{based(booked, 1), based(moved, 2), based(named, 3), based(ending, 4)}
        << QJsonObject{{u"project_id"_s, u"p2"_s}}
        << QJsonArray{based(moved, 1), based(named, 2), based(ending, 3)};
}

void RetainedTest::aRefusedCreationTakesItsEditsAlong() {
    QFETCH(const QJsonObject, head);
    QFETCH(const QJsonArray, behind);
    QFETCH(const QJsonObject, corrected);
    QFETCH(const QJsonArray, left);
    QJsonObject mutation = mutationOf(head);
    QJsonObject payload = mutation.value(u"payload").toObject();
    for (auto field = corrected.begin(); field != corrected.end(); ++field) {
        payload.insert(field.key(), field.value());
    }
    mutation.insert(u"payload"_s, payload);
    mutation.insert(u"mutation_id"_s, u"new"_s);
    QJsonArray expected = left;
    expected.prepend(QJsonObject{{u"status"_s, u"pending"_s}, {u"mutation"_s, mutation}});

    QJsonArray queue = behind;
    queue.prepend(head);
    QJsonObject state = document(queue);
    Store store;
    QVERIFY(Retained::resend(state, u"new"_s, store.callback()));
    QCOMPARE(state, document(expected));
    QCOMPARE(store.asked, QList<QJsonObject>{state});
}

void RetainedTest::onlyWhatTheServerDoesNotHaveTakesEditsAlong() {
    const QJsonArray later{based(edit(u"e"_s), 4), based(stop(u"e"_s), 5)};
    for (const QJsonObject& head : {edit(u"e"_s, u"conflict"_s), start(u"e"_s, u"conflict"_s)}) {
        QJsonObject state = document({head, later.at(0), later.at(1)}, {entry(u"e"_s, 3)});
        Store store;
        QVERIFY(Retained::resend(state, u"new"_s, store.callback()));
        const QJsonArray queue = state.value(u"queue").toArray();
        QCOMPARE((QJsonArray{queue.at(1), queue.at(2)}), later);
    }
}

void RetainedTest::sendsAStartBehindTheStopThatClearsItsWay_data() {
    QTest::addColumn<QJsonArray>("behind");
    QTest::addColumn<QString>("running");
    QTest::addColumn<QStringList>("order");
    const QString running = u"r"_s;
    QTest::newRow("the stop alone") << QJsonArray{stop(u"r"_s)} << running << QStringList{u"r"_s, u"e"_s};
    QTest::newRow("with what was recorded before it")
        << QJsonArray{edit(u"f"_s), stop(u"r"_s), edit(u"g"_s)} << running
        << QStringList{u"f"_s, u"r"_s, u"e"_s, u"g"_s};
    QTest::newRow("the start's later changes stay behind it")
        << QJsonArray{stop(u"e"_s), stop(u"r"_s)} << running << QStringList{u"r"_s, u"e"_s, u"e"_s};
    QTest::newRow("the stop of another")
        << QJsonArray{stop(u"f"_s)} << running << QStringList{u"e"_s, u"f"_s};
    QTest::newRow("no timer runs") << QJsonArray{stop(u"r"_s)} << QString() << QStringList{u"e"_s, u"r"_s};
    QTest::newRow("it runs already") << QJsonArray{edit(u"f"_s), stop(u"e"_s)} << u"e"_s
                                     << QStringList{u"e"_s, u"f"_s, u"e"_s};
}

void RetainedTest::sendsAStartBehindTheStopThatClearsItsWay() {
    QFETCH(const QJsonArray, behind);
    QFETCH(const QString, running);
    QFETCH(const QStringList, order);
    QJsonArray queue = behind;
    queue.prepend(start(u"e"_s, u"conflict"_s));
    QJsonObject state = document(queue);
    if (!running.isEmpty()) {
        state.insert(u"timer"_s, entry(running, 1));
    }
    Store store;
    QVERIFY(Retained::resend(state, u"new"_s, store.callback()));
    QStringList entities;
    for (const auto& item : state.value(u"queue").toArray()) {
        QCOMPARE(item[u"status"].toString(), u"pending"_s);
        entities.append(mutationOf(item.toObject()).value(u"entity_id").toString());
    }
    QCOMPARE(entities, order);
}

void RetainedTest::sendsNothingAgainThatWasNotRefused() {
    for (const QJsonArray& queue : {QJsonArray(), QJsonArray{edit(u"e"_s)}}) {
        QJsonObject state = document(queue);
        Store store;
        QString error;
        QVERIFY(!Retained::resend(state, u"new"_s, store.callback(), &error));
        QCOMPARE(error, notSaved);
        QCOMPARE(state, document(queue));
        QVERIFY(store.asked.isEmpty());
    }
}

void RetainedTest::takesWhatLeavesOutOfTheQueueAlone() {
    const QJsonArray queue{edit(u"e"_s, u"conflict"_s), edit(u"f"_s), stop(u"g"_s)};
    QJsonObject state = document(queue, {entry(u"e"_s, 5)});
    Store store;
    QString error = u"from before"_s;
    QVERIFY(Retained::remove(state, queue, store.callback(), &error));
    QCOMPARE(state, document({}, {entry(u"e"_s, 5)}));
    QCOMPARE(store.asked, QList<QJsonObject>{state});
    QVERIFY(error.isNull());
}

void RetainedTest::whatCannotBeStoredChangesNothing() {
    const QJsonObject before = document({edit(u"e"_s, u"conflict"_s), edit(u"f"_s)}, {entry(u"e"_s, 5)});
    QJsonObject state = before;
    Store store{false, {}};
    QString error;
    QVERIFY(!Retained::resend(state, u"new"_s, store.callback(), &error));
    QCOMPARE(error, notSaved);
    QCOMPARE(state, before);
    QVERIFY(!Retained::remove(state, before.value(u"queue").toArray(), store.callback(), &error));
    QCOMPARE(error, notRemoved);
    QCOMPARE(state, before);
    QCOMPARE(store.asked.size(), 2);
}

void RetainedTest::worksWithoutAnErrorText() {
    QJsonObject state = document({edit(u"e"_s, u"conflict"_s)});
    Store refusing{false, {}};
    QVERIFY(!Retained::resend(state, u"new"_s, refusing.callback()));
    QVERIFY(
        !Retained::remove(state, Retained::leaving(state.value(u"queue").toArray()), refusing.callback()));
}

QTEST_GUILESS_MAIN(RetainedTest)
#include "retained.moc"
