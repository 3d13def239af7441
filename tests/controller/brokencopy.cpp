// SPDX-License-Identifier: MIT
#include "tests/controller/resolver.h"
#include "tests/support/brokendisk.h"
#include "tests/support/client.h"
#include "tests/vault/vaulthome.h"

#include <QTest>

#include <memory>

/// A copy is all that is left of a change that leaves the queue: what can go wrong while it is written.
class BrokenCopyTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }

    void whateverFailsAChangeIsInTheQueueOrWholeInTheFile_data();
    void whateverFailsAChangeIsInTheQueueOrWholeInTheFile();
};

void BrokenCopyTest::whateverFailsAChangeIsInTheQueueOrWholeInTheFile_data() {
    QTest::addColumn<bool>("mends");
    QTest::addColumn<bool>("ofTheCopy");
    QTest::newRow("one call fails for the copy") << true << true;
    QTest::newRow("one call fails for the record") << true << false;
    QTest::newRow("the disk is full from then on for the copy") << false << true;
    QTest::newRow("the disk is full from then on for the record") << false << false;
}

void BrokenCopyTest::whateverFailsAChangeIsInTheQueueOrWholeInTheFile() {
    QFETCH(bool, mends);
    QFETCH(bool, ofTheCopy);
    const QJsonArray queue{Resolver::edit(u"e1"_s, u"rejected"_s), Resolver::edit(u"e2"_s)};
    int failures = 0;
    for (bool broke = true; broke; ++failures) {
        Resolver person;
        QVERIFY(person.hold(queue));
        person.desk.holdPushes();
        std::unique_ptr<BrokenDisk> disk;
        person.dialogs.afterChoosing([&] {
            disk = std::make_unique<BrokenDisk>(ofTheCopy ? person.folder.path() : VaultHome::directory(),
                                                failures,
                                                mends ? BrokenDisk::Mend::AtOnce : BrokenDisk::Mend::Never);
        });
        person.controller().removeRetained();
        broke = BrokenDisk::hasBroken();
        disk.reset();

        const QJsonArray left = queueOf(person.controller());
        const bool removed = left.size() == 1;
        QCOMPARE(left, removed ? QJsonArray{queue.at(1)} : queue);
        QCOMPARE(person.desk.stored().value(u"queue").toArray(), left);
        QVERIFY(removed || broke);
        QVERIFY(!removed || person.copied() == QJsonArray{queue.at(0)});
        // What could not be brought to the disk is no copy, even if it can be read for the moment.
        QVERIFY(!removed || !broke || !ofTheCopy || BrokenDisk::hasSynced());
    }
    QVERIFY(failures > 2);
}

QTEST_MAIN(BrokenCopyTest)
#include "brokencopy.moc"
