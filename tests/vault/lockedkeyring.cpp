// SPDX-License-Identifier: MIT
#include "tests/vault/secretstructure.h"
#include "tests/vault/vaulthome.h"
#include "vault/vault.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusVariant>
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

QDBusMessage callStore(const QString& interface, const QString& method, const QVariantList& arguments) {
    QDBusMessage call = QDBusMessage::createMethodCall(u"org.freedesktop.secrets"_s,
                                                       u"/org/freedesktop/secrets"_s, interface, method);
    call.setArguments(arguments);
    return QDBusConnection::sessionBus().call(call);
}

QDBusMessage callStore(const QString& method, const QVariantList& arguments) {
    return callStore(u"org.freedesktop.Secret.Service"_s, method, arguments);
}

QDBusObjectPath keyring() {
    const QDBusMessage alias = callStore(u"ReadAlias"_s, {u"default"_s});
    return alias.arguments().value(0).value<QDBusObjectPath>();
}

bool lockKeyring() {
    const QList<QDBusObjectPath> all{keyring()};
    return callStore(u"Lock"_s, {QVariant::fromValue(all)}).type() == QDBusMessage::ReplyMessage;
}

// With the password of the session that the test runs in, as the login would.
bool unlockKeyring() {
    const QDBusMessage session =
        callStore(u"OpenSession"_s, {u"plain"_s, QVariant::fromValue(QDBusVariant(QString()))});
    const Secret password{session.arguments().value(1).value<QDBusObjectPath>(), {}, "test", u"text/plain"_s};
    return callStore(u"org.gnome.keyring.InternalUnsupportedGuiltRiddenInterface"_s,
                     u"UnlockWithMasterPassword"_s,
                     {QVariant::fromValue(keyring()), QVariant::fromValue(password)})
               .type() == QDBusMessage::ReplyMessage;
}

} // namespace

/// A real keyring that is locked, and whose prompt nobody answers.
class LockedKeyringTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup() { QVERIFY(unlockKeyring()); }

    void lockedKeyringKeepsTheOnlyKey();
    void lockedKeyringTakesNoNewKey();
};

void LockedKeyringTest::initTestCase() {
    qDBusRegisterMetaType<Secret>();
    VaultHome::nameApplication();
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(vault.save(document));
}

void LockedKeyringTest::lockedKeyringKeepsTheOnlyKey() {
    const QByteArray key = VaultHome::storedKey(home);
    QVERIFY(lockKeyring());
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), storageRefused);
    QVERIFY(!vault.isReady());
    QVERIFY(!vault.save({}));

    QVERIFY(unlockKeyring());
    QCOMPARE(VaultHome::storedKey(home), key);
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QCOMPARE(vault.load(), document);
}

void LockedKeyringTest::lockedKeyringTakesNoNewKey() {
    QVERIFY(lockKeyring());
    Vault vault;
    QVERIFY(!VaultHome::unlock(vault, fresh).isEmpty());
    QVERIFY(!vault.isReady());
    QVERIFY(unlockKeyring());
    QCOMPARE(VaultHome::unlock(vault, fresh), QString());
    QVERIFY(vault.save(document));
    QCOMPARE(vault.load(), document);
}

QTEST_GUILESS_MAIN(LockedKeyringTest)
#include "lockedkeyring.moc"
