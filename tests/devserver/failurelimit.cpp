// SPDX-License-Identifier: MIT
#include "devserver/accounts/signin.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using devserver::FailureLimit;

namespace {

const QString account = u"dana@example.com"_s;
const QString other = u"noa@example.com"_s;
const QString address = u"192.168.0.5"_s;
const QString elsewhere = u"192.168.0.6"_s;

} // namespace

/// Ten failures within ten minutes, of an account or from an address.
class TestDevserverFailureLimit : public QObject {
    Q_OBJECT

    FailureLimit m_limit;
    FailureLimit::Time m_now;

    void fail(int times, const QString& who = account, const QString& from = address) {
        for (int i = 0; i < times; ++i) {
            m_limit.failed(who, from, m_now);
        }
    }
    bool allows(const QString& who = account, const QString& from = address) {
        return m_limit.allows(who, from, m_now);
    }

private Q_SLOTS:
    void init() {
        m_limit = {};
        m_now = FailureLimit::Time(1000h);
    }
    void tenFailuresOfAnAccountAreEnoughFromAnywhere();
    void tenFailuresFromAnAddressAreEnoughForAnyAccount();
    void failuresElsewhereDoNotCount();
    void eachFailureCountsForTenMinutes();
    void theOldestAreForgottenFirst();
};

void TestDevserverFailureLimit::tenFailuresOfAnAccountAreEnoughFromAnywhere() {
    fail(9);
    QVERIFY(allows());
    fail(1, account, elsewhere);
    QVERIFY(!allows());
    QVERIFY(!allows(account, u"10.0.0.1"_s));
    QVERIFY(allows(other));
}

void TestDevserverFailureLimit::tenFailuresFromAnAddressAreEnoughForAnyAccount() {
    for (int i = 0; i < 10; ++i) {
        QVERIFY(allows(other));
        fail(1, QString::number(i));
    }
    QVERIFY(!allows(other));
    QVERIFY(allows(other, elsewhere));
}

void TestDevserverFailureLimit::failuresElsewhereDoNotCount() {
    fail(9);
    fail(9, other, elsewhere);
    QVERIFY(allows());
    QVERIFY(allows(other, elsewhere));
}

void TestDevserverFailureLimit::eachFailureCountsForTenMinutes() {
    fail(1);
    m_now += 6min;
    fail(9);
    m_now += 4min - 1ms;
    QVERIFY(!allows());
    m_now += 1ms;
    QVERIFY(allows());
    fail(1);
    QVERIFY(!allows());
    m_now += 6min;
    QVERIFY(allows());
    QCOMPARE(m_limit.remembered(), size_t{1});
}

void TestDevserverFailureLimit::theOldestAreForgottenFirst() {
    fail(10);
    for (size_t i = 0; i < FailureLimit::capacity - 1; ++i) {
        fail(1, QString::number(i), QString::number(i));
    }
    QCOMPARE(m_limit.remembered(), FailureLimit::capacity);
    QVERIFY(allows());
    QVERIFY(!FailureLimit().remembered());
}

QTEST_APPLESS_MAIN(TestDevserverFailureLimit)
#include "failurelimit.moc"
