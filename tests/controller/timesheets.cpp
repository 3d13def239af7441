// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "tests/support/client.h"
#include "tests/support/sample.h"

#include <QTest>
#include <QTimeZone>

namespace {

const QString monday = u"2024-03-04T00:00:00Z"_s;
const QString nextMonday = u"2024-03-11T00:00:00Z"_s;

QString text(const QDateTime& time) {
    return time.toUTC().toString(Qt::ISODate);
}

QJsonObject of(QJsonObject object, const QString& key, const QString& value) {
    object.insert(key, value);
    return object;
}

} // namespace

/// What the periods and the week hold, beside the server's words about them.
class ControllerTimesheetsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }

    void eachPeriodHasItsSum();
    void periodsOfOthersHaveNone();
    void sumsFollowTheQueueAndTheSnapshot();
    void theWeekCountsWhatRunsAndHowFarItIs();
    void aTimerWhoseStopIsKeptBackCountsOnce();
    void aTimerInAClosedPeriodIsKnown_data();
    void aTimerInAClosedPeriodIsKnown();
    void nothingIsContinuedInAClosedPeriod();
};

void ControllerTimesheetsTest::eachPeriodHasItsSum() {
    Controller controller;
    const QJsonArray entries{
        sample::entry(u"e1"_s, u"2024-03-04T08:00:00Z"_s, u"2024-03-04T09:30:00Z"_s),
        sample::entry(u"e2"_s, u"2024-03-10T23:30:00Z"_s, u"2024-03-11T00:10:00Z"_s),
        sample::entry(u"e3"_s, u"2024-03-05T08:00:00Z"_s, QJsonValue()),
    };
    const QJsonArray periods{sample::period(u"approved"_s, monday, nextMonday),
                             sample::period(u"open"_s, nextMonday, u"2024-03-18T00:00:00Z"_s)};
    controller.applyDurable(sample::durable(sample::snapshot(entries, periods)));
    QCOMPARE(controller.periodSums(), QVariantList({qint64{7200}, qint64{600}}));
    QCOMPARE(controller.periods().size(), 2);
}

void ControllerTimesheetsTest::periodsOfOthersHaveNone() {
    Controller controller;
    const QJsonObject own = sample::period(u"open"_s, monday, nextMonday);
    controller.applyDurable(sample::durable(sample::snapshot(
        {}, {of(own, u"user_id"_s, u"user-2"_s), own, of(own, u"workspace_id"_s, u"ws-2"_s)})));
    QCOMPARE(controller.periodSums(), QVariantList({QVariant(), qint64{0}, QVariant()}));
}

void ControllerTimesheetsTest::sumsFollowTheQueueAndTheSnapshot() {
    Controller controller;
    const QJsonArray periods{sample::period(u"open"_s, monday, nextMonday)};
    const auto sums = [&](const QJsonArray& entries, const QJsonArray& queue) {
        controller.applyDurable(sample::durable(sample::snapshot(entries, periods), queue));
        return controller.periodSums();
    };
    const QJsonObject hour = sample::entry(u"e1"_s, u"2024-03-04T08:00:00Z"_s, u"2024-03-04T09:00:00Z"_s);
    const QJsonObject half = sample::entry(u"e2"_s, u"2024-03-04T10:00:00Z"_s, u"2024-03-04T10:30:00Z"_s);
    QCOMPARE(sums({hour}, {}), QVariantList{qint64{3600}});
    QCOMPARE(sums({hour, half}, {}), QVariantList{qint64{5400}});
    QCOMPARE(sums({half}, {}), QVariantList{qint64{1800}});
    const QJsonObject longer{{u"stop_at"_s, u"2024-03-04T11:00:00Z"_s}};
    QCOMPARE(sums({half}, {sample::queueItem(u"entry.update"_s, u"e2"_s, longer)}),
             QVariantList{qint64{3600}});
    const QJsonObject deletion = sample::queueItem(u"entry.delete"_s, u"e2"_s, {});
    QCOMPARE(sums({hour, half}, {deletion}), QVariantList{qint64{3600}});
}

void ControllerTimesheetsTest::theWeekCountsWhatRunsAndHowFarItIs() {
    Controller controller;
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QTimeZone zone("Asia/Jerusalem"_ba);
    const QDate today = now.toTimeZone(zone).date();
    const QDate sunday = today.addDays(-(today.dayOfWeek() % 7));
    const QDateTime begin = sunday.startOfDay(zone);
    const QJsonArray entries{
        sample::entry(u"before"_s, text(begin.addSecs(-7200)), text(begin.addSecs(-3600))),
        sample::entry(u"over"_s, text(begin.addSecs(-60)), text(begin.addSecs(60))),
    };
    QJsonObject state = sample::durable(sample::snapshot(entries));
    controller.applyDurable(state);
    QCOMPARE(controller.openWeek().value(u"seconds"_s).toLongLong(), 60);
    QCOMPARE(controller.openWeek().value(u"days_left"_s).toInt(), 6 - today.dayOfWeek() % 7);

    const QDateTime started = std::max(begin, now.addSecs(-1800));
    state.insert(u"timer"_s, sample::entry(u"t1"_s, text(started), QJsonValue()));
    controller.applyDurable(state);
    const qint64 seconds = controller.openWeek().value(u"seconds"_s).toLongLong();
    QVERIFY(seconds >= 60 + started.secsTo(now));
    QVERIFY(seconds <= 60 + started.secsTo(QDateTime::currentDateTimeUtc().addSecs(1)));
}

void ControllerTimesheetsTest::aTimerWhoseStopIsKeptBackCountsOnce() {
    Controller controller;
    const QTimeZone zone("Asia/Jerusalem"_ba);
    const QDate today = QDateTime::currentDateTimeUtc().toTimeZone(zone).date();
    const QDateTime begin = today.addDays(-(today.dayOfWeek() % 7)).startOfDay(zone);
    const QJsonObject running = sample::entry(u"t1"_s, text(begin), QJsonValue());
    QJsonObject state =
        sample::durable(sample::snapshot({running}),
                        {sample::queueItem(u"timer.stop"_s, u"t1"_s,
                                           {{u"stop_at"_s, text(begin.addSecs(60))}}, u"conflict"_s)});
    state.insert(u"timer"_s, running);
    controller.applyDurable(state);
    QVERIFY(!controller.timer().isEmpty());
    QVERIFY(controller.timerListed());
    QCOMPARE(controller.openWeek().value(u"seconds"_s).toLongLong(), 60);
}

void ControllerTimesheetsTest::aTimerInAClosedPeriodIsKnown_data() {
    QTest::addColumn<QString>("status");
    QTest::addColumn<int>("until"); // in seconds from now
    QTest::addColumn<int>("since"); // 0: no timer runs
    QTest::addColumn<bool>("locked");
    QTest::newRow("now") << u"submitted"_s << 3600 << 0 << true;
    QTest::newRow("now, in an open one") << u"open"_s << 3600 << 0 << false;
    QTest::newRow("after it") << u"submitted"_s << -3600 << 0 << false;
    QTest::newRow("running since before its end") << u"approved"_s << -3600 << 7200 << true;
    QTest::newRow("running since after its end") << u"approved"_s << -3600 << 1800 << false;
}

void ControllerTimesheetsTest::aTimerInAClosedPeriodIsKnown() {
    QFETCH(const QString, status);
    QFETCH(const int, until);
    QFETCH(const int, since);
    QFETCH(const bool, locked);
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QJsonObject period = sample::period(status, text(now.addDays(-1)), text(now.addSecs(until)));
    QJsonObject state = sample::durable(sample::snapshot({}, {period}));
    if (since > 0) {
        state.insert(u"timer"_s, sample::entry(u"t1"_s, text(now.addSecs(-since)), QJsonValue()));
    }
    Controller controller;
    controller.applyDurable(state);
    QCOMPARE(controller.timerLocked(), locked);
}

void ControllerTimesheetsTest::nothingIsContinuedInAClosedPeriod() {
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const auto messageIn = [&now](const QString& status) {
        Controller controller;
        controller.applyDurable(sample::durable(
            sample::snapshot({sample::entry(u"e1"_s, u"2024-03-04T08:00:00Z"_s, u"2024-03-04T09:00:00Z"_s)},
                             {sample::period(status, text(now.addDays(-1)), text(now.addDays(1)))})));
        controller.continueEntry(u"e1"_s);
        return controller.message();
    };
    const QString refusal =
        u"This entry is submitted or approved. Reopen its period in the Web workbench first."_s;
    QCOMPARE(messageIn(u"submitted"_s), refusal);
    QVERIFY(messageIn(u"open"_s) != refusal);
}

QTEST_MAIN(ControllerTimesheetsTest)
#include "timesheets.moc"
