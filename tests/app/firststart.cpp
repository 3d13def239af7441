// SPDX-License-Identifier: MIT
#include "tests/controller/filelimit.h"
#include "tests/support/client.h"
#include "tests/support/program.h"
#include "tests/support/screen.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

using Role = Element::Role;

/// Nobody listens there. Each has an entry of its own in the keyring.
QString deadServer() {
    static int count = 0;
    return u"http://127.0.0.%1:9"_s.arg(++count);
}

/// A session bus without a credential store, and with nothing else than the way to assistive technology.
class BareBus : public QDBusVirtualObject {
public:
    BareBus() = default;
    BareBus(const BareBus&) = delete;
    BareBus& operator=(const BareBus&) = delete;
    ~BareBus() override {
        QDBusConnection::disconnectFromBus(m_name);
        m_process.terminate();
        m_process.waitForFinished();
    }

    [[nodiscard]] bool start() {
        QFile rules(m_folder.filePath(u"bus.conf"_s));
        const QByteArray text = "<busconfig><type>session</type><listen>unix:tmpdir=/tmp</listen>"
                                "<policy context='default'><allow send_destination='*'/><allow "
                                "receive_sender='*'/><allow own='*'/>"
                                "</policy></busconfig>";
        if (!rules.open(QIODevice::WriteOnly) || rules.write(text) != text.size()) {
            return false;
        }
        rules.close();
        m_process.start(u"dbus-daemon"_s,
                        {u"--nofork"_s, u"--print-address"_s, u"--config-file="_s + rules.fileName()});
        if (!QTest::qWaitFor([this] { return m_process.canReadLine(); }, Screen::patienceMs)) {
            return false;
        }
        m_address = QString::fromUtf8(m_process.readLine()).trimmed();
        QDBusConnection bus = QDBusConnection::connectToBus(m_address, m_name);
        return bus.registerVirtualObject(u"/org/a11y/bus"_s, this) && bus.registerService(u"org.a11y.Bus"_s);
    }
    [[nodiscard]] QString address() const { return m_address; }

    [[nodiscard]] QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        // Anything else that is asked for is whether somebody needs it.
        const bool forAddress = message.member() == u"GetAddress"_s;
        return connection.send(message.createReply(forAddress ? QVariant(accessibilityAddress())
                                                              : QVariant::fromValue(QDBusVariant(true))));
    }

private:
    QTemporaryDir m_folder;
    QProcess m_process;
    QString m_name = u"bare"_s;
    QString m_address;
};

} // namespace

/// The program on a machine where something that it needs is missing, from its very first start.
class FirstStartTest : public QObject {
    Q_OBJECT

    /// Whether the window shows the message, and in both languages what to do about it.
    [[nodiscard]] static bool advises(const Program& program, const QString& message, const QString& hebrew,
                                      const QString& english);
    [[nodiscard]] static bool advisesOnTheDisk(const Program& program);

    Screen m_screen;

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_screen.start()); }
    void init();
    void withoutAServer();
    void withoutASchemeInTheAddress();
    void withoutAKeyring();
    void onAFullDisk();
    void inAHomeThatCannotBeWritten();
};

void FirstStartTest::init() {
    startClean();
    QVERIFY(QDir(QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation)).removeRecursively());
}

bool FirstStartTest::advises(const Program& program, const QString& message, const QString& hebrew,
                             const QString& english) {
    const auto shows = [&program](const QString& text) {
        return QTest::qWaitFor([&] { return program.shows(Role::Label, text); }, Screen::patienceMs);
    };
    return shows(message) && shows(hebrew) &&
           retry([&] { return program.usable(Role::PushButton, u"EN"_s).press(); },
                 [&] { return program.shows(Role::Label, english); }) &&
           shows(message);
}

bool FirstStartTest::advisesOnTheDisk(const Program& program) {
    return advises(program, u"Local encrypted database unavailable"_s,
                   u"ודא שיש מקום בדיסק ושאפשר לכתוב בתיקיית הבית, ואז לחץ בהגדרות על "
                   "\"חיבור שרת / כניסת פיתוח מפורשת\"."_s,
                   u"See that the disk has free space and that your home folder can be written "
                   "to, then press \"Connect / explicit developer entry\" in Settings."_s);
}

void FirstStartTest::withoutAServer() {
    Program program;
    program.start({u"--server"_s, deadServer()});
    QVERIFY(advises(program,
                    u"Session unavailable or revoked. Cached work retained; no developer "
                    "fallback was attempted."_s,
                    u"ודא שהשרת פועל ושכתובתו נכונה, ואז לחץ בהגדרות על \"חיבור שרת / "
                    "כניסת פיתוח מפורשת\"."_s,
                    u"See that the server is running and that its address is right, then press "
                    "\"Connect / explicit developer entry\" in Settings."_s));
}

void FirstStartTest::withoutASchemeInTheAddress() {
    Program program;
    program.start({u"--server"_s, u"timer.example.com"_s});
    QVERIFY(advises(
        program, u"Use HTTPS or the trusted private development server"_s,
        u"הכתובת צריכה להתחיל ב־\u2066https://\u2069, או ב־\u2066http://\u2069 כשהשרת במחשב זה או ברשת פרטית."_s,
        u"The address must begin with https://, or with http:// where the server is on this "
        "machine or a private network."_s));
}

void FirstStartTest::withoutAKeyring() {
    BareBus bus;
    QVERIFY(bus.start());
    Program program;
    program.setVariable(u"DBUS_SESSION_BUS_ADDRESS"_s, bus.address());
    program.start({u"--server"_s, deadServer()});
    QVERIFY(advises(program,
                    u"KWallet / OS credential storage is locked or unavailable. Online mode "
                    "remains available; offline writes are disabled."_s,
                    u"פתח את מאגר הסיסמאות (KWallet או Keyring), או הפעל אחד כזה, ואז לחץ "
                    "בהגדרות על \"חיבור שרת / כניסת פיתוח מפורשת\"."_s,
                    u"Unlock the keyring or wallet, or start one in this session, then press "
                    "\"Connect / explicit developer entry\" in Settings."_s));
}

void FirstStartTest::onAFullDisk() {
    Program program;
    {
        const FileLimit full(0);
        program.start({u"--server"_s, deadServer()});
    }
    QVERIFY(advisesOnTheDisk(program));
}

// Not even root can make a folder there.
void FirstStartTest::inAHomeThatCannotBeWritten() {
    Program program;
    for (const QString& folder : {u"XDG_DATA_HOME"_s, u"XDG_CONFIG_HOME"_s}) {
        program.setVariable(folder, u"/proc"_s);
    }
    program.start({u"--server"_s, deadServer()});
    QVERIFY(advisesOnTheDisk(program));
}

QTEST_MAIN(FirstStartTest)
#include "firststart.moc"
