// SPDX-License-Identifier: MIT
#include "tests/support/client.h"
#include "tests/support/desk.h"

#include <QDateTime>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>
#include <QUuid>

using namespace Qt::StringLiterals;

namespace {

const QString invalidTimes =
    u"Enter valid ISO timestamps with an explicit offset; end must be after start."_s;
const QString start = u"2024-03-01T08:00:00Z"_s;
const QString stop = u"2024-03-01T09:00:00Z"_s;

QJsonObject payloadAt(const Controller& controller, qsizetype index) {
    return mutationAt(controller, index).value(u"payload").toObject();
}

bool isUuid(const QString& text) {
    return text.size() == 36 && QUuid::fromString(text).toString(QUuid::WithoutBraces) == text;
}

bool isWholeSecondUtc(const QString& text) {
    static const QRegularExpression form(u"^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\dZ$"_s);
    return form.match(text).hasMatch();
}

QJsonObject locked() {
    return sample::period(u"approved"_s, u"2024-03-01T00:00:00Z"_s, u"2024-03-08T00:00:00Z"_s);
}

} // namespace

/// What a person does with the timer and with entries becomes one mutation each.
class EntriesTest : public QObject {
    Q_OBJECT

    /// Loads this snapshot; what is queued from now on stays queued.
    void load(const QJsonObject& snapshot = sample::snapshot());
    void makeBusy();

    std::unique_ptr<Desk> m_desk;
    Controller* m_controller = nullptr;

private Q_SLOTS:
    // A zone far from UTC, so that local and universal time cannot be mixed up.
    void initTestCase() { qputenv("TZ", "Asia/Jerusalem"); }
    void init();
    void cleanup() { m_desk.reset(); }

    void startQueuesARunningEntry();
    void startWithoutProjectQueuesNull();
    void startKeepsTheDescriptionAsItIs();
    void startWhileATimerRunsDoesNothing();
    void startWhileBusyDoesNothing();
    void everyStartHasANewEntity();
    void stopQueuesTheEndOfTheRunningTimer();
    void stopWithoutTimerDoesNothing();
    void stopWhileBusyDoesNothing();
    void stopInAnotherWorkspaceIsRefused();
    void stopOfATimerWithoutVersionIsBasedOnZero();

    void manualEntryQueuesAClosedEntry();
    void manualTimesBecomeUtc_data();
    void manualTimesBecomeUtc();
    void impossibleTimesAreRefused_data();
    void impossibleTimesAreRefused();
    void equalManualEntriesAreTwo();
    void manualEntryWithoutProjectQueuesNull();

    void editQueuesTheDescriptionOnly();
    void editOfAnUnknownEntryIsRefused_data();
    void editOfAnUnknownEntryIsRefused();
    void editOfALockedEntryIsRefused();
    void editWithoutVersionIsBasedOnZero();
    void editWhileBusyDoesNothing();
    void editFindsHiddenEntriesToo();

    void elapsedCountsFromTheStart_data();
    void elapsedCountsFromTheStart();
    void secondsAsText_data();
    void secondsAsText();
    void anEmptyWorkspaceListsNothing();
};

void EntriesTest::init() {
    startClean();
}

void EntriesTest::load(const QJsonObject& snapshot) {
    m_desk = std::make_unique<Desk>(snapshot);
    m_controller = m_desk->controller.get();
    QVERIFY(m_desk->load());
    m_desk->holdPushes();
}

void EntriesTest::makeBusy() {
    m_desk->peer.answer("GET", u"/v1/sync/snapshot"_s, PeerReply::only(PeerReply::Delivery::Never));
    m_controller->refresh();
    QVERIFY(m_controller->busy());
}

void EntriesTest::startQueuesARunningEntry() {
    load();
    const QDateTime before = QDateTime::currentDateTimeUtc();
    m_controller->start(u"Weeding"_s, u"project-1"_s, true);
    const QJsonObject mutation = mutationAt(*m_controller, 0);
    QCOMPARE(mutation.value(u"operation").toString(), u"timer.start"_s);
    QCOMPARE(mutation.value(u"base_version").toInt(-1), 0);
    QVERIFY(isUuid(mutation.value(u"entity_id").toString()));
    const QString startAt = mutation.value(u"payload").toObject().value(u"start_at").toString();
    QVERIFY(isWholeSecondUtc(startAt));
    const QDateTime started = QDateTime::fromString(startAt, Qt::ISODate);
    QVERIFY(started >= before.addSecs(-1) && started <= QDateTime::currentDateTimeUtc());
    QCOMPARE(mutation.value(u"payload").toObject(), QJsonObject({{u"description"_s, u"Weeding"_s},
                                                                 {u"project_id"_s, u"project-1"_s},
                                                                 {u"tag_ids"_s, QJsonArray()},
                                                                 {u"billable"_s, true},
                                                                 {u"start_at"_s, startAt}}));
    QCOMPARE(m_controller->timer().value(u"id"_s).toString(), mutation.value(u"entity_id").toString());
    QVERIFY(m_controller->entries().isEmpty());
}

void EntriesTest::startWithoutProjectQueuesNull() {
    load();
    m_controller->start(QString(), QString(), false);
    QVERIFY(payloadAt(*m_controller, 0).contains(u"project_id"));
    QVERIFY(payloadAt(*m_controller, 0).value(u"project_id").isNull());
    QVERIFY(payloadAt(*m_controller, 0).value(u"billable").isBool());
}

void EntriesTest::startKeepsTheDescriptionAsItIs() {
    load();
    m_controller->start(u"  שלום \n"_s, QString(), false);
    QCOMPARE(payloadAt(*m_controller, 0).value(u"description").toString(), u"  שלום \n"_s);
    m_controller->stop();
    m_controller->start(QString(), QString(), false);
    QCOMPARE(payloadAt(*m_controller, 2).value(u"description"), QJsonValue(QString()));
}

void EntriesTest::startWhileATimerRunsDoesNothing() {
    load();
    m_controller->start(u"First"_s, QString(), false);
    const QString before = m_controller->message();
    QSignalSpy changed(m_controller, &Controller::changed);
    m_controller->start(u"Second"_s, QString(), false);
    QCOMPARE(m_controller->pending(), 1);
    QCOMPARE(m_controller->message(), before);
    QCOMPARE(changed.size(), 0);
}

void EntriesTest::startWhileBusyDoesNothing() {
    load();
    makeBusy();
    QSignalSpy changed(m_controller, &Controller::changed);
    m_controller->start(u"Early"_s, QString(), false);
    QCOMPARE(m_controller->pending(), 0);
    QCOMPARE(changed.size(), 0);
}

void EntriesTest::everyStartHasANewEntity() {
    load();
    QSet<QString> entities;
    for (int i = 0; i < 4; ++i) {
        m_controller->start(u"Same"_s, QString(), false);
        entities.insert(m_controller->timer().value(u"id"_s).toString());
        m_controller->stop();
    }
    QCOMPARE(m_controller->pending(), 8);
    QCOMPARE(entities.size(), 4);
    for (const QString& entity : entities) {
        QCOMPARE(QUuid::fromString(entity).version(), QUuid::Random);
    }
}

void EntriesTest::stopQueuesTheEndOfTheRunningTimer() {
    load(sample::snapshot({sample::entry(u"e1"_s, start, stop)}));
    QJsonObject state = m_controller->durableState();
    state.insert(u"timer", sample::entry(u"t1"_s, start, QJsonValue()));
    m_controller->applyDurable(state);
    m_controller->stop();
    const QJsonObject mutation = mutationAt(*m_controller, 0);
    QCOMPARE(mutation.value(u"operation").toString(), u"timer.stop"_s);
    QCOMPARE(mutation.value(u"entity_id").toString(), u"t1"_s);
    QCOMPARE(mutation.value(u"base_version").toInt(), 3);
    const QJsonObject payload = mutation.value(u"payload").toObject();
    QCOMPARE(payload.keys(), QStringList{u"stop_at"_s});
    QVERIFY(isWholeSecondUtc(payload.value(u"stop_at").toString()));
}

void EntriesTest::stopWithoutTimerDoesNothing() {
    load();
    const QString before = m_controller->message();
    QSignalSpy changed(m_controller, &Controller::changed);
    m_controller->stop();
    QCOMPARE(m_controller->pending(), 0);
    QCOMPARE(m_controller->message(), before);
    QCOMPARE(changed.size(), 0);
}

void EntriesTest::stopWhileBusyDoesNothing() {
    load();
    m_controller->start(QString(), QString(), false);
    makeBusy();
    QSignalSpy changed(m_controller, &Controller::changed);
    m_controller->stop();
    QCOMPARE(m_controller->pending(), 1);
    QCOMPARE(changed.size(), 0);
}

void EntriesTest::stopInAnotherWorkspaceIsRefused() {
    load();
    for (const QString& workspace : {u"ws-2"_s, u"WS-1"_s, QString()}) {
        QJsonObject timer = sample::entry(u"t1"_s, start, QJsonValue());
        timer.insert(u"workspace_id", workspace);
        QJsonObject state = m_controller->durableState();
        state.insert(u"timer", timer);
        m_controller->applyDurable(state);
        m_controller->fail(QString());
        m_controller->stop();
        QCOMPARE(m_controller->message(),
                 u"Select the running timer's workspace before stopping it in this native preview."_s);
        QVERIFY(!m_controller->busy());
        QCOMPARE(m_controller->durableState(), state);
    }
}

void EntriesTest::stopOfATimerWithoutVersionIsBasedOnZero() {
    load();
    QJsonObject timer = sample::entry(u"t1"_s, start, QJsonValue());
    timer.remove(u"version");
    QJsonObject state = m_controller->durableState();
    state.insert(u"timer", timer);
    m_controller->applyDurable(state);
    m_controller->stop();
    QCOMPARE(mutationAt(*m_controller, 0).value(u"base_version"), QJsonValue(0));
}

void EntriesTest::manualEntryQueuesAClosedEntry() {
    load();
    m_controller->addManual(u" Pruning "_s, u"project-1"_s, start, stop, true);
    const QJsonObject mutation = mutationAt(*m_controller, 0);
    QCOMPARE(mutation.value(u"operation").toString(), u"entry.create"_s);
    QCOMPARE(mutation.value(u"base_version"), QJsonValue(0));
    QVERIFY(isUuid(mutation.value(u"entity_id").toString()));
    QCOMPARE(mutation.value(u"payload").toObject(), QJsonObject({{u"description"_s, u" Pruning "_s},
                                                                 {u"project_id"_s, u"project-1"_s},
                                                                 {u"tag_ids"_s, QJsonArray()},
                                                                 {u"billable"_s, true},
                                                                 {u"start_at"_s, start},
                                                                 {u"stop_at"_s, stop}}));
    QCOMPARE(m_controller->entries().first().toMap().value(u"duration_text"_s).toString(), u"01:00:00"_s);
}

void EntriesTest::manualTimesBecomeUtc_data() {
    QTest::addColumn<QString>("from");
    QTest::addColumn<QString>("to");
    QTest::addColumn<QString>("startAt");
    QTest::addColumn<QString>("stopAt");
    const auto row = [](const char* name, const char* from, const char* to, const char* startAt,
                        const char* stopAt) {
        QTest::newRow(name) << QString::fromLatin1(from) << QString::fromLatin1(to)
                            << QString::fromLatin1(startAt) << QString::fromLatin1(stopAt);
    };
    row("offset of two hours", "2024-03-01T10:00:00+02:00", "2024-03-01T11:30:00+02:00",
        "2024-03-01T08:00:00Z", "2024-03-01T09:30:00Z");
    row("two offsets", "2024-03-01T10:00:00+02:00", "2024-03-01T03:30:00-05:00", "2024-03-01T08:00:00Z",
        "2024-03-01T08:30:00Z");
    row("over midnight", "2024-02-29T23:30:00-01:00", "2024-03-01T01:30:00Z", "2024-03-01T00:30:00Z",
        "2024-03-01T01:30:00Z");
    row("fractions are dropped", "2024-03-01T08:00:00.900Z", "2024-03-01T08:00:02.100Z",
        "2024-03-01T08:00:00Z", "2024-03-01T08:00:02Z");
    row("no offset is local time", "2024-01-15T10:00:00", "2024-01-15T11:00:00", "2024-01-15T08:00:00Z",
        "2024-01-15T09:00:00Z");
    row("no offset in summer", "2024-07-15T10:00:00", "2024-07-15T11:00:00", "2024-07-15T07:00:00Z",
        "2024-07-15T08:00:00Z");
}

void EntriesTest::manualTimesBecomeUtc() {
    QFETCH(const QString, from);
    QFETCH(const QString, to);
    QFETCH(const QString, startAt);
    QFETCH(const QString, stopAt);
    load();
    m_controller->addManual(u"x"_s, QString(), from, to, false);
    QCOMPARE(payloadAt(*m_controller, 0).value(u"start_at").toString(), startAt);
    QCOMPARE(payloadAt(*m_controller, 0).value(u"stop_at").toString(), stopAt);
}

void EntriesTest::impossibleTimesAreRefused_data() {
    QTest::addColumn<QString>("from");
    QTest::addColumn<QString>("to");
    QTest::newRow("same") << start << start;
    QTest::newRow("half a second") << start << u"2024-03-01T08:00:00.500Z"_s;
    QTest::newRow("end first") << stop << start;
    QTest::newRow("same instant in two offsets") << start << u"2024-03-01T10:00:00+02:00"_s;
    QTest::newRow("no start") << QString() << stop;
    QTest::newRow("no end") << start << QString();
    QTest::newRow("no date") << u"yesterday"_s << stop;
    QTest::newRow("no such day") << u"2024-02-30T08:00:00Z"_s << stop;
    QTest::newRow("another format") << u"01/03/2024 08:00"_s << stop;
}

void EntriesTest::impossibleTimesAreRefused() {
    QFETCH(const QString, from);
    QFETCH(const QString, to);
    load();
    const QJsonObject state = m_controller->durableState();
    makeBusy();
    m_controller->addManual(u"x"_s, QString(), from, to, false);
    QCOMPARE(m_controller->message(), invalidTimes);
    QVERIFY(!m_controller->busy());
    QCOMPARE(m_controller->durableState(), state);
    QVERIFY(m_controller->entries().isEmpty());
}

void EntriesTest::equalManualEntriesAreTwo() {
    load();
    m_controller->addManual(u"x"_s, QString(), start, stop, false);
    m_controller->addManual(u"x"_s, QString(), start, stop, false);
    QCOMPARE(m_controller->entries().size(), 2);
    QVERIFY(mutationAt(*m_controller, 0).value(u"entity_id") !=
            mutationAt(*m_controller, 1).value(u"entity_id"));
}

void EntriesTest::manualEntryWithoutProjectQueuesNull() {
    load();
    m_controller->addManual(u"x"_s, QString(), start, stop, false);
    QVERIFY(payloadAt(*m_controller, 0).contains(u"project_id"));
    QVERIFY(payloadAt(*m_controller, 0).value(u"project_id").isNull());
}

void EntriesTest::editQueuesTheDescriptionOnly() {
    load(sample::snapshot({sample::entry(u"e1"_s, start, stop)}));
    m_controller->editDescription(u"e1"_s, u" New "_s);
    const QJsonObject mutation = mutationAt(*m_controller, 0);
    QCOMPARE(mutation.value(u"operation").toString(), u"entry.update"_s);
    QCOMPARE(mutation.value(u"entity_id").toString(), u"e1"_s);
    QCOMPARE(mutation.value(u"base_version"), QJsonValue(3));
    QCOMPARE(mutation.value(u"payload").toObject(), QJsonObject({{u"description"_s, u" New "_s}}));
    // Work that is still pending may be edited once more.
    m_controller->editDescription(u"e1"_s, u"Newer"_s);
    QCOMPARE(mutationAt(*m_controller, 1).value(u"base_version"), QJsonValue(4));
}

void EntriesTest::editOfAnUnknownEntryIsRefused_data() {
    QTest::addColumn<bool>("empty");
    QTest::addColumn<QString>("id");
    QTest::newRow("empty workspace") << true << u"e1"_s;
    QTest::newRow("unknown") << false << u"e2"_s;
    QTest::newRow("other letter case") << false << u"E1"_s;
}

void EntriesTest::editOfAnUnknownEntryIsRefused() {
    QFETCH(const bool, empty);
    QFETCH(const QString, id);
    load(empty ? sample::snapshot() : sample::snapshot({sample::entry(u"e1"_s, start, stop)}));
    m_controller->editDescription(id, u"New"_s);
    QCOMPARE(m_controller->message(), u"Entry not found in this workspace"_s);
    QVERIFY(!m_controller->busy());
    QCOMPARE(m_controller->pending(), 0);
}

void EntriesTest::editOfALockedEntryIsRefused() {
    load(sample::snapshot({sample::entry(u"e1"_s, start, stop)}, {locked()}));
    m_controller->editDescription(u"e1"_s, u"New"_s);
    QCOMPARE(m_controller->message(),
             u"This entry is submitted or approved. Reopen its period in the Web workbench first."_s);
    QVERIFY(!m_controller->busy());
    QCOMPARE(m_controller->pending(), 0);
}

void EntriesTest::editWithoutVersionIsBasedOnZero() {
    QJsonObject entry = sample::entry(u"e1"_s, start, stop);
    entry.remove(u"version");
    load(sample::snapshot({entry}));
    m_controller->editDescription(u"e1"_s, u"New"_s);
    QCOMPARE(mutationAt(*m_controller, 0).value(u"base_version"), QJsonValue(0));
}

void EntriesTest::editWhileBusyDoesNothing() {
    load(sample::snapshot({sample::entry(u"e1"_s, start, stop)}));
    makeBusy();
    QSignalSpy changed(m_controller, &Controller::changed);
    m_controller->editDescription(u"e1"_s, u"New"_s);
    QCOMPARE(m_controller->pending(), 0);
    QCOMPARE(changed.size(), 0);
}

void EntriesTest::editFindsHiddenEntriesToo() {
    QJsonObject deleted = sample::entry(u"gone"_s, start, stop);
    deleted.insert(u"deleted_at", stop);
    load(sample::snapshot({sample::entry(u"running"_s, start, QJsonValue()), deleted}));
    QVERIFY(m_controller->entries().isEmpty());
    m_controller->editDescription(u"running"_s, u"New"_s);
    m_controller->editDescription(u"gone"_s, u"New"_s);
    QCOMPARE(m_controller->pending(), 2);
}

void EntriesTest::elapsedCountsFromTheStart_data() {
    QTest::addColumn<QJsonValue>("startAt");
    QTest::addColumn<QString>("least");
    QTest::addColumn<QString>("most");
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QString none = u"00:00:00"_s;
    QTest::newRow("about an hour") << QJsonValue(now.addSecs(-3725).toString(Qt::ISODate)) << u"01:02:05"_s
                                   << u"01:59:59"_s;
    QTest::newRow("milliseconds") << QJsonValue(now.addSecs(-3725).toString(Qt::ISODateWithMs))
                                  << u"01:02:05"_s << u"01:59:59"_s;
    QTest::newRow("local time") << QJsonValue(
                                       now.addSecs(-3725).toLocalTime().toString(u"yyyy-MM-ddTHH:mm:ss"_s))
                                << u"01:02:05"_s << u"01:59:59"_s;
    QTest::newRow("over a hundred hours")
        << QJsonValue(now.addSecs(-360000).toString(Qt::ISODate)) << u"100:00:00"_s << u"100:59:59"_s;
    QTest::newRow("in the future") << QJsonValue(now.addSecs(3600).toString(Qt::ISODate)) << none << none;
    QTest::newRow("not a time") << QJsonValue(u"soon"_s) << none << none;
    QTest::newRow("not a text") << QJsonValue(7) << none << none;
}

void EntriesTest::elapsedCountsFromTheStart() {
    QFETCH(const QJsonValue, startAt);
    QFETCH(const QString, least);
    QFETCH(const QString, most);
    Controller controller;
    QJsonObject timer = sample::entry(u"t1"_s, start, QJsonValue());
    timer.insert(u"start_at", startAt);
    QJsonObject state = sample::durable(sample::snapshot());
    state.insert(u"timer", timer);
    controller.applyDurable(state);
    QVERIFY(!controller.timer().isEmpty());
    const QString elapsed = controller.elapsed();
    QCOMPARE(elapsed.size(), least.size());
    QVERIFY2(elapsed >= least && elapsed <= most, qPrintable(elapsed));
}

void EntriesTest::secondsAsText_data() {
    QTest::addColumn<qint64>("seconds");
    QTest::addColumn<QString>("text");
    const auto row = [](qint64 seconds, const char* text) {
        QTest::newRow(text) << seconds << QString::fromLatin1(text);
    };
    row(0, "00:00:00");
    row(59, "00:00:59");
    row(3725, "01:02:05");
    row(86399, "23:59:59");
    row(90000, "25:00:00");
    row(360000, "100:00:00");
    QTest::newRow("negative") << qint64(-5) << u"00:00:00"_s;
    QTest::newRow("beyond 32 bits") << qint64(36000000000) << u"10000000:00:00"_s;
}

void EntriesTest::secondsAsText() {
    QFETCH(const qint64, seconds);
    QFETCH(const QString, text);
    QCOMPARE(Controller::formatSeconds(seconds), text);
}

void EntriesTest::anEmptyWorkspaceListsNothing() {
    load();
    QVERIFY(m_controller->entries().isEmpty());
    QCOMPARE(m_controller->elapsed(), u"00:00:00"_s);
}

QTEST_MAIN(EntriesTest)
#include "entries.moc"
