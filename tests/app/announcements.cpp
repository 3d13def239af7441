// SPDX-License-Identifier: MIT
#include "tests/support/announcements.h"
#include "tests/support/client.h"
#include "tests/support/devserver.h"
#include "tests/support/program.h"
#include "tests/support/screen.h"

#include <QTest>

#include <functional>

using namespace Qt::StringLiterals;

using Role = Element::Role;

/// Somebody who hears the window instead of seeing it.
class AnnouncementsTest : public QObject {
    Q_OBJECT

    [[nodiscard]] bool press(const QString& name, const std::function<bool()>& outcome) const;

    Screen m_screen;
    DevServer m_server;
    Program m_program;

private Q_SLOTS:
    void everyOutcomeIsSpokenOnce();
};

bool AnnouncementsTest::press(const QString& name, const std::function<bool()>& outcome) const {
    return retry([&] { return m_program.usable(Role::PushButton, name).press(); }, outcome);
}

void AnnouncementsTest::everyOutcomeIsSpokenOnce() {
    const QString connected = u"Connected to PostgreSQL"_s;
    const QString saved = u"Saved securely on this device"_s;
    startClean();
    QVERIFY(m_screen.start());
    QVERIFY(m_server.start());
    Announcements announcements;
    m_program.start({u"--server"_s, m_server.url()});
    const auto shows = [this](const QString& button) { return m_program.shows(Role::PushButton, button); };
    QTRY_VERIFY_WITH_TIMEOUT(m_program.shows(Role::Label, connected), Screen::patienceMs);
    QVERIFY(press(u"EN"_s, [&] { return shows(u"Start"_s); }));

    QTRY_VERIFY_WITH_TIMEOUT(announcements.heard().contains(connected), Screen::patienceMs);
    announcements.forget();
    QVERIFY(press(u"Start"_s, [&] { return shows(u"Stop"_s); }));
    QTRY_COMPARE_WITH_TIMEOUT(announcements.heard(), (QStringList{saved, connected}), Screen::patienceMs);

    // It says again what is said already: nothing to speak about.
    QVERIFY(press(u"Sync (0)"_s, [] { return true; }));
    QVERIFY(press(u"Stop"_s, [&] { return shows(u"Start"_s); }));
    QTRY_COMPARE_WITH_TIMEOUT(announcements.heard(), (QStringList{saved, connected, saved, connected}),
                              Screen::patienceMs);
}

QTEST_MAIN(AnnouncementsTest)
#include "announcements.moc"
