// SPDX-License-Identifier: MIT
#include "devserver/accounts/passwords.h"

#include <QTest>

#include <tuple>

#include <sodium.h>

using namespace Qt::StringLiterals;

using namespace devserver;

/// What is stored of a password.
class TestDevserverPasswords : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(sodium_init() >= 0); }
    void aHashIsArgon2idWithModerateLimits();
    void onlyThePasswordHasItsHash();
    void aHashThatNoPasswordHasCostsTheSame();
    void whatIsNoHashIsNotAWrongPassword();
};

void TestDevserverPasswords::aHashIsArgon2idWithModerateLimits() {
    const QByteArray hash = hashPassword("secret");
    QVERIFY2(hash.startsWith("$argon2id$v=19$m=262144,t=3,p=1$"), hash.constData());
    QVERIFY2(hash != hashPassword("secret"), "two people with one password would have one hash");
}

void TestDevserverPasswords::onlyThePasswordHasItsHash() {
    const QByteArray password = u"סיסמה ארוכה"_s.toUtf8();
    const QByteArray hash = hashPassword(password);
    QVERIFY(hasHash(password, hash));
    QVERIFY(!hasHash(password + ' ', hash));
    QVERIFY(!hasHash({}, hash));
}

void TestDevserverPasswords::aHashThatNoPasswordHasCostsTheSame() {
    const QByteArray hash = unmatchedHash();
    QCOMPARE(crypto_pwhash_str_needs_rehash(hash.constData(), crypto_pwhash_OPSLIMIT_MODERATE,
                                            crypto_pwhash_MEMLIMIT_MODERATE),
             0);
    QCOMPARE(hash.size(), hashPassword("secret").size());
    QVERIFY(!hasHash({}, hash));
    QVERIFY(hash != unmatchedHash());
}

void TestDevserverPasswords::whatIsNoHashIsNotAWrongPassword() {
    QVERIFY_THROWS_EXCEPTION(std::runtime_error, std::ignore = hasHash("secret", "secret"));
    QVERIFY_THROWS_EXCEPTION(std::runtime_error,
                             std::ignore = hasHash("secret", hashPassword("secret").first(40)));
}

QTEST_APPLESS_MAIN(TestDevserverPasswords)
#include "passwords.moc"
