// SPDX-License-Identifier: MIT
#include "tests/support/client.h"
#include "tests/support/desk.h"

#include <QCoreApplication>
#include <QSet>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {

const QString snapshotPath = u"/v1/sync/snapshot"_s;
const QString push = u"/v1/sync/push"_s;

/// Sees which of the controllers' 15 s timers have fired.
class SyncTimers : public QObject {
public:
    SyncTimers() { QCoreApplication::instance()->installEventFilter(this); }

    [[nodiscard]] qsizetype fired() const { return m_fired.size(); }

    bool eventFilter(QObject* watched, QEvent* event) override {
        const auto* timer = event->type() == QEvent::Timer ? qobject_cast<QTimer*>(watched) : nullptr;
        if (timer && timer->interval() == 15000 && !timer->isSingleShot()) {
            m_fired.insert(timer);
        }
        return false;
    }

private:
    QSet<const QTimer*> m_fired;
};

QJsonObject queuedEdit() {
    return sample::queueItem(u"entry.update"_s, u"e1"_s, {});
}

QJsonObject signedOutWithWork() {
    QJsonObject state = sample::durable(sample::snapshot(), {queuedEdit()});
    state.insert(u"signed_out", true);
    return state;
}

[[nodiscard]] bool idle(Desk& desk) {
    return waitForSilence(*desk.controller) && desk.peer.requests().isEmpty();
}

} // namespace

/// The periodic step, every state of the controller in one wait of 15 s.
class PeriodicTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }
    void theStepPushesOrReloadsOnlyWhenNothingForbidsIt();
};

void PeriodicTest::theStepPushesOrReloadsOnlyWhenNothingForbidsIt() {
    SyncTimers timers;
    Desk reloading;
    Desk pushing;
    Desk signedOut;
    Desk readOnly;
    Desk unconnected;
    readOnly.controller->setReadOnly(true);
    for (Desk* desk : {&reloading, &pushing, &signedOut, &readOnly}) {
        QVERIFY(desk->load());
        desk->peer.forgetRequests();
    }
    QVERIFY(pushing.holdQueue({queuedEdit()}));
    signedOut.controller->applyDurable(signedOutWithWork());
    readOnly.controller->applyDurable(sample::durable(sample::snapshot(), {queuedEdit()}));
    unconnected.controller->applyDurable(sample::durable(sample::snapshot(), {}));

    // These two are made later, so that they are kept waiting for less than the
    // 12 s after which a request gives up by itself.
    QSignalSpy tick(reloading.controller.get(), &Controller::tick);
    QTRY_VERIFY_WITH_TIMEOUT(tick.size() >= 3, 10000);
    Desk busy;
    Desk syncing;
    QVERIFY(busy.load());
    QVERIFY(syncing.load());

    QTRY_COMPARE_WITH_TIMEOUT(timers.fired(), 5, 30000);
    busy.peer.answer("GET", snapshotPath, PeerReply::only(PeerReply::Delivery::Never));
    busy.controller->refresh();
    syncing.peer.answer("POST", push, PeerReply::only(PeerReply::Delivery::Never));
    QVERIFY(syncing.holdQueue({queuedEdit()}));
    syncing.controller->synchronize();
    QTRY_COMPARE(syncing.peer.requests("POST", push).size(), 1);
    QTRY_COMPARE(busy.peer.requests("GET", snapshotPath).size(), 2);
    const qsizetype busyRequests = busy.peer.requests().size();
    const qsizetype syncingRequests = syncing.peer.requests().size();

    QTRY_COMPARE(reloading.peer.log(), QStringList({u"GET /v1/sync/snapshot"_s, u"GET /v1/me/timer"_s}));
    QTRY_COMPARE(pushing.controller->pending(), 0);
    QCOMPARE(pushing.peer.requests("POST", push).size(), 1);
    QVERIFY(idle(signedOut));
    QVERIFY(idle(readOnly));
    QCOMPARE(unconnected.controller->message(), QString()); // a reload would have failed aloud
    QCOMPARE(signedOut.controller->pending(), 1);

    QTRY_COMPARE_WITH_TIMEOUT(timers.fired(), 7, 30000);
    QCOMPARE(busy.peer.requests().size(), busyRequests);
    QCOMPARE(syncing.peer.requests().size(), syncingRequests);
    QVERIFY(busy.controller->busy());
    QCOMPARE(syncing.controller->pending(), 1);
}

QTEST_MAIN(PeriodicTest)
#include "periodic.moc"
