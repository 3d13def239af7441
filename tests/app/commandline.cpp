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
    QTest::newRow("help") << QStringLiteral("--help")
                          << QStringList{
                                 QStringLiteral("-h, --help"), QStringLiteral("-v, --version"),
                                 QStringLiteral("--server <url> Server URL"),
                                 QStringLiteral("--read-only-probe <file> "
                                                "Write a read-only native smoke-test result and exit")};
    QTest::newRow("version") << QStringLiteral("--version")
                             << QStringList{QStringLiteral("TimerKelvaro 0.7.0")};
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
        QVERIFY2(output.contains(text), qPrintable(text + QStringLiteral(" is not in ") + output));
    }
}

void CommandLineTest::unknownOptionIsRefused() {
    Program program;
    program.start({QStringLiteral("--sever"), QStringLiteral("http://127.0.0.1:1")});
    QCOMPARE(program.exitCode(), 1);
    QVERIFY(program.output().contains("Unknown option 'sever'"));
    QVERIFY(QSettings().allKeys().isEmpty());
}

void CommandLineTest::whatIsNoOptionIsRefused() {
    Program program;
    program.start({QStringLiteral("https://timer.example.com")});
    QCOMPARE(program.exitCode(), 1);
    QCOMPARE(program.output(),
             "Timer.Kelvaro takes nothing but options; a server's address goes behind --server.\n");
    QVERIFY(QSettings().allKeys().isEmpty());
}

void CommandLineTest::probeOfNoAddressEndsAtOnce_data() {
    QTest::addColumn<QString>("given");
    QTest::addColumn<QString>("stored");
    QTest::newRow("without a scheme") << QStringLiteral("timer.example.com") << QString();
    QTest::newRow("in the clear to the world") << QStringLiteral("http://timer.example.com") << QString();
    QTest::newRow("empty") << QStringLiteral("") << QStringLiteral("http://127.0.0.1:1");
    QTest::newRow("stored") << QString() << QStringLiteral("timer.example.com");
}

void CommandLineTest::probeOfNoAddressEndsAtOnce() {
    QFETCH(QString, given);
    QFETCH(QString, stored);
    {
        QSettings settings;
        settings.setValue(QStringLiteral("server"), stored);
    }
    const QTemporaryDir folder;
    QStringList arguments{QStringLiteral("--read-only-probe"), folder.filePath(QStringLiteral("probe.json"))};
    if (!given.isNull()) {
        arguments += {QStringLiteral("--server"), given};
    }
    Program program;
    program.start(arguments);
    QCOMPARE(program.exitCode(), 1);
    QCOMPARE(program.output(), "The server's address must begin with https://, or with http:// where the "
                               "server is on this machine or a private network.\n");
    QVERIFY(QDir(folder.path()).isEmpty());
    QSettings settings;
    settings.sync();
    QCOMPARE(settings.allKeys(), QStringList{QStringLiteral("server")});
}

// As if the QML modules of Qt were not installed: a qt.conf beside the program leads past them.
void CommandLineTest::brokenInstallationEndsWithCodeOne() {
    const QTemporaryDir folder;
    const QString file = folder.filePath(QStringLiteral("timer-kelvaro"));
    QVERIFY(QFile::copy(QStringLiteral(TIMER_PROGRAM), file));
    QSettings paths(folder.filePath(QStringLiteral("qt.conf")), QSettings::IniFormat);
    paths.setValue(QStringLiteral("Paths/Plugins"), QLibraryInfo::path(QLibraryInfo::PluginsPath));
    paths.setValue(QStringLiteral("Paths/QmlImports"), folder.filePath(QStringLiteral("nothing")));
    paths.sync();

    Program program;
    program.setFile(file);
    program.start({QStringLiteral("--server"), QStringLiteral("http://127.0.0.1:1")});
    QCOMPARE(program.exitCode(), 1);
    const QByteArray output = program.output();
    QVERIFY2(output.contains("is not installed"), output.constData());
    QVERIFY(!QSettings().contains(QStringLiteral("server")));
}

void CommandLineTest::silentServerEndsTheProbeWithCodeTwo() {
    QTcpServer silent;
    QVERIFY(silent.listen(QHostAddress::LocalHost));
    const QTemporaryDir folder;
    const QString file = folder.filePath(QStringLiteral("probe.json"));
    Program program;
    program.start({QStringLiteral("--server"), QStringLiteral("http://127.0.0.1:%1").arg(silent.serverPort()),
                   QStringLiteral("--read-only-probe"), file});
    QCOMPARE(program.exitCode(), 2);
    QVERIFY(QDir(folder.path()).isEmpty());
}

void CommandLineTest::missingFolderEndsTheProbeWithCodeThree() {
    DevServer server;
    QVERIFY(server.start());
    const QTemporaryDir folder;
    const QString file = folder.filePath(QStringLiteral("missing/probe.json"));
    Program program;
    program.start({QStringLiteral("--server"), server.url(), QStringLiteral("--read-only-probe"), file});
    QCOMPARE(program.exitCode(), 3);
    QVERIFY(QDir(folder.path()).isEmpty());
}

// Whether or not anybody listens there.
void CommandLineTest::defaultServerIsTheLocalOne() {
    const QTemporaryDir folder;
    Program program;
    program.start({QStringLiteral("--read-only-probe"), folder.filePath(QStringLiteral("probe.json"))});
    const auto stored = [] {
        QSettings settings;
        settings.sync();
        return settings.value(QStringLiteral("server")).toString();
    };
    QTRY_COMPARE_WITH_TIMEOUT(stored(), QStringLiteral("http://127.0.0.1:18080"), Screen::patienceMs);
}

QTEST_MAIN(CommandLineTest)
#include "commandline.moc"
