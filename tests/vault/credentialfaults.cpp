// SPDX-License-Identifier: MIT
#include "tests/vault/scriptedsecrets.h"
#include "tests/vault/vaulthome.h"
#include "vault/databaselock.h"
#include "vault/vault.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

const QString home = u"https://time.example"_s;
const QString other = u"http://127.0.0.1:18080"_s;

const QString storageRefused =
    u"KWallet / OS credential storage is locked or unavailable. Online mode remains "
    "available; offline writes are disabled."_s;
const QString keyRefused = u"OS secure storage denied the key; no plaintext fallback was used."_s;

const QJsonObject document{{u"queue"_s, QJsonArray{u"private"_s}}};

} // namespace

/// The faults of credential stores and of their library, one by one.
class CredentialFaultsTest : public QObject {
    Q_OBJECT

    std::unique_ptr<ScriptedSecrets> m_secrets;

private Q_SLOTS:
    void initTestCase() { VaultHome::nameApplication(); }
    void init() { m_secrets = std::make_unique<ScriptedSecrets>(); }
    void cleanup();

    void scriptedStoreKeepsAKey();
    void failedReadMakesNoKey();
    void writeThatIsNotStoredIsRefused_data();
    void writeThatIsNotStoredIsRefused();
    void nothingIsSealedBeforeTheKeyIsReadBack();
    void unlockWaitsForTheKeyOnItsWay();
    void unlockOfAnotherServerDropsTheKeyOnItsWay();
    void keyOnItsWayIsCoveredByALock();
    void unlocksWhileWaitingReadOnce();
    void vaultMayGoDuringAnyJob_data();
    void vaultMayGoDuringAnyJob();
    void vaultMayGoInItsOwnSignal();
    void keyWrittenForAVaultThatIsGoneIsUsedByTheNext();
    void programMayEndDuringTheUnlock();
};

void CredentialFaultsTest::cleanup() {
    m_secrets.reset();
    QVERIFY(QDir(VaultHome::directory()).removeRecursively());
}

void CredentialFaultsTest::scriptedStoreKeepsAKey() {
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(vault.save(document));
    QCOMPARE(m_secrets->written().size(), 1);
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QCOMPARE(vault.load(), document);
    QCOMPARE(m_secrets->written().size(), 1);
}

void CredentialFaultsTest::failedReadMakesNoKey() {
    m_secrets->readsFail = true;
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), storageRefused);
    QVERIFY(!vault.isReady());
    QVERIFY(m_secrets->written().isEmpty());
    QVERIFY(!QFileInfo::exists(VaultHome::databaseFile(home)));
}

void CredentialFaultsTest::writeThatIsNotStoredIsRefused_data() {
    QTest::addColumn<int>("writes");
    QTest::newRow("reported as refused") << static_cast<int>(ScriptedSecrets::Writes::Refused);
    QTest::newRow("reported as done, but lost") << static_cast<int>(ScriptedSecrets::Writes::Lost);
    QTest::newRow("reported as done, but altered") << static_cast<int>(ScriptedSecrets::Writes::Altered);
}

void CredentialFaultsTest::writeThatIsNotStoredIsRefused() {
    QFETCH(int, writes);
    m_secrets->writes = static_cast<ScriptedSecrets::Writes>(writes);
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), keyRefused);
    QVERIFY(!vault.isReady());
    QVERIFY(!vault.save(document));
    QVERIFY(!QFileInfo::exists(VaultHome::databaseFile(home)));
}

void CredentialFaultsTest::nothingIsSealedBeforeTheKeyIsReadBack() {
    m_secrets->holdWrites = true;
    Vault vault;
    QSignalSpy ready(&vault, &Vault::ready);
    vault.unlock(home);
    QTRY_COMPARE(m_secrets->held(), 1);
    m_secrets->release();
    m_secrets->holdReads = true;
    QTRY_COMPARE(m_secrets->held(), 1); // the key is written and being read back
    QCOMPARE(m_secrets->items(), 1);
    QVERIFY(ready.isEmpty());
    QVERIFY(!vault.isReady());
    QVERIFY(!vault.save(document));
    m_secrets->release();
    QTRY_COMPARE(ready.size(), 1);
    QVERIFY(vault.save(document));
}

void CredentialFaultsTest::unlockWaitsForTheKeyOnItsWay() {
    m_secrets->holdWrites = true;
    Vault vault;
    QSignalSpy ready(&vault, &Vault::ready);
    QSignalSpy unavailable(&vault, &Vault::unavailable);
    vault.unlock(home);
    QTRY_COMPARE(m_secrets->held(), 1);
    vault.unlock(home);
    vault.unlock(home);
    m_secrets->release();
    QTRY_COMPARE(ready.size(), 1);
    QVERIFY(unavailable.isEmpty());
    QVERIFY(vault.save(document));
    QCOMPARE(m_secrets->written().size(), 1);
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QCOMPARE(vault.load(), document);
}

void CredentialFaultsTest::unlockOfAnotherServerDropsTheKeyOnItsWay() {
    m_secrets->holdWrites = true;
    Vault vault;
    QSignalSpy ready(&vault, &Vault::ready);
    vault.unlock(home);
    QTRY_COMPARE(m_secrets->held(), 1);
    vault.unlock(other);
    m_secrets->release();
    QTRY_COMPARE(ready.size(), 1);
    QVERIFY(vault.save(document));
    QVERIFY(QFileInfo::exists(VaultHome::databaseFile(other)));
    QVERIFY(!QFileInfo::exists(VaultHome::databaseFile(home)));
    // The first server's key arrived all the same and is the one it keeps.
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QCOMPARE(m_secrets->written().size(), 2);
    QVERIFY(vault.load().isEmpty());
}

void CredentialFaultsTest::keyOnItsWayIsCoveredByALock() {
    m_secrets->holdWrites = true;
    Vault vault;
    QSignalSpy ready(&vault, &Vault::ready);
    vault.unlock(home);
    QTRY_COMPARE(m_secrets->held(), 1);
    vault.unlock(other);
    DatabaseLock somebody;
    QCOMPARE(somebody.take(VaultHome::databaseFile(home)), LockFile::Answer::Held);
    m_secrets->release();
    QTRY_COMPARE(ready.size(), 1);
    QCOMPARE(somebody.take(VaultHome::databaseFile(home)), LockFile::Answer::Taken);
}

void CredentialFaultsTest::unlocksWhileWaitingReadOnce() {
    m_secrets->holdReads = true;
    Vault vault;
    QSignalSpy ready(&vault, &Vault::ready);
    vault.unlock(other);
    QTRY_COMPARE(m_secrets->held(), 1);
    for (int count = 0; count < 5; ++count) {
        vault.unlock(home);
    }
    m_secrets->release();
    QTRY_COMPARE(ready.size(), 1);
    QVERIFY(vault.save(document));
    QVERIFY(QFileInfo::exists(VaultHome::databaseFile(home)));
    QVERIFY(!QFileInfo::exists(VaultHome::databaseFile(other)));
    QCOMPARE(m_secrets->written().size(), 1);
}

void CredentialFaultsTest::vaultMayGoDuringAnyJob_data() {
    QTest::addColumn<int>("answered");
    QTest::newRow("before the job starts") << -1;
    QTest::newRow("during the read") << 0;
    QTest::newRow("during the write") << 1;
    QTest::newRow("during the reading back") << 2;
}

void CredentialFaultsTest::vaultMayGoDuringAnyJob() {
    QFETCH(int, answered);
    for (int round = 0; round < 20; ++round) {
        m_secrets = nullptr;
        m_secrets = std::make_unique<ScriptedSecrets>();
        m_secrets->holdReads = true;
        m_secrets->holdWrites = true;
        auto vault = std::make_unique<Vault>();
        vault->unlock(home);
        for (int step = 0; step <= answered; ++step) {
            if (step > 0) {
                m_secrets->release();
                m_secrets->holdReads = true;
                m_secrets->holdWrites = true;
            }
            QTRY_COMPARE(m_secrets->held(), 1);
        }
        vault.reset();
        m_secrets->release();
        // The library takes one job at a time: this one comes after the orphan.
        static_cast<void>(VaultHome::storedKey(other));
        QVERIFY(!QFileInfo::exists(VaultHome::databaseFile(home)));
    }
}

void CredentialFaultsTest::vaultMayGoInItsOwnSignal() {
    auto vault = std::make_unique<Vault>();
    bool gone = false;
    connect(vault.get(), &Vault::ready, this, [&] {
        vault.reset();
        gone = true;
    });
    vault->unlock(home);
    QTRY_VERIFY(gone);
    QCOMPARE(VaultHome::storedKey(home).size(), 32);
}

void CredentialFaultsTest::keyWrittenForAVaultThatIsGoneIsUsedByTheNext() {
    m_secrets->holdWrites = true;
    auto first = std::make_unique<Vault>();
    first->unlock(home);
    QTRY_COMPARE(m_secrets->held(), 1);
    first.reset();
    Vault second;
    QSignalSpy ready(&second, &Vault::ready);
    second.unlock(home);
    m_secrets->release();
    QTRY_COMPARE(ready.size(), 1);
    QVERIFY(second.save(document));
    QCOMPARE(m_secrets->written().size(), 1);
    QCOMPARE(VaultHome::unlock(second, home), QString());
    QCOMPARE(second.load(), document);
}

void CredentialFaultsTest::programMayEndDuringTheUnlock() {
    m_secrets->holdReads = true;
    QProcess program;
    program.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    program.start(QCoreApplication::applicationDirPath() + u"/quit-during-unlock"_s);
    QTRY_COMPARE_WITH_TIMEOUT(m_secrets->held(), 1, 20000);
    program.write("\n");
    QTRY_COMPARE_WITH_TIMEOUT(program.state(), QProcess::NotRunning, 20000);
    QCOMPARE(program.exitStatus(), QProcess::NormalExit);
    QCOMPARE(program.exitCode(), 0);
}

QTEST_GUILESS_MAIN(CredentialFaultsTest)
#include "credentialfaults.moc"
