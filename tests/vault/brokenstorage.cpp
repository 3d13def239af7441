// SPDX-License-Identifier: MIT
#include "tests/support/brokendisk.h"
#include "tests/vault/vaulthome.h"
#include "vault/vault.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QTest>

#include <optional>

using namespace Qt::StringLiterals;

namespace {

const QString home = u"https://time.example"_s;
const QString notOpened = u"Secure storage could not be opened; offline writes are disabled."_s;

QJsonObject document(qsizetype length) {
    return {{u"queue"_s, QJsonArray{QString(length, u'x')}}};
}

/// Some pages, and more than the log takes before it is written back.
constexpr qsizetype shortText = 150'000;
constexpr qsizetype longText = 4'200'000;

QByteArray contentOf(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void replace(const QString& path, const QByteArray& content) {
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), content.size());
}

/// What a program that is killed now leaves behind.
struct Remains {
    QString database = VaultHome::databaseFile(home);
    QByteArray file = contentOf(database);
    QByteArray log = contentOf(database + u"-wal"_s);

    void putBack() const {
        replace(database, file);
        replace(database + u"-wal"_s, log);
    }
};

} // namespace

/// Every single thing that can go wrong on a disk, one after the other.
class BrokenStorageTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { VaultHome::nameApplication(); }
    void cleanup();

    void whateverFailsOneDocumentIsKept_data();
    void whateverFailsOneDocumentIsKept();
    void whateverFailsOnFirstUseOneKeyIsMade_data();
    void whateverFailsOnFirstUseOneKeyIsMade();
    void aKeyOfAnyOtherLengthIsNotUsed_data();
    void aKeyOfAnyOtherLengthIsNotUsed();
    void aFolderThatTakesNothingIsReportedAndKept();
    void withoutItsLogARecordIsAnEarlierOneOrMissing_data();
    void withoutItsLogARecordIsAnEarlierOneOrMissing();
    void aDamagedFileIsNotTakenForAnother();
    void aFileCutAnywhereIsNotTakenForAnother();
};

void BrokenStorageTest::cleanup() {
    static_cast<void>(VaultHome::deleteKey(home));
    QVERIFY(QDir(QFileInfo(VaultHome::directory()).path()).removeRecursively());
}

void BrokenStorageTest::whateverFailsOneDocumentIsKept_data() {
    using Mend = BrokenDisk::Mend;
    QTest::addColumn<Mend>("mend");
    QTest::addColumn<qsizetype>("length");
    QTest::addColumn<int>("step");
    QTest::newRow("one call fails") << Mend::AtOnce << shortText << 1;
    QTest::newRow("one call fails, the log is written back") << Mend::AtOnce << longText << 521;
    QTest::newRow("the disk is full from then on") << Mend::Never << shortText << 1;
    QTest::newRow("nothing is brought to the disk from then on") << Mend::Unsynced << shortText << 1;
}

void BrokenStorageTest::whateverFailsOneDocumentIsKept() {
    QFETCH(BrokenDisk::Mend, mend);
    QFETCH(qsizetype, length);
    QFETCH(int, step);
    const QJsonObject before = document(length);
    const QJsonObject after = document(length + 1);
    int failures = 0;
    for (bool broke = true; broke; ++failures) {
        const int good = failures * step;
        bool saved = false;
        std::optional<Remains> remains;
        {
            Vault vault;
            QCOMPARE(VaultHome::unlock(vault, home), QString());
            QVERIFY(vault.save(before));
            {
                const BrokenDisk disk(VaultHome::directory(), good, mend);
                saved = vault.save(after);
                broke = BrokenDisk::hasBroken();
            }
            remains.emplace();
            QVERIFY(saved || broke);
            QVERIFY(vault.load() == (saved ? after : before));
        }
        for (const bool killed : {false, true}) {
            if (killed && mend == BrokenDisk::Mend::Never) {
                break; // nothing can be taken back on a disk that takes nothing
            }
            if (killed) {
                remains->putBack();
            }
            Vault next;
            QCOMPARE(VaultHome::unlock(next, home), QString());
            QVERIFY2(next.load() == (saved ? after : before),
                     qPrintable(u"call %1, killed: %2, saved: %3"_s.arg(good).arg(killed).arg(saved)));
        }
    }
    QVERIFY(failures > 1);
}

void BrokenStorageTest::whateverFailsOnFirstUseOneKeyIsMade_data() {
    QTest::addColumn<bool>("mends");
    QTest::newRow("one call fails") << true;
    QTest::newRow("the disk is full from then on") << false;
}

void BrokenStorageTest::whateverFailsOnFirstUseOneKeyIsMade() {
    QFETCH(bool, mends);
    int failures = 0;
    for (bool broke = true; broke; ++failures) {
        cleanup();
        QByteArray key;
        {
            Vault vault;
            QString refusal;
            {
                const BrokenDisk disk(VaultHome::directory(), failures,
                                      mends ? BrokenDisk::Mend::AtOnce : BrokenDisk::Mend::Never);
                refusal = VaultHome::unlock(vault, home);
                broke = BrokenDisk::hasBroken();
            }
            QVERIFY(broke || refusal.isEmpty());
            QCOMPARE(vault.isReady(), refusal.isEmpty());
            key = VaultHome::storedKey(home);
            QVERIFY(!vault.isReady() || vault.save(document(shortText)));
        }
        Vault next;
        QCOMPARE(VaultHome::unlock(next, home), QString());
        QVERIFY(next.save(document(shortText + 1)));
        QVERIFY(key.isNull() || VaultHome::storedKey(home) == key);
    }
    QVERIFY(failures > 3);
}

void BrokenStorageTest::aKeyOfAnyOtherLengthIsNotUsed_data() {
    QTest::addColumn<qsizetype>("length");
    for (const qsizetype length : {0, 1, 16, 31, 33, 64}) {
        QTest::addRow("%lld bytes", static_cast<long long>(length)) << length;
    }
}

void BrokenStorageTest::aKeyOfAnyOtherLengthIsNotUsed() {
    QFETCH(qsizetype, length);
    {
        Vault vault;
        QCOMPARE(VaultHome::unlock(vault, home), QString());
        QVERIFY(vault.save(document(shortText)));
    }
    const QByteArray key = VaultHome::storedKey(home);
    const QByteArray other = (key + key).first(length);
    QVERIFY(VaultHome::storeKey(home, other));
    {
        Vault vault;
        QCOMPARE(VaultHome::unlock(vault, home), notOpened);
        QVERIFY(!vault.save({}));
        QCOMPARE(VaultHome::storedKey(home), other);
    }
    QVERIFY(VaultHome::storeKey(home, key));
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(vault.load() == document(shortText));
}

void BrokenStorageTest::aFolderThatTakesNothingIsReportedAndKept() {
    const QString path = VaultHome::databaseFile(home);
    {
        Vault vault;
        QCOMPARE(VaultHome::unlock(vault, home), QString());
        QVERIFY(vault.save(document(shortText)));
    }
    const QByteArray key = VaultHome::storedKey(home);
    const QByteArray content = contentOf(path);
    Vault vault;
    {
        const BrokenDisk disk(VaultHome::directory(), 0, BrokenDisk::Mend::Never);
        QCOMPARE(VaultHome::unlock(vault, home), notOpened);
        QVERIFY(BrokenDisk::hasBroken());
        QVERIFY(!vault.isReady());
        QVERIFY(!vault.save({}));
    }
    QVERIFY(contentOf(path) == content);
    QCOMPARE(VaultHome::storedKey(home), key);
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(vault.load() == document(shortText));
}

void BrokenStorageTest::withoutItsLogARecordIsAnEarlierOneOrMissing_data() {
    QTest::addColumn<bool>("writtenBack");
    QTest::newRow("nothing was written back") << false;
    QTest::newRow("an earlier one was written back") << true;
}

void BrokenStorageTest::withoutItsLogARecordIsAnEarlierOneOrMissing() {
    QFETCH(bool, writtenBack);
    const QJsonObject earlier = document(shortText);
    std::optional<Remains> remains;
    {
        Vault vault;
        QCOMPARE(VaultHome::unlock(vault, home), QString());
        QVERIFY(vault.save(earlier));
        if (writtenBack) {
            QCOMPARE(VaultHome::unlock(vault, home), QString());
            QCOMPARE(vault.load(), earlier);
        }
        QVERIFY(vault.save(document(shortText + 1)));
        remains.emplace();
    }
    replace(remains->database, remains->file);
    Vault next;
    QCOMPARE(VaultHome::unlock(next, home), QString());
    QCOMPARE(next.recordMissing(), !writtenBack);
    QVERIFY(next.load() == (writtenBack ? earlier : QJsonObject()));
}

/// What a program makes of this content of the file: nothing, the document that was saved, or that the
/// record is missing, of which a person is told. What it cannot read it does not touch.
static void open(const QByteArray& content, const QJsonObject& saved) {
    const QString path = VaultHome::databaseFile(home);
    replace(path, content);
    {
        Vault vault;
        const bool opened = VaultHome::unlock(vault, home).isEmpty();
        bool read = false;
        const QJsonObject state = vault.load(&read);
        QVERIFY(!read || state == saved || vault.recordMissing());
        QVERIFY(opened || !read);
        if (!read) {
            QVERIFY(!vault.save(document(1)));
        }
    }
    for (const QString& suffix : {u"-wal"_s, u"-shm"_s}) {
        QFile::remove(path + suffix);
    }
}

void BrokenStorageTest::aDamagedFileIsNotTakenForAnother() {
    const QJsonObject saved = document(shortText);
    {
        Vault vault;
        QCOMPARE(VaultHome::unlock(vault, home), QString());
        QVERIFY(vault.save(saved));
    }
    const QByteArray whole = contentOf(VaultHome::databaseFile(home));
    // The words of the table's definition and the head of its page stand closer together.
    constexpr qsizetype step = 4001;
    constexpr qsizetype denseFrom = 65480;
    constexpr qsizetype denseTo = 65550;
    for (qsizetype at = 0; at < whole.size(); at += at >= denseFrom && at < denseTo ? 3 : step) {
        if (at < denseFrom && at + step > denseFrom) {
            at = denseFrom;
        }
        QByteArray damaged = whole;
        damaged[at] = static_cast<char>(~damaged.at(at));
        open(damaged, saved);
        if (QTest::currentTestFailed()) {
            qWarning("byte %lld of %lld", static_cast<long long>(at), static_cast<long long>(whole.size()));
            return;
        }
    }
    open(whole, saved);
}

void BrokenStorageTest::aFileCutAnywhereIsNotTakenForAnother() {
    const QJsonObject saved = document(shortText);
    {
        Vault vault;
        QCOMPARE(VaultHome::unlock(vault, home), QString());
        QVERIFY(vault.save(saved));
    }
    const QByteArray whole = contentOf(VaultHome::databaseFile(home));
    for (qsizetype size = 0; size < whole.size(); size += whole.size() / 8) {
        open(whole.first(size), saved);
        open(whole.first(size) + QByteArray(whole.size() - size, '\0'), saved);
        if (QTest::currentTestFailed()) {
            qWarning("%lld of %lld bytes", static_cast<long long>(size),
                     static_cast<long long>(whole.size()));
            return;
        }
    }
}

QTEST_GUILESS_MAIN(BrokenStorageTest)
#include "brokenstorage.moc"
