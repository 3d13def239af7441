// SPDX-License-Identifier: MIT
#include "state/syncstate.h"
#include "state/timestamp.h"
#include "tests/state/fixtures.h"

#include <QTest>
#include <QTimeZone>

using namespace Qt::StringLiterals;

class PeriodLockTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void decidesWhoIsLocked_data() { addCases(u"locks.json"_s); }
    void decidesWhoIsLocked();
    void looksAtEveryPeriod();
    void missingOwnersAreEqual();
    void readsTimes_data();
    void readsTimes();
};

namespace {

QJsonObject merged(QJsonObject base, const QJsonObject& changes) {
    for (auto it = changes.begin(); it != changes.end(); ++it) {
        base.insert(it.key(), it.value());
    }
    return base;
}

QJsonObject march() {
    return {{u"workspace_id"_s, u"w"_s},
            {u"user_id"_s, u"u"_s},
            {u"status"_s, u"approved"_s},
            {u"start_at"_s, u"2024-03-01T00:00:00Z"_s},
            {u"end_at"_s, u"2024-03-08T00:00:00Z"_s}};
}

QJsonObject insideMarch() {
    return {{u"workspace_id"_s, u"w"_s},
            {u"user_id"_s, u"u"_s},
            {u"start_at"_s, u"2024-03-02T08:00:00Z"_s},
            {u"stop_at"_s, u"2024-03-02T09:00:00Z"_s}};
}

} // namespace

void PeriodLockTest::decidesWhoIsLocked() {
    QFETCH(const QJsonObject, given);
    const QJsonObject period = merged(march(), given.value("period"_L1).toObject());
    const QJsonObject entry = given.value("entry"_L1).toObject(insideMarch());
    QCOMPARE(SyncState::isLocked(entry, {period}), given.value("locked"_L1).toBool());
}

void PeriodLockTest::looksAtEveryPeriod() {
    const QJsonObject open = merged(march(), {{u"status"_s, u"open"_s}});
    const QJsonObject earlier = merged(march(), {{u"end_at"_s, u"2024-03-02T08:00:00Z"_s}});
    QVERIFY(!SyncState::isLocked(insideMarch(), {}));
    QVERIFY(!SyncState::isLocked(insideMarch(), {open, u"no period"_s, QJsonValue::Null, earlier}));
    QVERIFY(SyncState::isLocked(insideMarch(), {open, u"no period"_s, earlier, march()}));
    QVERIFY(SyncState::isLocked(insideMarch(), {march(), open, earlier}));
}

void PeriodLockTest::missingOwnersAreEqual() {
    QJsonObject period = march();
    QJsonObject entry = insideMarch();
    period.remove(u"user_id"_s);
    QVERIFY(!SyncState::isLocked(entry, {period}));
    entry.remove(u"user_id"_s);
    QVERIFY(SyncState::isLocked(entry, {period}));
    entry.insert(u"user_id"_s, QJsonValue::Null);
    QVERIFY(!SyncState::isLocked(entry, {period}));
    entry.insert(u"user_id"_s, u""_s);
    QVERIFY(!SyncState::isLocked(entry, {period}));
}

void PeriodLockTest::readsTimes_data() {
    QTest::addColumn<QJsonValue>("value");
    QTest::addColumn<QDateTime>("instant");
    const QDateTime eight(QDate(2024, 3, 1), QTime(8, 0), QTimeZone::utc());
    QTest::newRow("UTC") << QJsonValue(u"2024-03-01T08:00:00Z"_s) << eight;
    QTest::newRow("milliseconds") << QJsonValue(u"2024-03-01T08:00:00.250Z"_s) << eight.addMSecs(250);
    QTest::newRow("offset") << QJsonValue(u"2024-03-01T10:00:00+02:00"_s) << eight;
    QTest::newRow("local") << QJsonValue(u"2024-03-01T08:00:00"_s) << QDateTime(eight.date(), eight.time());
    QTest::newRow("words") << QJsonValue(u"eight"_s) << QDateTime();
    QTest::newRow("empty") << QJsonValue(u""_s) << QDateTime();
    QTest::newRow("null") << QJsonValue(QJsonValue::Null) << QDateTime();
    QTest::newRow("missing") << QJsonValue(QJsonValue::Undefined) << QDateTime();
    QTest::newRow("number") << QJsonValue(20240301) << QDateTime();
}

void PeriodLockTest::readsTimes() {
    QFETCH(const QJsonValue, value);
    QFETCH(const QDateTime, instant);
    QCOMPARE(stamp(value).isValid(), instant.isValid());
    QCOMPARE(stamp(value), instant);
}

QTEST_GUILESS_MAIN(PeriodLockTest)
#include "periodlock.moc"
