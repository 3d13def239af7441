// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "tests/support/client.h"
#include "tests/support/desk.h"
#include "tests/support/vaultfile.h"

#include <QFile>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString notAccepted = u"The write was not accepted because secure local storage failed."_s;

bool deleteVault(const QString& server) {
    return QFile::remove(vaultFile(server));
}

/// Connects and waits for the outcome, whatever it is.
QString outcomeOf(Controller& controller, const QString& server) {
    controller.connectServer(server);
    return QTest::qWaitFor([&controller] { return !controller.busy(); }) ? controller.message() : QString();
}

} // namespace

/// The store held by another program, lost, or not readable.
class StorageTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }

    void aSecondProgramRecordsNothing();
    void aMissingRecordIsSaidBeforeBeginningAnew();
    void aLostStoreRefusesOneWriteAndNoMore();
    void theEndOfALoadIsToldAfterItsSave();
    void waitingWorkIsKeptAgainWhenItsStoreIsLost();
    void aReplacedStoreTakesNothingUntilTheNextConnect();
    void anUnreadQueueIsNotPushed();
    void anIdleReloadWritesNothing();
};

void StorageTest::aSecondProgramRecordsNothing() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    QVERIFY(desk.controller->queueReady());
    desk.holdPushes();
    desk.controller->start(u"first"_s, QString(), false);
    const QByteArray record = sealedRecord(desk.peer.url());
    {
        Controller second;
        QCOMPARE(outcomeOf(second, desk.peer.url()),
                 u"Timer.Kelvaro is already open on this server; offline writes are disabled in "
                 "this window."_s);
        QVERIFY(!second.secureStorage());
        QVERIFY(!second.queueReady());
        second.applyDurable(sample::durable(sample::snapshot()));
        QVERIFY(!second.persist());
        second.start(u"second"_s, QString(), false);
        QCOMPARE(second.pending(), 0);
    }
    QCOMPARE(sealedRecord(desk.peer.url()), record);
    desk.restart();
    desk.peer.goOffline();
    QVERIFY(!outcomeOf(*desk.controller, desk.peer.url()).isEmpty());
    QCOMPARE(desk.controller->pending(), 1);
}

void StorageTest::aMissingRecordIsSaidBeforeBeginningAnew() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    desk.controller.reset();
    QVERIFY(deleteVault(desk.peer.url()));
    desk.restart();
    desk.peer.forgetRequests();
    QCOMPARE(outcomeOf(*desk.controller, desk.peer.url()),
             u"The encrypted record for this server is missing on this device. Connect again to "
             "begin anew with the server's data."_s);
    QVERIFY(desk.controller->secureStorage());
    QVERIFY(!desk.controller->queueReady());
    QVERIFY(waitForSilence(*desk.controller));
    QVERIFY(desk.peer.requests().isEmpty());

    QVERIFY(desk.load());
    QVERIFY(desk.controller->queueReady());
    QCOMPARE(desk.controller->entries().size(), 1);
    desk.restart();
    QVERIFY(desk.load());
}

void StorageTest::aLostStoreRefusesOneWriteAndNoMore() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    desk.holdPushes();
    QVERIFY(deleteVault(desk.peer.url()));
    desk.controller->start(u"lost"_s, QString(), false);
    QCOMPARE(desk.controller->message(), notAccepted);
    QCOMPARE(desk.controller->pending(), 0);
    QVERIFY(!desk.controller->queueReady());
    desk.controller->start(u"kept"_s, QString(), false);
    QVERIFY(desk.controller->queueReady());
    QCOMPARE(desk.controller->pending(), 1);
    QCOMPARE(desk.stored(), desk.controller->durableState());
}

void StorageTest::theEndOfALoadIsToldAfterItsSave() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    QVERIFY(deleteVault(desk.peer.url()));
    desk.peer.answer("GET", u"/v1/sync/snapshot"_s, PeerReply::json(sample::snapshot()));
    bool toldTooEarly = false;
    bool storageAsTold = false;
    connect(desk.controller.get(), &Controller::changed, this, [&] {
        toldTooEarly |= desk.controller->message() == u"Connected to PostgreSQL"_s &&
                        !desk.controller->busy() && !desk.controller->queueReady();
        storageAsTold = desk.controller->queueReady();
    });
    QSignalSpy ready(desk.controller.get(), &Controller::ready);
    desk.controller->refresh(); // its save finds that the file has gone
    QVERIFY(ready.wait());
    QCOMPARE(desk.controller->message(),
             u"Secure local save failed; the retained queue was not acknowledged locally."_s);
    desk.controller->refresh(); // and this one's makes it anew
    QVERIFY(ready.wait());
    QVERIFY(desk.controller->queueReady());
    QVERIFY(!toldTooEarly);
    QVERIFY(storageAsTold);
}

void StorageTest::waitingWorkIsKeptAgainWhenItsStoreIsLost() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    desk.holdPushes();
    QVERIFY(desk.holdQueue({sample::queueItem(u"entry.update"_s, u"e1"_s, {})}));
    QVERIFY(deleteVault(desk.peer.url()));
    stepPeriodically(*desk.controller);
    QCOMPARE(desk.controller->message(),
             u"Secure local save failed; the retained queue was not acknowledged locally."_s);
    QVERIFY(desk.peer.requests().isEmpty());
    stepPeriodically(*desk.controller);
    QCOMPARE(desk.stored(), desk.controller->durableState());
    QCOMPARE(desk.controller->pending(), 1);
}

void StorageTest::aReplacedStoreTakesNothingUntilTheNextConnect() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    const QJsonObject theirs = desk.controller->durableState();
    const QByteArray record = sealedRecord(desk.peer.url());
    desk.controller->applyDurable(sample::durable(sample::snapshot()));
    QVERIFY(desk.controller->persist());
    replaceSealedRecord(desk.peer.url(), record);
    for (int attempt = 0; attempt < 3; ++attempt) {
        desk.controller->start(u"over it"_s, QString(), false);
        QCOMPARE(desk.controller->message(), notAccepted);
        QCOMPARE(desk.controller->pending(), 0);
    }
    QVERIFY(!desk.controller->queueReady());
    QCOMPARE(sealedRecord(desk.peer.url()), record);
    QVERIFY(desk.load());
    QVERIFY(desk.controller->queueReady());
    QCOMPARE(desk.controller->durableState(), theirs);
}

void StorageTest::anUnreadQueueIsNotPushed() {
    Desk desk;
    QVERIFY(desk.load());
    desk.restart();
    SqliteFile file(vaultFile(desk.peer.url()));
    file.run(u"ALTER TABLE vault RENAME TO aside"_s);
    file.run(u"CREATE VIEW vault AS SELECT * FROM missing"_s);
    static_cast<void>(outcomeOf(*desk.controller, desk.peer.url()));
    QVERIFY(desk.controller->secureStorage());
    desk.peer.forgetRequests();
    desk.controller->applyDurable(
        sample::durable(sample::snapshot(), {sample::queueItem(u"timer.start"_s, u"e1"_s, {})}));
    QVERIFY(!desk.controller->queueReady());
    desk.controller->nextMutation();
    desk.controller->synchronize();
    QVERIFY(waitForSilence(*desk.controller));
    QVERIFY(desk.peer.requests().isEmpty());
}

void StorageTest::anIdleReloadWritesNothing() {
    Desk desk(sample::oneEntry());
    QVERIFY(desk.load());
    const QByteArray record = sealedRecord(desk.peer.url());
    QSignalSpy ready(desk.controller.get(), &Controller::ready);
    desk.controller->refresh();
    QVERIFY(ready.wait());
    QCOMPARE(sealedRecord(desk.peer.url()), record);
    desk.restart();
    QVERIFY(desk.load());
    QCOMPARE(sealedRecord(desk.peer.url()), record);

    desk.peer.answer("GET", u"/v1/sync/snapshot"_s, PeerReply::json(sample::snapshot()));
    QSignalSpy changed(desk.controller.get(), &Controller::ready);
    desk.controller->refresh();
    QVERIFY(changed.wait());
    QVERIFY(sealedRecord(desk.peer.url()) != record);
}

QTEST_MAIN(StorageTest)
#include "storage.moc"
