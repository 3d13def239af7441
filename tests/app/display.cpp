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

using namespace Qt::StringLiterals;

namespace {

/// Variables of the environment.
using Displays = QMap<QString, QString>;

const QString positional = u"nothing"_s;
const QByteArray onlyOptions =
    "Timer.Kelvaro takes nothing but options; a server's address goes behind --server.\n";
const QByteArray noDisplay = "There is no display for the window: start Timer.Kelvaro in a desktop session, "
                             "or set DISPLAY or WAYLAND_DISPLAY.\n";

QByteArray deadDisplay(const QByteArray& displays) {
    return "The display does not answer (" + displays +
           "): start Timer.Kelvaro in a desktop session that is open and yours.\n";
}

/// A copy of the program, beside which one of Qt's plug-ins for a platform is not as it should be.
class Installation {
public:
    enum class Fault { WaylandMissing, X11Broken };

    explicit Installation(Fault fault) {
        const QDir all(QLibraryInfo::path(QLibraryInfo::PluginsPath) + u"/platforms"_s);
        const QDir here(m_folder.path());
        const auto plugins = all.entryList(QDir::Files);
        m_ready = here.mkpath(u"plugins/platforms"_s) && QFile::copy(QStringLiteral(TIMER_PROGRAM), file());
        for (const QString& plugin : plugins) {
            const QString from = all.filePath(plugin);
            const QString to = here.filePath(u"plugins/platforms/"_s + plugin);
            if (fault == Fault::X11Broken && plugin == u"libqxcb.so") {
                m_ready = m_ready && copyBroken(from, to);
            } else if (fault == Fault::X11Broken || !plugin.contains(u"wayland"_s)) {
                m_ready = m_ready && QFile::link(from, to);
            }
        }
        QSettings paths(here.filePath(u"qt.conf"_s), QSettings::IniFormat);
        paths.setValue(u"Paths/Plugins"_s, here.filePath(u"plugins"_s));
    }

    [[nodiscard]] bool isReady() const { return m_ready; }
    [[nodiscard]] QString file() const { return m_folder.filePath(u"timer-kelvaro"_s); }

private:
    /// It needs a library that is nowhere.
    static bool copyBroken(const QString& from, const QString& to) {
        QFile whole(from);
        QFile broken(to);
        if (!whole.open(QIODevice::ReadOnly) || !broken.open(QIODevice::WriteOnly)) {
            return false;
        }
        const QByteArray bytes = whole.readAll().replace("libQt6XcbQpa", "libQt6Nobody");
        return broken.write(bytes) == bytes.size();
    }

    QTemporaryDir m_folder;
    bool m_ready = false;
};

/// A program on no display but those that are named here.
std::unique_ptr<Program> programOn(const Displays& displays) {
    auto program = std::make_unique<Program>();
    for (const auto& variable : {u"QT_QPA_PLATFORM"_s, u"DISPLAY"_s, u"WAYLAND_DISPLAY"_s}) {
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
    void tellsOfABrokenPlugIn();
    void leavesTheChoiceOfAnotherPlatform_data();
    void leavesTheChoiceOfAnotherPlatform();
};

void DisplayTest::helpAndVersionNeedNone_data() {
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("text");
    const QString help = u"--help"_s;
    QTest::newRow("version") << QStringList{u"-v"_s} << QByteArray("TimerKelvaro " TIMER_VERSION "\n");
    QTest::newRow("help") << QStringList{help} << QByteArray("Server URL");
    QTest::newRow("help on Qt's options") << QStringList{u"--help-all"_s} << QByteArray("--platform <");
    QTest::newRow("help on a platform that needs one")
        << QStringList{u"-platform"_s, u"xcb"_s, help} << QByteArray("Server URL");
    QTest::newRow("version on a platform that is not there")
        << QStringList{u"--platform"_s, u"paper"_s, u"-v"_s}
        << QByteArray("TimerKelvaro " TIMER_VERSION "\n");
    QTest::newRow("help besides an option of Qt")
        << QStringList{u"-reverse"_s, help} << QByteArray("Server URL");
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
    const QString x11 = u"DISPLAY"_s;
    const QString wayland = u"WAYLAND_DISPLAY"_s;
    const QString session = u"XDG_SESSION_TYPE"_s;
    const QString platform = u"QT_QPA_PLATFORM"_s;
    const QString nobody = u":4711"_s;
    const QString nowhere = u"wayland-4711"_s;
    const QByteArray noPlatform = "Qt has no platform \"paper\" here: leave QT_QPA_PLATFORM and -platform "
                                  "away, or name another one.\n";
    QTest::newRow("none") << Displays{} << QStringList() << noDisplay;
    QTest::newRow("an option of Qt like that of the version")
        << Displays{} << QStringList{u"-reverse"_s} << noDisplay;
    QTest::newRow("empty") << Displays{{x11, QString()}} << QStringList() << noDisplay;
    QTest::newRow("none, in a session of Wayland")
        << Displays{{session, u"wayland"_s}} << QStringList() << noDisplay;
    QTest::newRow("dead X server") << Displays{{x11, nobody}} << QStringList()
                                   << deadDisplay("DISPLAY=:4711");
    QTest::newRow("dead X server, chosen")
        << Displays{{x11, nobody}, {platform, u"xcb"_s}} << QStringList() << deadDisplay("DISPLAY=:4711");
    QTest::newRow("dead compositor") << Displays{{wayland, nowhere}} << QStringList()
                                     << deadDisplay("WAYLAND_DISPLAY=wayland-4711");
    QTest::newRow("both dead") << Displays{{x11, nobody}, {wayland, nowhere}} << QStringList()
                               << deadDisplay("WAYLAND_DISPLAY=wayland-4711, DISPLAY=:4711");
    QTest::newRow("platform that is not there")
        << Displays{{x11, qEnvironmentVariable("DISPLAY")}, {platform, u"paper"_s}} << QStringList()
        << noPlatform;
    QTest::newRow("platform that is not there, named in the start")
        << Displays{{x11, qEnvironmentVariable("DISPLAY")}} << QStringList{u"-platform"_s, u"paper"_s}
        << noPlatform;
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
    const Installation installation(Installation::Fault::WaylandMissing);
    QVERIFY(installation.isReady());
    const auto program = programOn({{u"WAYLAND_DISPLAY"_s, u"wayland-0"_s}});
    program->setFile(installation.file());
    program->start();
    QCOMPARE(program->exitCode(), 1);
    QCOMPARE(program->output(), "Qt has no plug-in for Wayland here: install Qt's Wayland plug-in (Debian: "
                                "qt6-wayland), then start Timer.Kelvaro again.\n");
}

// What Qt has to say about it is not lost.
void DisplayTest::goesOnUnderX11WithoutThePlugInForWayland() {
    const Installation installation(Installation::Fault::WaylandMissing);
    QVERIFY(installation.isReady());
    const auto program =
        programOn({{u"WAYLAND_DISPLAY"_s, u"wayland-0"_s}, {u"DISPLAY"_s, qEnvironmentVariable("DISPLAY")}});
    program->setFile(installation.file());
    program->start({positional});
    QCOMPARE(program->exitCode(), 1);
    const QByteArray output = program->output();
    QVERIFY2(output.contains("Could not find the Qt platform plugin \"wayland\""), output.constData());
    QVERIFY2(output.endsWith(onlyOptions), output.constData());
}

// A display that answers is not told to be dead, and Qt's own words are not lost.
void DisplayTest::tellsOfABrokenPlugIn() {
    const Installation installation(Installation::Fault::X11Broken);
    QVERIFY(installation.isReady());
    const auto program = programOn({{u"DISPLAY"_s, qEnvironmentVariable("DISPLAY")}});
    program->setFile(installation.file());
    program->start();
    QCOMPARE(program->exitCode(), 1);
    const QByteArray output = program->output();
    QVERIFY2(output.contains("Could not load the Qt platform plugin \"xcb\""), output.constData());
    QVERIFY2(output.endsWith(
                 "Qt's plug-in for the display does not work, for the reason above: see that Qt is "
                 "installed whole, or start Timer.Kelvaro with QT_DEBUG_PLUGINS=1, which tells more.\n"),
             output.constData());
}

void DisplayTest::leavesTheChoiceOfAnotherPlatform_data() {
    QTest::addColumn<Displays>("environment");
    QTest::addColumn<QStringList>("arguments");
    const QString offscreen = u"offscreen"_s;
    QTest::newRow("environment") << Displays{{u"QT_QPA_PLATFORM"_s, offscreen}} << QStringList();
    QTest::newRow("start") << Displays{} << QStringList{u"-platform"_s, offscreen};
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
