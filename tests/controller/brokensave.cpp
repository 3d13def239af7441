// SPDX-License-Identifier: MIT
#include "tests/controller/accountclient.h"
#include "tests/controller/resolver.h"
#include "tests/support/brokendisk.h"
#include "tests/support/client.h"
#include "tests/vault/failingrandom.h"
#include "tests/vault/vaulthome.h"

#include <QTest>
#include <QTimer>

#include <optional>

namespace {

const QString mePath = u"/v1/me"_s;
const QString formerToken = u"the-former-token-of-32-characters"_s;
const QString serverAway = u"Server unavailable. Encrypted cached data retained."_s;
const QString sessionNotSaved = u"The new session could not be saved securely; previous account retained"_s;

/// What may fail.
enum class Fault { OneCall, FullDisk, Random };

/// Something that a person does and that is real once it is saved.
struct Act {
    QJsonObject state; ///< before it
    bool online;
    void (*run)(Controller& controller);
    QString done; ///< told only afterwards
    QString failed;
    bool opensSession = false;
    int recorded = 0; ///< changes that are recorded at once, where that is more than one
};

QJsonObject waiting(const QJsonArray& queue) {
    return sample::durable(sample::snapshot({Resolver::theirs(u"e1"_s), Resolver::theirs(u"e2"_s)}), queue);
}

QJsonObject signedIn(const QJsonArray& queue = {}) {
    QJsonObject state = waiting(queue);
    const QJsonObject identity = AccountClient::personalIdentity();
    state.insert(u"me", identity);
    state.insert(u"auth", QJsonObject{{u"user_id"_s, identity.value(u"id")},
                                      {u"session_id"_s, u"former"_s},
                                      {u"token"_s, formerToken}});
    return state;
}

/// A server that has ended the former session and opens another, and answers no reload.
void serveAccounts(ScriptedPeer& peer) {
    peer.answer("GET", mePath, [](const PeerRequest& request) {
        const QByteArray session = request.headers.value("authorization");
        if (session.isEmpty()) {
            return PeerReply::json(sample::identity());
        }
        return session == "Bearer " + AccountClient::token().toUtf8()
                   ? PeerReply::json(AccountClient::personalIdentity())
                   : PeerReply::json(AccountClient::errorReply(u"Ended."_s), 401);
    });
    peer.answer("POST", AccountClient::loginPath(), PeerReply::json(AccountClient::signInReply()));
    peer.answer("POST", AccountClient::logoutPath(), PeerReply::text({}, 204));
    peer.answer("GET", u"/v1/sync/snapshot"_s, PeerReply::json({}, 503));
}

/// The members that only a save changes.
QJsonObject kept(const QJsonObject& state) {
    return {{u"auth"_s, state.value(u"auth")},
            {u"signed_out"_s, state.value(u"signed_out")},
            {u"queue"_s, state.value(u"queue")}};
}

bool settles(const Controller& controller) {
    return QTest::qWaitFor([&] { return !controller.busy() && !controller.syncing(); }) &&
           waitForSilence(controller);
}

/// Brings client and server to the state before the act.
bool prepare(Resolver& person, const Act& act) {
    Controller& controller = person.controller();
    const QList<QTimer*> timers = controller.findChildren<QTimer*>(QString(), Qt::FindDirectChildrenOnly);
    for (QTimer* timer : timers) {
        timer->stop(); // nothing comes by itself between
    }
    person.desk.peer.goOnline();
    controller.applyDurable(act.state);
    if (!controller.persist()) {
        return false;
    }
    if (controller.accountSignedIn() && controller.pending() > 0) {
        controller.synchronize(); // finds the session ended
    }
    if (!settles(controller)) {
        return false;
    }
    if (!act.online) {
        person.desk.peer.goOffline();
    }
    controller.connectServer(u"nonsense"_s); // refused: an act does not begin with a former one's message
    person.desk.peer.forgetRequests();
    return true;
}

/// Carries the act out while the `good` first calls succeed; whether one failed.
bool breaksDuring(const Act& act, Controller& controller, Fault fault, int good) {
    std::optional<FailingRandom> random;
    std::optional<BrokenDisk> disk;
    if (fault == Fault::Random) {
        random.emplace(good);
    } else {
        disk.emplace(VaultHome::directory(), good,
                     fault == Fault::OneCall ? BrokenDisk::Mend::AtOnce : BrokenDisk::Mend::Never);
    }
    act.run(controller);
    return settles(controller) && (disk ? BrokenDisk::hasBroken() : FailingRandom::hasFailed());
}

} // namespace

/// Whatever goes wrong while something is saved, what the client shows, what lies on the disk and what the
/// person was told are the same.
class BrokenSaveTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }

    void memoryDiskAndMessageAgree_data();
    void memoryDiskAndMessageAgree();
    void aLoadIsSavedOrItIsSaid_data();
    void aLoadIsSavedOrItIsSaid();
};

void BrokenSaveTest::memoryDiskAndMessageAgree_data() {
    const auto start = [](Controller& client) { client.start(u"Mine"_s, {}, false); };
    const auto goOn = [](Controller& client) { client.continueEntry(u"e1"_s); };
    const auto restart = [](Controller& client) { client.restartTimerFrom(u"2024-03-01T10:00:00Z"_s); };
    const auto synchronize = [](Controller& client) { client.synchronize(); };
    const auto signIn = [](Controller& client) {
        client.loginAccount(u"dana@example.org"_s, AccountClient::password());
    };
    const auto signOut = [](Controller& client) { client.logoutAccount(); };
    const auto renew = [](Controller& client) {
        client.renewSession(u"dana@example.org"_s, AccountClient::password());
    };
    const auto resend = [](Controller& client) { client.resendRetained(); };
    const auto setAside = [](Controller& client) { client.removePending(); };
    const auto reconnect = [](Controller& client) { client.connectServer(client.server()); };
    const QJsonArray edits{Resolver::edit(u"e1"_s), Resolver::edit(u"e2"_s)};
    const QJsonArray refused{Resolver::edit(u"e1"_s, u"conflict"_s), edits.last()};
    QJsonObject running = waiting(refused);
    running.insert(u"timer", sample::entry(u"t1"_s, u"2024-03-01T09:30:00Z"_s, QJsonValue::Null));
    const QString saved = u"Saved securely on this device"_s;
    const QString notSaved = u"The write was not accepted because secure local storage failed."_s;
    QJsonObject signedOut = waiting({});
    signedOut.insert(u"signed_out", true);
    const QList<std::pair<QByteArray, Act>> acts{
        {"start", {waiting(refused), false, start, saved, notSaved}},
        {"going on with another entry", {running, false, goOn, saved, notSaved, false, 2}},
        {"stopping in the past and starting anew", {running, false, restart, saved, notSaved, false, 2}},
        {"acknowledgement",
         {waiting({edits.first()}), true, synchronize, serverAway,
          u"Secure local acknowledgement save failed; original queue retained for replay"_s}},
        {"sign-in", {waiting({}), true, signIn, serverAway, sessionNotSaved, true}},
        {"sign-out",
         {signedIn(), true, signOut, u"Signed out. No private developer fallback was opened automatically."_s,
          u"Secure local logout failed; encrypted data was not erased"_s}},
        {"renewal", {signedIn(edits), true, renew, serverAway, sessionNotSaved, true}},
        {"sending again",
         {waiting(refused), false, resend, u"The change is sent again as a new one."_s,
          u"The change could not be saved for sending again; it is retained as it was."_s}},
        {"setting aside",
         {waiting(refused), false, setAside, u"Copy saved; 2 changes left the queue."_s,
          u"The copy was written, but the queue could not be saved securely; nothing was removed."_s}},
        {"developer reconnect",
         {signedOut, true, reconnect, serverAway, u"Unable to store explicit developer reconnect"_s}},
    };
    QTest::addColumn<Act>("act");
    QTest::addColumn<Fault>("fault");
    for (const auto& [name, act] : acts) {
        QTest::newRow(name + ": one call fails") << act << Fault::OneCall;
        QTest::newRow(name + ": the disk is full from then on") << act << Fault::FullDisk;
        QTest::newRow(name + ": no randomness from then on") << act << Fault::Random;
    }
}

void BrokenSaveTest::memoryDiskAndMessageAgree() {
    QFETCH(const Act, act);
    QFETCH(const Fault, fault);
    Resolver person;
    QVERIFY(person.hold({}));
    serveAccounts(person.desk.peer);
    Controller& controller = person.controller();
    QStringList told;
    connect(&controller, &Controller::changed, this, [&] { told.append(controller.message()); });
    int failures = 0;
    for (bool broke = true; broke; ++failures) {
        QVERIFY(prepare(person, act));
        const QJsonObject before = kept(person.desk.stored());
        told.clear();
        broke = breaksDuring(act, controller, fault, failures);
        const QJsonObject after = kept(person.desk.stored());
        const bool done = after != before;
        QCOMPARE(kept(controller.durableState()), after);
        QVERIFY(done || broke);
        QCOMPARE(told.contains(act.done), done);
        QCOMPARE(told.contains(act.failed), !done);
        if (act.recorded > 0) {
            const qsizetype waited = before.value(u"queue").toArray().size();
            QCOMPARE(after.value(u"queue").toArray().size(), waited + (done ? act.recorded : 0));
        }
        // A session that is not kept does not stay open.
        const qsizetype ended = person.desk.peer.requests("POST", AccountClient::logoutPath()).size();
        QVERIFY(!act.opensSession || ended == (done ? 0 : 1));
    }
    QVERIFY(failures > 1);
    const QJsonObject last = kept(controller.durableState());
    person.desk.peer.goOffline();
    person.desk.restart();
    person.controller().connectServer(person.desk.peer.url());
    QVERIFY(settles(person.controller()));
    QCOMPARE(kept(person.controller().durableState()), last);
}

void BrokenSaveTest::aLoadIsSavedOrItIsSaid_data() {
    QTest::addColumn<Fault>("fault");
    QTest::newRow("one call fails") << Fault::OneCall;
    QTest::newRow("the disk is full from then on") << Fault::FullDisk;
    QTest::newRow("no randomness from then on") << Fault::Random;
}

void BrokenSaveTest::aLoadIsSavedOrItIsSaid() {
    QFETCH(const Fault, fault);
    const auto refresh = [](Controller& client) { client.refresh(); };
    const Act act{waiting({}), true, refresh, u"Connected to PostgreSQL"_s,
                  u"Secure local save failed; the retained queue was not acknowledged locally."_s};
    Resolver person;
    QVERIFY(person.hold({}));
    const QJsonObject fresh = sample::snapshot({Resolver::theirs(u"e3"_s)});
    person.desk.peer.answer("GET", u"/v1/sync/snapshot"_s, PeerReply::json(fresh));
    int failures = 0;
    for (bool broke = true; broke; ++failures) {
        QVERIFY(prepare(person, act));
        const QJsonObject before = person.desk.stored();
        broke = breaksDuring(act, person.controller(), fault, failures);
        const QJsonObject shown = person.controller().durableState();
        const bool saved = person.desk.stored() == shown;
        QCOMPARE(shown.value(u"snapshot").toObject(), fresh);
        QVERIFY(saved || (broke && person.desk.stored() == before));
        QCOMPARE(person.controller().message(), saved ? act.done : act.failed);
    }
    QVERIFY(failures > 1);
}

QTEST_MAIN(BrokenSaveTest)
#include "brokensave.moc"
