// SPDX-License-Identifier: MIT
#include "tests/controller/resolver.h"
#include "tests/support/client.h"
#include "tests/support/vaultfile.h"

#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString connected = u"Connected to PostgreSQL"_s;
const QString push = u"/v1/sync/push"_s;
const QString snapshotPath = u"/v1/sync/snapshot"_s;

QJsonObject mutationOf(const QJsonValue& item) {
    return item[u"mutation"].toObject();
}

} // namespace

/// What there is to know about the change that the server refused, and how it is sent again.
class ResolvingTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }

    void theRefusedChangeIsShownBesideTheServersEntry();
    void theServersSideFollowsTheReloads();
    void timesFollowTheAccountsZone();
    void sendingAgainTakesTheHeadsPlaceAsANewChange();
    void aRefusedEntryIsCorrectedAndSentAgain();
    void sendingAgainSurvivesARestart();
    void sendingAgainCanBeRefusedAgain();
    void sendingAgainThatCannotBeStoredChangesNothing_data();
    void sendingAgainThatCannotBeStoredChangesNothing();
    void whatTheServerDidNotRefuseStays();
    void nothingIsResolvedWhileARequestIsUnderWay();
};

void ResolvingTest::theRefusedChangeIsShownBesideTheServersEntry() {
    Resolver person;
    QVERIFY(person.hold({Resolver::start(u"e1"_s), Resolver::stop(u"e1"_s)}));
    QVERIFY(person.controller().retained().isEmpty());
    person.desk.peer.answer("POST", push, [](const PeerRequest& request) {
        QJsonObject result =
            sample::result(sample::pushed(request), u"conflict"_s, Resolver::theirs(u"e1"_s));
        result.insert(u"message"_s, u"An entry with this id exists already."_s);
        return sample::pushReply({result});
    });
    person.controller().synchronize();
    QTRY_COMPARE(person.controller().message(), Resolver::blocked());

    const auto field = [](const QString& name, const QJsonValue& recorded, const QJsonValue& server) {
        return QJsonObject{{u"name"_s, name}, {u"recorded"_s, recorded}, {u"server"_s, server}};
    };
    const QJsonObject expected{
        {u"operation"_s, u"timer.start"_s},
        {u"status"_s, u"conflict"_s},
        {u"sentence"_s, u"An entry with this id exists already."_s},
        {u"leaving"_s, 2},
        {u"pending"_s, 2},
        {u"fields"_s,
         QJsonArray{field(u"description"_s, u"Mine"_s, u"Entry e1"_s),
                    field(u"project"_s, u"Garden"_s, QJsonValue()), field(u"billable"_s, true, false),
                    field(u"start_at"_s, u"2024-03-01 09:00:00"_s, u"2024-03-01 09:00:00"_s),
                    field(u"stop_at"_s, QJsonValue(), u"2024-03-01 10:00:00"_s)}}};
    QCOMPARE(QJsonObject::fromVariantMap(person.controller().retained()), expected);
    QCOMPARE(person.controller().property("retained").toMap(), person.controller().retained());
}

void ResolvingTest::theServersSideFollowsTheReloads() {
    Resolver person;
    QVERIFY(person.hold({Resolver::edit(u"e1"_s, u"conflict"_s)}));
    const auto server = [&person] {
        const QVariantList fields = person.controller().retained().value(u"fields"_s).toList();
        return fields.value(0).toMap().value(u"server"_s).toString();
    };
    QCOMPARE(server(), u"Entry e1"_s);
    QJsonObject changed = Resolver::theirs(u"e1"_s, 8);
    changed.insert(u"description"_s, u"Changed once more"_s);
    person.desk.peer.answer("GET", snapshotPath, PeerReply::json(sample::snapshot({changed})));
    QString atChanged;
    connect(&person.controller(), &Controller::changed, this, [&] { atChanged = server(); });
    person.controller().refresh();
    QTRY_COMPARE(atChanged, u"Changed once more"_s);
}

void ResolvingTest::timesFollowTheAccountsZone() {
    Resolver person;
    QVERIFY(person.hold({Resolver::edit(u"e1"_s, u"conflict"_s)}));
    const auto startTime = [&person] {
        const QVariantList fields = person.controller().retained().value(u"fields"_s).toList();
        return fields.value(1).toMap().value(u"server"_s).toString();
    };
    QCOMPARE(startTime(), u"2024-03-01 09:00:00"_s);
    QJsonObject moved = sample::identity();
    moved.insert(u"timezone"_s, u"America/New_York"_s);
    person.desk.peer.answer("GET", u"/v1/me"_s, PeerReply::json(moved));
    person.desk.peer.answer("GET", u"/v1/workspaces"_s, PeerReply::json({}, 503));
    person.controller().fetchIdentity();
    QTRY_COMPARE(person.controller().message(), u"Unable to list workspaces for this account"_s);
    QCOMPARE(startTime(), u"2024-03-01 03:00:00"_s);
}

void ResolvingTest::sendingAgainTakesTheHeadsPlaceAsANewChange() {
    Resolver person;
    QJsonObject refused = Resolver::edit(u"e1"_s, u"conflict"_s);
    refused.insert(u"result"_s, QJsonObject{{u"status"_s, u"conflict"_s}});
    const QJsonObject behind = Resolver::edit(u"e2"_s);
    QVERIFY(person.hold({refused, behind}));
    person.controller().resendRetained();
    QVERIFY(person.controller().retained().isEmpty());
    const QJsonObject sent = mutationAt(person.controller(), 0);
    QJsonObject expected = mutationOf(refused);
    expected.insert(u"mutation_id"_s, sent.value(u"mutation_id"));
    expected.insert(u"base_version"_s, 7);
    QCOMPARE(sent, expected);
    QVERIFY(sent.value(u"mutation_id") != mutationOf(refused).value(u"mutation_id"));

    QTRY_COMPARE(person.controller().message(), connected);
    const QList<PeerRequest> pushes = person.desk.peer.requests("POST", push);
    QCOMPARE(pushes.size(), 2);
    QCOMPARE(sample::pushed(pushes.at(0)), sent);
    QCOMPARE(QString::fromLatin1(pushes.at(0).headers.value("idempotency-key")),
             sent.value(u"mutation_id").toString());
    QCOMPARE(sample::pushed(pushes.at(1)), mutationOf(behind));
    QVERIFY(person.desk.stored().value(u"queue").toArray().isEmpty());
}

void ResolvingTest::aRefusedEntryIsCorrectedAndSentAgain() {
    Resolver person;
    QVERIFY(person.hold({Resolver::start(u"new"_s, u"rejected"_s), Resolver::stop(u"new"_s)}));
    person.controller().editEntry(u"new"_s, {{u"description"_s, u"Shorter"_s}, {u"project_id"_s, QString()}});
    QCOMPARE(person.controller().message(), Resolver::blocked());
    QCOMPARE(person.controller().pending(), 3);
    person.desk.peer.forgetRequests();
    person.controller().resendRetained();
    QCOMPARE(person.controller().pending(), 2);

    QTRY_COMPARE(person.controller().message(), connected);
    const QList<PeerRequest> pushes = person.desk.peer.requests("POST", push);
    QCOMPARE(pushes.size(), 2);
    const QJsonObject sent = sample::pushed(pushes.at(0));
    QCOMPARE(sent.value(u"operation").toString(), u"timer.start"_s);
    QCOMPARE(sent.value(u"payload").toObject(), (QJsonObject{{u"description"_s, u"Shorter"_s},
                                                             {u"project_id"_s, QJsonValue()},
                                                             {u"billable"_s, true},
                                                             {u"start_at"_s, u"2024-03-01T08:00:00Z"_s}}));
    QCOMPARE(sample::pushed(pushes.at(1)).value(u"operation").toString(), u"timer.stop"_s);
}

void ResolvingTest::sendingAgainSurvivesARestart() {
    Resolver person;
    QVERIFY(person.hold({Resolver::edit(u"e1"_s, u"rejected"_s)}));
    person.desk.restart();
    QVERIFY(person.desk.load());
    QTRY_COMPARE(person.controller().message(), Resolver::blocked());
    QVERIFY(!person.controller().retained().isEmpty());
    person.desk.holdPushes();
    person.controller().resendRetained();
    QCOMPARE(person.controller().message(), u"The change is sent again as a new one."_s);
    const QJsonObject sent = mutationAt(person.controller(), 0);
    QCOMPARE(person.desk.stored(), person.controller().durableState());

    person.desk.peer.answer("GET", u"/v1/me"_s, PeerReply::json(sample::identity()));
    person.desk.restart();
    QVERIFY(person.desk.load());
    QTRY_COMPARE(person.controller().pending(), 0);
    QCOMPARE(person.desk.peer.requests("POST", push).size(), 1);
    QCOMPARE(sample::pushed(person.desk.peer.requests("POST", push).first()), sent);
}

void ResolvingTest::sendingAgainCanBeRefusedAgain() {
    Resolver person;
    QVERIFY(person.hold({Resolver::edit(u"e1"_s, u"rejected"_s)}));
    person.desk.peer.answer("POST", push, [](const PeerRequest& request) {
        QJsonObject result = sample::result(sample::pushed(request), u"rejected"_s);
        result.insert(u"message"_s, u"Still closed."_s);
        return sample::pushReply({result});
    });
    person.controller().resendRetained();
    QTRY_COMPARE(person.controller().message(), Resolver::blocked());
    QCOMPARE(person.controller().retained().value(u"sentence"_s).toString(), u"Still closed."_s);
    QCOMPARE(person.controller().pending(), 1);
}

void ResolvingTest::sendingAgainThatCannotBeStoredChangesNothing_data() {
    QTest::addColumn<int>("how");
    QTest::newRow("refused") << static_cast<int>(SaveBlocker::How::Refuse);
    QTest::newRow("busy") << static_cast<int>(SaveBlocker::How::Busy);
}

void ResolvingTest::sendingAgainThatCannotBeStoredChangesNothing() {
    QFETCH(const int, how);
    Resolver person;
    QVERIFY(person.hold({Resolver::edit(u"e1"_s, u"conflict"_s), Resolver::edit(u"e2"_s)}));
    const QJsonObject before = person.controller().durableState();
    const QVariantMap shown = person.controller().retained();
    {
        const SaveBlocker blocker(person.desk.peer.url(), static_cast<SaveBlocker::How>(how));
        person.controller().resendRetained();
    }
    QCOMPARE(person.controller().message(),
             u"The change could not be saved for sending again; it is retained as it was."_s);
    QVERIFY(!person.controller().busy());
    QCOMPARE(person.controller().durableState(), before);
    QCOMPARE(person.controller().retained(), shown);
    QCOMPARE(person.desk.stored(), before);
    QVERIFY(person.desk.peer.requests().isEmpty());
}

void ResolvingTest::whatTheServerDidNotRefuseStays() {
    Resolver person;
    QVERIFY(person.hold({Resolver::edit(u"e1"_s), Resolver::edit(u"e2"_s, u"conflict"_s)}));
    QSignalSpy changed(&person.controller(), &Controller::changed);
    person.controller().resendRetained();
    person.controller().removeRetained();
    QVERIFY(changed.isEmpty());
    QVERIFY(person.dialogs.seen().isEmpty());
}

void ResolvingTest::nothingIsResolvedWhileARequestIsUnderWay() {
    Resolver person;
    QVERIFY(person.hold({Resolver::edit(u"e1"_s, u"conflict"_s)}));
    person.desk.peer.answer("GET", snapshotPath, PeerReply::only(PeerReply::Delivery::Never));
    person.controller().refresh();
    QVERIFY(person.controller().busy());
    const QJsonObject before = person.controller().durableState();
    QSignalSpy changed(&person.controller(), &Controller::changed);
    person.controller().resendRetained();
    person.controller().removeRetained();
    person.controller().removePending();
    QVERIFY(changed.isEmpty());
    QVERIFY(person.dialogs.seen().isEmpty());
    QCOMPARE(person.controller().durableState(), before);
}

QTEST_MAIN(ResolvingTest)
#include "resolving.moc"
