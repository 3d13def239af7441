// SPDX-License-Identifier: MIT
#include "tests/controller/accountclient.h"
#include "tests/controller/filedialogs.h"
#include "tests/support/client.h"
#include "tests/support/sample.h"
#include "tests/support/vaultfile.h"

#include <QDir>
#include <QJsonArray>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString signedOutMessage = u"Signed out. No private developer fallback was opened automatically."_s;

/// Signs in, and out again where the server does not confirm it.
bool signOutInVain(AccountClient& client) {
    if (!client.connectAndSettle() || !client.signIn()) {
        return false;
    }
    client.peer.answer("POST", AccountClient::logoutPath(), PeerReply::json({}, 500));
    client.controller.logoutAccount();
    return QTest::qWaitFor([&client] { return client.controller.signOutUnconfirmed(); });
}

} // namespace

class SignOutTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }

    void signOutAsksTheServerWithTheSession();
    void signOutWipesTheAccountOnceConfirmed_data();
    void signOutWipesTheAccountOnceConfirmed();
    void signOutSurvivesARestart();
    void signOutUnconfirmedKeepsTheAccount_data();
    void signOutUnconfirmedKeepsTheAccount();
    void aServerThatDoesNotConfirmCanBeLeft();
    void aServerIsNotLeftWhileWorkWaits();
    void aServerThatReadsButConfirmsNothingCanBeLeft();
    void nothingIsLeftAfterAConfirmedSignOut();
    void nothingIsLeftAfterANewSignIn();
    void signOutWithoutASessionDoesNothing();
    void signOutIsIgnoredWhileARequestIsUnderWay();
    void signOutWithPendingWorkIsRefused();
    void signOutThatCannotBeStoredKeepsTheAccount();
    void nothingIsRecordedDuringSignOut();
    void whatIsPressedDuringSignOutIsNotPromised();
    void workThatAppearsDuringSignOutIsKept();
    void lateRepliesOfTheFormerAccountAreDropped();
    void requestsOfTheFormerAccountAreNotSentAgain();
    void anExportOfTheFormerAccountIsWrittenOrNotAskedForAgain_data();
    void anExportOfTheFormerAccountIsWrittenOrNotAskedForAgain();
};

void SignOutTest::signOutAsksTheServerWithTheSession() {
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    QVERIFY(client.signIn());
    client.controller.logoutAccount();
    QVERIFY(client.controller.busy());
    QTRY_COMPARE(client.controller.message(), signedOutMessage);
    const QList<PeerRequest> sent = client.peer.requests("POST", AccountClient::logoutPath());
    QCOMPARE(sent.size(), 1);
    QCOMPARE(sent.first().json(), (QJsonObject{{u"local_queue_empty"_s, true}}));
    QCOMPARE(sent.first().headers.value("authorization"), "Bearer " + AccountClient::token().toUtf8());
    QVERIFY(!sent.first().headers.value("idempotency-key").isEmpty());
}

void SignOutTest::signOutWipesTheAccountOnceConfirmed_data() {
    QTest::addColumn<PeerReply>("reply");
    QTest::newRow("200") << PeerReply::json({}, 200);
    QTest::newRow("204") << PeerReply::text({}, 204);
    QTest::newRow("401") << PeerReply::json(AccountClient::errorReply(u"Unknown session."_s), 401);
}

void SignOutTest::signOutWipesTheAccountOnceConfirmed() {
    QFETCH(const PeerReply, reply);
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    QVERIFY(client.signIn());
    QVERIFY(client.lookAround());
    client.peer.answer("POST", AccountClient::logoutPath(), reply);
    client.peer.forgetRequests();

    client.controller.logoutAccount();
    QTRY_COMPARE(client.controller.message(), signedOutMessage);
    QVERIFY(waitForSilence(client.controller));
    QVERIFY(!client.controller.busy());
    QVERIFY(!client.controller.accountSignedIn());
    QVERIFY(client.showsNoWork());
    QVERIFY(client.controller.entries().isEmpty());
    QVERIFY(client.controller.accountName().isEmpty());
    QCOMPARE(client.controller.durableState(), (QJsonObject{{u"auth"_s, QJsonObject()},
                                                            {u"signed_out"_s, true},
                                                            {u"me"_s, QJsonObject()},
                                                            {u"workspaces"_s, QJsonArray()},
                                                            {u"workspace"_s, QString()},
                                                            {u"snapshot"_s, QJsonObject()},
                                                            {u"timer"_s, QJsonObject()},
                                                            {u"queue"_s, QJsonArray()}}));
    // Nothing is opened in its place.
    client.controller.synchronize();
    client.controller.refresh();
    QCOMPARE(client.peer.log(), QStringList{u"POST /v1/auth/logout"_s});
}

void SignOutTest::signOutSurvivesARestart() {
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    QVERIFY(client.signIn());
    client.controller.logoutAccount();
    QTRY_COMPARE(client.controller.message(), signedOutMessage);
    client.peer.forgetRequests();
    client.restart();
    client.controller.connectServer(client.peer.url());
    QTRY_COMPARE(client.controller.message(),
                 u"Signed out. Use personal login, or explicitly reconnect for private development."_s);
    QVERIFY(waitForSilence(client.controller));
    QCOMPARE(client.peer.log(), QStringList());
}

void SignOutTest::signOutUnconfirmedKeepsTheAccount_data() {
    QTest::addColumn<PeerReply>("reply");
    QTest::newRow("400") << PeerReply::json(AccountClient::errorReply(u"No."_s), 400);
    QTest::newRow("403") << PeerReply::json({}, 403);
    QTest::newRow("500") << PeerReply::json({}, 500);
    QTest::newRow("200 without JSON") << PeerReply::text("gone", 200);
    QTest::newRow("no answer") << PeerReply::only(PeerReply::Delivery::Close);
    QTest::newRow("redirect") << PeerReply::json({}, 302).with("Location", "/v1/me");
}

void SignOutTest::signOutUnconfirmedKeepsTheAccount() {
    QFETCH(const PeerReply, reply);
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    QVERIFY(client.signIn());
    QVERIFY(client.lookAround());
    const QJsonObject before = client.controller.durableState();
    client.peer.answer("POST", AccountClient::logoutPath(), reply);
    client.controller.logoutAccount();
    QTRY_COMPARE(client.controller.message(),
                 u"Logout not confirmed; account and protected cache retained"_s);
    QVERIFY(!client.controller.busy());
    QCOMPARE(client.controller.durableState(), before);
    QVERIFY(client.showsOldWork());
}

void SignOutTest::aServerThatDoesNotConfirmCanBeLeft() {
    ScriptedPeer other;
    sample::serve(other, sample::oneEntry());
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    QVERIFY(client.signIn());
    QVERIFY(client.lookAround());
    client.controller.leaveServer(other.url());
    QCOMPARE(client.controller.server(), client.peer.url());
    client.peer.answer("POST", AccountClient::logoutPath(), PeerReply::only(PeerReply::Delivery::Close));
    client.controller.logoutAccount();
    QTRY_VERIFY(client.controller.signOutUnconfirmed());
    client.peer.forgetRequests();

    client.controller.leaveServer(u"ftp://nowhere"_s);
    QCOMPARE(client.controller.message(), u"Use HTTPS or the trusted private development server"_s);
    QVERIFY(client.controller.accountSignedIn());
    QSignalSpy left(&client.controller, &Controller::accountLeft);
    client.controller.leaveServer(other.url());
    QCOMPARE(left.size(), 1);
    QVERIFY(client.showsNoWork());
    QTRY_COMPARE(client.controller.message(), u"Connected to PostgreSQL"_s);
    QVERIFY(!client.controller.accountSignedIn());
    QVERIFY(!client.controller.signOutUnconfirmed());
    QCOMPARE(other.log(), sample::connectionLog());
    for (const PeerRequest& request : other.requests()) {
        QVERIFY(!request.headers.contains("authorization"));
    }
    QVERIFY(client.peer.log().isEmpty());

    // Should it answer again, everything is there.
    client.controller.connectServer(client.peer.url());
    QTRY_VERIFY(client.controller.accountSignedIn());
}

void SignOutTest::aServerIsNotLeftWhileWorkWaits() {
    AccountClient client;
    QVERIFY(signOutInVain(client));
    QVERIFY(client.queueWork());
    const QJsonObject before = client.controller.durableState();
    client.controller.leaveServer(u"http://127.0.0.1:1"_s);
    QCOMPARE(client.controller.message(), u"Pending work prevents changing server or account"_s);
    QCOMPARE(client.controller.durableState(), before);
    QCOMPARE(client.controller.server(), client.peer.url());
}

void SignOutTest::aServerThatReadsButConfirmsNothingCanBeLeft() {
    AccountClient client;
    QVERIFY(signOutInVain(client));
    QSignalSpy ready(&client.controller, &Controller::ready);
    client.controller.refresh(); // as the periodic step does, while the address is being typed
    QVERIFY(ready.wait());
    QVERIFY(client.controller.signOutUnconfirmed());
    client.controller.fetchIdentity();
    QVERIFY(ready.wait());
    QVERIFY(client.controller.signOutUnconfirmed());
    const QString other = u"http://127.0.0.1:1"_s;
    client.controller.leaveServer(other);
    QCOMPARE(client.controller.server(), other);
    QVERIFY(!client.controller.signOutUnconfirmed());
}

void SignOutTest::nothingIsLeftAfterAConfirmedSignOut() {
    AccountClient client;
    QVERIFY(signOutInVain(client));
    client.peer.answer("POST", AccountClient::logoutPath(), PeerReply::text({}, 204));
    client.controller.logoutAccount();
    QTRY_COMPARE(client.controller.message(), signedOutMessage);
    QVERIFY(!client.controller.signOutUnconfirmed());
}

void SignOutTest::nothingIsLeftAfterANewSignIn() {
    AccountClient client;
    QVERIFY(signOutInVain(client));
    client.peer.answerOnce("GET", u"/v1/me"_s, PeerReply::json({}, 401));
    client.controller.fetchIdentity();
    QTRY_VERIFY(client.controller.sessionRefused());
    QVERIFY(client.controller.signOutUnconfirmed());
    QSignalSpy ready(&client.controller, &Controller::ready);
    client.controller.renewSession(u"dana@example.org"_s, AccountClient::password());
    QVERIFY(ready.wait());
    QVERIFY(client.controller.accountSignedIn());
    QVERIFY(!client.controller.signOutUnconfirmed());
}

void SignOutTest::signOutWithoutASessionDoesNothing() {
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    QVERIFY(client.queueWork());
    client.peer.forgetRequests();
    QSignalSpy changed(&client.controller, &Controller::changed);
    client.controller.logoutAccount();
    QVERIFY(changed.isEmpty());
    QVERIFY(client.isSilent());
}

void SignOutTest::signOutIsIgnoredWhileARequestIsUnderWay() {
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    QVERIFY(client.signIn());
    client.peer.answerOnce("GET", u"/v1/sync/snapshot"_s, PeerReply::only(PeerReply::Delivery::Hold));
    client.controller.refresh();
    QTRY_COMPARE(client.peer.held(), 1);
    QSignalSpy changed(&client.controller, &Controller::changed);
    client.controller.logoutAccount();
    QVERIFY(changed.isEmpty());
    QVERIFY(client.peer.requests("POST", AccountClient::logoutPath()).isEmpty());
}

void SignOutTest::signOutWithPendingWorkIsRefused() {
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    QVERIFY(client.signIn());
    QVERIFY(client.queueWork());
    const QJsonObject before = client.controller.durableState();
    client.controller.logoutAccount();
    QCOMPARE(client.controller.message(), u"Pending work prevents logout; the queue was retained"_s);
    QVERIFY(!client.controller.busy());
    QCOMPARE(client.controller.durableState(), before);
    QVERIFY(client.peer.requests("POST", AccountClient::logoutPath()).isEmpty());
}

void SignOutTest::signOutThatCannotBeStoredKeepsTheAccount() {
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    QVERIFY(client.signIn());
    QVERIFY(client.lookAround());
    const QJsonObject before = client.controller.durableState();
    const QByteArray stored = sealedRecord(client.peer.url());
    {
        const SaveBlocker blocker(client.peer.url());
        client.controller.logoutAccount();
        QTRY_COMPARE(client.controller.message(),
                     u"Secure local logout failed; encrypted data was not erased"_s);
    }
    QVERIFY(!client.controller.busy());
    QVERIFY(client.controller.accountSignedIn());
    QCOMPARE(client.controller.durableState(), before);
    QCOMPARE(sealedRecord(client.peer.url()), stored);
    QVERIFY(client.showsOldWork());
}

void SignOutTest::nothingIsRecordedDuringSignOut() {
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    QVERIFY(client.signIn());
    client.peer.answer("POST", AccountClient::logoutPath(),
                       PeerReply::json({}, 503).delivered(PeerReply::Delivery::Hold));
    client.controller.logoutAccount();
    QTRY_COMPARE(client.peer.held(), 1);
    const auto addManual = [&client](const QString& end) {
        client.controller.addManual(u"Meanwhile"_s, {}, u"2026-03-02T10:00:00Z"_s, end, false);
    };
    addManual(u"2026-03-02T11:00:00Z"_s);
    QCOMPARE(client.controller.message(), u"You are being signed out; this was not recorded."_s);
    QVERIFY(client.controller.busy());
    // A refused time clears busy; the sign-out is under way nevertheless.
    addManual(u"2026-03-02T09:00:00Z"_s);
    client.controller.start(u"Meanwhile"_s, {}, false);
    QCOMPARE(client.controller.pending(), 0);
    client.peer.release();
    QTRY_COMPARE(client.controller.message(),
                 u"Logout not confirmed; account and protected cache retained"_s);
    QCOMPARE(client.controller.pending(), 0);
    addManual(u"2026-03-02T11:00:00Z"_s);
    QCOMPARE(client.controller.pending(), 1);
}

void SignOutTest::whatIsPressedDuringSignOutIsNotPromised() {
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    QVERIFY(client.signIn());
    QVERIFY(!client.controller.refusesDuringSignOut());
    client.peer.answer("POST", AccountClient::logoutPath(),
                       PeerReply::json({}, 503).delivered(PeerReply::Delivery::Hold));
    client.controller.logoutAccount();
    QTRY_COMPARE(client.peer.held(), 1);
    client.controller.toggleTimer(u"Meanwhile"_s, {}, false);
    QCOMPARE(client.controller.message(), u"You are being signed out; this was not recorded."_s);
    QVERIFY(client.controller.busy());
    client.peer.release();
    QTRY_VERIFY(!client.controller.busy());
    QCoreApplication::processEvents(); // when what waited would be carried out
    QCOMPARE(client.controller.pending(), 0);
}

void SignOutTest::workThatAppearsDuringSignOutIsKept() {
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    QVERIFY(client.signIn());
    client.peer.answer("POST", AccountClient::logoutPath(),
                       PeerReply::text({}, 204).delivered(PeerReply::Delivery::Hold));
    client.controller.logoutAccount();
    QTRY_COMPARE(client.peer.held(), 1);
    QJsonObject before = client.controller.durableState();
    before.insert(u"queue", QJsonArray{sample::queueItem(u"entry.update"_s, u"entry-1"_s, {})});
    client.controller.applyDurable(before);
    client.peer.release();
    QTRY_COMPARE(client.controller.message(), u"Pending work prevents logout"_s);
    QCOMPARE(client.controller.durableState(), before);
}

void SignOutTest::lateRepliesOfTheFormerAccountAreDropped() {
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    QVERIFY(client.signIn());
    QVERIFY(client.lookAround());
    const auto late = [&client](const QString& path, int status) {
        const QJsonObject reply{{u"id"_s, u"former"_s},
                                {u"rows"_s, QJsonArray{QJsonObject{{u"former"_s, 1}}}}};
        client.peer.answer("POST", path, PeerReply::json(reply, status).delivered(PeerReply::Delivery::Hold));
    };
    late(u"/v1/workspaces/ws-1/reports/detailed/query"_s, 200);
    late(u"/v1/imports/import-1/apply"_s, 200);
    client.controller.queryReport(u"detailed"_s, {}, {}, {}, {});
    QTRY_COMPARE(client.peer.held(), 1);
    // Clears `busy`, as any failure does.
    client.controller.previewCsv({}, {}, false);
    client.controller.applyImport();
    QTRY_COMPARE(client.peer.held(), 2);
    client.controller.previewCsv({}, {}, false);

    client.controller.logoutAccount();
    QTRY_COMPARE(client.controller.message(), signedOutMessage);
    const QJsonObject after = client.controller.durableState();
    client.peer.forgetRequests();
    client.peer.release();
    QVERIFY(waitForSilence(client.controller));
    QCOMPARE(client.controller.message(), signedOutMessage);
    QVERIFY(client.showsNoWork());
    QCOMPARE(client.controller.durableState(), after);
    QCOMPARE(client.peer.log(), QStringList());
}

void SignOutTest::requestsOfTheFormerAccountAreNotSentAgain() {
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    QVERIFY(client.signIn());
    client.peer.answer("POST", u"/v1/workspaces/ws-1/reports/detailed/query"_s,
                       PeerReply::only(PeerReply::Delivery::Hold));
    client.controller.queryReport(u"detailed"_s, {}, {}, {}, {});
    QTRY_COMPARE(client.peer.held(), 1);
    client.controller.previewCsv({}, {}, false); // clears `busy`, as any failure does
    client.controller.logoutAccount();
    QTRY_COMPARE(client.controller.message(), signedOutMessage);
    client.peer.forgetRequests();
    client.peer.goOffline();
    client.peer.goOnline();
    QVERIFY(waitForSilence(client.controller));
    QCOMPARE(client.peer.log(), QStringList());
}

void SignOutTest::anExportOfTheFormerAccountIsWrittenOrNotAskedForAgain_data() {
    QTest::addColumn<bool>("breaks");
    QTest::addColumn<QString>("message");
    QTest::newRow("the reply comes late") << false << u"Report exported from its server snapshot"_s;
    QTest::newRow("the connection breaks") << true << u"Export failed"_s;
}

void SignOutTest::anExportOfTheFormerAccountIsWrittenOrNotAskedForAgain() {
    QFETCH(const bool, breaks);
    QFETCH(const QString, message);
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    QVERIFY(client.signIn());
    QVERIFY(client.lookAround());
    client.peer.answer("GET", u"/v1/workspaces/ws-1/report-snapshots/report-1/export"_s,
                       PeerReply::text("a report").delivered(PeerReply::Delivery::Hold));
    const QTemporaryDir folder;
    FileDialogs dialogs;
    dialogs.choose(folder.filePath(u"report.csv"_s));
    client.controller.downloadReport(u"csv"_s);
    QTRY_COMPARE(client.peer.held(), 1);
    client.controller.logoutAccount();
    QTRY_COMPARE(client.controller.message(), signedOutMessage);
    client.peer.forgetRequests();
    if (breaks) {
        client.peer.goOffline();
        client.peer.goOnline();
    }
    client.peer.release();
    QVERIFY(waitForSilence(client.controller));
    QCOMPARE(client.peer.log(), QStringList());
    QCOMPARE(client.controller.message(), message);
    QCOMPARE(QDir(folder.path()).isEmpty(), breaks);
}

QTEST_MAIN(SignOutTest)
#include "signout.moc"
