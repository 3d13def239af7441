// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "tests/support/client.h"
#include "tests/support/devserver.h"
#include "tests/support/program.h"
#include "tests/support/sample.h"
#include "tests/support/screen.h"
#include "tests/support/scriptedpeer.h"
#include "tests/support/vaultfile.h"

#include <QAbstractNativeEventFilter>
#include <QApplication>
#include <QFile>
#include <QLineEdit>
#include <QSettings>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

using Role = Element::Role;

const QString connected = u"Connected to PostgreSQL"_s;

/// The texts that programs tell the whole desktop in client messages of X11, put together from their pieces.
class Announcements : public QAbstractNativeEventFilter {
public:
    Announcements() { qApp->installNativeEventFilter(this); }

    [[nodiscard]] bool contain(const QByteArray& text) const { return m_text.contains(text); }

    bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override {
        Q_UNUSED(type)
        Q_UNUSED(result)
        constexpr char clientMessage = 33;
        constexpr char bytes = 8;
        constexpr int header = 12;
        constexpr int length = 20;
        const char* event = static_cast<const char*>(message);
        if ((event[0] & 0x7f) == clientMessage && event[1] == bytes) {
            m_text.append(event + header, length);
        }
        return false;
    }

private:
    QByteArray m_text;
};

} // namespace

/// The program is open, and somebody starts it once more.
class SecondStartTest : public QObject {
    Q_OBJECT

    /// Runs the program until it is connected.
    [[nodiscard]] bool open(Program& program) const;
    /// Once more; true when that one ended as it is to, and said nothing.
    [[nodiscard]] static bool handOver(const QStringList& arguments = {}, const QString& startupId = {});
    [[nodiscard]] bool comesToTheFront(const Program& program) const;

    Screen m_screen{Screen::Tray::Shown};
    DevServer m_server;

private Q_SLOTS:
    void initTestCase();
    void init();
    void bringsTheWindowOutOfTheTray();
    void bringsTheWindowFromAnotherDesktop();
    void bringsTheMinimisedWindow();
    void bringsTheWindowBeforeTheOneInUse();
    void endsTheBusyPointerOfItsLauncher();
    void leavesTheServerWhereItNamesNone();
    void connectsToTheServerItNames();
    void connectsToTheServerItNamesWhenTheFirstIsFree();
    void asksTheServerThatIsOpenForNothing_data();
    void asksTheServerThatIsOpenForNothing();
    void refusedServerIsNamedInTheStatusLine();
};

void SecondStartTest::initTestCase() {
    QVERIFY(m_screen.start());
    QVERIFY(m_server.start());
}

void SecondStartTest::init() {
    startClean();
    QVERIFY(m_screen.goToDesktop(0));
}

bool SecondStartTest::open(Program& program) const {
    program.start({u"--server"_s, m_server.url()});
    return QTest::qWaitFor([&] { return program.shows(Role::Label, connected); }, Screen::patienceMs);
}

bool SecondStartTest::handOver(const QStringList& arguments, const QString& startupId) {
    Program second;
    second.setVariable(u"DESKTOP_STARTUP_ID"_s, startupId);
    return second.handsOver(arguments);
}

bool SecondStartTest::comesToTheFront(const Program& program) const {
    return QTest::qWaitFor([&] { return m_screen.isInFront(program); }, Screen::patienceMs);
}

void SecondStartTest::bringsTheWindowOutOfTheTray() {
    Program program;
    QVERIFY(open(program));
    QVERIFY(QTest::qWaitFor([&] { return m_screen.trayIcon(program).isValid(); }, Screen::patienceMs));
    for (const int desktop : {0, 1}) {
        QVERIFY(m_screen.close(program));
        QVERIFY(program.isRunning());
        QVERIFY(m_screen.goToDesktop(desktop));

        QVERIFY(handOver());
        QVERIFY(comesToTheFront(program));
    }
}

void SecondStartTest::bringsTheWindowFromAnotherDesktop() {
    Program program;
    QVERIFY(open(program));
    QVERIFY(comesToTheFront(program));
    QVERIFY(m_screen.goToDesktop(1));
    QVERIFY(QTest::qWaitFor([&] { return !m_screen.isInFront(program); }, Screen::patienceMs));

    QVERIFY(handOver());
    QVERIFY(comesToTheFront(program));
}

void SecondStartTest::bringsTheMinimisedWindow() {
    Program program;
    QVERIFY(open(program));
    QVERIFY(comesToTheFront(program));
    QVERIFY(m_screen.minimise(program));
    QVERIFY(QTest::qWaitFor([&] { return !m_screen.isInFront(program); }, Screen::patienceMs));

    QVERIFY(handOver());
    QVERIFY(comesToTheFront(program));
}

void SecondStartTest::bringsTheWindowBeforeTheOneInUse() {
    Program program;
    QVERIFY(open(program));
    QLineEdit other;
    other.showMaximized();
    QVERIFY(QTest::qWaitForWindowExposed(&other, Screen::patienceMs));
    QVERIFY(m_screen.click(other.mapToGlobal(other.rect().center())));
    QTRY_VERIFY_WITH_TIMEOUT(other.hasFocus(), Screen::patienceMs);
    QVERIFY(m_screen.type(u"work"_s));
    QTRY_COMPARE_WITH_TIMEOUT(other.text(), u"work"_s, Screen::patienceMs);
    QVERIFY(!m_screen.isInFront(program));

    QVERIFY(handOver());
    QVERIFY(comesToTheFront(program));
}

// The launcher shows it until a window has come, or somebody says that none will.
void SecondStartTest::endsTheBusyPointerOfItsLauncher() {
    Program program;
    QVERIFY(open(program));
    const Announcements announcements;
    const QString id = u"launcher/timer-kelvaro/1-host_TIME4711"_s;
    QVERIFY(handOver({}, id));
    QTRY_VERIFY_WITH_TIMEOUT(announcements.contain("remove: ID=" + id.toLatin1() + '\0'), Screen::patienceMs);
    QVERIFY(comesToTheFront(program));
}

void SecondStartTest::leavesTheServerWhereItNamesNone() {
    Program program;
    QVERIFY(open(program));
    QSettings().setValue(u"server"_s, u"http://127.0.0.1:1"_s);
    QVERIFY(handOver());
    QVERIFY(comesToTheFront(program));
    QVERIFY(program.shows(Role::Label, connected));
}

void SecondStartTest::connectsToTheServerItNames() {
    DevServer other;
    QVERIFY(other.start());
    Program program;
    QVERIFY(open(program));
    QVERIFY(handOver({u"--server"_s, u" %1/path/ "_s.arg(other.url())}));
    const auto stored = [] {
        QSettings settings;
        settings.sync();
        return settings.value(u"server"_s).toString();
    };
    QTRY_COMPARE_WITH_TIMEOUT(stored(), other.url(), Screen::patienceMs);
    QTRY_VERIFY_WITH_TIMEOUT(program.shows(Role::Label, connected), Screen::patienceMs);
}

void SecondStartTest::connectsToTheServerItNamesWhenTheFirstIsFree() {
    ScriptedPeer peer;
    peer.forwardTo(m_server.url());
    peer.answerOnce("GET", u"/v1/me"_s, PeerReply::forward(PeerReply::Delivery::Hold));
    Program program;
    program.start({u"--server"_s, peer.url()});
    QTRY_COMPARE_WITH_TIMEOUT(peer.held(), 1, Screen::patienceMs);

    DevServer other;
    QVERIFY(other.start());
    QVERIFY(handOver({u"--server"_s, other.url()}));
    QVERIFY(!program.shows(Role::Label, connected));
    peer.release();
    const auto stored = [] {
        QSettings settings;
        settings.sync();
        return settings.value(u"server"_s).toString();
    };
    QTRY_COMPARE_WITH_TIMEOUT(stored(), other.url(), Screen::patienceMs);
    QTRY_VERIFY_WITH_TIMEOUT(program.shows(Role::Label, connected), Screen::patienceMs);
}

void SecondStartTest::asksTheServerThatIsOpenForNothing_data() {
    QTest::addColumn<bool>("signedOut");
    QTest::addColumn<QString>("message");
    QTest::newRow("signed out")
        << true << u"Signed out. Use personal login, or explicitly reconnect for private development."_s;
    QTest::newRow("missing record")
        << false
        << u"The encrypted record for this server is missing on this device. Connect again to "
           "begin anew with the server's data."_s;
}

// Only the person's own Connect opens the developer's data again, or begins anew.
void SecondStartTest::asksTheServerThatIsOpenForNothing() {
    QFETCH(const bool, signedOut);
    QFETCH(const QString, message);
    ScriptedPeer peer;
    sample::serve(peer, sample::oneEntry());
    {
        Controller before;
        QVERIFY(connectAndLoad(before, peer.url()));
        QJsonObject state = before.durableState();
        state.insert(u"signed_out", true);
        before.applyDurable(state);
        QVERIFY(before.persist());
    }
    QVERIFY(signedOut || QFile::remove(vaultFile(peer.url())));
    Program program;
    program.start({u"--server"_s, peer.url()});
    QVERIFY(QTest::qWaitFor([&] { return program.shows(Role::Label, message); }, Screen::patienceMs));
    peer.forgetRequests();

    QVERIFY(handOver({u"--server"_s, u" %1/path/ "_s.arg(peer.url())}));
    QVERIFY(comesToTheFront(program));
    // By the time that this is said, the other one was carried out.
    QVERIFY(handOver({u"--server"_s, u"http://example.org"_s}));
    QTRY_VERIFY_WITH_TIMEOUT(
        program.shows(Role::Label, u"Use HTTPS or the trusted private development server"_s),
        Screen::patienceMs);
    QCOMPARE(peer.log(), QStringList());
}

void SecondStartTest::refusedServerIsNamedInTheStatusLine() {
    Program program;
    QVERIFY(open(program));
    QVERIFY(handOver({u"--server"_s, u"http://example.org"_s}));
    QTRY_VERIFY_WITH_TIMEOUT(
        program.shows(Role::Label, u"Use HTTPS or the trusted private development server"_s),
        Screen::patienceMs);
    QCOMPARE(QSettings().value(u"server"_s).toString(), m_server.url());
}

QTEST_MAIN(SecondStartTest)
#include "secondstart.moc"
