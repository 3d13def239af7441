// SPDX-License-Identifier: MIT
#include "tests/support/client.h"
#include "tests/support/devserver.h"
#include "tests/support/program.h"
#include "tests/support/screen.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDBusVirtualObject>
#include <QFile>
#include <QProcess>
#include <QSettings>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <csignal>
#include <list>

using namespace Qt::StringLiterals;

namespace {

using Role = Element::Role;

const QString name = u"io.github.timer_kelvaro.timer"_s;
const QString path = u"/io/github/timer_kelvaro/timer"_s;
const QString interface = u"org.freedesktop.Application"_s;

QDBusConnectionInterface& bus() {
    return *QDBusConnection::sessionBus().interface();
}

/// The process that holds the name; 0 when nobody does.
qint64 holder() {
    const QDBusReply<uint> process = bus().servicePid(name);
    return process.isValid() ? process.value() : 0;
}

/// It handed over. On a machine that is busy enough it waited in vain for the first, and says so.
bool madeRoom(Program& program) {
    const int code = program.exitCode();
    const QByteArray output = program.output();
    return (code == 0 && output.isEmpty()) || (code == 1 && output == Program::unanswered());
}

bool isOnTheBus(const Program& program) {
    const QStringList names = bus().registeredServiceNames().value();
    return std::any_of(names.begin(), names.end(), [&program](const QString& other) {
        const QDBusReply<uint> process = bus().servicePid(other);
        return process.isValid() && process.value() == program.id();
    });
}

void stop(const Program& program) {
    ::kill(pid_t(program.id()), SIGSTOP);
}

void resume(const Program& program) {
    ::kill(pid_t(program.id()), SIGCONT);
}

QDBusMessage call(const QString& method, const QVariantList& arguments, const QString& of = interface) {
    QDBusMessage message = QDBusMessage::createMethodCall(name, path, of, method);
    message.setArguments(arguments);
    return QDBusConnection::sessionBus().call(message);
}

/// In the place of the first program: takes down what it is asked, and answers or not.
class Stranger : public QDBusVirtualObject {
public:
    Stranger() {
        QDBusConnection connection = QDBusConnection::sessionBus();
        if (!connection.registerVirtualObject(path, this) || !connection.registerService(name)) {
            qFatal("The name is taken.");
        }
    }
    ~Stranger() override {
        QDBusConnection connection = QDBusConnection::sessionBus();
        connection.unregisterService(name);
        connection.unregisterObject(path);
    }
    Stranger(const Stranger&) = delete;
    Stranger& operator=(const Stranger&) = delete;

    [[nodiscard]] const QList<QDBusMessage>& calls() const { return m_calls; }

    [[nodiscard]] QString introspect(const QString& of) const override {
        Q_UNUSED(of)
        return {};
    }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        m_calls.append(message);
        return connection.send(message.createReply());
    }

private:
    QList<QDBusMessage> m_calls;
};

} // namespace

/// However many are started: one program per session bus.
class OneProgramTest : public QObject {
    Q_OBJECT

    /// Runs the program until it is connected.
    [[nodiscard]] bool open(Program& program) const;
    [[nodiscard]] static bool getsConnected(const Program& program);
    /// Once is enough: while it is framed, a window cannot be found for a moment.
    [[nodiscard]] bool getsWindow(const Program& program) const {
        return QTest::qWaitFor([&] { return !m_screen.window(program).isEmpty(); }, Screen::patienceMs);
    }

    Screen m_screen;
    DevServer m_server;

private Q_SLOTS:
    void initTestCase();
    void init() { startClean(); }
    void isAskedBeforeAnythingIsMade();
    void startsAtOnceMakeOneWindow();
    void aProgramThatHangsIsNamed();
    void aProgramThatDiesWhileItIsAskedIsReplaced();
    void aProgramThatQuitsWhileItIsAskedLeavesOneWindow();
    void aProbeNeitherAsksNorAnswers();
    void withoutABusEachStartIsTheFirst();
    void onABusThatRefusesTheNameEachStartIsTheFirst();
    void nothingElseCanBeCalled();
    void whatIsNoRequestChangesNothing();
};

void OneProgramTest::initTestCase() {
    QVERIFY(m_screen.start());
    QVERIFY(m_server.start());
}

bool OneProgramTest::open(Program& program) const {
    program.start({u"--server"_s, m_server.url()});
    return getsConnected(program);
}

bool OneProgramTest::getsConnected(const Program& program) {
    return QTest::qWaitFor([&] { return program.shows(Role::Label, u"Connected to PostgreSQL"_s); },
                           Screen::patienceMs);
}

// Neither a controller, which gives the device its name, nor a window.
void OneProgramTest::isAskedBeforeAnythingIsMade() {
    const Stranger first;
    Program program;
    program.setVariable(u"DESKTOP_STARTUP_ID"_s, u"launcher_TIME1"_s);
    program.setVariable(u"XDG_ACTIVATION_TOKEN"_s, u"token"_s);
    program.start();
    QCOMPARE(program.exitCode(), 0);
    program.start({u"--server"_s, u"as it is typed"_s});
    QCOMPARE(program.exitCode(), 0);
    QCOMPARE(program.output(), QByteArray());
    QVERIFY(QSettings().allKeys().isEmpty());

    QCOMPARE(first.calls().size(), 2);
    const QDBusMessage plain = first.calls().at(0);
    QCOMPARE(plain.interface() + u'.' + plain.member(), interface + u".Activate"_s);
    const QVariantMap platformData{{u"desktop-startup-id"_s, u"launcher_TIME1"_s},
                                   {u"activation-token"_s, u"token"_s}};
    QCOMPARE(qdbus_cast<QVariantMap>(plain.arguments().at(0)), platformData);
    const QDBusMessage named = first.calls().at(1);
    QCOMPARE(named.interface() + u'.' + named.member(), interface + u".ActivateAction"_s);
    QCOMPARE(named.arguments().at(0).toString(), u"connect-server"_s);
    QCOMPARE(qdbus_cast<QVariantList>(named.arguments().at(1)), QVariantList{u"as it is typed"_s});
    QCOMPARE(qdbus_cast<QVariantMap>(named.arguments().at(2)), platformData);
}

void OneProgramTest::startsAtOnceMakeOneWindow() {
    for (int round = 0; round < 2; ++round) {
        std::list<Program> programs(3);
        for (Program& program : programs) {
            program.start({u"--server"_s, m_server.url()});
        }
        const auto running = [&] {
            return std::count_if(programs.begin(), programs.end(),
                                 [](const Program& program) { return program.isRunning(); });
        };
        QTRY_COMPARE_WITH_TIMEOUT(running(), 1, Screen::patienceMs);
        for (Program& program : programs) {
            if (program.isRunning()) {
                // So that the next one finds a whole store, too.
                QVERIFY(getsConnected(program));
                QVERIFY(getsWindow(program));
                QCOMPARE(holder(), program.id());
            } else {
                QVERIFY(madeRoom(program));
            }
        }
    }
}

void OneProgramTest::aProgramThatHangsIsNamed() {
    Program first;
    QVERIFY(open(first));
    stop(first);
    Program second;
    second.start();
    QCOMPARE(second.exitCode(), 1);
    QCOMPARE(second.output(), Program::unanswered());
    QVERIFY(getsWindow(first));

    resume(first);
    QVERIFY(second.handsOver());
}

void OneProgramTest::aProgramThatDiesWhileItIsAskedIsReplaced() {
    // Again, where the machine was so busy that the second gave up before the first died.
    for (int tries = 0; tries < 10; ++tries) {
        Program first;
        QVERIFY(open(first));
        stop(first);
        Program second;
        second.start();
        QTRY_VERIFY_WITH_TIMEOUT(isOnTheBus(second) || !second.isRunning(), Screen::patienceMs);
        if (!second.isRunning()) {
            QCOMPARE(second.output(), Program::unanswered());
            continue;
        }
        first.kill();
        QVERIFY(getsWindow(second));
        QCOMPARE(holder(), second.id());
        return;
    }
    QFAIL("The second never waited for the first.");
}

// What was closed and what was asked reach the first program together.
void OneProgramTest::aProgramThatQuitsWhileItIsAskedLeavesOneWindow() {
    for (int rounds = 0, tries = 0; rounds < 3;) {
        QVERIFY(++tries <= 10);
        Program first;
        QVERIFY(open(first));
        QVERIFY(QTest::qWaitFor([&] { return m_screen.isInFront(first); }, Screen::patienceMs));
        stop(first);
        QVERIFY(m_screen.key(u"alt+F4"_s));
        Program second;
        second.start();
        QTRY_VERIFY_WITH_TIMEOUT(isOnTheBus(second) || !second.isRunning(), Screen::patienceMs);
        resume(first);
        if (!second.isRunning()) {
            continue; // it gave up before, the machine is so busy
        }
        ++rounds;

        QTRY_VERIFY_WITH_TIMEOUT(first.isRunning() != second.isRunning(), Screen::patienceMs);
        Program& left = first.isRunning() ? first : second;
        Program& gone = first.isRunning() ? second : first;
        QVERIFY(madeRoom(gone));
        QVERIFY(getsWindow(left));
        // And that one stays.
        Program third;
        third.start();
        QVERIFY(madeRoom(third));
        QVERIFY(getsWindow(left));
    }
}

void OneProgramTest::aProbeNeitherAsksNorAnswers() {
    QTcpServer silent;
    QVERIFY(silent.listen(QHostAddress::LocalHost));
    const QTemporaryDir folder;
    Program waiting;
    waiting.start({u"--server"_s, u"http://127.0.0.1:%1"_s.arg(silent.serverPort()), u"--read-only-probe"_s,
                   folder.filePath(u"waiting.json"_s)});
    QVERIFY(getsWindow(waiting));
    QCOMPARE(holder(), 0);
    waiting.kill();

    Program first;
    QVERIFY(open(first));
    stop(first);
    Program probe;
    const QString file = folder.filePath(u"probe.json"_s);
    probe.start({u"--server"_s, m_server.url(), u"--read-only-probe"_s, file});
    QCOMPARE(probe.exitCode(), 0);
    QVERIFY(QFile::exists(file));
    QCOMPARE(holder(), first.id());
}

void OneProgramTest::withoutABusEachStartIsTheFirst() {
    std::list<Program> programs(2);
    for (Program& program : programs) {
        program.setVariable(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/dev/null"_s);
        program.start({u"--server"_s, m_server.url()});
    }
    for (const Program& program : programs) {
        QVERIFY(getsWindow(program));
    }
    QCOMPARE(holder(), 0);
}

void OneProgramTest::onABusThatRefusesTheNameEachStartIsTheFirst() {
    const QTemporaryDir folder;
    QFile policy(folder.filePath(u"policy.conf"_s));
    QVERIFY(policy.open(QIODevice::WriteOnly));
    policy.write("<busconfig><type>session</type><listen>unix:tmpdir=/tmp</listen><auth>EXTERNAL</auth>"
                 "<policy context=\"default\"><allow send_destination=\"*\"/><allow receive_sender=\"*\"/>"
                 "<allow own=\"*\"/><deny own=\"" +
                 name.toLatin1() + "\"/></policy></busconfig>\n");
    policy.close();
    QProcess daemon;
    daemon.start(u"dbus-daemon"_s,
                 {u"--nofork"_s, u"--print-address"_s, u"--config-file"_s, policy.fileName()});
    QVERIFY(daemon.waitForReadyRead(Screen::patienceMs));
    const QString address = QString::fromUtf8(daemon.readLine()).trimmed();
    std::list<Program> programs(2);
    for (Program& program : programs) {
        program.setVariable(u"DBUS_SESSION_BUS_ADDRESS"_s, address);
        program.start({u"--server"_s, m_server.url()});
    }
    for (Program& program : programs) {
        QVERIFY(getsWindow(program));
        program.kill();
    }
    daemon.kill();
    QVERIFY(daemon.waitForFinished(Screen::patienceMs));
}

void OneProgramTest::nothingElseCanBeCalled() {
    Program program;
    QVERIFY(open(program));
    const QString description =
        call(u"Introspect"_s, {}, u"org.freedesktop.DBus.Introspectable"_s).arguments().value(0).toString();
    const auto count = [&description](const char* element) {
        return description.count(u"<%1 "_s.arg(QLatin1String(element)));
    };
    // Ours, and what every object on the bus has.
    QVERIFY(description.contains(u"<interface name=\"%1\">"_s.arg(interface)));
    QCOMPARE(count("interface"), 4);
    QCOMPARE(count("method"), 3 + 3 + 1 + 2);
    QCOMPARE(count("property"), 0);
    QCOMPARE(count("node"), 0);
    QCOMPARE(call(u"quit"_s, {}).type(), QDBusMessage::ErrorMessage);
    QCOMPARE(call(u"deleteLater"_s, {}).type(), QDBusMessage::ErrorMessage);
    QVERIFY(program.isRunning());
}

void OneProgramTest::whatIsNoRequestChangesNothing() {
    Program program;
    QVERIFY(open(program));
    const QString action = u"ActivateAction"_s;
    const QString connectServer = u"connect-server"_s;
    const QVariantMap none;
    const QList<QVariantList> wrong{
        {},
        {u"quit"_s, QVariantList(), none},
        {connectServer, QVariantList(), none},
        {connectServer, QVariantList{42}, none},
        {connectServer, QVariantList{u"a"_s, u"b"_s}, none},
        {connectServer, QVariantList{QStringList{m_server.url()}}, none},
    };
    for (const QVariantList& arguments : wrong) {
        QCOMPARE(call(action, arguments).type(), QDBusMessage::ErrorMessage);
    }
    QCOMPARE(call(u"Activate"_s, {u"text"_s}).type(), QDBusMessage::ErrorMessage);

    // Tokens that are none do not keep the window away.
    const QVariantMap garbage{{u"desktop-startup-id"_s, u"a\nb \"c\""_s},
                              {u"activation-token"_s, QVariantList{1, 2}},
                              {u"unknown"_s, QString(100'000, u'x')}};
    QCOMPARE(call(u"Activate"_s, {garbage}).type(), QDBusMessage::ReplyMessage);
    QCOMPARE(call(u"Open"_s, {QStringList{u"file:///etc/passwd"_s}, garbage}).type(),
             QDBusMessage::ReplyMessage);
    QVERIFY(getsConnected(program));
    QVERIFY(QTest::qWaitFor([&] { return m_screen.isInFront(program); }, Screen::patienceMs));
}

QTEST_MAIN(OneProgramTest)
#include "oneprogram.moc"
