// SPDX-License-Identifier: MIT
#include "tests/support/client.h"
#include "tests/support/devserver.h"
#include "tests/support/program.h"
#include "tests/support/screen.h"

#include <QDir>
#include <QFile>
#include <QLibraryInfo>
#include <QSettings>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class CommandLineTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }
    void printsAndEnds_data();
    void printsAndEnds();
    void unknownOptionIsRefused();
    void whatIsNoOptionIsRefused();
    void probeOfNoAddressEndsAtOnce_data();
    void probeOfNoAddressEndsAtOnce();
    void brokenInstallationEndsWithCodeOne();
    void silentServerEndsTheProbeWithCodeTwo();
    void missingFolderEndsTheProbeWithCodeThree();
    void defaultServerIsTheLocalOne();
};

void CommandLineTest::printsAndEnds_data() {
    QTest::addColumn<QString>("option");
    QTest::addColumn<QStringList>("texts");
    QTest::newRow("help") << u"--help"_s
                          << QStringList{u"-h, --help"_s, u"-v, --version"_s, u"--server <url> Server URL"_s,
                                         u"--read-only-probe <file> "
                                         "Write a read-only native smoke-test result and exit"_s};
    QTest::newRow("version") << u"--version"_s
                             << QStringList{u"TimerKelvaro "_s + QStringLiteral(TIMER_VERSION)};
}

void CommandLineTest::printsAndEnds() {
    QFETCH(QString, option);
    QFETCH(QStringList, texts);
    Program program;
    program.start({option});
    QCOMPARE(program.exitCode(), 0);
    // Long help is wrapped.
    const QString output = QString::fromUtf8(program.output()).simplified();
    for (const QString& text : std::as_const(texts)) {
        QVERIFY2(output.contains(text), qPrintable(text + u" is not in "_s + output));
    }
}

void CommandLineTest::unknownOptionIsRefused() {
    Program program;
    program.start({u"--sever"_s, u"http://127.0.0.1:1"_s});
    QCOMPARE(program.exitCode(), 1);
    QVERIFY(program.output().contains("Unknown option 'sever'"));
    QVERIFY(QSettings().allKeys().isEmpty());
}

void CommandLineTest::whatIsNoOptionIsRefused() {
    Program program;
    program.start({u"https://timer.example.com"_s});
    QCOMPARE(program.exitCode(), 1);
    QCOMPARE(program.output(),
             "Timer.Kelvaro takes nothing but options; a server's address goes behind --server.\n");
    QVERIFY(QSettings().allKeys().isEmpty());
}

void CommandLineTest::probeOfNoAddressEndsAtOnce_data() {
    QTest::addColumn<QString>("given");
    QTest::addColumn<QString>("stored");
    QTest::newRow("without a scheme") << u"timer.example.com"_s << QString();
    QTest::newRow("in the clear to the world") << u"http://timer.example.com"_s << QString();
    QTest::newRow("empty") << u""_s << u"http://127.0.0.1:1"_s;
    QTest::newRow("stored") << QString() << u"timer.example.com"_s;
}

void CommandLineTest::probeOfNoAddressEndsAtOnce() {
    QFETCH(QString, given);
    QFETCH(QString, stored);
    {
        QSettings settings;
        settings.setValue(u"server"_s, stored);
    }
    const QTemporaryDir folder;
    QStringList arguments{u"--read-only-probe"_s, folder.filePath(u"probe.json"_s)};
    if (!given.isNull()) {
        arguments += {u"--server"_s, given};
    }
    Program program;
    program.start(arguments);
    QCOMPARE(program.exitCode(), 1);
    QCOMPARE(program.output(), "The server's address must begin with https://, or with http:// where the "
                               "server is on this machine or a private network.\n");
    QVERIFY(QDir(folder.path()).isEmpty());
    QSettings settings;
    settings.sync();
    QCOMPARE(settings.allKeys(), QStringList{u"server"_s});
}

// As if the QML modules of Qt were not installed: a qt.conf beside the program leads past them.
void CommandLineTest::brokenInstallationEndsWithCodeOne() {
    const QTemporaryDir folder;
    const QString file = folder.filePath(u"timer-kelvaro"_s);
    QVERIFY(QFile::copy(QStringLiteral(TIMER_PROGRAM), file));
    QSettings paths(folder.filePath(u"qt.conf"_s), QSettings::IniFormat);
    paths.setValue(u"Paths/Plugins"_s, QLibraryInfo::path(QLibraryInfo::PluginsPath));
    paths.setValue(u"Paths/QmlImports"_s, folder.filePath(u"nothing"_s));
    paths.sync();

    Program program;
    program.setFile(file);
    program.start({u"--server"_s, u"http://127.0.0.1:1"_s});
    QCOMPARE(program.exitCode(), 1);
    const QByteArray output = program.output();
    QVERIFY2(output.contains("is not installed"), output.constData());
    QVERIFY2(output.endsWith("\nThe window could not be loaded, for the reason above: see that "
                             "Timer.Kelvaro and Qt's QML modules are installed whole.\n"),
             output.constData());
    QVERIFY(!QSettings().contains(u"server"_s));
}

void CommandLineTest::silentServerEndsTheProbeWithCodeTwo() {
    QTcpServer silent;
    QVERIFY(silent.listen(QHostAddress::LocalHost));
    const QTemporaryDir folder;
    const QString file = folder.filePath(u"probe.json"_s);
    Program program;
    program.start(
        {u"--server"_s, u"http://127.0.0.1:%1"_s.arg(silent.serverPort()), u"--read-only-probe"_s, file});
    QCOMPARE(program.exitCode(), 2);
    QCOMPARE(program.output(), "The server's data was not loaded within 20 seconds: see that the server is "
                               "running and that its address is right.\n");
    QVERIFY(QDir(folder.path()).isEmpty());
}

void CommandLineTest::missingFolderEndsTheProbeWithCodeThree() {
    DevServer server;
    QVERIFY(server.start());
    const QTemporaryDir folder;
    const QString file = folder.filePath(u"missing/probe.json"_s);
    Program program;
    program.start({u"--server"_s, server.url(), u"--read-only-probe"_s, file});
    QCOMPARE(program.exitCode(), 3);
    QCOMPARE(program.output(),
             "The result could not be written to " + file.toUtf8() + " (No such file or directory).\n");
    QVERIFY(QDir(folder.path()).isEmpty());
}

// Whether or not anybody listens there.
void CommandLineTest::defaultServerIsTheLocalOne() {
    const QTemporaryDir folder;
    Program program;
    program.start({u"--read-only-probe"_s, folder.filePath(u"probe.json"_s)});
    const auto stored = [] {
        QSettings settings;
        settings.sync();
        return settings.value(u"server"_s).toString();
    };
    QTRY_COMPARE_WITH_TIMEOUT(stored(), u"http://127.0.0.1:18080"_s, Screen::patienceMs);
}

QTEST_MAIN(CommandLineTest)
#include "commandline.moc"
