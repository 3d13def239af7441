// SPDX-License-Identifier: MIT
#include "tests/support/client.h"
#include "tests/support/program.h"

#include <QDir>
#include <QFile>
#include <QLibraryInfo>
#include <QMap>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

/// Variables of the environment.
using Displays = QMap<QString, QString>;

const QString positional = QStringLiteral("nothing");
const QByteArray onlyOptions =
    "Timer.Kelvaro takes nothing but options; a server's address goes behind --server.\n";
const QByteArray noDisplay = "There is no display for the window: start Timer.Kelvaro in a desktop session, "
                             "or set DISPLAY or WAYLAND_DISPLAY.\n";

QByteArray deadDisplay(const QByteArray& displays) {
    return "The display does not answer (" + displays +
           "): start Timer.Kelvaro in a desktop session that is open and yours.\n";
}

/// A copy of the program beside which Qt's plug-in for Wayland is not installed.
class WithoutWayland {
public:
    WithoutWayland() {
        const QDir all(QLibraryInfo::path(QLibraryInfo::PluginsPath) + QStringLiteral("/platforms"));
        const QDir here(m_folder.path());
        const auto plugins = all.entryList(QDir::Files);
        m_ready = here.mkpath(QStringLiteral("plugins/platforms")) &&
                  QFile::copy(QStringLiteral(TIMER_PROGRAM), file());
        for (const QString& plugin : plugins) {
            m_ready = m_ready && (plugin.contains(QStringLiteral("wayland")) ||
                                  QFile::link(all.filePath(plugin),
                                              here.filePath(QStringLiteral("plugins/platforms/") + plugin)));
        }
        QSettings paths(here.filePath(QStringLiteral("qt.conf")), QSettings::IniFormat);
        paths.setValue(QStringLiteral("Paths/Plugins"), here.filePath(QStringLiteral("plugins")));
    }

    [[nodiscard]] bool isReady() const { return m_ready; }
    [[nodiscard]] QString file() const { return m_folder.filePath(QStringLiteral("timer-kelvaro")); }

private:
    QTemporaryDir m_folder;
    bool m_ready = false;
};

/// A program on no display but those that are named here.
std::unique_ptr<Program> programOn(const Displays& displays) {
    auto program = std::make_unique<Program>();
    for (const auto& variable :
         {QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("DISPLAY"), QStringLiteral("WAYLAND_DISPLAY")}) {
        program->unsetVariable(variable);
    }
    for (auto i = displays.begin(); i != displays.end(); ++i) {
        program->setVariable(i.key(), i.value());
    }
    return program;
}

} // namespace

/// What becomes of a start where no window can be opened.
class DisplayTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }
    void helpAndVersionNeedNone_data();
    void helpAndVersionNeedNone();
    void endsWithOneSentence_data();
    void endsWithOneSentence();
    void namesThePlugInForWayland();
    void goesOnUnderX11WithoutThePlugInForWayland();
    void leavesTheChoiceOfAnotherPlatform_data();
    void leavesTheChoiceOfAnotherPlatform();
};

void DisplayTest::helpAndVersionNeedNone_data() {
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("text");
    const QString help = QStringLiteral("--help");
    QTest::newRow("version") << QStringList{QStringLiteral("-v")} << QByteArray("TimerKelvaro 0.7.0\n");
    QTest::newRow("help") << QStringList{help} << QByteArray("Server URL");
    QTest::newRow("help on Qt's options")
        << QStringList{QStringLiteral("--help-all")} << QByteArray("--platform <");
    QTest::newRow("help besides an option of Qt")
        << QStringList{QStringLiteral("-reverse"), help} << QByteArray("Server URL");
}

void DisplayTest::helpAndVersionNeedNone() {
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, text);
    const auto program = programOn({});
    program->start(arguments);
    QCOMPARE(program->exitCode(), 0);
    const QByteArray output = program->output();
    QVERIFY2(output.contains(text), output.constData());
}

void DisplayTest::endsWithOneSentence_data() {
    QTest::addColumn<Displays>("displays");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("sentence");
    const QString x11 = QStringLiteral("DISPLAY");
    const QString wayland = QStringLiteral("WAYLAND_DISPLAY");
    const QString session = QStringLiteral("XDG_SESSION_TYPE");
    const QString platform = QStringLiteral("QT_QPA_PLATFORM");
    const QString nobody = QStringLiteral(":4711");
    const QString nowhere = QStringLiteral("wayland-4711");
    const QByteArray noPlatform = "Qt has no platform \"paper\" here: leave QT_QPA_PLATFORM and -platform "
                                  "away, or name another one.\n";
    QTest::newRow("none") << Displays{} << QStringList() << noDisplay;
    QTest::newRow("an option of Qt like that of the version")
        << Displays{} << QStringList{QStringLiteral("-reverse")} << noDisplay;
    QTest::newRow("empty") << Displays{{x11, QString()}} << QStringList() << noDisplay;
    QTest::newRow("none, in a session of Wayland")
        << Displays{{session, QStringLiteral("wayland")}} << QStringList() << noDisplay;
    QTest::newRow("dead X server") << Displays{{x11, nobody}} << QStringList()
                                   << deadDisplay("DISPLAY=:4711");
    QTest::newRow("dead X server, chosen") << Displays{{x11, nobody}, {platform, QStringLiteral("xcb")}}
                                           << QStringList() << deadDisplay("DISPLAY=:4711");
    QTest::newRow("dead compositor") << Displays{{wayland, nowhere}} << QStringList()
                                     << deadDisplay("WAYLAND_DISPLAY=wayland-4711");
    QTest::newRow("both dead") << Displays{{x11, nobody}, {wayland, nowhere}} << QStringList()
                               << deadDisplay("WAYLAND_DISPLAY=wayland-4711, DISPLAY=:4711");
    QTest::newRow("platform that is not there")
        << Displays{{x11, qEnvironmentVariable("DISPLAY")}, {platform, QStringLiteral("paper")}}
        << QStringList() << noPlatform;
    QTest::newRow("platform that is not there, named in the start")
        << Displays{{x11, qEnvironmentVariable("DISPLAY")}}
        << QStringList{QStringLiteral("-platform"), QStringLiteral("paper")} << noPlatform;
}

void DisplayTest::endsWithOneSentence() {
    QFETCH(Displays, displays);
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, sentence);
    const auto program = programOn(displays);
    program->start(arguments);
    QCOMPARE(program->exitCode(), 1);
    QCOMPARE(program->output(), sentence);
    QVERIFY(QSettings().allKeys().isEmpty());
}

void DisplayTest::namesThePlugInForWayland() {
    const WithoutWayland installation;
    QVERIFY(installation.isReady());
    const auto program = programOn({{QStringLiteral("WAYLAND_DISPLAY"), QStringLiteral("wayland-0")}});
    program->setFile(installation.file());
    program->start();
    QCOMPARE(program->exitCode(), 1);
    QCOMPARE(program->output(), "Qt has no plug-in for Wayland here: install the package qt6-wayland, then "
                                "start Timer.Kelvaro again.\n");
}

// What Qt has to say about it is not lost.
void DisplayTest::goesOnUnderX11WithoutThePlugInForWayland() {
    const WithoutWayland installation;
    QVERIFY(installation.isReady());
    const auto program = programOn({{QStringLiteral("WAYLAND_DISPLAY"), QStringLiteral("wayland-0")},
                                    {QStringLiteral("DISPLAY"), qEnvironmentVariable("DISPLAY")}});
    program->setFile(installation.file());
    program->start({positional});
    QCOMPARE(program->exitCode(), 1);
    const QByteArray output = program->output();
    QVERIFY2(output.contains("Could not find the Qt platform plugin \"wayland\""), output.constData());
    QVERIFY2(output.endsWith(onlyOptions), output.constData());
}

void DisplayTest::leavesTheChoiceOfAnotherPlatform_data() {
    QTest::addColumn<Displays>("environment");
    QTest::addColumn<QStringList>("arguments");
    const QString offscreen = QStringLiteral("offscreen");
    QTest::newRow("environment") << Displays{{QStringLiteral("QT_QPA_PLATFORM"), offscreen}} << QStringList();
    QTest::newRow("start") << Displays{} << QStringList{QStringLiteral("-platform"), offscreen};
}

void DisplayTest::leavesTheChoiceOfAnotherPlatform() {
    QFETCH(Displays, environment);
    QFETCH(QStringList, arguments);
    const auto program = programOn(environment);
    program->start(arguments << positional);
    QCOMPARE(program->exitCode(), 1);
    QCOMPARE(program->output(), onlyOptions);
}

QTEST_MAIN(DisplayTest)
#include "display.moc"
