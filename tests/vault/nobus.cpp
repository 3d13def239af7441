// SPDX-License-Identifier: MIT
#include "tests/vault/vaulthome.h"
#include "vault/vault.h"

#include <QFileInfo>
#include <QTest>

using namespace Qt::StringLiterals;

/// A session without a bus, and so without any credential store.
class NoBusTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void withoutABusTheVaultIsUnavailable();
};

void NoBusTest::withoutABusTheVaultIsUnavailable() {
    QVERIFY(!qEnvironmentVariableIsSet("DBUS_SESSION_BUS_ADDRESS"));
    VaultHome::nameApplication();
    Vault vault;
    for (int attempt = 0; attempt < 2; ++attempt) {
        QCOMPARE(VaultHome::unlock(vault, u"https://time.example"_s),
                 u"KWallet / OS credential storage is locked or unavailable. Online mode remains "
                 "available; offline writes are disabled."_s);
        QVERIFY(!vault.isReady());
        QVERIFY(!vault.save({}));
    }
    QVERIFY(!QFileInfo::exists(VaultHome::directory()));
}

QTEST_GUILESS_MAIN(NoBusTest)
#include "nobus.moc"
