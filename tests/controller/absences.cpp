// SPDX-License-Identifier: MIT
#include "tests/support/client.h"
#include "tests/support/desk.h"

#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

using Kind = Absences::Kind;

constexpr qint64 minute = 60'000;

QString text(const QDateTime& time) {
    return time.toUTC().toString(Qt::ISODate);
}

QDateTime ago(int seconds) {
    return QDateTime::currentDateTimeUtc().addSecs(-seconds);
}

QJsonObject running(const QString& id, const QDateTime& start) {
    QJsonObject timer = sample::entry(id, text(start), QJsonValue());
    timer.insert(u"project_id"_s, u"project-1"_s);
    timer.insert(u"billable"_s, true);
    return timer;
}

} // namespace

/// The questions about time that may not have been work, and their answers.
class ControllerAbsencesTest : public QObject {
    Q_OBJECT

    /// With a timer that runs since then.
    void load(const QDateTime& start);
    void serveTimer(const QJsonObject& timer);
    void makeBusy();
    void endBusy();
    [[nodiscard]] QJsonObject payload(qsizetype index) const {
        return mutationAt(*m_desk->controller, index).value(u"payload").toObject();
    }
    [[nodiscard]] QString operation(qsizetype index) const {
        return mutationAt(*m_desk->controller, index).value(u"operation").toString();
    }
    [[nodiscard]] QString asked(const QString& key) const {
        return m_desk->controller->absence().value(key).toString();
    }

    std::unique_ptr<Desk> m_desk;
    QJsonObject m_timer;

private Q_SLOTS:
    void init() { startClean(); }
    void cleanup() { m_desk.reset(); }

    void anAbsenceIsAskedAboutInTheAccountsZone();
    void yesterdayIsNamed();
    void withoutATimerNothingIsAsked();
    void keepingTheTimeAsksNoMore();
    void theTimerStopsAtTheMomentTheRestBegan();
    void itStopsThereAndStartsAnewNow();
    void startingAnewInASubmittedPeriodIsRefused();
    void aStopIsAfterItsStart();
    void aStopIsNeverInTheFuture();
    void withoutAMomentItIsNow();
    void whatIsNoTimeIsRefused();
    void aRefusedAnswerStillAsks();
    void theQuestionWaitsForTheTimersWorkspace();
    void aTimerOfNoWorkspaceIsAskedAbout();
    void anAnswerWaitsForTheEndOfBusy();
    void keepingTakesBackAnAnswerThatWaits();
    void anAnswerForATimerThatIsGoneIsDropped();
    void anOldTimerIsAskedAboutOnce();
    void aStoppedTimerIsNotAskedAbout();
    void anotherAccountIsNotAsked();
};

void ControllerAbsencesTest::load(const QDateTime& start) {
    m_timer = running(u"t1"_s, start);
    m_desk = std::make_unique<Desk>(sample::snapshot({m_timer}));
    serveTimer(m_timer);
    QVERIFY(m_desk->load());
    m_desk->holdPushes();
}

void ControllerAbsencesTest::serveTimer(const QJsonObject& timer) {
    m_desk->peer.answer("GET", u"/v1/me/timer"_s, PeerReply::json({{u"timer"_s, timer}}));
}

void ControllerAbsencesTest::makeBusy() {
    m_desk->peer.answerOnce(
        "GET", u"/v1/sync/snapshot"_s,
        PeerReply::json(sample::snapshot({m_timer})).delivered(PeerReply::Delivery::Hold));
    m_desk->controller->refresh();
    QTRY_COMPARE(m_desk->peer.held(), 1);
}

void ControllerAbsencesTest::endBusy() {
    QSignalSpy ready(m_desk->controller.get(), &Controller::ready);
    m_desk->peer.release();
    QVERIFY(ready.wait());
    QCoreApplication::processEvents();
}

void ControllerAbsencesTest::anAbsenceIsAskedAboutInTheAccountsZone() {
    load(ago(3 * 3600));
    QVERIFY(m_desk->controller->absence().isEmpty());
    QSignalSpy changed(m_desk->controller.get(), &Controller::changed);
    const QDateTime began = ago(12 * 60);
    m_desk->controller->noteAbsence(Kind::Rest, 12 * minute);
    QCOMPARE(changed.size(), 1);
    QCOMPARE(asked(u"kind"_s), u"rest"_s);
    QCOMPARE(asked(u"description"_s), u"Entry t1"_s);
    const QDateTime moment = QDateTime::fromString(asked(u"moment"_s), Qt::ISODate);
    QVERIFY(moment >= began.addSecs(-1) && moment <= began.addSecs(60));
    QVERIFY(asked(u"moment"_s).endsWith(u'Z'));
    // The sample account's.
    const QDateTime there = moment.toTimeZone(QTimeZone("Europe/Berlin"_ba));
    QCOMPARE(asked(u"time"_s), there.toString(u"HH:mm"_s));
    QVERIFY(asked(u"since"_s).endsWith(there.toString(u"HH:mm"_s)));
}

void ControllerAbsencesTest::yesterdayIsNamed() {
    load(ago(60 * 3600));
    m_desk->controller->noteAbsence(Kind::Sleep, 30 * 60 * minute);
    const QDateTime moment = QDateTime::fromString(asked(u"moment"_s), Qt::ISODate);
    const QDateTime there = moment.toTimeZone(QTimeZone("Europe/Berlin"_ba));
    QCOMPARE(asked(u"kind"_s), u"sleep"_s);
    QCOMPARE(asked(u"since"_s), there.toString(u"yyyy-MM-dd HH:mm"_s));
    QCOMPARE(asked(u"until"_s).size(), asked(u"since"_s).size());
    QCOMPARE(asked(u"time"_s), there.toString(u"HH:mm"_s));
}

void ControllerAbsencesTest::withoutATimerNothingIsAsked() {
    m_desk = std::make_unique<Desk>();
    QVERIFY(m_desk->load());
    QSignalSpy changed(m_desk->controller.get(), &Controller::changed);
    m_desk->controller->noteAbsence(Kind::Sleep, 12 * minute);
    m_desk->controller->noteAge();
    m_desk->controller->stopTimerAt(text(ago(60)));
    m_desk->controller->restartTimerFrom(text(ago(60)));
    QCOMPARE(changed.size(), 0);
    QVERIFY(m_desk->controller->absence().isEmpty());
    QCOMPARE(m_desk->controller->pending(), 0);
}

void ControllerAbsencesTest::keepingTheTimeAsksNoMore() {
    load(ago(3 * 3600));
    m_desk->controller->noteAbsence(Kind::Rest, 12 * minute);
    QSignalSpy changed(m_desk->controller.get(), &Controller::changed);
    m_desk->controller->keepTime();
    QCOMPARE(changed.size(), 1);
    QVERIFY(m_desk->controller->absence().isEmpty());
    QCOMPARE(m_desk->controller->pending(), 0);
    QCOMPARE(m_desk->controller->timer().value(u"id"_s).toString(), u"t1"_s);
}

void ControllerAbsencesTest::theTimerStopsAtTheMomentTheRestBegan() {
    load(ago(3 * 3600));
    m_desk->controller->noteAbsence(Kind::Rest, 12 * minute);
    const QString moment = asked(u"moment"_s);
    m_desk->controller->stopTimerAt(moment);
    QCOMPARE(m_desk->controller->pending(), 1);
    QCOMPARE(operation(0), u"timer.stop"_s);
    QCOMPARE(mutationAt(*m_desk->controller, 0).value(u"entity_id").toString(), u"t1"_s);
    QCOMPARE(mutationAt(*m_desk->controller, 0).value(u"base_version").toInt(), 3);
    QCOMPARE(payload(0), QJsonObject({{u"stop_at"_s, moment}}));
    QVERIFY(m_desk->controller->timer().isEmpty());
    QVERIFY(m_desk->controller->absence().isEmpty());
}

void ControllerAbsencesTest::itStopsThereAndStartsAnewNow() {
    load(ago(3 * 3600));
    m_desk->controller->noteAbsence(Kind::Sleep, 12 * minute);
    const QString moment = asked(u"moment"_s);
    const QDateTime before = ago(1);
    m_desk->controller->restartTimerFrom(moment);
    QCOMPARE(m_desk->controller->pending(), 2);
    QCOMPARE(operation(0), u"timer.stop"_s);
    QCOMPARE(payload(0), QJsonObject({{u"stop_at"_s, moment}}));
    QCOMPARE(operation(1), u"timer.start"_s);
    const QDateTime started = QDateTime::fromString(payload(1).value(u"start_at").toString(), Qt::ISODate);
    QVERIFY(started >= before && started <= ago(-1));
    QCOMPARE(payload(1).value(u"description").toString(), u"Entry t1"_s);
    QCOMPARE(payload(1).value(u"project_id").toString(), u"project-1"_s);
    QCOMPARE(payload(1).value(u"billable"), QJsonValue(true));
    QVERIFY(mutationAt(*m_desk->controller, 1).value(u"entity_id") != u"t1"_s);
    QVERIFY(m_desk->controller->absence().isEmpty());
}

void ControllerAbsencesTest::startingAnewInASubmittedPeriodIsRefused() {
    load(ago(3 * 3600));
    QJsonObject state = m_desk->controller->durableState();
    const QJsonObject week = sample::period(u"submitted"_s, text(ago(86'400)), text(ago(-86'400)));
    state.insert(u"snapshot", sample::snapshot({m_timer}, {week}));
    m_desk->controller->applyDurable(state);
    m_desk->controller->noteAbsence(Kind::Sleep, 12 * minute);
    m_desk->controller->restartTimerFrom(asked(u"moment"_s));
    QCOMPARE(m_desk->controller->pending(), 0);
    QCOMPARE(m_desk->controller->message(),
             u"This entry is submitted or approved. Reopen its period in the Web workbench first."_s);
    QVERIFY(!m_desk->controller->absence().isEmpty());
}

void ControllerAbsencesTest::aStopIsAfterItsStart() {
    const QDateTime start = ago(5 * 60);
    load(start);
    m_desk->controller->noteAbsence(Kind::Rest, 12 * minute);
    QCOMPARE(asked(u"moment"_s), text(start));
    m_desk->controller->stopTimerAt(text(start.addSecs(-3600)));
    QCOMPARE(payload(0).value(u"stop_at").toString(), text(start.addSecs(1)));
}

void ControllerAbsencesTest::aStopIsNeverInTheFuture() {
    load(ago(3600));
    m_desk->controller->stopTimerAt(text(ago(-3600)));
    const QDateTime stopped = QDateTime::fromString(payload(0).value(u"stop_at").toString(), Qt::ISODate);
    QVERIFY(stopped <= QDateTime::currentDateTimeUtc());
    QVERIFY(stopped > ago(60));
}

void ControllerAbsencesTest::withoutAMomentItIsNow() {
    load(ago(3600));
    m_desk->controller->restartTimerFrom(QString());
    QCOMPARE(m_desk->controller->pending(), 2);
    QVERIFY(QDateTime::fromString(payload(0).value(u"stop_at").toString(), Qt::ISODate) > ago(60));
}

void ControllerAbsencesTest::whatIsNoTimeIsRefused() {
    load(ago(3600));
    m_desk->controller->stopTimerAt(u"soon"_s);
    QCOMPARE(m_desk->controller->message(),
             u"Enter valid ISO timestamps with an explicit offset; end must be after start."_s);
    QCOMPARE(m_desk->controller->pending(), 0);
}

void ControllerAbsencesTest::aRefusedAnswerStillAsks() {
    m_desk = std::make_unique<Desk>();
    QJsonObject timer = running(u"t1"_s, ago(3600));
    timer.insert(u"project_id"_s, u"gone"_s);
    serveTimer(timer);
    QVERIFY(m_desk->load());
    m_desk->controller->noteAbsence(Kind::Rest, 12 * minute);
    m_desk->controller->restartTimerFrom(asked(u"moment"_s));
    QCOMPARE(m_desk->controller->message(),
             u"This entry's project can no longer be booked; start with another project instead."_s);
    QCOMPARE(m_desk->controller->pending(), 0);
    QCOMPARE(asked(u"kind"_s), u"rest"_s);
}

void ControllerAbsencesTest::theQuestionWaitsForTheTimersWorkspace() {
    m_desk = std::make_unique<Desk>();
    QJsonObject timer = running(u"t1"_s, ago(3600));
    timer.insert(u"workspace_id"_s, u"ws-2"_s);
    serveTimer(timer);
    QVERIFY(m_desk->load());
    m_desk->controller->noteAbsence(Kind::Rest, 12 * minute);
    QVERIFY(m_desk->controller->absence().isEmpty());
    QJsonObject state = m_desk->controller->durableState();
    state.insert(u"workspace", u"ws-2"_s);
    m_desk->controller->applyDurable(state);
    QCOMPARE(asked(u"kind"_s), u"rest"_s);
}

void ControllerAbsencesTest::aTimerOfNoWorkspaceIsAskedAbout() {
    m_desk = std::make_unique<Desk>();
    QJsonObject timer = running(u"t1"_s, ago(3600));
    timer.remove(u"workspace_id"_s);
    serveTimer(timer);
    QVERIFY(m_desk->load());
    m_desk->controller->noteAbsence(Kind::Rest, 12 * minute);
    QCOMPARE(asked(u"kind"_s), u"rest"_s);
}

void ControllerAbsencesTest::anAnswerWaitsForTheEndOfBusy() {
    load(ago(3 * 3600));
    m_desk->controller->noteAbsence(Kind::Rest, 12 * minute);
    const QString moment = asked(u"moment"_s);
    makeBusy();
    m_desk->controller->restartTimerFrom(moment);
    QCOMPARE(m_desk->controller->pending(), 0);
    QCOMPARE(m_desk->controller->message(),
             u"The server is being asked; the timer follows as soon as that has ended."_s);
    endBusy();
    QCOMPARE(m_desk->controller->pending(), 2);
    QCOMPARE(payload(0).value(u"stop_at").toString(), moment);
    QCOMPARE(operation(1), u"timer.start"_s);
}

void ControllerAbsencesTest::keepingTakesBackAnAnswerThatWaits() {
    load(ago(3 * 3600));
    m_desk->controller->noteAbsence(Kind::Rest, 12 * minute);
    makeBusy();
    m_desk->controller->stopTimerAt(asked(u"moment"_s));
    m_desk->controller->keepTime();
    endBusy();
    QCOMPARE(m_desk->controller->pending(), 0);
    QCOMPARE(m_desk->controller->timer().value(u"id"_s).toString(), u"t1"_s);
}

void ControllerAbsencesTest::anAnswerForATimerThatIsGoneIsDropped() {
    load(ago(3 * 3600));
    m_desk->controller->noteAbsence(Kind::Rest, 12 * minute);
    makeBusy();
    m_desk->controller->restartTimerFrom(asked(u"moment"_s));
    serveTimer(running(u"t2"_s, ago(60)));
    endBusy();
    QCOMPARE(m_desk->controller->pending(), 0);
    QCOMPARE(m_desk->controller->timer().value(u"id"_s).toString(), u"t2"_s);
    QVERIFY(m_desk->controller->absence().isEmpty());
}

void ControllerAbsencesTest::anOldTimerIsAskedAboutOnce() {
    const QDateTime start = ago(11 * 3600);
    load(start);
    m_desk->controller->noteAge();
    QCOMPARE(asked(u"kind"_s), u"age"_s);
    QCOMPARE(asked(u"moment"_s), QString());
    QCOMPARE(asked(u"time"_s), start.toTimeZone(QTimeZone("Europe/Berlin"_ba)).toString(u"HH:mm"_s));
    m_desk->controller->keepTime();
    m_desk->controller->noteAge();
    QVERIFY(m_desk->controller->absence().isEmpty());
}

void ControllerAbsencesTest::aStoppedTimerIsNotAskedAbout() {
    load(ago(3600));
    m_desk->controller->noteAbsence(Kind::Rest, 12 * minute);
    m_desk->controller->stopTimer();
    QVERIFY(m_desk->controller->absence().isEmpty());
}

void ControllerAbsencesTest::anotherAccountIsNotAsked() {
    load(ago(3600));
    m_desk->controller->noteAbsence(Kind::Rest, 12 * minute);
    QVERIFY(!m_desk->controller->absence().isEmpty());
    Desk other;
    QVERIFY(connectAndLoad(*m_desk->controller, other.peer.url()));
    QVERIFY(m_desk->controller->absence().isEmpty());
}

QTEST_MAIN(ControllerAbsencesTest)
#include "absences.moc"
