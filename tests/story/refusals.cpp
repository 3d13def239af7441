// SPDX-License-Identifier: MIT
#include "tests/story/windowstory.h"
#include "tests/support/sqlitefile.h"
#include "tests/support/steps.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>
#include <QTimeZone>
#include <QUuid>

using Role = Element::Role;
using namespace Qt::StringLiterals;

namespace {

const QString sendAgain = u"Send again"_s;
const QString setAside = u"Save a copy and remove"_s;
const QString overtaken = u"The entry was changed elsewhere in the meantime."_s;
const QString closed = u"The entry lies in a timesheet period that was submitted or approved."_s;

const QDateTime longAgo = QDateTime::fromString(u"2020-03-02T00:00:00Z"_s, Qt::ISODate);
// Days around the timers that the story runs, wherever in the night that is.
const QDateTime yesterday =
    QDateTime::currentDateTimeUtc().date().addDays(-1).startOfDay(QTimeZone::utc()).toUTC();

QJsonArray queueIn(const QByteArray& file) {
    const QJsonObject document = QJsonDocument::fromJson(file).object();
    return document.value(u"format"_s) == u"timer-native-pending-v1"_s ? document.value(u"queue"_s).toArray()
                                                                       : QJsonArray();
}

} // namespace

/// A person whose work of a day without connection is refused at several places.
class RefusalStory : public WindowStory {
    Q_OBJECT

    void openOnTwoEntries();
    void workWithoutServer();
    void loseTheProgram();
    void changeTheServer();
    void findTheFirstRefusal();
    void overrideTheEditMadeElsewhere();
    void giveUpTheSecondEdit();
    void giveUpAnEntryOfASubmittedWeek();
    void sendTheOtherOnceTheWeekIsReopened();
    void giveUpATimerTogetherWithItsStop();
    void sendTheOtherTimerOnceTheDayIsReopened();
    void findEachChangeOnceAndNothingElse();
    void quit();

    [[nodiscard]] bool edit(const QString& before, const QString& after);
    [[nodiscard]] bool addManual(const QString& description, const QDateTime& from);
    [[nodiscard]] bool runTimer(const QString& description);
    /// The panel of Settings shows this refusal: the server's sentence, and what was recorded.
    [[nodiscard]] bool showsRefusal(const QString& sentence, const QString& recorded);
    [[nodiscard]] bool sendAgainUntilWaiting(int changes);
    /// The queue items that the file holds.
    [[nodiscard]] QJsonArray setAsideUntilWaiting(int changes);
    void reopen(const QDateTime& from) const;
    [[nodiscard]] QString idOf(const QString& description) const {
        return m_server.entriesNamed(description).first().toObject().value(u"id").toString();
    }

public:
    RefusalStory() : WindowStory(DevServer::Data::Empty) {}

private Q_SLOTS:
    void whatTheServerRefusesIsResolvedByThePersonAndTheRestArrivesOnce();
};

void RefusalStory::whatTheServerRefusesIsResolvedByThePersonAndTheRestArrivesOnce() {
    takeSteps(
        {
            &RefusalStory::openOnTwoEntries,
            &RefusalStory::workWithoutServer,
            &RefusalStory::loseTheProgram,
            &RefusalStory::changeTheServer,
            &RefusalStory::findTheFirstRefusal,
            &RefusalStory::overrideTheEditMadeElsewhere,
            &RefusalStory::giveUpTheSecondEdit,
            &RefusalStory::giveUpAnEntryOfASubmittedWeek,
            &RefusalStory::sendTheOtherOnceTheWeekIsReopened,
            &RefusalStory::giveUpATimerTogetherWithItsStop,
            &RefusalStory::sendTheOtherTimerOnceTheDayIsReopened,
            &RefusalStory::findEachChangeOnceAndNothingElse,
            &RefusalStory::quit,
        },
        this);
}

bool RefusalStory::edit(const QString& before, const QString& after) {
    const QString field = u"Description"_s;
    const auto open = [&] {
        const Element button =
            elements().findStarting(before + u", "_s).find(Role::PushButton, u"Edit description"_s);
        return button.isEnabled() && m_screen.click(button.area().center());
    };
    return retry(open, [&] { return m_program.shows(Role::Text, field); }) && fillIn(field, after) &&
           retry([&] { return m_screen.key(u"Return"_s); },
                 [&] { return !m_program.shows(Role::Text, field); });
}

bool RefusalStory::addManual(const QString& description, const QDateTime& from) {
    const auto open = [this] { return m_program.shows(Role::Text, u"From"_s); };
    return press(u"Manual entry"_s, open) && fillIn(u"Description"_s, description) &&
           fillIn(u"From"_s, from.toString(Qt::ISODate)) &&
           fillIn(u"To"_s, from.addSecs(3600).toString(Qt::ISODate)) &&
           press(u"OK"_s, [&open] { return !open(); });
}

bool RefusalStory::runTimer(const QString& description) {
    return fillIn(u"What are you working on?"_s, description) &&
           press(u"Start"_s, [this] { return m_program.shows(Role::PushButton, u"Stop"_s); }) &&
           press(u"Stop"_s, [this] { return m_program.shows(Role::PushButton, u"Start"_s); });
}

bool RefusalStory::showsRefusal(const QString& sentence, const QString& recorded) {
    const auto isOpen = [this] { return m_program.shows(Role::PushButton, sendAgain); };
    const auto isTold = [&] {
        return !elements().findStarting(sentence).isNull() &&
               !elements().findStarting(u"Description. Recorded here: "_s + recorded + u". "_s).isNull();
    };
    return press(u"Show the change that the server did not accept"_s, isOpen) &&
           QTest::qWaitFor(isTold, Screen::patienceMs);
}

bool RefusalStory::sendAgainUntilWaiting(int changes) {
    return press(sendAgain, [this, changes] { return isWaiting(changes); });
}

QJsonArray RefusalStory::setAsideUntilWaiting(int changes) {
    const QString file = QDir::home().filePath(QUuid::createUuid().toString(QUuid::Id128));
    const bool removed =
        chooseFile(setAside, file) && QTest::qWaitFor([&] { return isWaiting(changes); }, Screen::patienceMs);
    QFile saved(file);
    return removed && saved.open(QIODevice::ReadOnly) ? queueIn(saved.readAll()) : QJsonArray();
}

void RefusalStory::reopen(const QDateTime& from) const {
    SqliteFile(m_server.databaseFile())
        .run(u"UPDATE timesheet_periods SET status = 'open', version = version + 1 WHERE start_at = ?"_s,
             {from.toSecsSinceEpoch()});
}

void RefusalStory::openOnTwoEntries() {
    QVERIFY(startDesk());
    const QDateTime morning = yesterday.addDays(-1);
    for (const QString& description : {u"First draft"_s, u"Second draft"_s}) {
        const QJsonObject entry{{u"description"_s, description},
                                {u"start_at"_s, morning.toString(Qt::ISODate)},
                                {u"stop_at"_s, morning.addSecs(600).toString(Qt::ISODate)}};
        const QString id = QUuid::createUuid().toString(QUuid::WithoutBraces);
        QCOMPARE(m_server.push(u"entry.create"_s, id, 0, entry).value(u"status"), u"accepted"_s);
    }
    QVERIFY(openProgram());
}

void RefusalStory::workWithoutServer() {
    m_server.kill();
    QVERIFY(edit(u"First draft"_s, u"First on the train"_s));
    QVERIFY(edit(u"Second draft"_s, u"Second on the train"_s));
    QVERIFY(addManual(u"Week given up"_s, longAgo.addSecs(8 * 3600)));
    QVERIFY(addManual(u"Week kept"_s, longAgo.addSecs(10 * 3600)));
    QVERIFY(runTimer(u"Timer given up"_s));
    QVERIFY(runTimer(u"Timer kept"_s));
    QVERIFY(addManual(u"Behind them all"_s, longAgo.addDays(30)));
    QTRY_VERIFY_WITH_TIMEOUT(isWaiting(9), Screen::patienceMs);
}

// So that the server can change before the program looks at it again.
void RefusalStory::loseTheProgram() {
    m_program.kill();
}

void RefusalStory::changeTheServer() {
    QVERIFY(m_server.start());
    for (const QString& description : {u"First draft"_s, u"Second draft"_s}) {
        const QJsonObject change{{u"description"_s, description + u" by a colleague"_s}};
        const QJsonObject result = m_server.push(u"entry.update"_s, idOf(description), 1, change);
        QCOMPARE(result.value(u"status"), u"accepted"_s);
    }
    m_server.approve(longAgo, longAgo.addDays(7));
    m_server.approve(yesterday, yesterday.addDays(4));
}

void RefusalStory::findTheFirstRefusal() {
    m_program.start();
    QVERIFY(press(u"EN"_s, [this] { return m_program.shows(Role::PushButton, u"Start"_s); }));
    QTRY_VERIFY_WITH_TIMEOUT(isWaiting(9), Screen::patienceMs);
    QVERIFY(showsRefusal(overtaken, u"First on the train"_s));
    QVERIFY(elements()
                .findStarting(u"Description. "_s)
                .name()
                .endsWith(u"On the server now: First draft by a colleague"_s));
}

void RefusalStory::overrideTheEditMadeElsewhere() {
    QVERIFY(sendAgainUntilWaiting(8));
    QCOMPARE(m_server.entriesNamed(u"First on the train"_s).size(), 1);
}

void RefusalStory::giveUpTheSecondEdit() {
    QVERIFY(showsRefusal(overtaken, u"Second on the train"_s));
    QCOMPARE(setAsideUntilWaiting(7).size(), 1);
    QCOMPARE(m_server.entriesNamed(u"Second draft by a colleague"_s).size(), 1);
}

void RefusalStory::giveUpAnEntryOfASubmittedWeek() {
    QVERIFY(showsRefusal(closed, u"Week given up"_s));
    QCOMPARE(setAsideUntilWaiting(6).size(), 1);
}

void RefusalStory::sendTheOtherOnceTheWeekIsReopened() {
    QVERIFY(showsRefusal(closed, u"Week kept"_s));
    reopen(longAgo);
    QVERIFY(sendAgainUntilWaiting(5));
}

void RefusalStory::giveUpATimerTogetherWithItsStop() {
    QVERIFY(showsRefusal(closed, u"Timer given up"_s));
    const QJsonArray saved = setAsideUntilWaiting(3);
    QCOMPARE(saved.size(), 2);
    const auto operation = [&saved](qsizetype index) {
        return saved.at(index).toObject().value(u"mutation"_s).toObject().value(u"operation"_s);
    };
    QCOMPARE(operation(0), u"timer.start"_s);
    QCOMPARE(operation(1), u"timer.stop"_s);
}

void RefusalStory::sendTheOtherTimerOnceTheDayIsReopened() {
    QVERIFY(showsRefusal(closed, u"Timer kept"_s));
    reopen(yesterday);
    QVERIFY(sendAgainUntilWaiting(0));
    QTRY_VERIFY_WITH_TIMEOUT(!m_program.shows(Role::PushButton, sendAgain), Screen::patienceMs);
}

void RefusalStory::findEachChangeOnceAndNothingElse() {
    QMap<QString, int> found;
    const QJsonArray entries = m_server.entries();
    for (const auto& entry : entries) {
        QVERIFY(entry.toObject().value(u"stop_at"_s).isString());
        ++found[entry.toObject().value(u"description"_s).toString()];
    }
    const QMap<QString, int> expected{{u"First on the train"_s, 1},
                                      {u"Second draft by a colleague"_s, 1},
                                      {u"Week kept"_s, 1},
                                      {u"Timer kept"_s, 1},
                                      {u"Behind them all"_s, 1}};
    QCOMPARE(found, expected);
}

void RefusalStory::quit() {
    QVERIFY(m_screen.close(m_program));
    QCOMPARE(m_program.exitCode(), 0);
}

QTEST_MAIN(RefusalStory)
#include "refusals.moc"
