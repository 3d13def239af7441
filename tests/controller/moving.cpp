// SPDX-License-Identifier: MIT
#include "tests/controller/messages.h"
#include "tests/controller/migrant.h"
#include "tests/controller/mover.h"
#include "tests/support/client.h"

#include <QDateTime>
#include <QJsonArray>
#include <QSignalSpy>
#include <QTest>
#include <QTimeZone>

using namespace Qt::StringLiterals;

namespace {

const QString connected = u"Connected to PostgreSQL"_s;
constexpr int patience = 60'000;

} // namespace

/// History moves to the real development server.
class MovingTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }

    void aPreviewWritesNothing();
    void sixtyRowsTakeThreeStepsAndOneReload();
    void fiveHundredRowsWithAPauseAreListedOnce();
    void aServerKilledBetweenTwoStepsGoesOnWhereItWas();
    void aLostReplyDoublesNothing_data();
    void aLostReplyDoublesNothing();
    void theSameFileBringsNothingNew();
    void rowsInAnApprovedPeriodAreRefusedAtThePreview();
    void aPeriodApprovedMeanwhileStopsTheImport();
    void invalidRowsLeaveConfirmingWithoutEffect();
    void withoutAWorkspaceTheServersSentenceIsShown();
};

void MovingTest::aPreviewWritesNothing() {
    Mover mover;
    QVERIFY(mover.connectAndSettle());
    QVERIFY(mover.stage(Mover::history(60)));
    QCOMPARE(mover.controller.message(), Migrant::previewed());
    QVERIFY(mover.server.entries().isEmpty());
    QCOMPARE(mover.shown().value(u"total"), 60);
    QCOMPARE(mover.shown().value(u"new_projects"), QJsonArray{u"Ferry"_s});
    QVERIFY(mover.controller.entries().isEmpty());
}

void MovingTest::sixtyRowsTakeThreeStepsAndOneReload() {
    Mover mover;
    QVERIFY(mover.connectAndSettle());
    QVERIFY(mover.stage(Mover::history(60)));
    const Messages messages(mover.controller);
    mover.controller.applyImport();
    QTRY_COMPARE(mover.controller.message(), connected);
    QVERIFY(waitForSilence(mover.controller));
    QCOMPARE(messages.startingWith(u"Import"_s),
             (QStringList{u"Import: importing · 25 / 60"_s, u"Import: importing · 50 / 60"_s,
                          u"Import: completed · 60 / 60"_s}));
    const QString step = u"POST "_s + mover.applyPath();
    QCOMPARE(mover.peer.log(),
             (QStringList{step, step, step, u"GET /v1/sync/snapshot"_s, u"GET /v1/me/timer"_s}));
    QVERIFY(mover.hasOnce(60));
    QCOMPARE(mover.shown().value(u"has_more"), false);
    const QVariantMap entry = listedEntry(mover.controller, u"description"_s, u"work 7"_s);
    QCOMPARE(entry.value(u"start_at"_s), u"2025-06-01T07:00:00Z"_s);
    QCOMPARE(entry.value(u"duration_seconds"_s).toInt(), 1800);
    QCOMPARE(mover.controller.projects().size(), 1);
    QCOMPARE(entry.value(u"project_id"_s), mover.controller.projects().first().toMap().value(u"id"_s));

    // It is finished: confirming again changes nothing.
    mover.controller.applyImport();
    QTRY_COMPARE(mover.controller.message(), connected);
    QVERIFY(mover.hasOnce(60));
}

void MovingTest::fiveHundredRowsWithAPauseAreListedOnce() {
    Mover mover;
    QVERIFY(mover.connectAndSettle());
    QVERIFY(mover.stage(Mover::history(500)));
    for (int i = 0; i < 7; ++i) {
        mover.peer.answerOnce("POST", mover.applyPath(), PeerReply::forward());
    }
    mover.peer.answerOnce("POST", mover.applyPath(), PeerReply::forward(PeerReply::Delivery::Hold));
    const Messages messages(mover.controller);
    mover.controller.applyImport();
    QTRY_COMPARE(mover.peer.held(), 1);
    mover.controller.pauseImport();
    QCOMPARE(mover.controller.message(), u"Pausing after the current committed chunk"_s);
    QVERIFY(mover.controller.busy());
    mover.peer.release();
    QTRY_COMPARE(mover.controller.message(), connected);
    QVERIFY(waitForSilence(mover.controller));
    QCOMPARE(messages.startingWith(u"Import"_s).last(), u"Import: importing · 200 / 500"_s);
    QCOMPARE(mover.steps(), 8);
    QCOMPARE(mover.reloads(), 1);
    QVERIFY(mover.hasOnce(200));

    mover.controller.applyImport();
    QTRY_COMPARE_WITH_TIMEOUT(mover.reloads(), 2, patience);
    QTRY_COMPARE(mover.controller.message(), connected);
    QCOMPARE(messages.startingWith(u"Import"_s).last(), u"Import: completed · 500 / 500"_s);
    QCOMPARE(messages.startingWith(u"Import"_s).size(), 20);
    QCOMPARE(mover.steps(), 20);
    QVERIFY(mover.hasOnce(500));
}

void MovingTest::aServerKilledBetweenTwoStepsGoesOnWhereItWas() {
    Mover mover;
    QVERIFY(mover.connectAndSettle(false));
    QVERIFY(mover.stage(Mover::history(60)));
    const QMetaObject::Connection murder = connect(&mover.controller, &Controller::changed, this, [&mover] {
        if (mover.controller.message() == u"Import: importing · 25 / 60") {
            mover.server.kill();
        }
    });
    mover.controller.applyImport();
    QTRY_COMPARE(mover.controller.message(), u"Import failed"_s);
    QVERIFY(!mover.controller.busy());
    QCOMPARE(mover.shown().value(u"checkpoint"), 25);
    disconnect(murder);

    QVERIFY(mover.server.start());
    const Messages messages(mover.controller);
    mover.controller.applyImport();
    QTRY_COMPARE(mover.controller.message(), connected);
    QCOMPARE(messages.startingWith(u"Import:"_s),
             (QStringList{u"Import: importing · 50 / 60"_s, u"Import: completed · 60 / 60"_s}));
    QVERIFY(mover.hasOnce(60));
}

void MovingTest::aLostReplyDoublesNothing_data() {
    QTest::addColumn<PeerReply::Delivery>("delivery");
    QTest::newRow("cut off in the middle") << PeerReply::Delivery::Cut;
    QTest::newRow("never begun") << PeerReply::Delivery::Close;
}

void MovingTest::aLostReplyDoublesNothing() {
    QFETCH(const PeerReply::Delivery, delivery);
    Mover mover;
    QVERIFY(mover.connectAndSettle());
    QVERIFY(mover.stage(Mover::history(60)));
    mover.peer.answerOnce("POST", mover.applyPath(), PeerReply::forward());
    // The client's own library may ask a second time by itself, with the same key.
    bool lost = false;
    mover.peer.answer("POST", mover.applyPath(), [&lost, delivery](const PeerRequest&) {
        return lost ? PeerReply::forward() : PeerReply::forward(delivery);
    });
    const Messages messages(mover.controller);
    mover.controller.applyImport();
    QTRY_COMPARE(mover.controller.message(), u"Import failed"_s);
    QCOMPARE(mover.shown().value(u"checkpoint"), 25);
    QCOMPARE(mover.server.entries().size(), 50);
    lost = true;
    mover.controller.applyImport();
    QTRY_COMPARE(mover.controller.message(), connected);
    QCOMPARE(messages.startingWith(u"Import:"_s),
             (QStringList{u"Import: importing · 25 / 60"_s, u"Import: completed · 60 / 60"_s}));
    QVERIFY(mover.hasOnce(60));
}

void MovingTest::theSameFileBringsNothingNew() {
    Mover mover;
    QVERIFY(mover.connectAndSettle());
    QVERIFY(mover.stage(Mover::history(60)));
    mover.controller.applyImport();
    QTRY_COMPARE(mover.controller.message(), connected);
    QVERIFY(mover.hasOnce(60));
    const QJsonArray before = mover.server.entries();

    QVERIFY(mover.stage(Mover::history(60)));
    QCOMPARE(mover.shown().value(u"duplicates"), 60);
    QCOMPARE(mover.shown().value(u"valid"), 0);
    const Messages messages(mover.controller);
    mover.controller.applyImport();
    QTRY_COMPARE(mover.controller.message(), connected);
    QCOMPARE(messages.startingWith(u"Import"_s).last(), u"Import: completed · 60 / 60"_s);
    QCOMPARE(mover.shown().value(u"written"), 0);
    QCOMPARE(mover.server.entries(), before);
    QVERIFY(mover.hasOnce(60));
}

void MovingTest::rowsInAnApprovedPeriodAreRefusedAtThePreview() {
    Mover mover;
    QVERIFY(mover.connectAndSettle());
    mover.server.approve(QDateTime(QDate(2025, 6, 1), QTime(5, 0), QTimeZone::utc()),
                         QDateTime(QDate(2025, 6, 1), QTime(7, 0), QTimeZone::utc()));
    QVERIFY(mover.writeSource(Mover::history(60)));
    QVERIFY(mover.preview());
    QCOMPARE(mover.controller.message(), Migrant::previewed());
    QCOMPARE(mover.shown().value(u"invalid"), 2);
    const QJsonArray problems = mover.shown().value(u"problems").toArray();
    QCOMPARE(problems.size(), 2);
    QCOMPARE(problems[0][u"row"], 7);
    mover.controller.applyImport();
    QVERIFY(waitForSilence(mover.controller));
    QCOMPARE(mover.steps(), 0);
    QVERIFY(mover.server.entries().isEmpty());
}

void MovingTest::aPeriodApprovedMeanwhileStopsTheImport() {
    Mover mover;
    QVERIFY(mover.connectAndSettle());
    QVERIFY(mover.stage(Mover::history(60)));
    mover.server.approve(QDateTime(QDate(2025, 6, 2), QTime(5, 0), QTimeZone::utc()),
                         QDateTime(QDate(2025, 6, 2), QTime(7, 0), QTimeZone::utc()));
    mover.controller.applyImport();
    QTRY_COMPARE(mover.controller.message(),
                 u"Row 31 can no longer be imported, nor the step that it is in: "
                 "This time lies in a timesheet period that was submitted or approved."_s);
    QVERIFY(!mover.controller.busy());
    QCOMPARE(mover.shown().value(u"checkpoint"), 25);
    QCOMPARE(mover.server.entries().size(), 25);
}

void MovingTest::invalidRowsLeaveConfirmingWithoutEffect() {
    Mover mover;
    QVERIFY(mover.connectAndSettle());
    QVERIFY(mover.writeSource(Mover::history(3) + "bad,,,maybe,2025-06-01,09:00,1:00:00,\r\n" +
                              "bad,,,Yes,2025-06-01,29:00,1:00:00,\r\n"));
    QVERIFY(mover.preview());
    QCOMPARE(mover.controller.message(), Migrant::previewed());
    QCOMPARE(mover.shown().value(u"invalid"), 2);
    QSignalSpy changed(&mover.controller, &Controller::changed);
    mover.controller.applyImport();
    QVERIFY(waitForSilence(mover.controller));
    QVERIFY(changed.isEmpty());
    QCOMPARE(mover.steps(), 0);
}

void MovingTest::withoutAWorkspaceTheServersSentenceIsShown() {
    Mover mover;
    QVERIFY(mover.connectAndSettle());
    QVERIFY(mover.stage(Mover::history(3)));
    const QJsonObject before = mover.shown();
    mover.controller.applyDurable({});
    QVERIFY(mover.controller.workspace().isEmpty());
    QVERIFY(mover.preview());
    QCOMPARE(mover.peer.requests("POST", u"/v1/workspaces//imports/csv/preview"_s).size(), 1);
    QCOMPARE(mover.controller.message(), u"This workspace does not exist or is not yours to see."_s);
    QCOMPARE(mover.shown(), before);
}

QTEST_MAIN(MovingTest)
#include "moving.moc"
