// SPDX-License-Identifier: MIT
#include "app/handover.h"

#include "tests/controller/migrant.h"
#include "tests/support/client.h"
#include "tests/support/sample.h"

#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

const QString connected = u"Connected to PostgreSQL"_s;

} // namespace

/// The address of a server that a second start hands over while an import runs.
class HandoverTest : public QObject {
    Q_OBJECT

    std::unique_ptr<ScriptedPeer> m_other;
    std::unique_ptr<Migrant> m_migrant;

private Q_SLOTS:
    void init();
    void cleanup();

    void anImportIsWrittenToItsEndFirst_data();
    void anImportIsWrittenToItsEndFirst();
    void aPausedImportIsNotWaitedFor();
};

void HandoverTest::init() {
    startClean();
    m_other = std::make_unique<ScriptedPeer>();
    sample::serve(*m_other, sample::snapshot());
    m_migrant = std::make_unique<Migrant>();
    QVERIFY(m_migrant->connectAndSettle());
    QVERIFY(m_migrant->loadPreview());
}

void HandoverTest::cleanup() {
    m_migrant.reset();
    m_other.reset();
}

void HandoverTest::anImportIsWrittenToItsEndFirst_data() {
    QTest::addColumn<bool>("between");
    QTest::newRow("a chunk is under way") << false;
    QTest::newRow("between two chunks") << true;
}

void HandoverTest::anImportIsWrittenToItsEndFirst() {
    QFETCH(const bool, between);
    Controller& controller = m_migrant->controller;
    const auto handOver = [&] {
        QCOMPARE(controller.busy(), !between);
        connectWhenFree(controller, m_other->url());
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
    QTRY_COMPARE(controller.server(), m_other->url());
    QCOMPARE(handed, between);
    QCOMPARE(m_migrant->chunks(), 3);
    QTRY_COMPARE(m_other->log(), sample::connectionLog());
    QTRY_COMPARE(controller.message(), connected);
    QVERIFY(waitForSilence(controller));
}

void HandoverTest::aPausedImportIsNotWaitedFor() {
    Controller& controller = m_migrant->controller;
    controller.applyImport();
    connectWhenFree(controller, m_other->url());
    controller.pauseImport();
    QTRY_COMPARE(controller.server(), m_other->url());
    QCOMPARE(m_migrant->chunks(), 1);
    QTRY_COMPARE(controller.message(), connected);
    QVERIFY(waitForSilence(controller));
}

QTEST_MAIN(HandoverTest)
#include "handover.moc"
