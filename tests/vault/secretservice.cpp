// SPDX-License-Identifier: MIT
#include "tests/vault/failingrandom.h"
#include "tests/vault/vaulthome.h"
#include "vault/vault.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString home = u"https://time.example"_s;
const QString other = u"http://127.0.0.1:18080"_s;

const QString keyFailed = u"Secure key generation failed"_s;
const QString notOpened = u"Secure storage could not be opened; offline writes are disabled."_s;

QJsonObject document(const QString& description = u"private words"_s) {
    return {{u"queue"_s, QJsonArray{description}}, {u"workspace"_s, u"w"_s}};
}

// A record as an earlier version of the program, or a stranger with the key, would write it.
QByteArray sealed(const QByteArray& text, const QByteArray& aad) {
    return Vault::seal(text, VaultHome::storedKey(home), aad);
}

} // namespace

/// Keys, files and records against a real Secret Service.
class VaultTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { VaultHome::nameApplication(); }
    void cleanup();

    void firstStartMakesKeyAndDatabase();
    void savedDocumentIsThereAfterARestart();
    void recordIsTheSealedCompactText();
    void everyFileIsForTheOwnerOnly();
    void twoServersHaveFilesAndKeysOfTheirOwn();
    void scopeIsTakenAsItIsWritten();
    void onlyTheLastOfTwoUnlocksAnswers();
    void twoUnlocksOfANewServerMakeOneKey();
    void unlockingIsNotReady();
    void lockedVaultSavesAndLoadsNothing();
    void keyOfAnotherLengthIsNeitherUsedNorReplaced();
    void withoutRandomnessThereIsNoKey();
    void alteredRecordLocksTheVault_data();
    void alteredRecordLocksTheVault();
    void recordOfAnotherKeyOrServerLocksTheVault();
    void legacyRecordIsReadAndRewritten();
    void legacyBlobBehindTheCurrentPrefixIsRefused();
    void sealedTextThatIsNoObjectKeepsTheKey_data();
    void sealedTextThatIsNoObjectKeepsTheKey();
    void connectionGoesWithTheVault();
};

void VaultTest::cleanup() {
    for (const QString& scope : {home, other, home + u'/'}) {
        static_cast<void>(VaultHome::deleteKey(scope));
    }
    QVERIFY(QDir(VaultHome::directory()).removeRecursively());
}

void VaultTest::firstStartMakesKeyAndDatabase() {
    QVERIFY(VaultHome::storedKey(home).isNull());
    Vault vault;
    QVERIFY(!vault.isReady());
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(vault.isReady());
    bool ok = false;
    QVERIFY(vault.load(&ok).isEmpty());
    QVERIFY(ok);
    QCOMPARE(VaultHome::storedKey(home).size(), 32);
    QVERIFY(VaultHome::storedKey(home) != QByteArray(32, '\0'));
    QCOMPARE(QDir(VaultHome::directory()).entryList({u"*.sqlite"_s}),
             QStringList(VaultHome::hashOf(home) + u".sqlite"_s));
    QVERIFY(VaultHome::record(home).isNull());
}

void VaultTest::savedDocumentIsThereAfterARestart() {
    {
        Vault vault;
        QCOMPARE(VaultHome::unlock(vault, home), QString());
        QVERIFY(vault.save(document(u"first"_s)));
        QVERIFY(vault.save(document(u"שני"_s)));
        QCOMPARE(vault.load(), document(u"שני"_s));
    }
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    bool ok = false;
    QCOMPARE(vault.load(&ok), document(u"שני"_s));
    QVERIFY(ok);
}

void VaultTest::recordIsTheSealedCompactText() {
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(vault.save(document()));
    const QByteArray record = VaultHome::record(home);
    QVERIFY(record.startsWith("TKVATKV1"));
    bool ok = false;
    const QByteArray text = Vault::unseal(record.sliced(4), VaultHome::storedKey(home),
                                          VaultHome::accountAwareContext(home), &ok);
    QVERIFY(ok);
    QCOMPARE(text, QJsonDocument(document()).toJson(QJsonDocument::Compact));
}

void VaultTest::everyFileIsForTheOwnerOnly() {
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(vault.save(document()));
    const auto files = QDir(VaultHome::directory()).entryInfoList(QDir::Files);
    QVERIFY(files.size() >= 2); // the database and its log
    const QFileDevice::Permissions ownerOnly =
        QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadUser | QFileDevice::WriteUser;
    for (const QFileInfo& file : files) {
        QCOMPARE(file.permissions(), ownerOnly);
    }
}

void VaultTest::twoServersHaveFilesAndKeysOfTheirOwn() {
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(vault.save(document(u"home"_s)));
    QCOMPARE(VaultHome::unlock(vault, other), QString());
    QVERIFY(vault.load().isEmpty());
    QVERIFY(vault.save(document(u"other"_s)));

    QVERIFY(VaultHome::storedKey(home) != VaultHome::storedKey(other));
    QVERIFY(QFileInfo::exists(VaultHome::databaseFile(home)));
    QVERIFY(QFileInfo::exists(VaultHome::databaseFile(other)));

    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QCOMPARE(vault.load(), document(u"home"_s));
    QCOMPARE(VaultHome::unlock(vault, other), QString());
    QCOMPARE(vault.load(), document(u"other"_s));
}

void VaultTest::scopeIsTakenAsItIsWritten() {
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(vault.save(document()));
    QCOMPARE(VaultHome::unlock(vault, home + u'/'), QString());
    bool ok = false;
    QVERIFY(vault.load(&ok).isEmpty());
    QVERIFY(ok);
    QVERIFY(QFileInfo::exists(VaultHome::databaseFile(home + u'/')));
    QVERIFY(VaultHome::storedKey(home) != VaultHome::storedKey(home + u'/'));
}

void VaultTest::onlyTheLastOfTwoUnlocksAnswers() {
    Vault vault;
    QSignalSpy ready(&vault, &Vault::ready);
    vault.unlock(home);
    QCOMPARE(VaultHome::unlock(vault, other), QString());
    QCOMPARE(ready.size(), 1);
    QVERIFY(vault.save(document()));
    QVERIFY(QFileInfo::exists(VaultHome::databaseFile(other)));
    QVERIFY(!QFileInfo::exists(VaultHome::databaseFile(home)));
    // Every credential job runs in turn, so nothing of the first unlock is left to come.
    QVERIFY(VaultHome::storedKey(home).isNull());
    QCOMPARE(ready.size(), 1);
}

void VaultTest::twoUnlocksOfANewServerMakeOneKey() {
    Vault vault;
    QSignalSpy ready(&vault, &Vault::ready);
    vault.unlock(home);
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(vault.save(document()));
    QCOMPARE(ready.size(), 1);
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QCOMPARE(vault.load(), document());
}

void VaultTest::unlockingIsNotReady() {
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(vault.save(document()));
    const QByteArray before = VaultHome::record(home);
    QSignalSpy ready(&vault, &Vault::ready);
    vault.unlock(home);
    QVERIFY(!vault.isReady());
    QVERIFY(!vault.save(document(u"too early"_s)));
    QTRY_COMPARE(ready.size(), 1);
    QCOMPARE(VaultHome::record(home), before);
}

void VaultTest::lockedVaultSavesAndLoadsNothing() {
    Vault vault;
    QVERIFY(!vault.save(document()));
    bool ok = true;
    QVERIFY(vault.load(&ok).isEmpty());
    QVERIFY(!ok);
    QVERIFY(!QFileInfo::exists(VaultHome::directory()));
}

void VaultTest::keyOfAnotherLengthIsNeitherUsedNorReplaced() {
    const QByteArray shortKey(16, 'k');
    QVERIFY(VaultHome::storeKey(home, shortKey));
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), notOpened);
    QVERIFY(!vault.isReady());
    QVERIFY(!vault.save(document()));
    QCOMPARE(VaultHome::storedKey(home), shortKey);
    QVERIFY(!QFileInfo::exists(VaultHome::databaseFile(home)));
}

void VaultTest::withoutRandomnessThereIsNoKey() {
    Vault vault;
    {
        const FailingRandom noRandomness;
        QCOMPARE(VaultHome::unlock(vault, home), keyFailed);
    }
    QVERIFY(VaultHome::storedKey(home).isNull());
    QVERIFY(!QFileInfo::exists(VaultHome::databaseFile(home)));
    QCOMPARE(VaultHome::unlock(vault, home), QString());
}

void VaultTest::alteredRecordLocksTheVault_data() {
    QTest::addColumn<qsizetype>("position");
    QTest::newRow("prefix") << qsizetype(0);
    QTest::newRow("magic") << qsizetype(7);
    QTest::newRow("nonce") << qsizetype(8);
    QTest::newRow("tag") << qsizetype(20);
    QTest::newRow("first byte of the text") << qsizetype(36);
    QTest::newRow("last byte of the text") << qsizetype(-1);
}

void VaultTest::alteredRecordLocksTheVault() {
    QFETCH(qsizetype, position);
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(vault.save(document()));
    const QByteArray original = VaultHome::record(home);
    QByteArray altered = original;
    const qsizetype index = position < 0 ? altered.size() + position : position;
    altered[index] = static_cast<char>(altered.at(index) ^ 1);
    QVERIFY(VaultHome::setRecord(home, altered));

    bool ok = true;
    QVERIFY(vault.load(&ok).isEmpty());
    QVERIFY(!ok);
    QVERIFY(!vault.isReady());
    QVERIFY(!vault.save(document(u"over it"_s)));
    QCOMPARE(VaultHome::record(home), altered);

    // The key itself is not lost: with the record restored the store works again.
    QVERIFY(VaultHome::setRecord(home, original));
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QCOMPARE(vault.load(), document());
}

void VaultTest::recordOfAnotherKeyOrServerLocksTheVault() {
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    const QByteArray text = "{}";
    const QByteArray foreign[] = {
        "TKVA" + Vault::seal(text, QByteArray(32, 'x'), VaultHome::accountAwareContext(home)),
        "TKVA" + sealed(text, VaultHome::accountAwareContext(other)),
        sealed(text, VaultHome::context(other)),
        QByteArray(""),
    };
    for (const QByteArray& record : foreign) {
        QVERIFY(VaultHome::setRecord(home, record));
        QCOMPARE(VaultHome::unlock(vault, home), QString());
        bool ok = true;
        QVERIFY(vault.load(&ok).isEmpty());
        QVERIFY(!ok);
        QVERIFY(!vault.save(document()));
        QCOMPARE(VaultHome::record(home), record);
    }
}

void VaultTest::legacyRecordIsReadAndRewritten() {
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(VaultHome::setRecord(home, sealed(R"({"queue":["old"]})", VaultHome::context(home))));
    bool ok = false;
    const QJsonObject state = vault.load(&ok);
    QVERIFY(ok);
    QCOMPARE(state, QJsonObject({{u"queue"_s, QJsonArray{u"old"_s}}}));
    QVERIFY(vault.save(state));
    QVERIFY(VaultHome::record(home).startsWith("TKVATKV1"));
    QCOMPARE(vault.load(), state);
}

void VaultTest::legacyBlobBehindTheCurrentPrefixIsRefused() {
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(VaultHome::setRecord(home, "TKVA" + sealed("{}", VaultHome::context(home))));
    bool ok = true;
    QVERIFY(vault.load(&ok).isEmpty());
    QVERIFY(!ok);
    QVERIFY(!vault.isReady());
}

void VaultTest::sealedTextThatIsNoObjectKeepsTheKey_data() {
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("array") << QByteArray("[1]");
    QTest::newRow("not JSON") << QByteArray("no JSON at all");
    QTest::newRow("cut off") << QByteArray(R"({"queue":[)");
    QTest::newRow("empty") << QByteArray();
}

void VaultTest::sealedTextThatIsNoObjectKeepsTheKey() {
    QFETCH(QByteArray, text);
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(VaultHome::setRecord(home, "TKVA" + sealed(text, VaultHome::accountAwareContext(home))));
    bool ok = true;
    QVERIFY(vault.load(&ok).isEmpty());
    QVERIFY(!ok);
    QVERIFY(vault.isReady());
    QVERIFY(!vault.acceptsWrites());
    // What cannot be read may still be read one day.
    const QByteArray record = VaultHome::record(home);
    QVERIFY(!vault.save(document()));
    QCOMPARE(VaultHome::record(home), record);
}

void VaultTest::connectionGoesWithTheVault() {
    {
        Vault first;
        Vault second;
        QCOMPARE(VaultHome::unlock(first, home), QString());
        QCOMPARE(VaultHome::unlock(first, other), QString());
        QCOMPARE(VaultHome::unlock(second, home), QString());
        QCOMPARE(QSqlDatabase::connectionNames().size(), 2);
    }
    QVERIFY(QSqlDatabase::connectionNames().isEmpty());
}

QTEST_GUILESS_MAIN(VaultTest)
#include "secretservice.moc"
