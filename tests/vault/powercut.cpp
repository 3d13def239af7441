// SPDX-License-Identifier: MIT
#include "tests/support/disklog.h"
#include "tests/vault/vaulthome.h"
#include "vault/vault.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QRandomGenerator>
#include <QTest>

#include <algorithm>
#include <numeric>

using namespace Qt::StringLiterals;

namespace {

const QString home = u"https://time.example"_s;

QJsonObject document(qsizetype number, qsizetype length) {
    return {{u"queue"_s, QJsonArray{QString::number(number), QString(length, u'x')}}};
}

/// A document, and how much had been written when its save was acknowledged.
struct Saved {
    QJsonObject document;
    qsizetype calls;
};

QList<qsizetype> all(qsizetype written) {
    QList<qsizetype> moments(written + 1);
    std::iota(moments.begin(), moments.end(), 0);
    return moments;
}

QList<qsizetype> some(const QList<Saved>& saves, qsizetype written, QRandomGenerator& dice) {
    QList<qsizetype> moments;
    for (int i = 0; i < 20; ++i) {
        // Where a save ends is where a promise begins.
        const qsizetype end = saves.at(dice.bounded(int(saves.size()))).calls;
        moments.append(i % 3 == 0 ? std::min<qsizetype>(end + dice.bounded(3), written)
                                  : dice.bounded(int(written) + 1));
    }
    return moments;
}

void replaceAll(const DiskLog::Files& files) {
    QDir folder(VaultHome::directory());
    const QStringList present = folder.entryList(QDir::Files);
    for (const QString& name : present) {
        QVERIFY(folder.remove(name));
    }
    for (auto it = files.begin(); it != files.end(); ++it) {
        QFile file(it.key());
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(it.value()), it.value().size());
    }
}

} // namespace

/// The power may fail in any moment, and what was not synced is then anything.
class PowerCutTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { VaultHome::nameApplication(); }
    void cleanup();

    void whatWasSavedIsThereAfterAPowerCutInAnyMoment_data();
    void whatWasSavedIsThereAfterAPowerCutInAnyMoment();

private:
    void verify(const DiskLog& log, const QList<Saved>& saves, qsizetype calls,
                const DiskLog::Chance& inTime);
};

void PowerCutTest::cleanup() {
    static_cast<void>(VaultHome::deleteKey(home));
    QVERIFY(QDir(VaultHome::directory()).removeRecursively());
}

void PowerCutTest::whatWasSavedIsThereAfterAPowerCutInAnyMoment_data() {
    QTest::addColumn<QList<qsizetype>>("lengths");
    QTest::addColumn<bool>("everyMoment");
    QTest::newRow("small documents") << QList<qsizetype>(8, 3'000) << true;
    // Each is more than the log takes before it is written back.
    QTest::newRow("large documents") << QList<qsizetype>{5'000'000, 100, 4'500'000, 5'000'000, 20'000}
                                     << false;
}

void PowerCutTest::whatWasSavedIsThereAfterAPowerCutInAnyMoment() {
    QFETCH(QList<qsizetype>, lengths);
    QFETCH(bool, everyMoment);
    const DiskLog log(VaultHome::directory());
    Vault first;
    QCOMPARE(VaultHome::unlock(first, home), QString());
    QList<Saved> saves{{{}, 0}};
    for (qsizetype number = 0; number < lengths.size(); ++number) {
        const QJsonObject next = document(number, lengths.at(number));
        QVERIFY(first.save(next));
        saves.append({next, log.calls()});
    }
    first.unlock(u"https://elsewhere.example"_s); // the file is closed, and its log goes
    const qsizetype written = log.calls();
    QVERIFY(written > saves.last().calls);

    QRandomGenerator dice(1);
    for (const qsizetype calls : everyMoment ? all(written) : some(saves, written, dice)) {
        const int share = dice.bounded(5); // none of the sectors in time, up to all
        verify(log, saves, calls, [&dice, share] { return dice.bounded(4) < share; });
        if (QTest::currentTestFailed()) {
            qWarning("after %lld of %lld calls", static_cast<long long>(calls),
                     static_cast<long long>(written));
            return;
        }
    }
}

void PowerCutTest::verify(const DiskLog& log, const QList<Saved>& saves, qsizetype calls,
                          const DiskLog::Chance& inTime) {
    replaceAll(log.after(calls, inTime));
    const auto next =
        std::find_if(saves.begin(), saves.end(), [calls](const Saved& save) { return save.calls > calls; });
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    bool read = false;
    const QJsonObject found = vault.load(&read);
    QVERIFY(read);
    const bool promised = found == std::prev(next)->document;
    const bool underWay = next != saves.end() && found == next->document;
    QVERIFY2(promised || underWay, qPrintable(found[u"queue"][0].toString()));
}

QTEST_GUILESS_MAIN(PowerCutTest)
#include "powercut.moc"
