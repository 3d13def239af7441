// SPDX-License-Identifier: MIT
#include "tests/controller/accountserver.h"
#include "tests/controller/filedialogs.h"
#include "tests/support/client.h"
#include "tests/support/desk.h"
#include "tests/support/vaultfile.h"

#include <QFile>
#include <QJsonDocument>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString connected = u"Connected to PostgreSQL"_s;
const QString mePath = u"/v1/me"_s;
const QString push = u"/v1/sync/push"_s;

QJsonObject edit(const QString& entity, const QString& status = u"pending"_s) {
    return sample::queueItem(u"entry.update"_s, entity, {{u"description"_s, u"Mine"_s}}, status);
}

/// As a tool does that moves a home or brings a backup back.
bool replaceByItsCopy(const QString& file) {
    SqliteFile(file).run(u"VACUUM INTO ?"_s, {file + u".copy"_s});
    return QFile::remove(file) && QFile::remove(file + u"-wal"_s) && QFile::remove(file + u"-shm"_s) &&
           QFile::rename(file + u".copy"_s, file);
}

/// The file that everything goes to.
struct Copy {
    FileDialogs dialogs;
    QTemporaryDir folder;
    const QString target = folder.filePath(u"copy.json"_s);

    Copy() { dialogs.choose(target); }

    [[nodiscard]] QJsonArray items() const {
        QFile file(target);
        return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll())[u"queue"].toArray()
                                              : QJsonArray{u"no file"_s};
    }
};

} // namespace

/// The road out when what waits can never be sent: all of it into a file, and then on.
class SettingAsideTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }

    void everythingThatWaitsGoesIntoTheFile();
    void withNothingWaitingNothingIsAsked();
    void nothingIsSetAsideWhileWorkIsPushed();
    void aQueueWhoseRecordWasReplacedMakesWayForIt();
    void whatWasSetAsideDoesNotComeBack_data();
    void whatWasSetAsideDoesNotComeBack();
    void aRecordThatCannotBeAskedKeepsTheQueue();
    void aRecordThatIsPutBackIsWrittenAgain();
    void workRecordedWhileTheFileIsChosenStopsIt();
    void thePeriodicStepWaitsWhileTheFileIsChosen();
    void whatTheServerNeverAcknowledgesMakesWay();
    void anotherIdentityIsAdoptedAfterwards();
    void anEndedSessionCanBeLeftAfterwards();
};

void SettingAsideTest::everythingThatWaitsGoesIntoTheFile() {
    Desk desk;
    Copy copy;
    QVERIFY(desk.load());
    const QJsonArray queue{edit(u"e1"_s, u"rejected"_s), edit(u"e2"_s), edit(u"e3"_s)};
    QVERIFY(desk.holdQueue(queue));
    const QJsonObject before = desk.controller->durableState();
    QStringList messages;
    connect(desk.controller.get(), &Controller::changed, this,
            [&] { messages.append(desk.controller->message()); });
    desk.controller->removePending();
    QVERIFY(messages.contains(u"Copy saved; 3 changes left the queue."_s));
    QCOMPARE(copy.dialogs.seen().first().title, u"Save a copy and remove 3 changes"_s);
    QCOMPARE(copy.items(), queue);
    QCOMPARE(desk.controller->pending(), 0);
    QTRY_COMPARE(desk.controller->message(), connected);
    QVERIFY(desk.peer.requests("POST", push).isEmpty());
    QJsonObject expected = before;
    expected.insert(u"queue"_s, QJsonArray());
    QCOMPARE(desk.stored(), expected);
}

void SettingAsideTest::withNothingWaitingNothingIsAsked() {
    Desk desk;
    const Copy copy;
    QVERIFY(desk.load());
    QSignalSpy changed(desk.controller.get(), &Controller::changed);
    desk.controller->removePending();
    QVERIFY(changed.isEmpty());
    QVERIFY(copy.dialogs.seen().isEmpty());
}

void SettingAsideTest::nothingIsSetAsideWhileWorkIsPushed() {
    Desk desk;
    const Copy copy;
    QVERIFY(desk.load());
    QVERIFY(desk.holdQueue({edit(u"e1"_s)}));
    desk.peer.answer("POST", push, PeerReply::only(PeerReply::Delivery::Never));
    desk.controller->synchronize();
    QTRY_COMPARE(desk.peer.requests("POST", push).size(), 1);
    QVERIFY(!desk.controller->busy());
    QVERIFY(desk.controller->syncing());
    desk.controller->removePending();
    QCOMPARE(desk.controller->message(),
             u"Another request is under way; nothing was removed. Try again when it has ended."_s);
    QCOMPARE(desk.controller->pending(), 1);
    QVERIFY(copy.dialogs.seen().isEmpty());
}

void SettingAsideTest::aQueueWhoseRecordWasReplacedMakesWayForIt() {
    Desk desk;
    const Copy copy;
    QVERIFY(desk.load());
    const QJsonObject theirs = desk.controller->durableState();
    const QByteArray record = sealedRecord(desk.peer.url());
    const QJsonArray queue{edit(u"e1"_s)};
    QVERIFY(desk.holdQueue(queue));
    replaceSealedRecord(desk.peer.url(), record);
    for (int attempt = 0; attempt < 2; ++attempt) {
        desk.controller->start(u"Not taken"_s, {}, false);
    }
    QVERIFY(!desk.controller->queueReady());
    desk.controller->removePending();
    QCOMPARE(desk.controller->pending(), 0);
    QCOMPARE(copy.items(), queue);
    QCOMPARE(sealedRecord(desk.peer.url()), record);
    QTRY_VERIFY(!desk.controller->busy());
    QVERIFY(desk.load());
    QVERIFY(desk.controller->queueReady());
    QCOMPARE(desk.controller->durableState(), theirs);
}

void SettingAsideTest::whatWasSetAsideDoesNotComeBack_data() {
    using Trouble = bool (*)(const QString& file);
    QTest::addColumn<Trouble>("trouble");
    QTest::newRow("the log was written back") << Trouble([](const QString& file) {
        SqliteFile(file).run(u"PRAGMA wal_checkpoint(TRUNCATE)"_s);
        return true;
    });
    QTest::newRow("the file was replaced by its copy") << Trouble(replaceByItsCopy);
    QTest::newRow("the file was deleted") << Trouble([](const QString& file) { return QFile::remove(file); });
}

void SettingAsideTest::whatWasSetAsideDoesNotComeBack() {
    using Trouble = bool (*)(const QString& file);
    QFETCH(const Trouble, trouble);
    Desk desk;
    const Copy copy;
    QVERIFY(desk.load());
    const QJsonArray queue{edit(u"e1"_s)};
    QVERIFY(desk.holdQueue(queue));
    desk.peer.goOffline();
    QVERIFY(trouble(vaultFile(desk.peer.url())));
    desk.controller->removePending();
    QCOMPARE(copy.items(), queue);
    QCOMPARE(desk.controller->pending(), 0);
    desk.restart();
    desk.controller->connectServer(desk.peer.url());
    QTRY_VERIFY(!desk.controller->busy());
    QVERIFY(desk.controller->queueReady());
    QCOMPARE(desk.controller->pending(), 0);
}

void SettingAsideTest::aRecordThatCannotBeAskedKeepsTheQueue() {
    Desk desk;
    const Copy copy;
    QVERIFY(desk.load());
    QVERIFY(desk.holdQueue({edit(u"e1"_s)}));
    desk.peer.goOffline();
    const QString file = vaultFile(desk.peer.url());
    QVERIFY(replaceByItsCopy(file));
    {
        SqliteFile tool(file);
        tool.run(u"PRAGMA locking_mode=EXCLUSIVE"_s);
        tool.run(u"UPDATE vault SET id=1"_s);
        desk.controller->removePending();
        QCOMPARE(desk.controller->message(), u"The copy was written, but the queue could not be saved "
                                             "securely; nothing was removed."_s);
        QCOMPARE(desk.controller->pending(), 1);
    }
    desk.controller->removePending();
    QCOMPARE(desk.controller->pending(), 0);
    QCOMPARE(desk.stored(), desk.controller->durableState());
}

void SettingAsideTest::aRecordThatIsPutBackIsWrittenAgain() {
    Desk desk;
    const Copy copy;
    QVERIFY(desk.load());
    const QByteArray former = sealedRecord(desk.peer.url());
    QVERIFY(desk.holdQueue({edit(u"e1"_s)}));
    const QByteArray ours = sealedRecord(desk.peer.url());
    desk.peer.goOffline();
    replaceSealedRecord(desk.peer.url(), former);
    for (int attempt = 0; attempt < 2; ++attempt) {
        desk.controller->start(u"Not taken"_s, {}, false);
    }
    QVERIFY(!desk.controller->queueReady());
    replaceSealedRecord(desk.peer.url(), ours);
    desk.controller->removePending();
    QCOMPARE(desk.controller->pending(), 0);
    QCOMPARE(desk.stored(), desk.controller->durableState());
}

void SettingAsideTest::workRecordedWhileTheFileIsChosenStopsIt() {
    Desk desk;
    Copy copy;
    QVERIFY(desk.load());
    QVERIFY(desk.holdQueue({edit(u"e1"_s, u"conflict"_s)}));
    copy.dialogs.afterChoosing([&] {
        desk.controller->addManual(u"Meanwhile"_s, {}, u"2026-03-02T10:00:00Z"_s, u"2026-03-02T11:00:00Z"_s,
                                   false);
    });
    desk.controller->removePending();
    QCOMPARE(desk.controller->message(),
             u"The session or the waiting changes are not the same any more; nothing was removed."_s);
    QCOMPARE(desk.controller->pending(), 2);
    QVERIFY(!QFile::exists(copy.target));
}

void SettingAsideTest::thePeriodicStepWaitsWhileTheFileIsChosen() {
    Desk desk;
    Copy copy;
    QVERIFY(desk.load());
    QVERIFY(desk.holdQueue({edit(u"e1"_s)}));
    desk.holdPushes();
    Desk other; // a program whose periodic step comes later
    QVERIFY(other.load());
    other.peer.forgetRequests();
    copy.dialogs.afterChoosing([&] { QTRY_VERIFY_WITH_TIMEOUT(!other.peer.requests().isEmpty(), 30'000); });
    desk.controller->removePending();
    QCOMPARE(desk.controller->pending(), 0);
    QCOMPARE(copy.items().size(), 1);
    // Afterwards it comes again.
    desk.peer.answer("GET", mePath, PeerReply::json(sample::identity()));
    QTRY_COMPARE(desk.controller->message(), connected);
    QVERIFY(desk.holdQueue({edit(u"e2"_s)}));
    QTRY_COMPARE_WITH_TIMEOUT(desk.peer.requests("POST", push).size(), 1, 30'000);
}

void SettingAsideTest::whatTheServerNeverAcknowledgesMakesWay() {
    Desk desk;
    Copy copy;
    QVERIFY(desk.load());
    const QJsonArray queue{edit(u"e1"_s)};
    QVERIFY(desk.holdQueue(queue));
    desk.peer.answer("POST", push, [](const PeerRequest& request) {
        return sample::pushReply({sample::result(sample::pushed(request), u"merged"_s)});
    });
    desk.controller->synchronize();
    QTRY_COMPARE(desk.controller->message(), u"Unknown acknowledgement status; queue retained"_s);
    QVERIFY(desk.controller->retained().isEmpty());
    desk.controller->removePending();
    QCOMPARE(copy.items(), queue);
    QTRY_COMPARE(desk.controller->message(), connected);
    desk.peer.answer("POST", push, sample::accept);
    desk.controller->start(u"Afterwards"_s, {}, false);
    QTRY_COMPARE(desk.controller->pending(), 0);
}

void SettingAsideTest::anotherIdentityIsAdoptedAfterwards() {
    Desk desk;
    Copy copy;
    QVERIFY(desk.load());
    const QJsonArray queue{edit(u"e1"_s), edit(u"e2"_s)};
    QVERIFY(desk.holdQueue(queue));
    QJsonObject other = sample::identity();
    other.insert(u"id"_s, u"user-2"_s);
    other.insert(u"email"_s, u"omer@example.org"_s);
    desk.peer.answer("GET", mePath, PeerReply::json(other));
    desk.restart();
    desk.controller->connectServer(desk.peer.url());
    QTRY_COMPARE(desk.controller->message(), u"Account changed; pending work was not reassigned"_s);
    desk.controller->connectServer(u"http://localhost:1"_s);
    QCOMPARE(desk.controller->message(), u"Pending work prevents changing server or account"_s);

    desk.controller->removePending();
    QCOMPARE(copy.items(), queue);
    QTRY_COMPARE(desk.controller->message(), connected);
    QCOMPARE(desk.controller->accountName(), u"omer@example.org"_s);
    QVERIFY(desk.peer.requests("POST", push).isEmpty());
    desk.restart();
    QVERIFY(desk.load());
    QCOMPARE(desk.controller->accountName(), u"omer@example.org"_s);
    QCOMPARE(desk.controller->pending(), 0);
}

void SettingAsideTest::anEndedSessionCanBeLeftAfterwards() {
    AccountServer desk;
    Copy copy;
    QVERIFY(desk.start());
    QVERIFY(desk.signIn(AccountServer::dana()));
    QVERIFY(waitForSilence(*desk.controller));
    desk.database(u"UPDATE sessions SET revoked_at = 1"_s);
    desk.controller->start(u"Never sent"_s, {}, false);
    QTRY_COMPARE(desk.controller->message(), u"Identity check unavailable; encrypted queue retained."_s);
    QVERIFY(desk.controller->sessionRefused());
    desk.controller->logoutAccount();
    QCOMPARE(desk.controller->message(), u"Pending work prevents logout; the queue was retained"_s);
    const QJsonArray queue = queueOf(*desk.controller);

    desk.controller->removePending();
    QCOMPARE(copy.items(), queue);
    QTRY_VERIFY(!desk.controller->busy());
    QVERIFY(desk.controller->sessionRefused());
    QVERIFY(desk.signOut());
    QVERIFY(!desk.controller->sessionRefused());
    QVERIFY(desk.signIn(AccountServer::eli()));
    QVERIFY(desk.record(u"Eli's work"_s));
    QCOMPARE(desk.ownerOf(u"Eli's work"_s), AccountServer::eli());
    QVERIFY(desk.ownerOf(u"Never sent"_s).isEmpty());
}

QTEST_MAIN(SettingAsideTest)
#include "settingaside.moc"
