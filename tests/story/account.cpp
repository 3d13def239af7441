// SPDX-License-Identifier: MIT
#include "tests/story/windowstory.h"
#include "tests/support/filesearch.h"
#include "tests/support/sqlitefile.h"
#include "tests/support/steps.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <QTest>

using namespace Qt::StringLiterals;

using Role = Element::Role;

namespace {

// One of the demo's people.
const QString email = u"dan@example.com"_s;
const QString password = u"dan-in-the-demo"_s;
const QString work = u"Count the paper boats"_s;

} // namespace

/// A day of a person who signs in, with the real program, server and keyring.
class StoryAccountTest : public WindowStory {
    Q_OBJECT

    void connectAsDeveloper();
    void signInWithTheKeyboard();
    void workWithoutServer();
    void findSignOutClosed();
    void loseTheSession();
    void signInAgainAndSeeTheWorkArrive();
    void signOut();
    void startAgainSignedOut();
    void reconnectAsDeveloper();
    void findThePasswordNowhere();

    [[nodiscard]] bool shows(const QString& label) const { return m_program.shows(Role::Label, label); }
    [[nodiscard]] bool lists(const QString& start) const {
        return !m_program.elements().findStarting(start).isNull();
    }
    [[nodiscard]] bool speakEnglish() const;

public:
    StoryAccountTest() : WindowStory(DevServer::Data::Demo) {}

private Q_SLOTS:
    void workUnderAnAccountEndsWithItAndLeavesNothingReadable();
};

void StoryAccountTest::workUnderAnAccountEndsWithItAndLeavesNothingReadable() {
    takeSteps(
        {
            &StoryAccountTest::connectAsDeveloper,
            &StoryAccountTest::signInWithTheKeyboard,
            &StoryAccountTest::workWithoutServer,
            &StoryAccountTest::findSignOutClosed,
            &StoryAccountTest::findThePasswordNowhere,
            &StoryAccountTest::loseTheSession,
            &StoryAccountTest::signInAgainAndSeeTheWorkArrive,
            &StoryAccountTest::signOut,
            &StoryAccountTest::startAgainSignedOut,
            &StoryAccountTest::reconnectAsDeveloper,
            &StoryAccountTest::findThePasswordNowhere,
        },
        this);
}

bool StoryAccountTest::speakEnglish() const {
    return press(u"EN"_s, [this] { return m_program.shows(Role::PageTab, u"Settings"_s); });
}

void StoryAccountTest::connectAsDeveloper() {
    QVERIFY(startDesk());
    QVERIFY(openProgram());
    QVERIFY(openTab(u"Settings"_s, u"Sign out"_s));
}

void StoryAccountTest::signInWithTheKeyboard() {
    QVERIFY(fillIn(u"Existing account email"_s, email));
    QVERIFY(m_screen.key(u"Tab"_s) && m_screen.type(password));
    QVERIFY(m_screen.key(u"Return"_s));
    QTRY_VERIFY_WITH_TIMEOUT(shows(u"Personal account: "_s + email), Screen::patienceMs);
    QTRY_VERIFY_WITH_TIMEOUT(shows(u"Connected to PostgreSQL"_s), Screen::patienceMs);
}

void StoryAccountTest::workWithoutServer() {
    m_server.kill();
    QVERIFY(openTab(u"Timer and entries"_s, u"Manual entry"_s));
    QVERIFY(fillIn(u"What are you working on?"_s, work));
    QVERIFY(press(u"Start"_s, [this] { return m_program.shows(Role::PushButton, u"Stop"_s); }));
    QTRY_VERIFY_WITH_TIMEOUT(m_program.shows(Role::PushButton, u"Sync (1)"_s), Screen::patienceMs);
}

void StoryAccountTest::findSignOutClosed() {
    QVERIFY(openTab(u"Settings"_s, u"Sign out"_s));
    const Element button = m_program.elements().find(Role::PushButton, u"Sign out"_s);
    QVERIFY(!button.isNull());
    QVERIFY(m_screen.click(button.area().center()));
    QVERIFY(m_screen.key(u"Return"_s));
    QVERIFY(m_program.shows(Role::PushButton, u"Sync (1)"_s));
    QVERIFY(shows(u"Personal account: "_s + email));
}

void StoryAccountTest::loseTheSession() {
    SqliteFile(m_server.databaseFile()).run(u"DELETE FROM sessions"_s);
    QVERIFY(m_server.start());
    QTRY_VERIFY_WITH_TIMEOUT(m_program.shows(Role::PushButton, u"Sign in again"_s), Screen::patienceMs);
    QVERIFY(m_program.shows(Role::PushButton, u"Sync (1)"_s));
    QCOMPARE(m_server.entriesNamed(work).size(), 0);
}

void StoryAccountTest::signInAgainAndSeeTheWorkArrive() {
    QVERIFY(fillIn(u"Existing account email"_s, email));
    QVERIFY(m_screen.key(u"Tab"_s) && m_screen.type(password));
    QVERIFY(press(u"Sign in again"_s, [this] {
        return m_program.elements().find(Role::PushButton, u"Sign in again"_s).isNull();
    }));
    QTRY_VERIFY_WITH_TIMEOUT(m_program.shows(Role::PushButton, u"Sync (0)"_s), Screen::patienceMs);
    const QJsonArray pushed = m_server.entriesNamed(work);
    QCOMPARE(pushed.size(), 1);
    const QJsonValue developer = m_server.request("GET", u"/me"_s).body.value(u"id");
    QVERIFY(developer.isString());
    QVERIFY(pushed.first().toObject().value(u"user_id") != developer);
}

void StoryAccountTest::signOut() {
    QVERIFY(press(u"Sign out"_s, [this] {
        return shows(u"Signed out. No private developer fallback was opened automatically."_s);
    }));
    QVERIFY(shows(u"Not signed in to a personal account"_s));
    QVERIFY(openTab(u"Timer and entries"_s, u"Manual entry"_s));
    QVERIFY(shows(u"00:00:00"_s));
    QVERIFY(!lists(work));
}

void StoryAccountTest::startAgainSignedOut() {
    QVERIFY(m_screen.close(m_program));
    QCOMPARE(m_program.exitCode(), 0);
    m_program.start();
    QTRY_VERIFY_WITH_TIMEOUT(shows(u"Signed out. Use personal login, or explicitly reconnect "
                                   "for private development."_s),
                             Screen::patienceMs);
    QVERIFY(speakEnglish());
    QVERIFY(openTab(u"Settings"_s, u"Sign out"_s));
}

void StoryAccountTest::reconnectAsDeveloper() {
    QVERIFY(press(u"Connect / explicit developer entry"_s,
                  [this] { return shows(u"Connected to PostgreSQL"_s); }));
    QVERIFY(shows(u"Not signed in to a personal account"_s));
    QVERIFY(m_screen.close(m_program));
    QCOMPARE(m_program.exitCode(), 0);
}

void StoryAccountTest::findThePasswordNowhere() {
    QCOMPARE(filesThatHold(password), QStringList());
    const QString data = QFileInfo(m_server.databaseFile()).path();
    QCOMPARE(filesThatHold(password, data), QStringList());
    // That this finds what is there.
    QVERIFY(!filesThatHold(email, data).isEmpty());
}

QTEST_MAIN(StoryAccountTest)
#include "account.moc"
