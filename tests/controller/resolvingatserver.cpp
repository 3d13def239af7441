// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "tests/controller/accountserver.h"
#include "tests/controller/filedialogs.h"
#include "tests/support/client.h"
#include "tests/support/devserver.h"
#include "tests/support/scriptedpeer.h"
#include "tests/support/sqlitefile.h"

#include <QFile>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>
#include <QUuid>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

const QString blocked =
    u"Sync conflict retained with its original payload. Inspect or export it; period locks "
    "cannot be bypassed."_s;
const QString connected = u"Connected to PostgreSQL"_s;
const QString morning = u"2024-03-01T08:00:00Z"_s;
const QString noon = u"2024-03-01T12:00:00Z"_s;
const QString pushPath = u"/v1/sync/push"_s;

} // namespace

/// Refused changes resolved both ways with the real server's judgement, and the rest of the queue behind
/// them.
class ResolvingAtServerTest : public QObject {
    Q_OBJECT

    std::unique_ptr<DevServer> m_server;
    std::unique_ptr<ScriptedPeer> m_peer; ///< passes on to the server
    std::unique_ptr<Controller> m_controller;
    std::unique_ptr<FileDialogs> m_dialogs;
    std::unique_ptr<QTemporaryDir> m_folder;

    [[nodiscard]] bool load() { return connectAndLoad(*m_controller, m_peer->url()); }
    [[nodiscard]] bool restart();
    void addManual(const QString& description, const QString& from = morning, const QString& to = noon);
    [[nodiscard]] qsizetype named(const QString& description) const;
    [[nodiscard]] QStringList copied() const;
    void reopenPeriods() const;
    [[nodiscard]] QString refusedSentence() const;

    // What leads to a refusal, with the change "Behind" waiting after it.
    void editElsewhere(QString& id);
    void approveWeek();
    void startAndStopInApprovedTime();

private Q_SLOTS:
    void init();
    void cleanup();

    void anEditThatConflictedIsSentAgain();
    void anEditThatConflictedIsLetGo();
    void anEntryInAClosedWeekIsRefusedAgainUntilTheWeekIsOpen();
    void anEntryInAClosedWeekIsLetGo();
    void anEntryThatIsRefusedForWhatItSaysIsCorrected();
    void aRefusedStartIsSentAgainWithItsStopBehindIt();
    void aRefusedStartIsLetGoWithItsStop();
    void aStartWaitsForTheStopThatWasRecordedAfterIt();
    void sendingAgainIsAppliedOnceThoughItsAnswerIsLost();
    void theQueueOfAnEndedSessionArrivesOnceUnderTheNewOne();
};

void ResolvingAtServerTest::init() {
    startClean();
    m_server = std::make_unique<DevServer>();
    QVERIFY(m_server->start());
    m_peer = std::make_unique<ScriptedPeer>();
    m_peer->forwardTo(m_server->url());
    m_controller = std::make_unique<Controller>();
    m_folder = std::make_unique<QTemporaryDir>();
    m_dialogs = std::make_unique<FileDialogs>();
    m_dialogs->choose(m_folder->filePath(u"copy.json"_s));
    QVERIFY(load());
}

void ResolvingAtServerTest::cleanup() {
    m_dialogs.reset();
    m_controller.reset();
    m_peer.reset();
    m_server.reset();
}

bool ResolvingAtServerTest::restart() {
    m_controller.reset();
    m_controller = std::make_unique<Controller>();
    return load();
}

void ResolvingAtServerTest::addManual(const QString& description, const QString& from, const QString& to) {
    m_controller->addManual(description, {}, from, to, false);
}

qsizetype ResolvingAtServerTest::named(const QString& description) const {
    return m_server->entriesNamed(description).size();
}

/// The operations in the file.
QStringList ResolvingAtServerTest::copied() const {
    QFile file(m_folder->filePath(u"copy.json"_s));
    QStringList operations;
    if (file.open(QIODevice::ReadOnly)) {
        const QJsonArray queue = QJsonDocument::fromJson(file.readAll())[u"queue"].toArray();
        for (const auto& item : queue) {
            operations.append(item[u"mutation"][u"operation"].toString());
        }
    }
    return operations;
}

void ResolvingAtServerTest::reopenPeriods() const {
    SqliteFile(m_server->databaseFile()).run(u"UPDATE timesheet_periods SET status = 'open'"_s);
}

QString ResolvingAtServerTest::refusedSentence() const {
    return m_controller->retained().value(u"sentence"_s).toString();
}

void ResolvingAtServerTest::editElsewhere(QString& id) {
    addManual(u"Shared"_s);
    QTRY_COMPARE(m_controller->message(), connected);
    id = m_server->entriesNamed(u"Shared"_s).first()[u"id"].toString();
    const QJsonObject theirs = m_server->push(u"entry.update"_s, id, 1, {{u"description"_s, u"Theirs"_s}});
    QCOMPARE(theirs.value(u"status").toString(), u"accepted"_s);
    m_controller->editDescription(id, u"Mine"_s);
    QTRY_COMPARE(m_controller->message(), blocked);
    addManual(u"Behind"_s);
    QCOMPARE(m_controller->pending(), 2);
    QCOMPARE(refusedSentence(), u"The entry was changed elsewhere in the meantime."_s);
    const QVariantMap field = m_controller->retained().value(u"fields"_s).toList().first().toMap();
    QCOMPARE(field.value(u"recorded"_s).toString(), u"Mine"_s);
    QCOMPARE(field.value(u"server"_s).toString(), u"Theirs"_s);
}

void ResolvingAtServerTest::approveWeek() {
    m_server->approve(QDateTime::fromString(u"2024-02-26T00:00:00Z"_s, Qt::ISODate),
                      QDateTime::fromString(u"2024-03-04T00:00:00Z"_s, Qt::ISODate));
    addManual(u"Too late"_s);
    QTRY_COMPARE(m_controller->message(), blocked);
    addManual(u"Behind"_s, u"2024-03-05T08:00:00Z"_s, u"2024-03-05T09:00:00Z"_s);
    QCOMPARE(m_controller->pending(), 2);
    QVERIFY(refusedSentence().contains(u"submitted or approved"_s));
}

void ResolvingAtServerTest::startAndStopInApprovedTime() {
    const QDateTime now = QDateTime::currentDateTimeUtc();
    m_server->approve(now.addDays(-1), now.addDays(1));
    m_peer->goOffline();
    m_controller->start(u"Refused"_s, {}, false);
    QTRY_COMPARE(m_controller->message(), u"Identity check unavailable; encrypted queue retained."_s);
    m_controller->stop();
    addManual(u"Behind"_s);
    QTRY_COMPARE(m_controller->message(), u"Identity check unavailable; encrypted queue retained."_s);
    QCOMPARE(m_controller->pending(), 3);
    m_peer->goOnline();
    m_controller->synchronize();
    QTRY_COMPARE(m_controller->message(), blocked);
    QCOMPARE(m_controller->retained().value(u"operation"_s).toString(), u"timer.start"_s);
    QCOMPARE(m_controller->retained().value(u"leaving"_s).toInt(), 2);
}

void ResolvingAtServerTest::anEditThatConflictedIsSentAgain() {
    QString id;
    editElsewhere(id);
    QVERIFY(restart());
    QTRY_COMPARE(m_controller->message(), blocked);
    m_controller->resendRetained();
    QTRY_COMPARE(m_controller->message(), connected);
    QCOMPARE(m_controller->pending(), 0);
    const QJsonArray mine = m_server->entriesNamed(u"Mine"_s);
    QCOMPARE(mine.size(), 1);
    QCOMPARE(mine.first()[u"id"].toString(), id);
    QCOMPARE(mine.first()[u"version"].toInt(), 3);
    QCOMPARE(named(u"Behind"_s), 1);
    QCOMPARE(m_server->entries().size(), 2);
}

void ResolvingAtServerTest::anEditThatConflictedIsLetGo() {
    QString id;
    editElsewhere(id);
    m_controller->removeRetained();
    QCOMPARE(copied(), QStringList{u"entry.update"_s});
    QTRY_COMPARE(m_controller->message(), connected);
    QCOMPARE(named(u"Theirs"_s), 1);
    QCOMPARE(named(u"Mine"_s), 0);
    QCOMPARE(named(u"Behind"_s), 1);
    QCOMPARE(listedEntry(*m_controller, u"id"_s, id).value(u"description"_s).toString(), u"Theirs"_s);
}

void ResolvingAtServerTest::anEntryInAClosedWeekIsRefusedAgainUntilTheWeekIsOpen() {
    approveWeek();
    const qsizetype pushes = m_peer->requests("POST", pushPath).size();
    m_controller->resendRetained();
    QTRY_COMPARE(m_peer->requests("POST", pushPath).size(), pushes + 1);
    QTRY_COMPARE(m_controller->message(), blocked);
    QCOMPARE(named(u"Too late"_s), 0);
    QCOMPARE(named(u"Behind"_s), 0);

    reopenPeriods();
    m_controller->resendRetained();
    QTRY_COMPARE(m_controller->message(), connected);
    QCOMPARE(named(u"Too late"_s), 1);
    QCOMPARE(named(u"Behind"_s), 1);
    QCOMPARE(m_server->entries().size(), 2);
}

void ResolvingAtServerTest::anEntryInAClosedWeekIsLetGo() {
    approveWeek();
    m_controller->removeRetained();
    QCOMPARE(copied(), QStringList{u"entry.create"_s});
    QTRY_COMPARE(m_controller->message(), connected);
    QCOMPARE(named(u"Too late"_s), 0);
    QCOMPARE(named(u"Behind"_s), 1);
    QVERIFY(listedEntry(*m_controller, u"description"_s, u"Too late"_s).isEmpty());
}

void ResolvingAtServerTest::anEntryThatIsRefusedForWhatItSaysIsCorrected() {
    addManual(u"long "_s.repeated(30'000));
    QTRY_COMPARE(m_controller->message(), blocked);
    addManual(u"Behind"_s);
    const QString id = m_controller->durableState()[u"queue"][0][u"mutation"][u"entity_id"].toString();
    m_controller->editEntry(id, {{u"description"_s, u"Short"_s}, {u"billable"_s, true}});
    m_controller->editDescription(id, u"Shorter"_s);
    m_controller->deleteEntry(id);
    QCOMPARE(m_controller->pending(), 5);
    m_controller->resendRetained();
    QTRY_COMPARE(m_controller->message(), connected);
    const QJsonArray entries = m_server->entriesNamed(u"Shorter"_s);
    QCOMPARE(entries.size(), 1);
    QCOMPARE(entries.first()[u"billable"].toBool(), true);
    QVERIFY(entries.first()[u"deleted_at"].isString());
    QCOMPARE(entries.first()[u"version"].toInt(), 2);
    QCOMPARE(named(u"Behind"_s), 1);
}

void ResolvingAtServerTest::aRefusedStartIsSentAgainWithItsStopBehindIt() {
    startAndStopInApprovedTime();
    reopenPeriods();
    m_controller->resendRetained();
    QTRY_COMPARE(m_controller->message(), connected);
    const QJsonArray entries = m_server->entriesNamed(u"Refused"_s);
    QCOMPARE(entries.size(), 1);
    QVERIFY(entries.first()[u"stop_at"].isString());
    QCOMPARE(named(u"Behind"_s), 1);
}

void ResolvingAtServerTest::aRefusedStartIsLetGoWithItsStop() {
    startAndStopInApprovedTime();
    m_controller->removeRetained();
    QCOMPARE(m_dialogs->seen().first().title, u"Save a copy and remove 2 changes"_s);
    QCOMPARE(copied(), (QStringList{u"timer.start"_s, u"timer.stop"_s}));
    QTRY_COMPARE(m_controller->message(), connected);
    QCOMPARE(named(u"Refused"_s), 0);
    QCOMPARE(named(u"Behind"_s), 1);
    QVERIFY(m_controller->timer().isEmpty());
}

void ResolvingAtServerTest::aStartWaitsForTheStopThatWasRecordedAfterIt() {
    const QString elsewhere = QUuid::createUuid().toString(QUuid::WithoutBraces);
    const QJsonObject theirs = m_server->push(u"timer.start"_s, elsewhere, 0,
                                              {{u"description"_s, u"Elsewhere"_s}, {u"start_at"_s, morning}});
    QCOMPARE(theirs.value(u"status").toString(), u"accepted"_s);
    m_controller->start(u"Mine"_s, {}, false);
    QTRY_COMPARE(m_controller->message(), blocked);
    m_controller->synchronize();
    QTRY_COMPARE(m_controller->timer().value(u"id"_s).toString(), elsewhere);
    QTRY_VERIFY(!m_controller->busy());
    m_controller->stop();
    QCOMPARE(m_controller->pending(), 2);
    m_controller->resendRetained();
    QTRY_COMPARE(m_controller->message(), connected);
    QCOMPARE(m_controller->pending(), 0);
    QCOMPARE(m_controller->timer().value(u"description"_s).toString(), u"Mine"_s);
    QVERIFY(!m_server->entriesNamed(u"Elsewhere"_s).first()[u"stop_at"].isNull());
    QCOMPARE(named(u"Mine"_s), 1);
}

void ResolvingAtServerTest::sendingAgainIsAppliedOnceThoughItsAnswerIsLost() {
    QString id;
    editElsewhere(id);
    m_peer->answerOnce("POST", pushPath, PeerReply::forward(PeerReply::Delivery::Close));
    m_peer->answerOnce("POST", pushPath, PeerReply::forward(PeerReply::Delivery::Close));
    m_controller->resendRetained();
    QTRY_COMPARE(m_controller->message(),
                 u"Server did not acknowledge this request; original encrypted queue retained"_s);
    QVERIFY(restart());
    QTRY_COMPARE(m_controller->message(), connected);
    const QJsonArray mine = m_server->entriesNamed(u"Mine"_s);
    QCOMPARE(mine.size(), 1);
    QCOMPARE(mine.first()[u"version"].toInt(), 3);
    QCOMPARE(named(u"Behind"_s), 1);
}

void ResolvingAtServerTest::theQueueOfAnEndedSessionArrivesOnceUnderTheNewOne() {
    AccountServer desk;
    QVERIFY(desk.start());
    QVERIFY(desk.signIn(AccountServer::dana()));
    QVERIFY(waitForSilence(*desk.controller));
    const QString former = desk.token();
    QVERIFY(desk.server.stop());
    desk.controller->start(u"Offline"_s, {}, false);
    QVERIFY(waitForSilence(*desk.controller));
    desk.controller->stop();
    QVERIFY(waitForSilence(*desk.controller));
    desk.database(u"UPDATE sessions SET revoked_at = 1"_s);
    QVERIFY(desk.server.start());
    desk.restartClient();
    desk.controller->connectServer(desk.url());
    QTRY_VERIFY(desk.controller->sessionRefused());

    desk.controller->renewSession(AccountServer::eli(), AccountServer::password());
    QTRY_COMPARE(desk.controller->message(),
                 u"This is another account; the waiting work stays with its own."_s);
    QVERIFY(waitForSilence(*desk.controller));
    QCOMPARE(desk.openSessions(), 0);
    QCOMPARE(desk.controller->pending(), 2);

    desk.controller->renewSession(AccountServer::dana(), AccountServer::password());
    QTRY_COMPARE(desk.controller->message(), connected);
    QCOMPARE(desk.controller->pending(), 0);
    QVERIFY(desk.token() != former);
    QCOMPARE(desk.openSessions(), 1);
    QCOMPARE(desk.ownerOf(u"Offline"_s), AccountServer::dana());
    QCOMPARE(desk.database(u"SELECT COUNT(*) FROM time_entries WHERE stop_at IS NOT NULL"_s).toInt(), 1);
    QCOMPARE(desk.database(u"SELECT COUNT(*) FROM time_entries"_s).toInt(), 1);
}

QTEST_MAIN(ResolvingAtServerTest)
#include "resolvingatserver.moc"
