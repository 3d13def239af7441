// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "tests/support/client.h"
#include "tests/support/sample.h"
#include "tests/support/scriptedpeer.h"

#include <QJsonDocument>
#include <QNetworkReply>
#include <QSet>
#include <QSignalSpy>
#include <QTest>
#include <QUuid>

#include <memory>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype largestReply = 52428800;

const QString probe = u"/probe"_s;
const QString wholeProbe = u"/v1/probe"_s;

struct Outcome {
    QJsonObject reply;
    int status = 0;
};

/// Valid JSON of exactly this many bytes.
QByteArray paddedObject(qsizetype size) {
    const QByteArray open = R"({"pad":")";
    const QByteArray close = R"("})";
    return open + QByteArray(size - open.size() - close.size(), 'x') + close;
}

} // namespace

class RequestsTest : public QObject {
    Q_OBJECT

    Outcome ask(const QByteArray& method, const QString& path, const QJsonObject& body = {},
                const QString& key = {});
    void signIn(const QString& token);

    std::unique_ptr<ScriptedPeer> m_peer;
    std::unique_ptr<Controller> m_controller;

private Q_SLOTS:
    void init();
    void cleanup();

    void withoutServerTheCallbackRunsBeforeSendReturns();
    void aGetCarriesNoKeyAndNoBody();
    void aPostWithoutKeyGetsAFreshOneEachTime();
    void aPostCarriesTheGivenKeyAndItsBodyAsCompactJson();
    void anyOtherVerbIsSentWithBodyAndKey();
    void everyRequestSaysJson();
    void theTokenGoesEverywhereButToTheLogin();
    void withoutTokenThereIsNoAuthorization();
    void theQueryIsSentAsItStands();
    void cookiesAreNeitherKeptNorSent();
    void limitsOfEveryRequest();
    void aRequestThatIsGivenUpEndsAsStatusZero();

    void repliesBecomeObjectAndStatus_data();
    void repliesBecomeObjectAndStatus();
    void aRedirectIsNotFollowed();
    void aBrokenRoadIsStatusZero_data();
    void aBrokenRoadIsStatusZero();
    void aReplyOfExactlyTheLimitIsRead();
    void aReplyOverTheLimitIsStatusZero();

    void aLateReplyOfThePreviousServerReachesNoCallback();
    void reconnectingToTheSameServerDropsLateRepliesToo();
    void severalRequestsAreInFlightAtOnce();
    void sendTouchesNeitherBusyNorMessage();
    void quittingWithARequestInFlightCallsNothing();
};

void RequestsTest::init() {
    startClean();
    m_peer = std::make_unique<ScriptedPeer>();
    sample::serve(*m_peer, sample::snapshot());
    m_controller = std::make_unique<Controller>();
    // Read-only, so that these tests depend on no credential store.
    m_controller->setReadOnly(true);
    QVERIFY(connectAndLoad(*m_controller, m_peer->url()));
    m_peer->forgetRequests();
}

void RequestsTest::cleanup() {
    m_controller.reset();
    m_peer.reset();
}

Outcome RequestsTest::ask(const QByteArray& method, const QString& path, const QJsonObject& body,
                          const QString& key) {
    std::optional<Outcome> outcome;
    const auto keep = [&outcome](const QJsonObject& reply, int status) { outcome = {reply, status}; };
    m_controller->send(method, path, body, keep, key);
    if (!QTest::qWaitFor([&outcome] { return outcome.has_value(); }, 20000)) {
        QTest::qFail("no callback", __FILE__, __LINE__);
        return {{}, -1};
    }
    return *outcome;
}

void RequestsTest::signIn(const QString& token) {
    QJsonObject state = m_controller->durableState();
    state.insert(u"auth", QJsonObject{{u"token"_s, token}});
    m_controller->applyDurable(state);
}

void RequestsTest::withoutServerTheCallbackRunsBeforeSendReturns() {
    Controller idle;
    std::optional<Outcome> outcome;
    const auto keep = [&outcome](const QJsonObject& reply, int status) { outcome = {reply, status}; };
    idle.send("GET", probe, {}, keep);
    QVERIFY(outcome);
    QCOMPARE(outcome->status, 0);
    QCOMPARE(outcome->reply, QJsonObject());
}

void RequestsTest::aGetCarriesNoKeyAndNoBody() {
    ask("GET", probe, {{u"ignored"_s, true}}, u"unused"_s);
    const PeerRequest request = m_peer->requests("GET", wholeProbe).value(0);
    QCOMPARE(request.path, wholeProbe);
    QVERIFY(!request.headers.contains("idempotency-key"));
    QCOMPARE(request.body, QByteArray());
}

void RequestsTest::aPostWithoutKeyGetsAFreshOneEachTime() {
    QSet<QByteArray> keys;
    for (int i = 0; i < 3; ++i) {
        ask("POST", probe);
        const QByteArray key = m_peer->requests().last().headers.value("idempotency-key");
        QVERIFY(!QUuid::fromString(QLatin1String(key)).isNull());
        QCOMPARE(key.size(), 36);
        keys.insert(key);
    }
    QCOMPARE(keys.size(), 3);
}

void RequestsTest::aPostCarriesTheGivenKeyAndItsBodyAsCompactJson() {
    const QJsonObject body{{u"b"_s, QJsonArray{1, 2}}, {u"a"_s, u"שלום"_s}};
    ask("POST", probe, body, u"my-key"_s);
    const PeerRequest request = m_peer->requests("POST", wholeProbe).value(0);
    QCOMPARE(request.headers.value("idempotency-key"), "my-key");
    QCOMPARE(request.body, QJsonDocument(body).toJson(QJsonDocument::Compact));
}

void RequestsTest::anyOtherVerbIsSentWithBodyAndKey() {
    ask("DELETE", probe, {{u"reason"_s, u"test"_s}});
    const PeerRequest request = m_peer->requests("DELETE", wholeProbe).value(0);
    QCOMPARE(request.body, R"({"reason":"test"})");
    QVERIFY(request.headers.contains("idempotency-key"));
}

void RequestsTest::everyRequestSaysJson() {
    ask("GET", probe);
    ask("POST", probe);
    ask("POST", u"/auth/login"_s);
    QCOMPARE(m_peer->requests().size(), 3);
    for (const PeerRequest& request : m_peer->requests()) {
        QCOMPARE(request.headers.value("content-type"), "application/json");
    }
}

void RequestsTest::theTokenGoesEverywhereButToTheLogin() {
    signIn(u"secret-token"_s);
    ask("GET", probe);
    ask("POST", probe);
    ask("POST", u"/auth/login"_s);
    ask("POST", u"/auth/logout"_s);
    QCOMPARE(m_peer->requests("GET", wholeProbe).value(0).headers.value("authorization"),
             "Bearer secret-token");
    QCOMPARE(m_peer->requests("POST", wholeProbe).value(0).headers.value("authorization"),
             "Bearer secret-token");
    const PeerRequest login = m_peer->requests("POST", u"/v1/auth/login"_s).value(0);
    QCOMPARE(login.method, "POST");
    QVERIFY(!login.headers.contains("authorization"));
    QCOMPARE(m_peer->requests().last().headers.value("authorization"), "Bearer secret-token");
}

void RequestsTest::withoutTokenThereIsNoAuthorization() {
    ask("GET", probe);
    ask("POST", probe);
    QCOMPARE(m_peer->requests().size(), 2);
    for (const PeerRequest& request : m_peer->requests()) {
        QVERIFY(!request.headers.contains("authorization"));
    }
}

void RequestsTest::theQueryIsSentAsItStands() {
    ask("GET", u"/probe?workspace_id=ws-1&a=b"_s);
    QCOMPARE(m_peer->requests().last().path, wholeProbe);
    QCOMPARE(m_peer->requests().last().query, u"workspace_id=ws-1&a=b"_s);
}

void RequestsTest::cookiesAreNeitherKeptNorSent() {
    m_peer->answer("GET", wholeProbe,
                   PeerReply::json({{u"ok"_s, true}}).with("Set-Cookie", "session=1; Path=/"));
    QCOMPARE(ask("GET", probe).status, 200);
    QCOMPARE(ask("GET", probe).status, 200);
    QVERIFY(!m_peer->requests().last().headers.contains("cookie"));
}

void RequestsTest::limitsOfEveryRequest() {
    m_peer->answer("GET", wholeProbe, PeerReply::only(PeerReply::Delivery::Never));
    m_peer->answer("POST", wholeProbe, PeerReply::only(PeerReply::Delivery::Never));
    const Controller::Callback ignore = [](const QJsonObject&, int) {};
    m_controller->send("GET", probe, {}, ignore);
    m_controller->send("POST", probe, {}, ignore);
    QTRY_COMPARE(m_peer->requests().size(), 2);

    const QList<QNetworkReply*> replies = networkOf(*m_controller).findChildren<QNetworkReply*>();
    int open = 0;
    for (const QNetworkReply* reply : replies) {
        const QNetworkRequest request = reply->request();
        QCOMPARE(request.transferTimeout(), 12000);
        QCOMPARE(request.attribute(QNetworkRequest::RedirectPolicyAttribute).toInt(),
                 static_cast<int>(QNetworkRequest::ManualRedirectPolicy));
        QCOMPARE(request.attribute(QNetworkRequest::CookieLoadControlAttribute).toInt(),
                 static_cast<int>(QNetworkRequest::Manual));
        QCOMPARE(request.attribute(QNetworkRequest::CookieSaveControlAttribute).toInt(),
                 static_cast<int>(QNetworkRequest::Manual));
        open += reply->isFinished() ? 0 : 1;
    }
    QCOMPARE(open, 2);
}

// The time-out ends a reply in this same way; nobody has to wait 12 s to see it.
void RequestsTest::aRequestThatIsGivenUpEndsAsStatusZero() {
    m_peer->answer("GET", wholeProbe, PeerReply::only(PeerReply::Delivery::Never));
    std::optional<Outcome> outcome;
    const auto keep = [&outcome](const QJsonObject& reply, int status) { outcome = {reply, status}; };
    m_controller->send("GET", probe, {}, keep);
    QTRY_COMPARE(m_peer->requests().size(), 1);
    const QList<QNetworkReply*> replies = networkOf(*m_controller).findChildren<QNetworkReply*>();
    for (QNetworkReply* reply : replies) {
        reply->abort();
    }
    QTRY_VERIFY(outcome);
    QCOMPARE(outcome->status, 0);
    QCOMPARE(outcome->reply, QJsonObject());
}

void RequestsTest::repliesBecomeObjectAndStatus_data() {
    QTest::addColumn<int>("httpStatus");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<int>("status");

    QTest::newRow("an object") << 200 << QByteArray(R"({"a":1})") << QByteArray(R"({"a":1})") << 200;
    QTest::newRow("an array is an empty object") << 200 << QByteArray("[1]") << QByteArray("{}") << 200;
    QTest::newRow("204 without a body") << 204 << QByteArray() << QByteArray("{}") << 204;
    QTest::newRow("200 without a body") << 200 << QByteArray() << QByteArray("{}") << 0;
    QTest::newRow("200 with HTML") << 200 << QByteArray("<html>") << QByteArray("{}") << 0;
    QTest::newRow("500 with HTML") << 500 << QByteArray("<html>") << QByteArray("{}") << 0;
    QTest::newRow("JSON that stops early") << 200 << QByteArray(R"({"a":1)") << QByteArray("{}") << 0;
    QTest::newRow("401 with an error")
        << 401 << QByteArray(R"({"error":{}})") << QByteArray(R"({"error":{}})") << 401;
    QTest::newRow("409 with an error")
        << 409 << QByteArray(R"({"error":{}})") << QByteArray(R"({"error":{}})") << 409;
    QTest::newRow("503 with an object") << 503 << QByteArray("{}") << QByteArray("{}") << 503;
}

void RequestsTest::repliesBecomeObjectAndStatus() {
    QFETCH(const int, httpStatus);
    QFETCH(const QByteArray, body);
    QFETCH(const QByteArray, reply);
    QFETCH(const int, status);
    m_peer->answer("GET", wholeProbe, PeerReply::text(body, httpStatus));
    m_peer->answer("POST", wholeProbe, PeerReply::text(body, httpStatus));
    for (const QByteArray& method : {QByteArray("GET"), QByteArray("POST")}) {
        const Outcome outcome = ask(method, probe);
        QCOMPARE(outcome.status, status);
        QCOMPARE(outcome.reply, QJsonDocument::fromJson(reply).object());
    }
}

void RequestsTest::aRedirectIsNotFollowed() {
    const QByteArray target = m_peer->url().toUtf8() + "/v1/elsewhere";
    m_peer->answer("GET", wholeProbe, PeerReply::json({{u"moved"_s, true}}, 302).with("Location", target));
    const Outcome moved = ask("GET", probe);
    QCOMPARE(moved.status, 302);
    QVERIFY(moved.reply.value(u"moved").toBool());
    m_peer->answer("POST", wholeProbe, PeerReply::text({}, 307).with("Location", target));
    QCOMPARE(ask("POST", probe).status, 0);
    QCOMPARE(m_peer->log(), QStringList({u"GET /v1/probe"_s, u"POST /v1/probe"_s}));
}

void RequestsTest::aBrokenRoadIsStatusZero_data() {
    QTest::addColumn<int>("delivery");
    QTest::newRow("closed without a byte") << static_cast<int>(PeerReply::Delivery::Close);
    QTest::newRow("cut in the middle") << static_cast<int>(PeerReply::Delivery::Cut);
    QTest::newRow("nobody listens") << -1;
}

void RequestsTest::aBrokenRoadIsStatusZero() {
    QFETCH(const int, delivery);
    if (delivery < 0) {
        m_peer->goOffline();
    } else {
        const PeerReply whole = PeerReply::json({{u"half"_s, u"of it"_s}});
        m_peer->answer("POST", wholeProbe, whole.delivered(static_cast<PeerReply::Delivery>(delivery)));
    }
    const Outcome outcome = ask("POST", probe, {}, u"one-key"_s);
    QCOMPARE(outcome.status, 0);
    QCOMPARE(outcome.reply, QJsonObject());
    // The network library may have sent it again by itself: always under the same key.
    for (const PeerRequest& request : m_peer->requests()) {
        QCOMPARE(request.headers.value("idempotency-key"), "one-key");
    }
}

void RequestsTest::aReplyOfExactlyTheLimitIsRead() {
    m_peer->answer("GET", wholeProbe, PeerReply::text(paddedObject(largestReply)));
    const Outcome outcome = ask("GET", probe);
    QCOMPARE(outcome.status, 200);
    QVERIFY(outcome.reply.contains(u"pad"));
}

void RequestsTest::aReplyOverTheLimitIsStatusZero() {
    m_peer->answer("GET", wholeProbe, PeerReply::text(paddedObject(largestReply + 1)));
    const Outcome outcome = ask("GET", probe);
    QCOMPARE(outcome.status, 0);
    QVERIFY(outcome.reply.isEmpty());
}

void RequestsTest::aLateReplyOfThePreviousServerReachesNoCallback() {
    m_peer->answer("GET", wholeProbe, PeerReply::json({}).delivered(PeerReply::Delivery::Hold));
    int calls = 0;
    m_controller->send("GET", probe, {}, [&calls](const QJsonObject&, int) { ++calls; });
    QTRY_COMPARE(m_peer->held(), 1);

    const QSignalSpy finished(networkOf(*m_controller).findChild<QNetworkReply*>(), &QNetworkReply::finished);
    ScriptedPeer other;
    sample::serve(other, sample::snapshot());
    QVERIFY(connectAndLoad(*m_controller, other.url()));
    QCOMPARE(finished.size(), 1); // given up: nobody waits for it any more
    m_peer->release();
    QVERIFY(waitForSilence(*m_controller));
    QCOMPARE(calls, 0);
    QCOMPARE(m_controller->server(), other.url());
    QCOMPARE(m_controller->message(), u"Connected to PostgreSQL"_s);
}

void RequestsTest::reconnectingToTheSameServerDropsLateRepliesToo() {
    m_peer->answer("GET", wholeProbe, PeerReply::json({}).delivered(PeerReply::Delivery::Hold));
    int calls = 0;
    m_controller->send("GET", probe, {}, [&calls](const QJsonObject&, int) { ++calls; });
    QTRY_COMPARE(m_peer->held(), 1);
    const QSignalSpy finished(networkOf(*m_controller).findChild<QNetworkReply*>(), &QNetworkReply::finished);
    QVERIFY(connectAndLoad(*m_controller, m_peer->url()));
    QCOMPARE(finished.size(), 1);
    m_peer->release();
    QVERIFY(waitForSilence(*m_controller));
    QCOMPARE(calls, 0);
}

void RequestsTest::severalRequestsAreInFlightAtOnce() {
    m_peer->answer("GET", wholeProbe, PeerReply::json({}).delivered(PeerReply::Delivery::Hold));
    int calls = 0;
    for (int i = 0; i < 3; ++i) {
        m_controller->send("GET", probe, {},
                           [&calls](const QJsonObject&, int status) { calls += status == 200 ? 1 : 0; });
    }
    QTRY_COMPARE(m_peer->held(), 3);
    QCOMPARE(calls, 0);
    m_peer->release();
    QTRY_COMPARE(calls, 3);
}

void RequestsTest::sendTouchesNeitherBusyNorMessage() {
    m_controller->fail(u"As it was"_s);
    QSignalSpy changed(m_controller.get(), &Controller::changed);
    QCOMPARE(ask("GET", probe).status, 404);
    QCOMPARE(m_controller->message(), u"As it was"_s);
    QVERIFY(!m_controller->busy());
    QCOMPARE(changed.size(), 0);
}

void RequestsTest::quittingWithARequestInFlightCallsNothing() {
    m_peer->answer("GET", wholeProbe, PeerReply::json({}).delivered(PeerReply::Delivery::Hold));
    int calls = 0;
    m_controller->send("GET", probe, {}, [&calls](const QJsonObject&, int) { ++calls; });
    QTRY_COMPARE(m_peer->held(), 1);
    m_controller.reset();
    m_peer->release();
    QCoreApplication::processEvents();
    QCOMPARE(calls, 0);
}

QTEST_MAIN(RequestsTest)
#include "requests.moc"
