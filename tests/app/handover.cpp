// SPDX-License-Identifier: MIT
#include "app/handover.h"

#include "tests/controller/migrant.h"
#include "tests/support/client.h"
#include "tests/support/sample.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString connected = u"Connected to PostgreSQL"_s;

} // namespace

/// The address of a server that a second start hands over while an import runs.
class HandoverTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }

    void anImportIsWrittenToItsEndFirst_data();
    void anImportIsWrittenToItsEndFirst();
    void aPausedImportIsNotWaitedFor();
};

void HandoverTest::anImportIsWrittenToItsEndFirst_data() {
    QTest::addColumn<bool>("between");
    QTest::newRow("a chunk is under way") << false;
    QTest::newRow("between two chunks") << true;
}

void HandoverTest::anImportIsWrittenToItsEndFirst() {
    QFETCH(const bool, between);
    ScriptedPeer other;
    sample::serve(other, sample::snapshot());
    Migrant migrant;
    Controller& controller = migrant.controller;
    QVERIFY(migrant.connectAndSettle());
    QVERIFY(migrant.loadPreview());
    const auto handOver = [&] {
        QCOMPARE(controller.busy(), !between);
        connectWhenFree(controller, other.url());
    };
    bool handed = false;
    const auto handOverOnceBetween = [&] {
        if (between && !handed && !controller.busy()) {
            handed = true;
            // Comes before the next chunk, which is posted only after this.
            QMetaObject::invokeMethod(&controller, handOver, Qt::QueuedConnection);
        }
    };
    controller.applyImport();
    connect(&controller, &Controller::changed, &controller, handOverOnceBetween);
    if (!between) {
        handOver();
    }
    QTRY_COMPARE(controller.server(), other.url());
    QCOMPARE(handed, between);
    QCOMPARE(migrant.chunks(), 3);
    QTRY_COMPARE(other.log(), sample::connectionLog());
    QTRY_COMPARE(controller.message(), connected);
    QVERIFY(waitForSilence(controller));
}

void HandoverTest::aPausedImportIsNotWaitedFor() {
    ScriptedPeer other;
    sample::serve(other, sample::snapshot());
    Migrant migrant;
    Controller& controller = migrant.controller;
    QVERIFY(migrant.connectAndSettle());
    QVERIFY(migrant.loadPreview());
    controller.applyImport();
    connectWhenFree(controller, other.url());
    controller.pauseImport();
    QTRY_COMPARE(controller.server(), other.url());
    QCOMPARE(migrant.chunks(), 1);
    QTRY_COMPARE(controller.message(), connected);
    QVERIFY(waitForSilence(controller));
}

QTEST_MAIN(HandoverTest)
#include "handover.moc"
