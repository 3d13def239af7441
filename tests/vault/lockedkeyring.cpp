// SPDX-License-Identifier: MIT
#include "tests/support/keyring.h"
#include "tests/vault/vaulthome.h"
#include "vault/vault.h"

#include <QJsonArray>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString home = u"https://time.example"_s;
const QString fresh = u"http://127.0.0.1:18080"_s;

const QString storageRefused =
    u"KWallet / OS credential storage is locked or unavailable. Online mode remains "
    "available; offline writes are disabled."_s;

const QJsonObject document{{u"queue"_s, QJsonArray{u"private"_s}}};

} // namespace

/// A real keyring that is locked, and whose prompt nobody answers.
class LockedKeyringTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup() { QVERIFY(keyring::unlock()); }

    void lockedKeyringKeepsTheOnlyKey();
    void lockedKeyringTakesNoNewKey();
};

void LockedKeyringTest::initTestCase() {
    VaultHome::nameApplication();
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(vault.save(document));
}

void LockedKeyringTest::lockedKeyringKeepsTheOnlyKey() {
    const QByteArray key = VaultHome::storedKey(home);
    QVERIFY(keyring::lock());
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), storageRefused);
    QVERIFY(!vault.isReady());
    QVERIFY(!vault.save({}));

    QVERIFY(keyring::unlock());
    QCOMPARE(VaultHome::storedKey(home), key);
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QCOMPARE(vault.load(), document);
}

void LockedKeyringTest::lockedKeyringTakesNoNewKey() {
    QVERIFY(keyring::lock());
    Vault vault;
    QVERIFY(!VaultHome::unlock(vault, fresh).isEmpty());
    QVERIFY(!vault.isReady());
    QVERIFY(keyring::unlock());
    QCOMPARE(VaultHome::unlock(vault, fresh), QString());
    QVERIFY(vault.save(document));
    QCOMPARE(vault.load(), document);
}

QTEST_GUILESS_MAIN(LockedKeyringTest)
#include "lockedkeyring.moc"
