// SPDX-License-Identifier: MIT
#include "tests/support/client.h"
#include "tests/support/desk.h"

#include <QDateTime>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

QString text(const QDateTime& time) {
    return time.toUTC().toString(Qt::ISODate);
}

QJsonObject running(const QString& startAt) {
    return sample::entry(u"t1"_s, startAt, QJsonValue());
}

} // namespace

/// Times that the server could not take, and what is said about them beforehand.
class EntryTimesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // A zone far from UTC, so that local and universal time cannot be mixed up.
    void initTestCase() { qputenv("TZ", "Asia/Jerusalem"); }
    void init() { startClean(); }

    void yearsThatDoNotFitAreRefused_data();
    void yearsThatDoNotFitAreRefused();
    void aStopIsAfterItsStart_data();
    void aStopIsAfterItsStart();
    void manualTimesAreNoticed_data();
    void manualTimesAreNoticed();
    void onlyOwnClosedPeriodsAreNoticed();
};

void EntryTimesTest::yearsThatDoNotFitAreRefused_data() {
    QTest::addColumn<QString>("from");
    QTest::addColumn<QString>("to");
    QTest::addColumn<bool>("fits");
    const QString last = u"9999-12-31T23:59:59Z"_s;
    QTest::newRow("the last second") << u"9999-12-31T23:59:58Z"_s << last << true;
    QTest::newRow("the first seconds") << u"0001-01-01T00:00:00Z"_s << u"0001-01-01T00:00:01Z"_s << true;
    QTest::newRow("in 10000 by its offset")
        << u"9999-12-31T23:00:00-02:00"_s << u"9999-12-31T23:30:00-02:00"_s << false;
    QTest::newRow("ends in 10000 by its offset")
        << u"9999-12-31T21:00:00Z"_s << u"9999-12-31T23:30:00-02:00"_s << false;
    QTest::newRow("before year 1 by its offset")
        << u"0001-01-01T01:00:00+02:00"_s << u"0001-01-01T03:00:00+02:00"_s << false;
    QTest::newRow("year 0") << u"0000-06-01T00:00:00Z"_s << u"0000-06-01T01:00:00Z"_s << false;
    QTest::newRow("a year below 0") << u"-0001-06-01T00:00:00Z"_s << u"-0001-06-01T01:00:00Z"_s << false;
}

void EntryTimesTest::yearsThatDoNotFitAreRefused() {
    QFETCH(const QString, from);
    QFETCH(const QString, to);
    QFETCH(const bool, fits);
    Desk desk;
    QVERIFY(desk.load());
    desk.holdPushes();
    desk.controller->addManual({}, {}, from, to, false);
    QCOMPARE(desk.controller->pending(), fits ? 1 : 0);
    if (fits) {
        const QJsonObject payload = mutationAt(*desk.controller, 0).value(u"payload").toObject();
        QCOMPARE(payload.value(u"start_at").toString(), from);
        QCOMPARE(payload.value(u"stop_at").toString(), to);
    } else {
        QCOMPARE(desk.controller->message(),
                 u"Enter valid ISO timestamps with an explicit offset; end must be after start."_s);
    }
}

void EntryTimesTest::aStopIsAfterItsStart_data() {
    QTest::addColumn<QString>("startAt");
    QTest::addColumn<QString>("stopAt");
    const QDateTime later = QDateTime::currentDateTimeUtc().addDays(1);
    QTest::newRow("the clock was set back") << text(later) << text(later.addSecs(1));
    QTest::newRow("with a fraction of a second")
        << later.toString(u"yyyy-MM-ddThh:mm:ss.900"_s) + u'Z' << text(later.addSecs(1));
    QTest::newRow("with an offset") << u"2999-01-01T02:00:00+02:00"_s << u"2999-01-01T00:00:01Z"_s;
}

void EntryTimesTest::aStopIsAfterItsStart() {
    QFETCH(const QString, startAt);
    QFETCH(const QString, stopAt);
    Desk desk;
    desk.peer.answer("GET", u"/v1/me/timer"_s, PeerReply::json({{u"timer"_s, running(startAt)}}));
    QVERIFY(desk.load());
    desk.holdPushes();
    desk.controller->stop();
    QCOMPARE(mutationAt(*desk.controller, 0).value(u"payload").toObject().value(u"stop_at").toString(),
             stopAt);
}

void EntryTimesTest::manualTimesAreNoticed_data() {
    QTest::addColumn<QString>("from");
    QTest::addColumn<QString>("to");
    QTest::addColumn<QString>("notice");
    const QDateTime now = QDateTime::currentDateTimeUtc();
    QTest::newRow("equal in two offsets")
        << u"2024-02-01T08:00:00Z"_s << u"2024-02-01T09:00:00+01:00"_s << u"order"_s;
    QTest::newRow("fine in two offsets")
        << u"2024-02-01T08:00:00Z"_s << u"2024-02-01T09:30:00+01:00"_s << QString();
    QTest::newRow("nothing typed") << QString() << QString() << QString();
    QTest::newRow("half typed") << u"2024-02-01T08:00:00Z"_s << u"2024-02-0"_s << QString();
    QTest::newRow("equal") << u"2024-02-01T08:00:00Z"_s << u"2024-02-01T08:00:00.9Z"_s << u"order"_s;
    QTest::newRow("no offset") << u"2024-02-01T08:00:00"_s << u"2024-02-01T09:00:00Z"_s << u"offset"_s;
    QTest::newRow("no offset at the end")
        << u"2024-02-01T08:00:00Z"_s << u"2024-02-01T21:00:00"_s << u"offset"_s;
    QTest::newRow("order before offset")
        << u"2024-02-01T09:00:00"_s << u"2024-02-01T08:00:00"_s << u"order"_s;
    QTest::newRow("period before offset")
        << u"2024-03-02T08:00:00"_s << u"2024-03-02T09:00:00Z"_s << u"period"_s;
    QTest::newRow("offset before future")
        << now.addDays(1).toString(u"yyyy-MM-ddThh:mm:ss"_s) << text(now.addDays(3)) << u"offset"_s;
    QTest::newRow("a start alone without an offset") << u"2024-03-02T08:00:00"_s << QString() << u"offset"_s;
    QTest::newRow("an end alone without an offset") << u"soon"_s << u"2024-03-02T08:00:00"_s << u"offset"_s;
    QTest::newRow("a start alone in the future") << text(now.addDays(1)) << QString() << u"future"_s;
    QTest::newRow("an end alone in the future") << QString() << text(now.addDays(1)) << u"future"_s;
    QTest::newRow("a start alone in a period") << u"2024-03-02T08:00:00Z"_s << QString() << QString();
    QTest::newRow("into a period") << u"2024-02-29T23:00:00Z"_s << u"2024-03-01T00:00:01Z"_s << u"period"_s;
    QTest::newRow("up to a period") << u"2024-02-29T23:00:00Z"_s << u"2024-03-01T00:00:00Z"_s << QString();
    QTest::newRow("behind a period") << u"2024-03-08T00:00:00Z"_s << u"2024-03-08T01:00:00Z"_s << QString();
    QTest::newRow("by the offset in a period")
        << u"2024-03-08T00:30:00+02:00"_s << u"2024-03-08T01:00:00+02:00"_s << u"period"_s;
    QTest::newRow("in an open period") << u"2024-04-02T08:00:00Z"_s << u"2024-04-02T09:00:00Z"_s << QString();
    QTest::newRow("ends in the future") << text(now.addDays(-1)) << text(now.addDays(1)) << u"future"_s;
    QTest::newRow("starts in the future") << text(now.addDays(1)) << text(now.addDays(2)) << u"future"_s;
    QTest::newRow("period before future") << u"2024-03-02T08:00:00Z"_s << text(now.addDays(1)) << u"period"_s;
}

void EntryTimesTest::manualTimesAreNoticed() {
    QFETCH(const QString, from);
    QFETCH(const QString, to);
    QFETCH(const QString, notice);
    Controller controller;
    const QJsonArray periods{
        sample::period(u"submitted"_s, u"2024-03-01T00:00:00Z"_s, u"2024-03-08T00:00:00Z"_s),
        sample::period(u"open"_s, u"2024-04-01T00:00:00Z"_s, u"2024-04-08T00:00:00Z"_s)};
    controller.applyDurable(sample::durable(sample::snapshot({}, periods)));
    QCOMPARE(controller.manualNotice(from, to), notice);
}

void EntryTimesTest::onlyOwnClosedPeriodsAreNoticed() {
    Controller controller;
    const QJsonObject own =
        sample::period(u"approved"_s, u"2024-03-01T00:00:00Z"_s, u"2024-03-08T00:00:00Z"_s);
    const auto notice = [&controller](const QJsonObject& period) {
        controller.applyDurable(sample::durable(sample::snapshot({}, {period})));
        return controller.manualNotice(u"2024-03-02T08:00:00Z"_s, u"2024-03-02T09:00:00Z"_s);
    };
    QCOMPARE(notice(own), u"period"_s);
    for (const QString& key : {u"workspace_id"_s, u"user_id"_s}) {
        QJsonObject other = own;
        other.insert(key, u"another"_s);
        QCOMPARE(notice(other), QString());
    }
}

QTEST_MAIN(EntryTimesTest)
#include "entrytimes.moc"
