// SPDX-License-Identifier: MIT
#include "tests/controller/accountclient.h"
#include "tests/support/client.h"
#include "tests/support/filesearch.h"
#include "tests/support/sample.h"
#include "tests/support/vaultfile.h"
#include "vault/vault.h"

#include <QDesktopServices>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QMetaProperty>
#include <QSignalSpy>
#include <QTest>
#include <QUuid>

using namespace Qt::StringLiterals;

namespace {

// A private address that is not loopback. Nothing may ever be sent to it.
const QString privateServer = u"http://10.0.0.1:9"_s;

/// Leaves a signed-out document in the vault of a server without asking that server.
bool storeSignedOut(const QString& server) {
    Vault vault;
    QSignalSpy ready(&vault, &Vault::ready);
    vault.unlock(server);
    return (!ready.isEmpty() || ready.wait()) && vault.save({{u"signed_out"_s, true}});
}

} // namespace

class AccountsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }
    void cleanup() { QDesktopServices::unsetUrlHandler(u"http"_s); }

    void signInIsRefusedBeforeAnythingIsSent_data();
    void signInIsRefusedBeforeAnythingIsSent();
    void signInNeedsAnOpenVault();
    void signInIsIgnoredWhileARequestIsUnderWay();
    void signInIsIgnoredWhileWorkIsPushed();
    void signInSendsTheCredentialsOnceAndWithoutAToken();
    void signInKeepsThePasswordNowhere();
    void signInLoadsTheAccountAndDropsWhatBelongedToTheOther();
    void signInSurvivesARestart();
    void signInRefusedByTheServerChangesNothing_data();
    void signInRefusedByTheServerChangesNothing();
    void sessionThatCannotBeStoredIsRevokedOnce();
    void revocationFollowsNoRedirect();
    void malformedSessionIsRevokedIfItHasAToken_data();
    void malformedSessionIsRevokedIfItHasAToken();
    void workRecordedDuringSignInIsKept();
    void aRecordThatIsAnewShowsNothingOfTheOneBefore();
    void opensTheTimesheetPage();
    void saysWhereTheTimesheetPageIsWithoutABrowser();
    void opensNoPageWithoutAServer();

public Q_SLOTS:
    void rememberPage(const QUrl& url) { m_pages.append(url); }

private:
    QList<QUrl> m_pages;
};

void AccountsTest::signInIsRefusedBeforeAnythingIsSent_data() {
    QTest::addColumn<bool>("signedIn");
    QTest::addColumn<bool>("readOnly");
    QTest::addColumn<bool>("queued");
    QTest::addColumn<bool>("unprotected");
    QTest::addColumn<QString>("message");
    const QString session = u"Sign out of the current account before logging into another session"_s;
    const QString storage = u"Unlock protected OS storage before personal login"_s;
    const QString pending = u"Resolve pending work before personal login"_s;
    const QString transport = u"Personal credentials require HTTPS or loopback. The private HTTP developer "
                              "entry is unchanged."_s;
    QTest::newRow("signed in") << true << false << false << false << session;
    QTest::newRow("read-only") << false << true << false << false << storage;
    QTest::newRow("pending work") << false << false << true << false << pending;
    QTest::newRow("plain http to a private server") << false << false << false << true << transport;
    QTest::newRow("the session is looked at before storage and queue")
        << true << true << true << false << session;
    QTest::newRow("the session is looked at before the transport")
        << true << false << true << true << session;
    QTest::newRow("storage is looked at before the queue") << false << true << true << false << storage;
    QTest::newRow("the queue is looked at before the transport") << false << false << true << true << pending;
}

void AccountsTest::signInIsRefusedBeforeAnythingIsSent() {
    QFETCH(const bool, signedIn);
    QFETCH(const bool, readOnly);
    QFETCH(const bool, queued);
    QFETCH(const bool, unprotected);
    QFETCH(const QString, message);
    AccountClient client;
    Controller& controller = client.controller;
    controller.setReadOnly(readOnly);
    if (unprotected) {
        QVERIFY(storeSignedOut(privateServer));
        controller.connectServer(privateServer);
        QTRY_VERIFY(controller.secureStorage() && !controller.busy());
    } else {
        QVERIFY(client.connectAndSettle());
    }
    QJsonObject state = controller.durableState();
    if (signedIn) {
        state.insert(u"auth"_s, QJsonObject{{u"token"_s, AccountClient::token()}});
    }
    if (queued) {
        state.insert(u"queue"_s, QJsonArray{sample::queueItem(u"timer.start"_s, u"e"_s, {})});
    }
    controller.applyDurable(state);
    client.peer.forgetRequests();

    QSignalSpy changed(&controller, &Controller::changed);
    controller.loginAccount(u"dana@example.org"_s, AccountClient::password());
    QCOMPARE(controller.message(), message);
    QVERIFY(!changed.isEmpty());
    QVERIFY(!controller.busy());
    QVERIFY(client.isSilent());
    QCOMPARE(controller.durableState(), state);
}

void AccountsTest::signInNeedsAnOpenVault() {
    Controller controller;
    controller.loginAccount(u"dana@example.org"_s, AccountClient::password());
    QCOMPARE(controller.message(), u"Unlock protected OS storage before personal login"_s);
}

void AccountsTest::signInIsIgnoredWhileARequestIsUnderWay() {
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    client.peer.answerOnce(
        "POST", AccountClient::loginPath(),
        PeerReply::json(AccountClient::errorReply(u"No."_s), 401).delivered(PeerReply::Delivery::Hold));
    client.controller.loginAccount(u"dana@example.org"_s, AccountClient::password());
    QVERIFY(client.controller.busy());
    QTRY_COMPARE(client.peer.held(), 1);

    QSignalSpy changed(&client.controller, &Controller::changed);
    client.controller.loginAccount(u"noa@example.org"_s, AccountClient::password());
    QVERIFY(changed.isEmpty());
    client.peer.release();
    QTRY_COMPARE(client.controller.message(), u"No."_s);
    QVERIFY(waitForSilence(client.controller));
    QCOMPARE(client.peer.requests("POST", AccountClient::loginPath()).size(), 1);
}

void AccountsTest::signInIsIgnoredWhileWorkIsPushed() {
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    client.peer.answerOnce("GET", u"/v1/me"_s, PeerReply::only(PeerReply::Delivery::Hold));
    client.controller.start(u"Pushed"_s, {}, false);
    QTRY_COMPARE(client.peer.held(), 1);

    QSignalSpy changed(&client.controller, &Controller::changed);
    client.controller.loginAccount(u"dana@example.org"_s, AccountClient::password());
    QVERIFY(changed.isEmpty());
    QCOMPARE(client.controller.message(), u"Saved securely on this device"_s);
    QVERIFY(client.peer.requests("POST", AccountClient::loginPath()).isEmpty());
}

void AccountsTest::signInSendsTheCredentialsOnceAndWithoutAToken() {
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    client.controller.loginAccount(u" Dana@Example.org "_s, u" p\u05d0ss \" "_s);
    QVERIFY(client.controller.busy());
    QTRY_VERIFY(client.controller.accountSignedIn());
    const QList<PeerRequest> sent = client.peer.requests("POST", AccountClient::loginPath());
    QCOMPARE(sent.size(), 1);
    QCOMPARE(sent.first().json(), (QJsonObject{{u"email"_s, u" Dana@Example.org "_s},
                                               {u"password"_s, u" p\u05d0ss \" "_s},
                                               {u"client"_s, u"native"_s},
                                               {u"device_name"_s, u"Timer Qt desktop"_s}}));
    QCOMPARE(sent.first().headers.value("content-type"), "application/json");
    QVERIFY(!sent.first().headers.contains("authorization"));
    QVERIFY(!QUuid::fromString(QLatin1StringView(sent.first().headers.value("idempotency-key"))).isNull());
}

void AccountsTest::signInKeepsThePasswordNowhere() {
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    QVERIFY(client.signIn());
    QVERIFY(waitForSilence(client.controller));
    QVERIFY(!QJsonDocument(client.controller.durableState())
                 .toJson()
                 .contains(AccountClient::password().toUtf8()));
    const QMetaObject* const type = client.controller.metaObject();
    for (int i = 0; i < type->propertyCount(); ++i) {
        QString shown;
        QDebug(&shown) << type->property(i).read(&client.controller);
        QVERIFY2(!shown.contains(AccountClient::password()) && !shown.contains(AccountClient::token()),
                 type->property(i).name());
    }
    QCOMPARE(filesThatHold(AccountClient::password()), QStringList());
    QCOMPARE(filesThatHold(AccountClient::token()), QStringList());
    QVERIFY2(!filesThatHold(client.peer.url()).isEmpty(), "the search finds nothing at all");
}

void AccountsTest::signInLoadsTheAccountAndDropsWhatBelongedToTheOther() {
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    QVERIFY(client.lookAround());
    QCOMPARE(client.controller.accountName(), u"noa@example.org"_s);
    client.peer.forgetRequests();
    client.peer.answerOnce(
        "GET", u"/v1/me"_s,
        PeerReply::json(AccountClient::personalIdentity()).delivered(PeerReply::Delivery::Hold));

    client.controller.loginAccount(u"dana@example.org"_s, AccountClient::password());
    QTRY_COMPARE(client.peer.held(), 1);
    // The new account's data is not there yet; the former one's must not be any more.
    QVERIFY(client.showsNoWork());
    QVERIFY(client.controller.entries().isEmpty());
    QVERIFY(client.controller.workspaces().isEmpty());
    QVERIFY(client.controller.workspace().isEmpty());
    QVERIFY(client.controller.busy());

    client.peer.release();
    QTRY_COMPARE(client.controller.message(), u"Connected to PostgreSQL"_s);
    QCOMPARE(client.controller.accountName(), u"dana@example.org"_s);
    QCOMPARE(client.controller.workspace(), u"ws-1"_s);
    QCOMPARE(client.peer.log(),
             (QStringList{u"POST /v1/auth/login"_s, u"GET /v1/me"_s, u"GET /v1/workspaces"_s,
                          u"GET /v1/sync/snapshot"_s, u"GET /v1/me/timer"_s}));
    for (const PeerRequest& request : client.peer.requests().sliced(1)) {
        QCOMPARE(request.headers.value("authorization"), "Bearer " + AccountClient::token().toUtf8());
    }
}

void AccountsTest::signInSurvivesARestart() {
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    QVERIFY(client.signIn());
    client.restart();
    QVERIFY(connectAndLoad(client.controller, client.peer.url()));
    QVERIFY(client.controller.accountSignedIn());
    QCOMPARE(client.controller.accountName(), u"dana@example.org"_s);
}

void AccountsTest::signInRefusedByTheServerChangesNothing_data() {
    QTest::addColumn<PeerReply>("reply");
    QTest::addColumn<QString>("message");
    const QString fallback = u"Personal sign-in failed"_s;
    const auto refused = [](const QJsonValue& message, int status) {
        return PeerReply::json(AccountClient::errorReply(message), status);
    };
    QTest::newRow("wrong password") << refused(u"Wrong e-mail or password. %1"_s, 401)
                                    << u"Wrong e-mail or password. %1"_s;
    QTest::newRow("too many attempts")
        << refused(u"Try again in a minute."_s, 429) << u"Try again in a minute."_s;
    QTest::newRow("created instead of ok") << PeerReply::json(AccountClient::signInReply(), 201) << fallback;
    QTest::newRow("message not a string") << refused(7, 400) << fallback;
    QTest::newRow("no message") << PeerReply::json({}, 500) << fallback;
    QTest::newRow("empty body") << PeerReply::text({}, 500) << fallback;
    QTest::newRow("ok without JSON") << PeerReply::text("<html>", 200) << fallback;
    QTest::newRow("no answer") << PeerReply::only(PeerReply::Delivery::Close) << fallback;
    QTest::newRow("redirect")
        << PeerReply::json(AccountClient::signInReply(), 302).with("Location", "/v1/elsewhere") << fallback;
}

void AccountsTest::signInRefusedByTheServerChangesNothing() {
    QFETCH(const PeerReply, reply);
    QFETCH(const QString, message);
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    QVERIFY(client.lookAround());
    const QJsonObject before = client.controller.durableState();
    const QByteArray stored = sealedRecord(client.peer.url());
    client.peer.answer("POST", AccountClient::loginPath(), reply);
    client.peer.forgetRequests();

    client.controller.loginAccount(u"dana@example.org"_s, AccountClient::password());
    QTRY_COMPARE(client.controller.message(), message);
    QVERIFY(waitForSilence(client.controller));
    QVERIFY(!client.controller.busy());
    QCOMPARE(client.controller.durableState(), before);
    QCOMPARE(sealedRecord(client.peer.url()), stored);
    QVERIFY(client.showsOldWork());
    QVERIFY(client.peer.requests("POST", AccountClient::logoutPath()).isEmpty());
    QVERIFY(client.peer.requests("POST", u"/v1/elsewhere"_s).isEmpty());
}

void AccountsTest::sessionThatCannotBeStoredIsRevokedOnce() {
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    const QJsonObject before = client.controller.durableState();
    const QByteArray stored = sealedRecord(client.peer.url());
    client.peer.forgetRequests();
    {
        const SaveBlocker blocker(client.peer.url());
        client.controller.loginAccount(u"dana@example.org"_s, AccountClient::password());
        QTRY_COMPARE(client.controller.message(),
                     u"The new session could not be saved securely; previous account retained"_s);
        QTRY_COMPARE(client.peer.requests("POST", AccountClient::logoutPath()).size(), 1);
        QVERIFY(waitForSilence(client.controller));
    }
    QVERIFY(!client.controller.busy());
    QVERIFY(!client.controller.accountSignedIn());
    QCOMPARE(client.controller.durableState(), before);
    QCOMPARE(sealedRecord(client.peer.url()), stored);
    QCOMPARE(client.peer.log(), (QStringList{u"POST /v1/auth/login"_s, u"POST /v1/auth/logout"_s}));
    const PeerRequest revocation = client.peer.requests().last();
    QCOMPARE(revocation.body, R"({"local_queue_empty":true})");
    QCOMPARE(revocation.headers.value("content-type"), "application/json");
    QCOMPARE(revocation.headers.value("authorization"), "Bearer " + AccountClient::token().toUtf8());
    QVERIFY(!revocation.headers.contains("idempotency-key"));
    QVERIFY(!revocation.headers.contains("cookie"));
}

void AccountsTest::revocationFollowsNoRedirect() {
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    client.peer.answer("POST", AccountClient::logoutPath(),
                       PeerReply::text({}, 307).with("Location", "/v1/elsewhere"));
    client.peer.forgetRequests();
    const SaveBlocker blocker(client.peer.url());
    client.controller.loginAccount(u"dana@example.org"_s, AccountClient::password());
    QTRY_COMPARE(client.peer.requests("POST", AccountClient::logoutPath()).size(), 1);
    QVERIFY(waitForSilence(client.controller));
    QCOMPARE(client.peer.requests().size(), 2);
    QCOMPARE(client.controller.message(),
             u"The new session could not be saved securely; previous account retained"_s);
}

void AccountsTest::malformedSessionIsRevokedIfItHasAToken_data() {
    QTest::addColumn<QJsonValue>("issued");
    QTest::addColumn<QByteArrayList>("revoked");
    QTest::newRow("none") << QJsonValue(QJsonValue::Undefined) << QByteArrayList();
    QTest::newRow("empty") << QJsonValue(QString()) << QByteArrayList();
    QTest::newRow("not a string") << QJsonValue(1) << QByteArrayList();
    QTest::newRow("too short") << QJsonValue(u"short"_s) << QByteArrayList{"Bearer short"};
    QTest::newRow("with a space") << QJsonValue(AccountClient::token() + u" a"_s)
                                  << QByteArrayList{"Bearer " + AccountClient::token().toUtf8() + " a"};
    QTest::newRow("that would begin another header")
        << QJsonValue(AccountClient::token() + u"\r\nX-Other: a"_s) << QByteArrayList();
    QTest::newRow("with a trailing line feed")
        << QJsonValue(AccountClient::token() + u'\n') << QByteArrayList();
}

void AccountsTest::malformedSessionIsRevokedIfItHasAToken() {
    QFETCH(const QJsonValue, issued);
    QFETCH(const QByteArrayList, revoked);
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    const QJsonObject before = client.controller.durableState();
    QJsonObject reply = AccountClient::signInReply();
    reply.insert(u"session_token"_s, issued);
    client.peer.answer("POST", AccountClient::loginPath(), PeerReply::json(reply));
    client.controller.loginAccount(u"dana@example.org"_s, AccountClient::password());
    QTRY_COMPARE(client.controller.message(),
                 u"Invalid native session response; existing account retained"_s);
    QVERIFY(waitForSilence(client.controller));
    QCOMPARE(client.controller.durableState(), before);
    QByteArrayList seen;
    for (const PeerRequest& request : client.peer.requests("POST", AccountClient::logoutPath())) {
        seen.append(request.headers.value("authorization"));
    }
    QCOMPARE(seen, revoked);
}

void AccountsTest::workRecordedDuringSignInIsKept() {
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    client.peer.answer("POST", AccountClient::loginPath(),
                       PeerReply::json(AccountClient::signInReply()).delivered(PeerReply::Delivery::Hold));
    client.controller.loginAccount(u"dana@example.org"_s, AccountClient::password());
    QTRY_COMPARE(client.peer.held(), 1);
    client.controller.addManual(u"Meanwhile"_s, {}, u"2026-03-02T10:00:00Z"_s, u"2026-03-02T11:00:00Z"_s,
                                false);
    QCOMPARE(client.controller.pending(), 1);
    const QJsonObject before = client.controller.durableState();

    client.peer.release();
    QTRY_COMPARE(client.controller.message(),
                 u"Pending work must be acknowledged or explicitly resolved before changing accounts"_s);
    QTRY_COMPARE(client.peer.requests("POST", AccountClient::logoutPath()).size(), 1);
    QCOMPARE(client.controller.durableState(), before);
}

void AccountsTest::aRecordThatIsAnewShowsNothingOfTheOneBefore() {
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    QVERIFY(client.lookAround());
    QVERIFY(!client.controller.reportRows().isEmpty());
    QVERIFY(QFile::remove(vaultFile(client.peer.url())));
    client.controller.connectServer(client.peer.url()); // says that the record is missing
    QTRY_VERIFY(!client.controller.busy());
    client.peer.answer("GET", u"/v1/me"_s, PeerReply::json({}, 503));
    client.controller.connectServer(client.peer.url());
    QTRY_VERIFY(!client.controller.busy());
    QVERIFY(client.controller.queueReady());
    QVERIFY(client.controller.reportRows().isEmpty());
    QVERIFY(client.controller.importPreview().isEmpty());
}

void AccountsTest::opensTheTimesheetPage() {
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    m_pages.clear();
    QDesktopServices::setUrlHandler(u"http"_s, this, "rememberPage");
    QSignalSpy changed(&client.controller, &Controller::changed);
    client.controller.openTimesheetWeb();
    QCOMPARE(m_pages, QList<QUrl>{QUrl(client.peer.url() + u"/#timesheet"_s)});
    QVERIFY(changed.isEmpty());
}

void AccountsTest::saysWhereTheTimesheetPageIsWithoutABrowser() {
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    QSignalSpy changed(&client.controller, &Controller::changed);
    client.controller.openTimesheetWeb(); // this session's platform opens nothing
    QCOMPARE(client.controller.message(),
             u"No browser could be opened; the timesheets are at "_s + client.peer.url() + u"/#timesheet"_s);
    QCOMPARE(changed.size(), 1);
}

void AccountsTest::opensNoPageWithoutAServer() {
    Controller controller;
    m_pages.clear();
    QDesktopServices::setUrlHandler(u"http"_s, this, "rememberPage");
    QDesktopServices::setUrlHandler({}, this, "rememberPage");
    QSignalSpy changed(&controller, &Controller::changed);
    controller.openTimesheetWeb();
    QCOMPARE(m_pages, QList<QUrl>());
    QVERIFY(changed.isEmpty());
    QDesktopServices::unsetUrlHandler({});
}

QTEST_MAIN(AccountsTest)
#include "accounts.moc"
