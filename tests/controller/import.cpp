// SPDX-License-Identifier: MIT
#include "tests/controller/messages.h"
#include "tests/controller/migrant.h"
#include "tests/support/client.h"
#include "tests/support/sample.h"

#include <QSet>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

class ImportTest : public QObject {
    Q_OBJECT

    /// Applies the first chunk and holds a reload that comes before the second.
    static void waitForAReload(Migrant& migrant);

private Q_SLOTS:
    void init() { startClean(); }

    void nothingIsAppliedWithoutAPreview();
    void nothingIsAppliedWithInvalidRows_data();
    void nothingIsAppliedWithInvalidRows();
    void nothingIsAppliedWhileBusy();
    void aPreviewForAnotherWorkspaceIsNotApplied();
    void importRunsInChunksAndReloadsOnce();
    void progressNamesWhatTheServerLeavesOut();
    void progressShowsTheStateAsItComes();
    void pauseStopsBehindTheChunkInFlight();
    void pauseBetweenTwoChunksIsDropped();
    void reloadBetweenTwoChunksDoesNotEndTheImport();
    void pauseWhileAReloadIsWaitedForHolds();
    void previewWhileAReloadIsWaitedForIsNotApplied();
    void previewDuringAChunkEndsTheImport();
    void anotherAccountEndsTheImport();
    void pauseChangesOnlyTheMessage();
    void failureInTheMiddleKeepsTheLastReply_data();
    void failureInTheMiddleKeepsTheLastReply();
};

void ImportTest::nothingIsAppliedWithoutAPreview() {
    Migrant migrant;
    QVERIFY(migrant.connectAndSettle());
    migrant.peer.forgetRequests();
    QSignalSpy changed(&migrant.controller, &Controller::changed);
    migrant.controller.applyImport();
    QVERIFY(waitForSilence(migrant.controller));
    QVERIFY(changed.isEmpty());
    QCOMPARE(migrant.peer.log(), QStringList());
}

void ImportTest::nothingIsAppliedWithInvalidRows_data() {
    QTest::addColumn<double>("invalid");
    QTest::newRow("one") << 1.0;
    QTest::newRow("two") << 2.0;
    QTest::newRow("more than 32 bits hold") << 5e9;
}

void ImportTest::nothingIsAppliedWithInvalidRows() {
    QFETCH(const double, invalid);
    Migrant migrant;
    QVERIFY(migrant.connectAndSettle());
    QJsonObject preview = Migrant::record(0, 60, u"previewed"_s);
    preview.insert(u"invalid"_s, invalid);
    migrant.peer.answer("POST", Migrant::previewPath(), PeerReply::json(preview, 201));
    QVERIFY(migrant.loadPreview());
    QSignalSpy changed(&migrant.controller, &Controller::changed);
    migrant.controller.applyImport();
    QVERIFY(waitForSilence(migrant.controller));
    QVERIFY(changed.isEmpty());
    QVERIFY(!migrant.controller.busy());
    QCOMPARE(migrant.chunks(), 0);
}

void ImportTest::nothingIsAppliedWhileBusy() {
    Migrant migrant;
    QVERIFY(migrant.connectAndSettle());
    QVERIFY(migrant.loadPreview());
    migrant.peer.answerOnce(
        "POST", Migrant::applyPath(),
        PeerReply::json(Migrant::record(60, 60, u"applied"_s)).delivered(PeerReply::Delivery::Hold));
    migrant.controller.applyImport();
    QTRY_COMPARE(migrant.peer.held(), 1);
    QSignalSpy changed(&migrant.controller, &Controller::changed);
    migrant.controller.applyImport();
    QVERIFY(changed.isEmpty());
    migrant.peer.release();
    QTRY_COMPARE(migrant.controller.message(), u"Connected to PostgreSQL"_s);
    QCOMPARE(migrant.chunks(), 1);
}

void ImportTest::aPreviewForAnotherWorkspaceIsNotApplied() {
    Migrant migrant;
    QVERIFY(migrant.connectAndSettle());
    QVERIFY(migrant.loadPreview());
    const QString former = migrant.controller.workspace();
    migrant.controller.selectWorkspace(u"ws-2"_s);
    QVERIFY(waitForSilence(migrant.controller));
    migrant.controller.applyImport();
    QCOMPARE(migrant.controller.message(),
             u"This preview is for another workspace; choose that one, or choose the file again."_s);
    QVERIFY(!migrant.controller.busy());
    QVERIFY(waitForSilence(migrant.controller));
    QCOMPARE(migrant.chunks(), 0);

    migrant.controller.selectWorkspace(former);
    QVERIFY(waitForSilence(migrant.controller));
    migrant.controller.applyImport();
    QTRY_COMPARE(migrant.chunks(), 3);
}

void ImportTest::importRunsInChunksAndReloadsOnce() {
    Migrant migrant;
    QVERIFY(migrant.connectAndSettle());
    QVERIFY(migrant.loadPreview());
    migrant.peer.forgetRequests();
    const Messages messages(migrant.controller);
    migrant.controller.applyImport();
    QVERIFY(migrant.controller.busy());
    QTRY_COMPARE(migrant.controller.message(), u"Connected to PostgreSQL"_s);
    QVERIFY(waitForSilence(migrant.controller));
    QVERIFY(!migrant.controller.busy());
    QCOMPARE(messages.startingWith(u"Import"_s),
             (QStringList{u"Import: applying · 25 / 60"_s, u"Import: applying · 50 / 60"_s,
                          u"Import: applied · 60 / 60"_s}));
    QCOMPARE(
        migrant.peer.log(),
        (QStringList{u"POST "_s + Migrant::applyPath(), u"POST "_s + Migrant::applyPath(),
                     u"POST "_s + Migrant::applyPath(), u"GET /v1/sync/snapshot"_s, u"GET /v1/me/timer"_s}));
    const QList<PeerRequest> chunks = migrant.peer.requests("POST", Migrant::applyPath());
    QSet<QByteArray> keys;
    for (qsizetype i = 0; i < chunks.size(); ++i) {
        QCOMPARE(chunks[i].json(), (QJsonObject{{u"preview_checksum"_s, u"sum-"_s + QString::number(25 * i)},
                                                {u"limit"_s, 25}}));
        keys.insert(chunks[i].headers.value("idempotency-key"));
    }
    QCOMPARE(keys.size(), 3);
    QCOMPARE(migrant.shown(), Migrant::record(60, 60, u"applied"_s, u"sum-60"_s));
}

void ImportTest::progressNamesWhatTheServerLeavesOut() {
    Migrant migrant;
    QVERIFY(migrant.connectAndSettle());
    QVERIFY(migrant.loadPreview());
    migrant.peer.answer("POST", Migrant::applyPath(), PeerReply::json({}));
    const Messages messages(migrant.controller);
    migrant.controller.applyImport();
    QTRY_COMPARE(migrant.controller.message(), u"Connected to PostgreSQL"_s);
    QCOMPARE(messages.startingWith(u"Import"_s), QStringList{u"Import:  · 0 / 0"_s});
    // There is no record any more that could be applied again.
    QVERIFY(migrant.shown().isEmpty());
    migrant.controller.applyImport();
    QVERIFY(waitForSilence(migrant.controller));
    QCOMPARE(migrant.chunks(), 1);
}

void ImportTest::progressShowsTheStateAsItComes() {
    Migrant migrant;
    QVERIFY(migrant.connectAndSettle());
    QVERIFY(migrant.loadPreview());
    QJsonObject reply = Migrant::record(0, 0, u"%2 done %3"_s);
    reply.insert(u"checkpoint"_s, 4000000000.0);
    reply.insert(u"total"_s, 5000000000.0);
    migrant.peer.answer("POST", Migrant::applyPath(), PeerReply::json(reply));
    const Messages messages(migrant.controller);
    bool quotes = false;
    connect(&migrant.controller, &Controller::changed, this, [&] {
        quotes |=
            migrant.controller.message().startsWith(u"Import:") && migrant.controller.messageQuotesServer();
    });
    migrant.controller.applyImport();
    QTRY_COMPARE(migrant.controller.message(), u"Connected to PostgreSQL"_s);
    QVERIFY(quotes);
    QCOMPARE(messages.startingWith(u"Import"_s),
             QStringList{u"Import: %2 done %3 · 4000000000 / 5000000000"_s});
    QVERIFY(!migrant.controller.messageQuotesServer());
}

void ImportTest::pauseStopsBehindTheChunkInFlight() {
    Migrant migrant;
    QVERIFY(migrant.connectAndSettle());
    QVERIFY(migrant.loadPreview());
    migrant.peer.forgetRequests();
    const Messages messages(migrant.controller);
    migrant.controller.applyImport();
    migrant.controller.pauseImport();
    QCOMPARE(migrant.controller.message(), u"Pausing after the current committed chunk"_s);
    QVERIFY(migrant.controller.busy());
    QTRY_COMPARE(migrant.controller.message(), u"Connected to PostgreSQL"_s);
    QVERIFY(waitForSilence(migrant.controller));
    QCOMPARE(messages.startingWith(u"Import"_s), QStringList{u"Import: applying · 25 / 60"_s});
    QCOMPARE(migrant.chunks(), 1);
    QCOMPARE(migrant.reloads(), 1);

    migrant.controller.applyImport();
    QTRY_COMPARE(migrant.reloads(), 2);
    QVERIFY(waitForSilence(migrant.controller));
    QCOMPARE(messages.startingWith(u"Import"_s),
             (QStringList{u"Import: applying · 25 / 60"_s, u"Import: applying · 50 / 60"_s,
                          u"Import: applied · 60 / 60"_s}));
    const QList<PeerRequest> chunks = migrant.peer.requests("POST", Migrant::applyPath());
    QCOMPARE(chunks.size(), 3);
    QCOMPARE(chunks[1].json().value(u"preview_checksum").toString(), u"sum-25"_s);
}

void ImportTest::pauseBetweenTwoChunksIsDropped() {
    Migrant migrant;
    QVERIFY(migrant.connectAndSettle());
    QVERIFY(migrant.loadPreview());
    migrant.peer.forgetRequests();
    bool paused = false;
    connect(&migrant.controller, &Controller::changed, &migrant.controller, [&] {
        if (!paused && migrant.controller.message() == u"Import: applying · 25 / 60") {
            paused = true;
            // Runs when the reply is dealt with, before the next chunk that it schedules.
            QTimer::singleShot(0, &migrant.controller, &Controller::pauseImport);
        }
    });
    migrant.controller.applyImport();
    QTRY_COMPARE(migrant.controller.message(), u"Connected to PostgreSQL"_s);
    QVERIFY(waitForSilence(migrant.controller));
    QVERIFY(paused);
    QCOMPARE(migrant.chunks(), 3);
    QCOMPARE(migrant.reloads(), 1);
}

void ImportTest::reloadBetweenTwoChunksDoesNotEndTheImport() {
    Migrant migrant;
    QVERIFY(migrant.connectAndSettle());
    QVERIFY(migrant.loadPreview());
    migrant.peer.forgetRequests();
    bool reloaded = false;
    connect(&migrant.controller, &Controller::changed, &migrant.controller, [&] {
        if (!reloaded && migrant.controller.message() == u"Import: applying · 25 / 60") {
            reloaded = true;
            migrant.controller.refresh();
        }
    });
    migrant.controller.applyImport();
    QTRY_COMPARE(migrant.chunks(), 3);
    QTRY_COMPARE(migrant.reloads(), 2);
    QVERIFY(waitForSilence(migrant.controller));
    QCOMPARE(migrant.shown(), Migrant::record(60, 60, u"applied"_s, u"sum-60"_s));
}

void ImportTest::waitForAReload(Migrant& migrant) {
    QVERIFY(migrant.connectAndSettle());
    QVERIFY(migrant.loadPreview());
    migrant.peer.forgetRequests();
    migrant.peer.answerOnce("GET", u"/v1/sync/snapshot"_s,
                            PeerReply::json(sample::snapshot()).delivered(PeerReply::Delivery::Hold));
    const auto reload = connect(&migrant.controller, &Controller::changed, &migrant.controller, [&migrant] {
        if (migrant.reloads() == 0 && migrant.controller.message() == u"Import: applying · 25 / 60") {
            migrant.controller.refresh();
        }
    });
    migrant.controller.applyImport();
    QTRY_COMPARE(migrant.peer.held(), 1);
    QVERIFY(migrant.controller.busy());
    disconnect(reload);
}

void ImportTest::pauseWhileAReloadIsWaitedForHolds() {
    Migrant migrant;
    waitForAReload(migrant);
    migrant.controller.pauseImport();
    migrant.peer.release();
    QTRY_COMPARE(migrant.reloads(), 2);
    QTRY_COMPARE(migrant.controller.message(), u"Connected to PostgreSQL"_s);
    QVERIFY(waitForSilence(migrant.controller));
    QVERIFY(!migrant.controller.busy());
    QCOMPARE(migrant.chunks(), 1);

    migrant.controller.applyImport();
    QTRY_COMPARE(migrant.chunks(), 3);
    QTRY_COMPARE(migrant.reloads(), 3);
    QCOMPARE(migrant.shown(), Migrant::record(60, 60, u"applied"_s, u"sum-60"_s));
}

void ImportTest::previewWhileAReloadIsWaitedForIsNotApplied() {
    Migrant migrant;
    waitForAReload(migrant);
    migrant.preview();
    QTRY_COMPARE(migrant.controller.message(), Migrant::previewed());
    migrant.peer.release();
    QTRY_COMPARE(migrant.controller.message(), u"Connected to PostgreSQL"_s);
    QVERIFY(waitForSilence(migrant.controller));
    QCOMPARE(migrant.chunks(), 1);
    QCOMPARE(migrant.shown(), Migrant::record(0, 60, u"previewed"_s));
    QVERIFY(!migrant.controller.busy());
}

void ImportTest::previewDuringAChunkEndsTheImport() {
    Migrant migrant;
    QVERIFY(migrant.connectAndSettle());
    QVERIFY(migrant.loadPreview());
    migrant.peer.forgetRequests();
    migrant.peer.answerOnce("POST", Migrant::applyPath(),
                            PeerReply::json(Migrant::record(25, 60, u"applying"_s, u"sum-25"_s))
                                .delivered(PeerReply::Delivery::Hold));
    migrant.controller.applyImport();
    QTRY_COMPARE(migrant.peer.held(), 1);
    migrant.preview();
    QVERIFY(migrant.controller.busy());
    QTRY_VERIFY(!migrant.controller.busy());
    migrant.peer.release();
    QTRY_COMPARE(migrant.reloads(), 1);
    QTRY_COMPARE(migrant.controller.message(), u"Connected to PostgreSQL"_s);
    QVERIFY(waitForSilence(migrant.controller));
    QCOMPARE(migrant.chunks(), 1);
    QCOMPARE(migrant.shown(), Migrant::record(0, 60, u"previewed"_s));
}

void ImportTest::anotherAccountEndsTheImport() {
    Migrant migrant;
    waitForAReload(migrant);
    // A refused time clears busy, so that the person can connect anew.
    migrant.controller.addManual({}, {}, u"no time"_s, u"no time"_s, false);
    migrant.peer.answer("GET", u"/v1/me"_s, PeerReply::json({{u"id"_s, u"user-2"_s}}));
    QVERIFY(connectAndLoad(migrant.controller, migrant.peer.url()));
    migrant.peer.release();
    QVERIFY(waitForSilence(migrant.controller));
    QCOMPARE(migrant.chunks(), 1);
    QVERIFY(migrant.shown().isEmpty());
}

void ImportTest::pauseChangesOnlyTheMessage() {
    Migrant migrant;
    QVERIFY(migrant.connectAndSettle());
    migrant.peer.forgetRequests();
    migrant.controller.pauseImport();
    QCOMPARE(migrant.controller.message(), u"Pausing after the current committed chunk"_s);
    QVERIFY(!migrant.controller.busy());
    QVERIFY(waitForSilence(migrant.controller));
    QCOMPARE(migrant.peer.log(), QStringList());
}

void ImportTest::failureInTheMiddleKeepsTheLastReply_data() {
    QTest::addColumn<PeerReply>("reply");
    QTest::addColumn<QString>("message");
    const QString fallback = u"Import failed"_s;
    QTest::newRow("with a message") << Migrant::refusal(u"The period is locked."_s, 409)
                                    << u"The period is locked."_s;
    QTest::newRow("message not a string") << Migrant::refusal(false, 409) << fallback;
    QTest::newRow("201 instead of 200")
        << PeerReply::json(Migrant::record(50, 60, u"other"_s), 201) << fallback;
    QTest::newRow("empty body") << PeerReply::text({}, 500) << fallback;
    QTest::newRow("no answer") << PeerReply::only(PeerReply::Delivery::Close) << fallback;
}

void ImportTest::failureInTheMiddleKeepsTheLastReply() {
    QFETCH(const PeerReply, reply);
    QFETCH(const QString, message);
    Migrant migrant;
    QVERIFY(migrant.connectAndSettle());
    QVERIFY(migrant.loadPreview());
    migrant.peer.forgetRequests();
    const QJsonObject first = Migrant::record(25, 60, u"applying"_s, u"sum-25"_s);
    migrant.peer.answerOnce("POST", Migrant::applyPath(), PeerReply::json(first));
    migrant.peer.answer("POST", Migrant::applyPath(), reply);
    migrant.controller.applyImport();
    QTRY_COMPARE(migrant.controller.message(), message);
    QVERIFY(waitForSilence(migrant.controller));
    QVERIFY(!migrant.controller.busy());
    QCOMPARE(migrant.shown(), first);
    QCOMPARE(migrant.reloads(), 0);

    // Asked again, with what the last good reply said.
    migrant.serveImport();
    const qsizetype before = migrant.chunks();
    migrant.controller.applyImport();
    QTRY_COMPARE(migrant.reloads(), 1);
    QCOMPARE(migrant.peer.requests("POST", Migrant::applyPath())
                 .at(before)
                 .json()
                 .value(u"preview_checksum")
                 .toString(),
             u"sum-25"_s);
}

QTEST_MAIN(ImportTest)
#include "import.moc"
