// SPDX-License-Identifier: MIT
#include "tests/support/program.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <sys/resource.h>
#include <unistd.h>

namespace {

/// Some user that is not root, which may read every memory.
constexpr uint somebody = 65534;

QStringList lines(const QByteArray& text) {
    return QString::fromUtf8(text).split(u'\n', Qt::SkipEmptyParts);
}

} // namespace

/// What somebody learns from the memory of a program of the same user.
class MemoryImageTest : public QObject {
    Q_OBJECT

    /// What can be done to such a process.
    [[nodiscard]] QStringList attempt(const QString& kind) const;

    QTemporaryDir m_folder{QStringLiteral("/tmp/timer-memory-XXXXXX")}; // in reach of everyone

private Q_SLOTS:
    void initTestCase();
    void protectedOneShowsNothing();
    void theProgramProtectsItself();
};

void MemoryImageTest::initTestCase() {
    const QString copy = m_folder.filePath(QStringLiteral("memorysubject"));
    QVERIFY(QFile::copy(QStringLiteral(MEMORY_SUBJECT), copy));
    if (geteuid() == 0) {
        QCOMPARE(chown(QFile::encodeName(m_folder.path()).constData(), somebody, somebody), 0);
        QCOMPARE(chown(QFile::encodeName(copy).constData(), somebody, somebody), 0);
    }
}

QStringList MemoryImageTest::attempt(const QString& kind) const {
    QStringList command{m_folder.filePath(QStringLiteral("memorysubject")), kind};
    if (geteuid() == 0) {
        const QString id = QString::number(somebody);
        command = QStringList{QStringLiteral("setpriv"), QStringLiteral("--reuid=") + id,
                              QStringLiteral("--regid=") + id, QStringLiteral("--clear-groups")} +
                  command;
    }
    QProcess process;
    process.setWorkingDirectory(m_folder.path());
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(command.takeFirst(), command);
    const bool ended = process.waitForFinished() && process.exitStatus() == QProcess::NormalExit &&
                       process.exitCode() == EXIT_SUCCESS;
    return ended ? lines(process.readAllStandardOutput()) : QStringList{QStringLiteral("it did not end")};
}

void MemoryImageTest::protectedOneShowsNothing() {
    const QStringList all{QStringLiteral("mem"), QStringLiteral("environ"), QStringLiteral("auxv"),
                          QStringLiteral("attach"), QStringLiteral("core")};
    const QStringList open = attempt(QStringLiteral("open"));
    if (open != all) {
        QSKIP(qPrintable(QStringLiteral("This system gives away no more than: ") + open.join(u' ')));
    }
    const QStringList files = QDir(m_folder.path()).entryList(QDir::Files);
    QCOMPARE(attempt(QStringLiteral("protected")), QStringList());
    QCOMPARE(QDir(m_folder.path()).entryList(QDir::Files), files);
}

// With sanitizers it stays open to a debugger; its core dumps are off all the same.
void MemoryImageTest::theProgramProtectsItself() {
    rlimit cores{};
    QCOMPARE(getrlimit(RLIMIT_CORE, &cores), 0);
    if (cores.rlim_max == 0) {
        QSKIP("There are no core dumps here.");
    }
    cores.rlim_cur = cores.rlim_max;
    QCOMPARE(setrlimit(RLIMIT_CORE, &cores), 0);
    Program program;
    // Which would switch them off by themselves.
    program.setVariable(QStringLiteral("ASAN_OPTIONS"), QStringLiteral("disable_coredump=0:detect_leaks=0"));
    program.start();
    const auto limit = [&program] {
        QFile file(QStringLiteral("/proc/%1/limits").arg(program.id()));
        return file.open(QIODevice::ReadOnly) ? lines(file.readAll())
                                                    .filter(QStringLiteral("Max core file size"))
                                                    .join(u' ')
                                                    .simplified()
                                              : QString();
    };
    QTRY_VERIFY_WITH_TIMEOUT(limit().startsWith(QStringLiteral("Max core file size 0 ")), 30'000);
    QVERIFY(program.isRunning());
}

QTEST_MAIN(MemoryImageTest)
#include "memoryimage.moc"
