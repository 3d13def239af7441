// SPDX-License-Identifier: MIT
#include "tests/controller/largesnapshot.h"
#include "tests/support/client.h"
#include "tests/support/desk.h"

#include <QNetworkReply>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>
#include <QThreadPool>

#include <algorithm>

namespace {

const QString snapshotPath = u"/v1/sync/snapshot"_s;
const QString unavailable = u"Server unavailable. Encrypted cached data retained."_s;

/// While this lives, or until it is let go, no large reply is read: the thread for it is busy.
class HeldReading {
public:
    explicit HeldReading(const Controller& controller) {
        controller.findChild<QThreadPool*>()->start([go = m_go] { go->acquire(); });
    }
    ~HeldReading() { letGo(); }
    Q_DISABLE_COPY_MOVE(HeldReading)

    void letGo() { m_go->release(); }

private:
    std::shared_ptr<QSemaphore> m_go = std::make_shared<QSemaphore>();
};

} // namespace

/// What may come between the arrival of a large reply and its end, while it is read beside the main thread.
class LargeRepliesTest : public QObject {
    Q_OBJECT

    /// How many replies have arrived and were not delivered.
    [[nodiscard]] qsizetype arrived() const;
    /// A reload and a question of its own, whose replies, of the word "rest", have arrived and are not read.
    void leaveUnread();
    [[nodiscard]] bool lists(const QString& description) const;

    std::unique_ptr<Desk> m_desk;
    int m_delivered = 0; ///< of leaveUnread()'s own question

private Q_SLOTS:
    void init();
    void cleanup() { m_desk.reset(); }

    void smallRepliesComeMeanwhile();
    void repliesAreDeliveredAsTheyCame();
    void aSignOutDropsWhatIsRead();
    void anotherServerDropsWhatIsRead();
    void anAcknowledgementOvertakesWhatIsRead();
    void theProgramEnds();
    void whatBrokeOffIsNoReply_data();
    void whatBrokeOffIsNoReply();
    void givingUpAReplyThatHasArrivedChangesNothing();
};

void LargeRepliesTest::init() {
    startClean();
    m_desk = std::make_unique<Desk>(largeSnapshot(u"work"_s));
    QVERIFY(m_desk->load());
    QVERIFY(waitForSilence(*m_desk->controller));
    QVERIFY(lists(u"work 0"_s));
    m_desk->peer.answer("GET", snapshotPath, PeerReply::json(largeSnapshot(u"rest"_s)).with("ETag", "\"a\""));
    m_delivered = 0;
}

qsizetype LargeRepliesTest::arrived() const {
    const QList<QNetworkReply*> replies = networkOf(*m_desk->controller).findChildren<QNetworkReply*>();
    return std::count_if(replies.begin(), replies.end(), [](const QNetworkReply* reply) {
        return reply->isFinished() && reply->url().path() == snapshotPath;
    });
}

void LargeRepliesTest::leaveUnread() {
    m_desk->controller->refresh();
    m_desk->controller->send("GET", u"/sync/snapshot"_s, {},
                             [this](const QJsonObject&, int) { ++m_delivered; });
    QTRY_COMPARE(arrived(), 2);
}

bool LargeRepliesTest::lists(const QString& description) const {
    return !listedEntry(*m_desk->controller, u"description"_s, description).isEmpty();
}

void LargeRepliesTest::smallRepliesComeMeanwhile() {
    HeldReading held(*m_desk->controller);
    leaveUnread();
    bool answered = false;
    m_desk->controller->send("GET", u"/me"_s, {}, [&answered](const QJsonObject&, int) { answered = true; });
    QTRY_VERIFY(answered);
    QVERIFY(m_desk->controller->busy());
    QVERIFY(lists(u"work 0"_s));

    QSignalSpy ready(m_desk->controller.get(), &Controller::ready);
    held.letGo();
    QVERIFY(ready.wait());
    QVERIFY(!m_desk->controller->busy());
    QVERIFY(lists(u"rest 0"_s));
    QTRY_COMPARE(m_delivered, 1);
    QCOMPARE(m_desk->stored(), m_desk->controller->durableState());
}

void LargeRepliesTest::repliesAreDeliveredAsTheyCame() {
    HeldReading held(*m_desk->controller);
    QStringList order;
    for (const QString& name : {u"first"_s, u"second"_s, u"third"_s}) {
        m_desk->peer.answer("GET", u"/v1/"_s + name, PeerReply::json(largeSnapshot(name)));
        m_desk->controller->send("GET", u'/' + name, {}, [&order](const QJsonObject& reply, int status) {
            const QString read = reply[u"time_entries"][0][u"description"].toString();
            order.append(read + u' ' + QString::number(status));
        });
        const QList<QNetworkReply*> replies = networkOf(*m_desk->controller).findChildren<QNetworkReply*>();
        QTRY_VERIFY(replies.last()->isFinished());
    }
    QCOMPARE(order, QStringList());
    held.letGo();
    QVERIFY(waitForSilence(*m_desk->controller));
    QCOMPARE(order, QStringList({u"first 0 200"_s, u"second 0 200"_s, u"third 0 200"_s}));
}

void LargeRepliesTest::aSignOutDropsWhatIsRead() {
    QJsonObject state = m_desk->controller->durableState();
    state.insert(u"auth", sample::session(u"user-1"_s));
    m_desk->controller->applyDurable(state);
    m_desk->peer.answer("POST", u"/v1/auth/logout"_s, PeerReply::text({}, 204));
    HeldReading held(*m_desk->controller);
    leaveUnread();
    m_desk->controller->fail(u"A push failed, say"_s); // which ends `busy`
    m_desk->controller->logoutAccount();
    QTRY_VERIFY(m_desk->controller->message().startsWith(u"Signed out."));

    const QJsonObject after = m_desk->controller->durableState();
    QSignalSpy changed(m_desk->controller.get(), &Controller::changed);
    held.letGo();
    QVERIFY(waitForSilence(*m_desk->controller));
    QCOMPARE(m_delivered, 0);
    QCOMPARE(changed.size(), 0);
    QCOMPARE(m_desk->controller->durableState(), after);
    QVERIFY(!lists(u"rest 0"_s));
    QVERIFY(!m_desk->controller->busy());
    QCOMPARE(m_desk->stored(), after);
}

void LargeRepliesTest::anotherServerDropsWhatIsRead() {
    HeldReading held(*m_desk->controller);
    leaveUnread();
    m_desk->controller->fail(u"A push failed, say"_s);
    ScriptedPeer other;
    sample::serve(other, sample::oneEntry());
    QVERIFY(connectAndLoad(*m_desk->controller, other.url()));

    const QJsonObject after = m_desk->controller->durableState();
    held.letGo();
    QVERIFY(waitForSilence(*m_desk->controller));
    QCOMPARE(m_delivered, 0);
    QCOMPARE(m_desk->controller->durableState(), after);
    QVERIFY(!lists(u"rest 0"_s));
    // Nor is it what the other server is asked about.
    m_desk->controller->refresh();
    QVERIFY(waitForSilence(*m_desk->controller));
    QCOMPARE(other.requests("GET", snapshotPath).last().headers.value("if-none-match"), QByteArray());
    QCOMPARE(m_desk->controller->durableState(), after);
    QCOMPARE(m_desk->controller->message(), u"Connected to PostgreSQL"_s);
}

void LargeRepliesTest::anAcknowledgementOvertakesWhatIsRead() {
    m_desk->peer.answer("POST", u"/v1/sync/push"_s, [this](const PeerRequest& request) {
        QJsonObject snapshot = largeSnapshot(u"rest"_s);
        QJsonArray entries = snapshot.value(u"time_entries").toArray();
        entries.append(sample::canonical(sample::pushed(request)));
        snapshot.insert(u"time_entries", entries);
        m_desk->peer.answer("GET", snapshotPath, PeerReply::json(snapshot));
        return sample::accept(request).delivered(PeerReply::Delivery::Hold);
    });
    // What is asked for after the change is nevertheless from before it.
    m_desk->peer.answerOnce("GET", snapshotPath, PeerReply::json(largeSnapshot(u"rest"_s)));
    m_desk->controller->addManual(u"First"_s, {}, u"2026-03-02T12:00:00Z"_s, u"2026-03-02T13:00:00Z"_s,
                                  false);
    QTRY_COMPARE(m_desk->peer.held(), 1);
    HeldReading held(*m_desk->controller);
    leaveUnread();
    m_desk->peer.release();
    QTRY_COMPARE(m_desk->controller->pending(), 0);

    bool alwaysListed = lists(u"First"_s);
    connect(m_desk->controller.get(), &Controller::changed, this,
            [&] { alwaysListed = alwaysListed && lists(u"First"_s); });
    QSignalSpy ready(m_desk->controller.get(), &Controller::ready);
    held.letGo();
    QVERIFY(ready.wait());
    QVERIFY(alwaysListed);
    QVERIFY(lists(u"rest 399"_s));
    QVERIFY(!m_desk->controller->busy());
}

void LargeRepliesTest::theProgramEnds() {
    const QJsonObject before = m_desk->stored();
    {
        HeldReading held(*m_desk->controller);
        leaveUnread();
    }
    m_desk->restart();
    QCoreApplication::processEvents();
    QCOMPARE(m_delivered, 0);
    QCOMPARE(m_desk->stored(), before);
    QVERIFY(m_desk->load());
    QVERIFY(lists(u"rest 0"_s));
}

void LargeRepliesTest::whatBrokeOffIsNoReply_data() {
    QJsonObject snapshot = largeSnapshot(u"rest"_s);
    snapshot.insert(u"pad", QString(100'000, u'x')); // half of it is large as well
    const PeerReply whole = PeerReply::json(snapshot);
    QTest::addColumn<PeerReply>("reply");
    QTest::newRow("half a text") << PeerReply::text(whole.body.first(whole.body.size() / 2));
    // How much of it is still read depends on what comes first, it or its end.
    QTest::newRow("half a transfer") << whole.delivered(PeerReply::Delivery::Cut);
}

void LargeRepliesTest::whatBrokeOffIsNoReply() {
    QFETCH(const PeerReply, reply);
    m_desk->peer.answer("GET", snapshotPath, reply);
    const QJsonObject before = m_desk->controller->durableState();
    m_desk->controller->refresh();
    QVERIFY(m_desk->controller->busy());
    QTRY_COMPARE(m_desk->controller->message(), unavailable);
    QVERIFY(!m_desk->controller->busy());
    QCOMPARE(m_desk->controller->durableState(), before);
}

void LargeRepliesTest::givingUpAReplyThatHasArrivedChangesNothing() {
    HeldReading held(*m_desk->controller);
    leaveUnread();
    QSignalSpy ready(m_desk->controller.get(), &Controller::ready);
    for (QNetworkReply* reply : networkOf(*m_desk->controller).findChildren<QNetworkReply*>()) {
        reply->abort(); // as a deadline does
    }
    held.letGo();
    QVERIFY(waitForSilence(*m_desk->controller));
    QTRY_VERIFY(!m_desk->controller->busy());
    QCOMPARE(ready.size(), 1);
    QCOMPARE(m_delivered, 1);
    QVERIFY(lists(u"rest 0"_s));
}

QTEST_GUILESS_MAIN(LargeRepliesTest)
#include "largereplies.moc"
