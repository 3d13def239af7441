// SPDX-License-Identifier: MIT
#include "tests/support/client.h"
#include "tests/support/devserver.h"
#include "tests/support/keyring.h"
#include "tests/support/program.h"
#include "tests/support/sample.h"
#include "tests/support/screen.h"

#include <QTest>

#include <csignal>

using namespace Qt::StringLiterals;

/// The window closed where there is no tray, at the moments that are easy to get wrong.
class ClosingTest : public QObject {
    Q_OBJECT

    Screen m_screen;
    DevServer m_server{DevServer::Data::Demo};

private Q_SLOTS:
    void initTestCase();
    void init();
    void endsTheProgramOnceLoaded();
    void endsTheProgramAtAnyMomentOfItsStart_data();
    void endsTheProgramAtAnyMomentOfItsStart();
    void aSignalEndsTheProgramWithWhatWaitsRecorded_data();
    void aSignalEndsTheProgramWithWhatWaitsRecorded();
    void endsTheProgramWhileTheKeyringAsksForItsPassword();
};

void ClosingTest::initTestCase() {
    QVERIFY(m_screen.start());
    QVERIFY(m_server.start());
}

void ClosingTest::init() {
    startClean();
}

void ClosingTest::endsTheProgramOnceLoaded() {
    Program program;
    program.start({u"--server"_s, m_server.url()});
    QTRY_VERIFY_WITH_TIMEOUT(program.shows(Element::Role::Label, u"Connected to PostgreSQL"_s),
                             Screen::patienceMs);
    QVERIFY(m_screen.close(program));
    QCOMPARE(program.exitCode(), 0);
    QCOMPARE(program.output(), QByteArray());
}

void ClosingTest::endsTheProgramAtAnyMomentOfItsStart_data() {
    QTest::addColumn<QString>("status");
    QTest::newRow("as soon as there is a window") << QString();
    QTest::newRow("again") << QString();
    QTest::newRow("and again") << QString();
    QTest::newRow("as soon as it can be read") << u"Timer"_s;
}

void ClosingTest::endsTheProgramAtAnyMomentOfItsStart() {
    QFETCH(QString, status);
    Program program;
    program.start({u"--server"_s, m_server.url()});
    if (!status.isEmpty()) {
        QTRY_VERIFY_WITH_TIMEOUT(program.shows(Element::Role::Label, status), Screen::patienceMs);
    }
    QVERIFY(m_screen.close(program));
    QCOMPARE(program.exitCode(), 0);
    QCOMPARE(program.output(), QByteArray());
}

void ClosingTest::aSignalEndsTheProgramWithWhatWaitsRecorded_data() {
    QTest::addColumn<int>("number");
    QTest::newRow("the end of the desktop session") << SIGTERM;
    QTest::newRow("Ctrl+C in its terminal") << SIGINT;
    QTest::newRow("its terminal is closed") << SIGHUP;
}

void ClosingTest::aSignalEndsTheProgramWithWhatWaitsRecorded() {
    QFETCH(const int, number);
    ScriptedPeer peer;
    sample::serve(peer, sample::oneEntry());
    Program program;
    program.start({u"--server"_s, peer.url()});
    QTRY_VERIFY_WITH_TIMEOUT(program.shows(Element::Role::Label, u"Connected to PostgreSQL"_s),
                             Screen::patienceMs);
    peer.answer("GET", u"/v1/sync/snapshot"_s, PeerReply::only(PeerReply::Delivery::Hold));
    QVERIFY(m_screen.clickUntil(program, Element::Role::PushButton, u"סנכרון (0)"_s,
                                [&peer] { return peer.held() == 1; }));
    QVERIFY(m_screen.key(u"ctrl+shift+space"_s));
    QTRY_VERIFY_WITH_TIMEOUT(
        program.shows(Element::Role::Label,
                      u"The server is being asked; the timer follows as soon as that has ended."_s),
        Screen::patienceMs);

    QCOMPARE(::kill(pid_t(program.id()), number), 0);
    QCOMPARE(program.exitCode(), 0);
    QCOMPARE(program.output(), QByteArray());
    peer.goOffline();
    program.start({u"--server"_s, peer.url()});
    QTRY_VERIFY_WITH_TIMEOUT(!program.usable(Element::Role::PushButton, u"סנכרון (1)"_s).isNull(),
                             Screen::patienceMs);
    program.kill();
}

void ClosingTest::endsTheProgramWhileTheKeyringAsksForItsPassword() {
    const keyring::SilentPerson person;
    QVERIFY(keyring::lock());
    for (int round = 0; round < 3; ++round) {
        Program program;
        program.start({u"--server"_s, m_server.url()});
        QTRY_VERIFY_WITH_TIMEOUT(program.shows(Element::Role::Label, u"Connecting…"_s), Screen::patienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(person.questions() > 0, Screen::patienceMs);
        QVERIFY(m_screen.close(program));
        QCOMPARE(program.exitCode(), 0);
        QCOMPARE(program.output(), QByteArray());
    }
}

QTEST_MAIN(ClosingTest)
#include "closing.moc"
