// SPDX-License-Identifier: MIT
#include "tests/story/windowstory.h"
#include "tests/support/filesearch.h"
#include "tests/support/sqlitefile.h"
#include "tests/support/steps.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <QTest>

using Role = Element::Role;

namespace {

// One of the demo's people.
const QString email = QStringLiteral("dan@example.com");
const QString password = QStringLiteral("dan-in-the-demo");
const QString work = QStringLiteral("Count the paper boats");

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
    return press(QStringLiteral("EN"),
                 [this] { return m_program.shows(Role::PageTab, QStringLiteral("Settings")); });
}

void StoryAccountTest::connectAsDeveloper() {
    QVERIFY(startDesk());
    QVERIFY(openProgram());
    QVERIFY(openTab(QStringLiteral("Settings"), QStringLiteral("Sign out")));
}

void StoryAccountTest::signInWithTheKeyboard() {
    QVERIFY(fillIn(QStringLiteral("Existing account email"), email));
    QVERIFY(m_screen.key(QStringLiteral("Tab")) && m_screen.type(password));
    QVERIFY(m_screen.key(QStringLiteral("Return")));
    QTRY_VERIFY_WITH_TIMEOUT(shows(QStringLiteral("Personal account: ") + email), Screen::patienceMs);
    QTRY_VERIFY_WITH_TIMEOUT(shows(QStringLiteral("Connected to PostgreSQL")), Screen::patienceMs);
}

void StoryAccountTest::workWithoutServer() {
    m_server.kill();
    QVERIFY(openTab(QStringLiteral("Timer and entries"), QStringLiteral("Manual entry")));
    QVERIFY(fillIn(QStringLiteral("What are you working on?"), work));
    QVERIFY(press(QStringLiteral("Start"),
                  [this] { return m_program.shows(Role::PushButton, QStringLiteral("Stop")); }));
    QTRY_VERIFY_WITH_TIMEOUT(m_program.shows(Role::PushButton, QStringLiteral("Sync (1)")),
                             Screen::patienceMs);
}

void StoryAccountTest::findSignOutClosed() {
    QVERIFY(openTab(QStringLiteral("Settings"), QStringLiteral("Sign out")));
    const Element button = m_program.elements().find(Role::PushButton, QStringLiteral("Sign out"));
    QVERIFY(!button.isNull());
    QVERIFY(m_screen.click(button.area().center()));
    QVERIFY(m_screen.key(QStringLiteral("Return")));
    QVERIFY(m_program.shows(Role::PushButton, QStringLiteral("Sync (1)")));
    QVERIFY(shows(QStringLiteral("Personal account: ") + email));
}

void StoryAccountTest::loseTheSession() {
    SqliteFile(m_server.databaseFile()).run(QStringLiteral("DELETE FROM sessions"));
    QVERIFY(m_server.start());
    QTRY_VERIFY_WITH_TIMEOUT(m_program.shows(Role::PushButton, QStringLiteral("Sign in again")),
                             Screen::patienceMs);
    QVERIFY(m_program.shows(Role::PushButton, QStringLiteral("Sync (1)")));
    QCOMPARE(m_server.entriesNamed(work).size(), 0);
}

void StoryAccountTest::signInAgainAndSeeTheWorkArrive() {
    QVERIFY(fillIn(QStringLiteral("Existing account email"), email));
    QVERIFY(m_screen.key(QStringLiteral("Tab")) && m_screen.type(password));
    QVERIFY(press(QStringLiteral("Sign in again"), [this] {
        return m_program.elements().find(Role::PushButton, QStringLiteral("Sign in again")).isNull();
    }));
    QTRY_VERIFY_WITH_TIMEOUT(m_program.shows(Role::PushButton, QStringLiteral("Sync (0)")),
                             Screen::patienceMs);
    const QJsonArray pushed = m_server.entriesNamed(work);
    QCOMPARE(pushed.size(), 1);
    const QJsonValue developer = m_server.request("GET", QStringLiteral("/me")).body.value(u"id");
    QVERIFY(developer.isString());
    QVERIFY(pushed.first().toObject().value(u"user_id") != developer);
}

void StoryAccountTest::signOut() {
    QVERIFY(press(QStringLiteral("Sign out"), [this] {
        return shows(QStringLiteral("Signed out. No private developer fallback was opened automatically."));
    }));
    QVERIFY(shows(QStringLiteral("Not signed in to a personal account")));
    QVERIFY(openTab(QStringLiteral("Timer and entries"), QStringLiteral("Manual entry")));
    QVERIFY(shows(QStringLiteral("00:00:00")));
    QVERIFY(!lists(work));
}

void StoryAccountTest::startAgainSignedOut() {
    QVERIFY(m_screen.close(m_program));
    QCOMPARE(m_program.exitCode(), 0);
    m_program.start();
    QTRY_VERIFY_WITH_TIMEOUT(shows(QStringLiteral("Signed out. Use personal login, or explicitly reconnect "
                                                  "for private development.")),
                             Screen::patienceMs);
    QVERIFY(speakEnglish());
    QVERIFY(openTab(QStringLiteral("Settings"), QStringLiteral("Sign out")));
}

void StoryAccountTest::reconnectAsDeveloper() {
    QVERIFY(press(QStringLiteral("Connect / explicit developer entry"),
                  [this] { return shows(QStringLiteral("Connected to PostgreSQL")); }));
    QVERIFY(shows(QStringLiteral("Not signed in to a personal account")));
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
