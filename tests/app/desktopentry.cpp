// SPDX-License-Identifier: MIT
#include "tests/support/client.h"
#include "tests/support/devserver.h"
#include "tests/support/program.h"
#include "tests/support/screen.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusReply>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>
#include <QTest>

#include <csignal>

using namespace Qt::StringLiterals;

namespace {

using Role = Element::Role;

QDBusReply<uint> processOf(const QString& name) {
    return QDBusConnection::sessionBus().interface()->servicePid(name);
}

/// Asks the bus itself.
bool tellBus(const QString& method, const QVariantList& arguments = {}) {
    QDBusMessage message = QDBusMessage::createMethodCall(
        u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s, u"org.freedesktop.DBus"_s, method);
    message.setArguments(arguments);
    return QDBusConnection::sessionBus().call(message).type() == QDBusMessage::ReplyMessage;
}

/// Who starts the program is the bus, so the bus is told.
bool setVariableOfStarts(const QString& name, const QString& value) {
    using Variables = QMap<QString, QString>;
    qDBusRegisterMetaType<Variables>();
    return tellBus(u"UpdateActivationEnvironment"_s, {QVariant::fromValue(Variables{{name, value}})});
}

bool writeService(const QString& name) {
    const QString folder =
        QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + u"/dbus-1/services/"_s;
    QFile file(folder + name + u".service"_s);
    return QDir().mkpath(folder) && file.open(QIODevice::WriteOnly) &&
           file.write("[D-BUS Service]\nName=" + name.toLatin1() + "\nExec=" TIMER_PROGRAM "\n") > 0;
}

} // namespace

/// What the desktop entry says of the program is true.
class DesktopEntryTest : public QObject {
    Q_OBJECT

    [[nodiscard]] QString value(const QString& key) const { return m_entry.value(key).toString(); }

    Screen m_screen;
    DevServer m_server;
    QSettings m_entry{QStringLiteral(DESKTOP_ENTRY), QSettings::IniFormat};

private Q_SLOTS:
    void initTestCase();
    void init() { startClean(); }
    void namesTheWindowsClass();
    void theBusStartsIt();
};

void DesktopEntryTest::initTestCase() {
    m_entry.beginGroup(u"Desktop Entry"_s);
    QVERIFY(m_screen.start());
    QVERIFY(m_server.start());
}

void DesktopEntryTest::namesTheWindowsClass() {
    Program program;
    program.start({u"--server"_s, m_server.url()});
    const QString name = value(u"StartupWMClass"_s);
    QVERIFY(!name.isEmpty());
    // Asked once more it could miss the window, while others of the program come and go.
    QVERIFY(QTest::qWaitFor([&] { return m_screen.isOfClass(program, name); }, Screen::patienceMs));
}

// Its window opens, and only then the caller has an answer.
void DesktopEntryTest::theBusStartsIt() {
    QVERIFY(m_entry.value(u"DBusActivatable"_s).toBool());
    const QString name = QFileInfo(m_entry.fileName()).completeBaseName();
    QVERIFY(writeService(name));
    QVERIFY(tellBus(u"ReloadConfig"_s));
    QVERIFY(setVariableOfStarts(u"QT_LINUX_ACCESSIBILITY_ALWAYS_ON"_s, u"1"_s));
    QSettings().setValue(u"server"_s, m_server.url());

    QVERIFY(!processOf(name).isValid());
    QDBusMessage activate = QDBusMessage::createMethodCall(name, u'/' + QString(name).replace(u'.', u'/'),
                                                           u"org.freedesktop.Application"_s, u"Activate"_s);
    activate << QVariantMap();
    const QDBusMessage answer =
        QDBusConnection::sessionBus().call(activate, QDBus::BlockWithGui, Screen::patienceMs);
    QVERIFY2(answer.type() == QDBusMessage::ReplyMessage, qPrintable(answer.errorMessage()));
    const auto process = pid_t(processOf(name).value());
    QVERIFY(process > 0);
    QTRY_VERIFY_WITH_TIMEOUT(
        !Element::application(process).find(Role::Label, u"Connected to PostgreSQL"_s).isNull(),
        Screen::patienceMs);

    QCOMPARE(::kill(process, SIGTERM), 0);
    QTRY_VERIFY_WITH_TIMEOUT(!processOf(name).isValid(), Screen::patienceMs);
}

QTEST_MAIN(DesktopEntryTest)
#include "desktopentry.moc"
