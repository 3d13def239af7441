// SPDX-License-Identifier: MIT
#include "state/weeks.h"
#include "tests/story/windowstory.h"
#include "tests/support/steps.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>
#include <QTest>
#include <QTimeZone>
#include <QUuid>

#include <algorithm>

using Role = Element::Role;
using namespace Qt::StringLiterals;

namespace {

constexpr qint64 hour = 3600;
const QString planned = u"Plan the harbour"_s;
const QString corrected = u"Plan the harbour wall"_s;
const QString night = u"Night shift on the pier"_s;
const QString mistake = u"Somebody else's work"_s;

QString utc(const QDateTime& time) {
    return time.toUTC().toString(Qt::ISODate);
}

QString durationText(qint64 seconds) {
    return u"%1:%2:%3"_s.arg(seconds / hour, 2, 10, QLatin1Char('0'))
        .arg(seconds / 60 % 60, 2, 10, QLatin1Char('0'))
        .arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

} // namespace

/// Somebody puts a week in order at the window, half of it without the server.
class WorkdayStory : public WindowStory {
    Q_OBJECT

    void openTheWeek();
    void continueYesterdaysWork();
    void correctItWithoutTheServer();
    void findTheNight();
    void splitItAtMidnight();
    void leaveTheSearch();
    void deleteUndoAndDeleteAgain();
    void stopTheTimer();
    void letTheServerReturn();
    void findEachChangeOnce();
    void compareTheSums();

    /// The row whose spoken name begins so: with the description, and perhaps the start.
    [[nodiscard]] Element row(const QString& start) const;
    [[nodiscard]] QString rowName(const QString& description, const QDateTime& start) const {
        return description + u", "_s + utc(start);
    }
    /// Chooses from the row's menu.
    [[nodiscard]] bool choose(const QString& rowStart, const QString& action,
                              const std::function<bool()>& outcome) const;
    /// In the dialog of the row, each named field gets a text; saved when so many changes wait.
    [[nodiscard]] bool edit(const QString& rowStart, const QList<std::pair<QString, QString>>& fields,
                            int waiting) const;
    [[nodiscard]] QString addOnServer(const QString& description, const QDateTime& start,
                                      qint64 seconds) const;
    [[nodiscard]] QJsonObject onServer(const QString& id) const;

    QTimeZone m_zone;
    QDateTime m_midnight; // that the night shift passes
    QString m_planned;
    QString m_night;
    QString m_mistake;

public:
    WorkdayStory() : WindowStory(DevServer::Data::Empty) {}

private Q_SLOTS:
    void aDayOfCorrectionsReachesTheServerOnceEach();
};

void WorkdayStory::aDayOfCorrectionsReachesTheServerOnceEach() {
    takeSteps(
        {
            &WorkdayStory::openTheWeek,
            &WorkdayStory::continueYesterdaysWork,
            &WorkdayStory::correctItWithoutTheServer,
            &WorkdayStory::findTheNight,
            &WorkdayStory::splitItAtMidnight,
            &WorkdayStory::leaveTheSearch,
            &WorkdayStory::deleteUndoAndDeleteAgain,
            &WorkdayStory::stopTheTimer,
            &WorkdayStory::letTheServerReturn,
            &WorkdayStory::findEachChangeOnce,
            &WorkdayStory::compareTheSums,
        },
        this);
}

// The running timer's description is on the screen as well, by itself.
Element WorkdayStory::row(const QString& start) const {
    return elements().findStarting(start.contains(u", "_s) ? start : start + u", "_s);
}

bool WorkdayStory::choose(const QString& rowStart, const QString& action,
                          const std::function<bool()>& outcome) const {
    const auto openMenu = [&] {
        const Element button = row(rowStart).find(Role::PushButton, u"Actions"_s);
        return !button.isNull() && m_screen.click(button.area().center());
    };
    return retry(openMenu, [&] { return m_program.shows(Role::MenuItem, action); }) &&
           m_screen.clickUntil(m_program, Role::MenuItem, action, outcome);
}

bool WorkdayStory::edit(const QString& rowStart, const QList<std::pair<QString, QString>>& fields,
                        int waiting) const {
    const auto isOpen = [this] { return m_program.shows(Role::Text, u"From"_s); };
    if (!choose(rowStart, u"Edit"_s, isOpen)) {
        return false;
    }
    const bool filled = std::all_of(fields.begin(), fields.end(),
                                    [this](const auto& field) { return fillIn(field.first, field.second); });
    return filled && press(u"OK"_s, [&] { return !isOpen() && isWaiting(waiting); });
}

QString WorkdayStory::addOnServer(const QString& description, const QDateTime& start, qint64 seconds) const {
    const QString id = QUuid::createUuid().toString(QUuid::WithoutBraces);
    const QJsonObject payload{{u"description"_s, description},
                              {u"billable"_s, true},
                              {u"start_at"_s, utc(start)},
                              {u"stop_at"_s, utc(start.addSecs(seconds))}};
    const QJsonObject result = m_server.push(u"entry.create"_s, id, 0, payload);
    return result.value(u"status").toString() == u"accepted"_s ? id : QString();
}

QJsonObject WorkdayStory::onServer(const QString& id) const {
    const QJsonArray entries = m_server.entries();
    const auto found = std::find_if(entries.begin(), entries.end(),
                                    [&id](const QJsonValue& entry) { return entry[u"id"].toString() == id; });
    return found == entries.end() ? QJsonObject() : found->toObject();
}

void WorkdayStory::openTheWeek() {
    QVERIFY(startDesk());
    m_zone = QTimeZone(m_server.request("GET", u"/me"_s).body.value(u"timezone").toString().toUtf8());
    QVERIFY(m_zone.isValid());
    const QDate today = QDateTime::currentDateTimeUtc().toTimeZone(m_zone).date();
    m_midnight = today.addDays(-1).startOfDay(m_zone);
    if (m_zone.offsetFromUtc(m_midnight.addSecs(-hour)) !=
        m_zone.offsetFromUtc(m_midnight.addSecs(2 * hour))) {
        m_midnight = today.addDays(-2).startOfDay(m_zone); // a night in which no clock changes
    }
    m_planned = addOnServer(planned, today.addDays(-1).startOfDay(m_zone).addSecs(9 * hour), hour);
    m_night = addOnServer(night, m_midnight.addSecs(-hour), 3 * hour);
    m_mistake = addOnServer(mistake, m_midnight.addSecs(14 * hour), 2 * hour);
    QVERIFY(!m_planned.isEmpty() && !m_night.isEmpty() && !m_mistake.isEmpty());
    QVERIFY(openProgram());
    QTRY_VERIFY_WITH_TIMEOUT(!row(night).isNull(), Screen::patienceMs);
    QVERIFY(row(night).name().contains(u"23:00–02:00 +1"_s));
}

void WorkdayStory::continueYesterdaysWork() {
    QVERIFY(choose(planned, u"Continue"_s, [this] { return m_program.shows(Role::PushButton, u"Stop"_s); }));
    QTRY_VERIFY_WITH_TIMEOUT(isWaiting(0), Screen::patienceMs);
    QTRY_COMPARE_WITH_TIMEOUT(m_server.entriesNamed(planned).size(), 2, Screen::patienceMs);
    m_server.kill();
}

void WorkdayStory::correctItWithoutTheServer() {
    QVERIFY(edit(planned, {{u"Description"_s, corrected}}, 1));
    QTRY_VERIFY_WITH_TIMEOUT(row(corrected).name().contains(u"Pending sync"_s), Screen::patienceMs);
}

void WorkdayStory::findTheNight() {
    QVERIFY(m_screen.key(u"ctrl+f"_s));
    QTRY_VERIFY_WITH_TIMEOUT(elements().find(Role::Text, u"Find entries"_s).isFocused(), Screen::patienceMs);
    QVERIFY(m_screen.type(u"PIER"_s));
    QTRY_VERIFY_WITH_TIMEOUT(m_program.shows(Role::Label, u"1 entry found · 03:00:00"_s), Screen::patienceMs);
    QVERIFY(row(corrected).isNull());
}

void WorkdayStory::splitItAtMidnight() {
    const QString whole = rowName(night, m_midnight.addSecs(-hour));
    const auto local = [this](const QDateTime& time) {
        const QDateTime shown = time.toTimeZone(m_zone);
        return shown.toOffsetFromUtc(shown.offsetFromUtc()).toString(Qt::ISODate);
    };
    QVERIFY(choose(whole, u"Duplicate"_s, [this] { return isWaiting(2); }));
    QVERIFY(edit(whole, {{u"To"_s, local(m_midnight)}}, 3));
    // The other one's end is still in the morning.
    const auto uncut = [&] {
        QStringList names;
        const QList<Element> all = elements().everything();
        for (const Element& element : all) {
            const QString name = element.name();
            if (name.startsWith(whole) && name.contains(u"23:00–02:00 +1"_s)) {
                names.append(name);
            }
        }
        return names;
    };
    QTRY_COMPARE_WITH_TIMEOUT(uncut().size(), 1, Screen::patienceMs);
    const QString rest = uncut().value(0);
    QVERIFY(edit(rest, {{u"From"_s, local(m_midnight)}}, 4));
    QTRY_VERIFY_WITH_TIMEOUT(row(rowName(night, m_midnight)).name().contains(u"00:00–02:00"_s),
                             Screen::patienceMs);
    QTRY_VERIFY2_WITH_TIMEOUT(row(whole).name().contains(u"23:00–00:00 +1"_s), qPrintable(row(whole).name()),
                              Screen::patienceMs);
    QTRY_VERIFY_WITH_TIMEOUT(m_program.shows(Role::Label, u"2 entries found · 03:00:00"_s),
                             Screen::patienceMs);
}

void WorkdayStory::leaveTheSearch() {
    QVERIFY(m_screen.key(u"ctrl+f"_s));
    QTRY_VERIFY_WITH_TIMEOUT(elements().find(Role::Text, u"Find entries"_s).isFocused(), Screen::patienceMs);
    QVERIFY(m_screen.key(u"Escape"_s));
    QTRY_VERIFY_WITH_TIMEOUT(!row(corrected).isNull(), Screen::patienceMs);
}

void WorkdayStory::deleteUndoAndDeleteAgain() {
    const auto isGone = [this] { return row(mistake).isNull(); };
    QVERIFY(choose(mistake, u"Delete"_s, isGone));
    QTRY_VERIFY_WITH_TIMEOUT(isWaiting(5), Screen::patienceMs);
    QVERIFY(press(u"Undo the deletion"_s, [&] { return !isGone(); }));
    QTRY_VERIFY_WITH_TIMEOUT(isWaiting(6), Screen::patienceMs);
    QVERIFY(retry([this] { return m_screen.click(row(mistake).area().center()); },
                  [this] { return row(mistake).isFocused(); }));
    QVERIFY(m_screen.key(u"Delete"_s));
    QTRY_VERIFY_WITH_TIMEOUT(isGone(), Screen::patienceMs);
    QTRY_VERIFY_WITH_TIMEOUT(isWaiting(7), Screen::patienceMs);
}

void WorkdayStory::stopTheTimer() {
    QVERIFY(press(u"Stop"_s, [this] { return m_program.shows(Role::PushButton, u"Start"_s); }));
    QTRY_VERIFY_WITH_TIMEOUT(isWaiting(8), Screen::patienceMs);
}

void WorkdayStory::letTheServerReturn() {
    QVERIFY(m_server.start());
    QTRY_VERIFY_WITH_TIMEOUT(isWaiting(0), Screen::patienceMs);
}

void WorkdayStory::findEachChangeOnce() {
    const auto version = [this](const QString& id) { return onServer(id).value(u"version").toInt(); };
    QCOMPARE(m_server.entries().size(), 5); // three, the continued one, and the other half of the night
    QCOMPARE(m_server.entriesNamed(planned).size(), 1);
    const QJsonObject continued = m_server.entriesNamed(planned).first().toObject();
    QVERIFY(continued.value(u"stop_at").isString());
    QVERIFY(continued.value(u"billable").toBool());
    QCOMPARE(continued.value(u"version").toInt(), 2);
    QCOMPARE(onServer(m_planned).value(u"description").toString(), corrected);
    QCOMPARE(version(m_planned), 2);

    const QJsonArray nights = m_server.entriesNamed(night);
    QCOMPARE(nights.size(), 2); // in the order of their starts
    QCOMPARE(nights[0][u"start_at"].toString(), utc(m_midnight.addSecs(-hour)));
    QCOMPARE(nights[0][u"stop_at"].toString(), utc(m_midnight));
    QCOMPARE(nights[1][u"start_at"].toString(), utc(m_midnight));
    QCOMPARE(nights[1][u"stop_at"].toString(), utc(m_midnight.addSecs(2 * hour)));
    QCOMPARE(nights[0][u"version"].toInt() + nights[1][u"version"].toInt(), 4);

    QVERIFY(onServer(m_mistake).value(u"deleted_at").isString());
    QCOMPARE(version(m_mistake), 4); // made, deleted, restored, deleted
}

void WorkdayStory::compareTheSums() {
    const QDate today = QDateTime::currentDateTimeUtc().toTimeZone(m_zone).date();
    const QDate sunday = startOfWeek(today, Qt::Sunday);
    qint64 ofToday = 0;
    qint64 ofWeek = 0;
    const QJsonArray entries = m_server.entries();
    for (const auto& entry : entries) {
        if (entry[u"deleted_at"].isString()) {
            continue;
        }
        const QDateTime start = QDateTime::fromString(entry[u"start_at"].toString(), Qt::ISODate);
        const qint64 seconds = start.secsTo(QDateTime::fromString(entry[u"stop_at"].toString(), Qt::ISODate));
        const QDate day = start.toTimeZone(m_zone).date();
        ofToday += day == today ? seconds : 0;
        ofWeek += day >= sunday && day < sunday.addDays(7) ? seconds : 0;
    }
    const QString sums = u"Today "_s + durationText(ofToday) + u" · This week "_s + durationText(ofWeek);
    QTRY_VERIFY2_WITH_TIMEOUT(m_program.shows(Role::Label, sums), qPrintable(sums), Screen::patienceMs);
}

QTEST_MAIN(WorkdayStory)
#include "workday.moc"
