// SPDX-License-Identifier: MIT
#include "tests/controller/accountclient.h"
#include "tests/controller/filedialogs.h"
#include "tests/support/client.h"
#include "tests/support/filesearch.h"
#include "tests/support/sample.h"
#include "tests/support/vaultfile.h"

#include <QJsonArray>
#include <QNetworkProxy>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

using namespace Qt::StringLiterals;

namespace {

const QString blank;
const QString connected = u"Connected to PostgreSQL"_s;
const QString email = u"dana@example.org"_s;
const QString freshToken = u"another-token-of-just-32-letters"_s;
const QString notSaved = u"The new session could not be saved securely; previous account retained"_s;
const QString mePath = u"/v1/me"_s;
const QString pushPath = u"/v1/sync/push"_s;
const QString snapshotPath = u"/v1/sync/snapshot"_s;

PeerReply refusal() {
    return PeerReply::json(AccountClient::errorReply(u"This session has ended."_s), 401);
}

QJsonObject freshReply(const QString& user = {}) {
    QJsonObject reply = AccountClient::signInReply();
    reply.insert(u"session_token"_s, freshToken);
    if (!user.isNull()) {
        QJsonObject session = reply.value(u"session").toObject();
        session.insert(u"user_id"_s, user);
        reply.insert(u"session"_s, session);
    }
    return reply;
}

/// Somebody whose session the server ended while a change waits, at a server that opens another session.
struct EndedClient : AccountClient {
    [[nodiscard]] bool prepare() {
        if (!connectAndSettle() || !signIn() || !queueWork()) {
            return false;
        }
        peer.answer("POST", pushPath, [](const PeerRequest& request) {
            const QJsonObject mutation = sample::pushed(request);
            QJsonObject entry = sample::canonical(mutation);
            entry.insert(u"user_id"_s, personalIdentity().value(u"id"));
            return sample::pushReply({sample::result(mutation, u"accepted"_s, entry)});
        });
        peer.answer("GET", mePath, [](const PeerRequest& request) {
            const bool known = request.headers.value("authorization") == "Bearer " + freshToken.toUtf8();
            return known ? PeerReply::json(personalIdentity()) : refusal();
        });
        peer.answer("POST", loginPath(), PeerReply::json(freshReply()));
        controller.synchronize();
        const bool refused = QTest::qWaitFor([this] { return controller.sessionRefused(); });
        peer.forgetRequests();
        return refused && waitForSilence(controller);
    }

    [[nodiscard]] QJsonObject withFreshSession() const {
        QJsonObject state = controller.durableState();
        QJsonObject auth = state.value(u"auth").toObject();
        auth.insert(u"token"_s, freshToken);
        state.insert(u"auth"_s, auth);
        return state;
    }
};

} // namespace

/// A session that the server ended while work waits for it.
class RenewalTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }

    void aRefusedSessionIsNoticed_data();
    void aRefusedSessionIsNoticed();
    void otherFailuresRefuseNoSession_data();
    void otherFailuresRefuseNoSession();
    void whoeverRefusesItNeedNotSpeakJson();
    void withoutASessionNoneIsRefused();
    void aSessionThatIsKnownAgainIsNotRefused();
    void aRefusedSessionIsNoticedAgainAfterARestart();

    void renewalSendsWhatASignInSends();
    void renewalReplacesTheSessionAndTheQueueGoesOn();
    void renewalSurvivesARestart();
    void workRecordedDuringTheRenewalIsKept();
    void aPressDuringTheRenewalIsCarriedOutAfterIt();
    void aPushUnderWayDuringTheRenewalIsSentAgain();
    void renewalRefusedByTheServerChangesNothing_data();
    void renewalRefusedByTheServerChangesNothing();
    void aSessionThatDoesNotFitIsRevoked_data();
    void aSessionThatDoesNotFitIsRevoked();
    void aRenewalThatCannotBeStoredIsRevoked();
    void renewalIsIgnoredWhenItHasNoPlace();
    void renewalIsRefusedBeforeAnythingIsSent_data();
    void renewalIsRefusedBeforeAnythingIsSent();
    void aRenewalWhileAFileIsChosenStopsTheRemoval();
    void thePasswordIsKeptNowhere();
};

void RenewalTest::aRefusedSessionIsNoticed_data() {
    QTest::addColumn<QByteArray>("method");
    QTest::addColumn<QString>("path");
    QTest::newRow("by the identity") << QByteArray("GET") << mePath;
    QTest::newRow("by the snapshot") << QByteArray("GET") << snapshotPath;
    QTest::newRow("by the push") << QByteArray("POST") << pushPath;
}

void RenewalTest::aRefusedSessionIsNoticed() {
    QFETCH(const QByteArray, method);
    QFETCH(const QString, path);
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    QVERIFY(client.signIn());
    QVERIFY(!client.controller.sessionRefused());
    client.peer.answer(method, path, refusal());
    bool atChanged = false;
    connect(&client.controller, &Controller::changed, this,
            [&] { atChanged = client.controller.sessionRefused(); });
    if (path == pushPath) {
        client.controller.start(u"Recorded"_s, {}, false);
    } else if (path == mePath) {
        client.controller.fetchIdentity();
    } else {
        client.controller.refresh();
    }
    QTRY_VERIFY(atChanged);
}

void RenewalTest::otherFailuresRefuseNoSession_data() {
    QTest::addColumn<PeerReply>("reply");
    QTest::newRow("403") << PeerReply::json(AccountClient::errorReply(u"No."_s), 403);
    QTest::newRow("500") << PeerReply::json({}, 500);
    QTest::newRow("no answer") << PeerReply::only(PeerReply::Delivery::Close);
    QTest::newRow("another account") << PeerReply::json(sample::identity());
}

void RenewalTest::otherFailuresRefuseNoSession() {
    QFETCH(const PeerReply, reply);
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    QVERIFY(client.signIn());
    client.peer.answer("GET", mePath, reply);
    client.controller.fetchIdentity();
    QVERIFY(waitForSilence(client.controller));
    QVERIFY(!client.controller.busy());
    QVERIFY(!client.controller.sessionRefused());
}

void RenewalTest::whoeverRefusesItNeedNotSpeakJson() {
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    QVERIFY(client.signIn());
    client.peer.answer("GET", mePath, PeerReply::text("<html>", 401));
    client.controller.fetchIdentity();
    QTRY_VERIFY(client.controller.sessionRefused());
}

void RenewalTest::withoutASessionNoneIsRefused() {
    AccountClient client;
    QVERIFY(client.connectAndSettle());
    client.peer.answer("GET", mePath, refusal());
    client.controller.fetchIdentity();
    QVERIFY(waitForSilence(client.controller));
    client.peer.answer("POST", AccountClient::loginPath(), refusal());
    client.controller.loginAccount(email, AccountClient::password());
    QTRY_COMPARE(client.controller.message(), u"This session has ended."_s);
    QVERIFY(!client.controller.sessionRefused());
    QVERIFY(client.controller.signInWanted());

    client.peer.answer("GET", mePath, PeerReply::json(AccountClient::personalIdentity()));
    client.controller.fetchIdentity();
    QVERIFY(waitForSilence(client.controller));
    QVERIFY(!client.controller.signInWanted());
}

void RenewalTest::aSessionThatIsKnownAgainIsNotRefused() {
    EndedClient client;
    QVERIFY(client.prepare());
    client.peer.answer("GET", mePath, PeerReply::json(AccountClient::personalIdentity()));
    client.controller.synchronize();
    QTRY_VERIFY(!client.controller.sessionRefused());
    QTRY_COMPARE(client.controller.message(), connected);

    client.peer.answer("GET", mePath, refusal());
    client.controller.fetchIdentity();
    QTRY_VERIFY(client.controller.sessionRefused());
    // What was asked before the session ended may be answered after it.
    client.controller.refresh();
    QTRY_COMPARE(client.controller.message(), connected);
    QVERIFY(client.controller.sessionRefused());
    client.controller.logoutAccount();
    QTRY_VERIFY(!client.controller.accountSignedIn());
    QVERIFY(!client.controller.sessionRefused());
}

void RenewalTest::aRefusedSessionIsNoticedAgainAfterARestart() {
    EndedClient client;
    QVERIFY(client.prepare());
    client.restart();
    client.controller.connectServer(client.peer.url());
    QTRY_VERIFY(client.controller.sessionRefused());
    QCOMPARE(client.controller.message(),
             u"Session unavailable or revoked. Cached work retained; no developer fallback "
             "was attempted."_s);
    client.controller.renewSession(email, AccountClient::password());
    QTRY_COMPARE(client.controller.pending(), 0);
    QTRY_COMPARE(client.controller.message(), connected);
}

void RenewalTest::renewalSendsWhatASignInSends() {
    EndedClient client;
    QVERIFY(client.prepare());
    client.controller.renewSession(u" Dana@Example.org "_s, u" pass \" "_s);
    QVERIFY(client.controller.busy());
    QTRY_VERIFY(!client.controller.sessionRefused());
    const QList<PeerRequest> sent = client.peer.requests("POST", AccountClient::loginPath());
    QCOMPARE(sent.size(), 1);
    QCOMPARE(sent.first().json(), (QJsonObject{{u"email"_s, u" Dana@Example.org "_s},
                                               {u"password"_s, u" pass \" "_s},
                                               {u"client"_s, u"native"_s},
                                               {u"device_name"_s, u"Timer Qt desktop"_s}}));
    QVERIFY(!sent.first().headers.contains("authorization"));
    QVERIFY(!sent.first().headers.value("idempotency-key").isEmpty());
}

void RenewalTest::renewalReplacesTheSessionAndTheQueueGoesOn() {
    EndedClient client;
    QVERIFY(client.prepare());
    const QJsonObject mutation = mutationAt(client.controller, 0);
    const QJsonObject renewed = client.withFreshSession();
    client.peer.answerOnce(
        "GET", mePath,
        PeerReply::json(AccountClient::personalIdentity()).delivered(PeerReply::Delivery::Hold));
    client.controller.renewSession(email, AccountClient::password());
    QTRY_COMPARE(client.peer.held(), 1);
    QCOMPARE(client.controller.durableState(), renewed);
    client.peer.release();

    QTRY_COMPARE(client.controller.message(), connected);
    QCOMPARE(client.controller.pending(), 0);
    QCOMPARE(client.peer.log(),
             (QStringList{u"POST /v1/auth/login"_s, u"GET /v1/me"_s, u"GET /v1/workspaces"_s,
                          u"GET /v1/sync/snapshot"_s, u"GET /v1/me/timer"_s, u"GET /v1/me"_s,
                          u"POST /v1/sync/push"_s, u"GET /v1/sync/snapshot"_s, u"GET /v1/me/timer"_s}));
    for (const PeerRequest& request : client.peer.requests().sliced(1)) {
        QCOMPARE(request.headers.value("authorization"), "Bearer " + freshToken.toUtf8());
    }
    QCOMPARE(sample::pushed(client.peer.requests("POST", pushPath).first()), mutation);
}

void RenewalTest::renewalSurvivesARestart() {
    EndedClient client;
    QVERIFY(client.prepare());
    const QJsonObject renewed = client.withFreshSession();
    client.peer.answer("GET", mePath, PeerReply::only(PeerReply::Delivery::Never));
    client.controller.renewSession(email, AccountClient::password());
    QTRY_COMPARE(client.peer.requests("GET", mePath).size(), 1);
    client.restart();
    client.controller.connectServer(client.peer.url());
    QTRY_COMPARE(client.controller.durableState(), renewed);
}

void RenewalTest::workRecordedDuringTheRenewalIsKept() {
    EndedClient client;
    QVERIFY(client.prepare());
    client.peer.answer("POST", AccountClient::loginPath(),
                       PeerReply::json(freshReply()).delivered(PeerReply::Delivery::Hold));
    client.controller.renewSession(email, AccountClient::password());
    QTRY_COMPARE(client.peer.held(), 1);
    client.controller.addManual(u"Meanwhile"_s, {}, u"2026-03-02T10:00:00Z"_s, u"2026-03-02T11:00:00Z"_s,
                                false);
    QCOMPARE(client.controller.pending(), 2);
    client.peer.release();
    QTRY_COMPARE(client.controller.message(), connected);
    QCOMPARE(client.peer.requests("POST", pushPath).size(), 2);
}

void RenewalTest::aPressDuringTheRenewalIsCarriedOutAfterIt() {
    EndedClient client;
    QVERIFY(client.prepare());
    const bool running = !client.controller.timer().isEmpty();
    client.peer.answer("POST", AccountClient::loginPath(),
                       PeerReply::json(freshReply()).delivered(PeerReply::Delivery::Hold));
    client.controller.renewSession(email, AccountClient::password());
    QTRY_COMPARE(client.peer.held(), 1);
    client.controller.toggleTimer(u"Pressed"_s, {}, false);
    client.peer.release();
    QTRY_COMPARE(client.peer.requests("POST", pushPath).size(), 2);
    QCOMPARE(sample::pushed(client.peer.requests("POST", pushPath).last()).value(u"operation"),
             running ? u"timer.stop"_s : u"timer.start"_s);
}

void RenewalTest::aPushUnderWayDuringTheRenewalIsSentAgain() {
    EndedClient client;
    QVERIFY(client.prepare());
    client.peer.answer("POST", AccountClient::loginPath(),
                       PeerReply::json(freshReply()).delivered(PeerReply::Delivery::Hold));
    client.controller.renewSession(email, AccountClient::password());
    QTRY_COMPARE(client.peer.held(), 1);
    client.controller.fail(blank); // as any failure does meanwhile
    client.peer.answerOnce("GET", mePath, PeerReply::only(PeerReply::Delivery::Hold));
    client.controller.synchronize();
    QTRY_COMPARE(client.peer.held(), 2);
    client.peer.release();
    QTRY_COMPARE(client.controller.message(), connected);
    QCOMPARE(client.controller.pending(), 0);
    QCOMPARE(client.peer.requests("POST", pushPath).size(), 1);
}

void RenewalTest::renewalRefusedByTheServerChangesNothing_data() {
    QTest::addColumn<PeerReply>("reply");
    QTest::addColumn<QString>("message");
    QTest::newRow("wrong password") << PeerReply::json(AccountClient::errorReply(u"Wrong password."_s), 401)
                                    << u"Wrong password."_s;
    QTest::newRow("no message") << PeerReply::json({}, 500) << u"Personal sign-in failed"_s;
    QTest::newRow("no answer") << PeerReply::only(PeerReply::Delivery::Close) << u"Personal sign-in failed"_s;
}

void RenewalTest::renewalRefusedByTheServerChangesNothing() {
    QFETCH(const PeerReply, reply);
    QFETCH(const QString, message);
    EndedClient client;
    QVERIFY(client.prepare());
    const QJsonObject before = client.controller.durableState();
    const QByteArray sealed = sealedRecord(client.peer.url());
    client.peer.answer("POST", AccountClient::loginPath(), reply);
    client.controller.renewSession(email, AccountClient::password());
    QTRY_COMPARE(client.controller.message(), message);
    QVERIFY(!client.controller.busy());
    QVERIFY(client.controller.sessionRefused());
    QCOMPARE(client.controller.durableState(), before);
    QCOMPARE(sealedRecord(client.peer.url()), sealed);
}

void RenewalTest::aSessionThatDoesNotFitIsRevoked_data() {
    QTest::addColumn<QJsonObject>("reply");
    QTest::addColumn<QString>("message");
    QTest::newRow("another account") << freshReply(u"00000000-5f60-4a71-8b92-a3b4c5d6e7f8"_s)
                                     << u"This is another account; the waiting work stays with its own."_s;
    QTest::newRow("malformed") << freshReply(u"dana"_s)
                               << u"Invalid native session response; existing account retained"_s;
}

void RenewalTest::aSessionThatDoesNotFitIsRevoked() {
    QFETCH(const QJsonObject, reply);
    QFETCH(const QString, message);
    EndedClient client;
    QVERIFY(client.prepare());
    const QJsonObject before = client.controller.durableState();
    const QByteArray sealed = sealedRecord(client.peer.url());
    client.peer.answer("POST", AccountClient::loginPath(), PeerReply::json(reply));
    client.controller.renewSession(email, AccountClient::password());
    QTRY_COMPARE(client.controller.message(), message);
    QVERIFY(waitForSilence(client.controller));
    QVERIFY(client.controller.sessionRefused());
    QCOMPARE(client.controller.durableState(), before);
    QCOMPARE(sealedRecord(client.peer.url()), sealed);
    QCOMPARE(client.peer.log(), (QStringList{u"POST /v1/auth/login"_s, u"POST /v1/auth/logout"_s}));
    QCOMPARE(client.peer.requests().last().headers.value("authorization"), "Bearer " + freshToken.toUtf8());
}

void RenewalTest::aRenewalThatCannotBeStoredIsRevoked() {
    EndedClient client;
    QVERIFY(client.prepare());
    const QJsonObject before = client.controller.durableState();
    const QByteArray sealed = sealedRecord(client.peer.url());
    {
        const SaveBlocker blocker(client.peer.url());
        client.controller.renewSession(email, AccountClient::password());
        QTRY_COMPARE(client.controller.message(), notSaved);
    }
    QVERIFY(waitForSilence(client.controller));
    QVERIFY(!client.controller.busy());
    QCOMPARE(client.controller.durableState(), before);
    QCOMPARE(sealedRecord(client.peer.url()), sealed);
    QCOMPARE(client.peer.log(), (QStringList{u"POST /v1/auth/login"_s, u"POST /v1/auth/logout"_s}));
    // Once it can be stored, nothing stands in the way.
    client.controller.renewSession(email, AccountClient::password());
    QTRY_COMPARE(client.controller.pending(), 0);
}

void RenewalTest::renewalIsIgnoredWhenItHasNoPlace() {
    AccountClient fresh;
    QVERIFY(fresh.connectAndSettle());
    QVERIFY(fresh.signIn());
    QVERIFY(waitForSilence(fresh.controller));
    fresh.peer.forgetRequests();
    QSignalSpy changed(&fresh.controller, &Controller::changed);
    fresh.controller.renewSession(email, AccountClient::password());
    QVERIFY(changed.isEmpty());
    QVERIFY(fresh.isSilent());

    EndedClient ended;
    QVERIFY(ended.prepare());
    ended.peer.answer("GET", mePath, PeerReply::only(PeerReply::Delivery::Never));
    ended.controller.synchronize(); // syncing
    ended.controller.renewSession(email, AccountClient::password());
    QCOMPARE(ended.controller.message(), u"Another request is under way; sign in again when it has ended."_s);
    ended.controller.fetchIdentity(); // busy
    QSignalSpy whileBusy(&ended.controller, &Controller::changed);
    ended.controller.renewSession(email, AccountClient::password());
    QVERIFY(whileBusy.isEmpty());
    QVERIFY(ended.peer.requests("POST", AccountClient::loginPath()).isEmpty());
}

void RenewalTest::renewalIsRefusedBeforeAnythingIsSent_data() {
    QTest::addColumn<bool>("unprotected");
    QTest::addColumn<QString>("message");
    QTest::newRow("read-only") << false << u"Unlock protected OS storage before personal login"_s;
    QTest::newRow("plain http to a private server")
        << true
        << u"Personal credentials require HTTPS or loopback. The private HTTP developer entry is unchanged."_s;
}

void RenewalTest::renewalIsRefusedBeforeAnythingIsSent() {
    QFETCH(const bool, unprotected);
    QFETCH(const QString, message);
    EndedClient client;
    QVERIFY(client.prepare());
    ScriptedPeer proxy; // answers for the private address: nothing leaves this machine
    if (unprotected) {
        const QString server = u"http://10.0.0.1:9"_s;
        proxy.answer("GET", server + mePath, refusal());
        networkOf(client.controller)
            .setProxy(
                {QNetworkProxy::HttpProxy, u"127.0.0.1"_s, static_cast<quint16>(QUrl(proxy.url()).port())});
        const QJsonObject state = client.controller.durableState();
        client.controller.applyDurable({});
        client.controller.connectServer(server);
        QTRY_VERIFY(!client.controller.busy());
        client.controller.applyDurable(state);
        client.controller.fetchIdentity();
        QTRY_VERIFY(client.controller.sessionRefused() && !client.controller.busy());
    } else {
        client.controller.setReadOnly(true);
    }
    client.peer.forgetRequests();
    proxy.forgetRequests();
    client.controller.renewSession(email, AccountClient::password());
    QCOMPARE(client.controller.message(), message);
    QVERIFY(!client.controller.busy());
    QVERIFY(client.isSilent());
    QVERIFY(client.peer.requests().isEmpty());
    QVERIFY(proxy.requests().isEmpty());
}

void RenewalTest::aRenewalWhileAFileIsChosenStopsTheRemoval() {
    EndedClient client;
    QVERIFY(client.prepare());
    const QTemporaryDir folder;
    FileDialogs dialogs;
    dialogs.choose(folder.filePath(u"copy.json"_s));
    dialogs.afterChoosing([&client] {
        client.peer.answer("GET", mePath, PeerReply::json({}, 503));
        client.controller.renewSession(email, AccountClient::password());
        QVERIFY(waitForSilence(client.controller));
        QTRY_VERIFY(!client.controller.busy());
    });
    client.controller.removePending();
    QCOMPARE(client.controller.message(),
             u"The session or the waiting changes are not the same any more; nothing was removed."_s);
    QCOMPARE(client.controller.pending(), 1);
}

void RenewalTest::thePasswordIsKeptNowhere() {
    EndedClient client;
    QVERIFY(client.prepare());
    client.controller.renewSession(email, AccountClient::password());
    QTRY_COMPARE(client.controller.message(), connected);
    QCOMPARE(filesThatHold(AccountClient::password()), QStringList());
    QCOMPARE(filesThatHold(freshToken), QStringList());
    QVERIFY2(!filesThatHold(client.peer.url()).isEmpty(), "the search finds nothing at all");
}

QTEST_MAIN(RenewalTest)
#include "renewal.moc"
