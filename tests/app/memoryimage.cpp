// SPDX-License-Identifier: MIT
#include "tests/support/program.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <sys/resource.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

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

    QTemporaryDir m_folder{u"/tmp/timer-memory-XXXXXX"_s}; // in reach of everyone

private Q_SLOTS:
    void initTestCase();
    void protectedOneShowsNothing();
    void theProgramProtectsItself();
};

void MemoryImageTest::initTestCase() {
    const QString copy = m_folder.filePath(u"memorysubject"_s);
    QVERIFY(QFile::copy(QStringLiteral(MEMORY_SUBJECT), copy));
    if (geteuid() == 0) {
        QCOMPARE(chown(QFile::encodeName(m_folder.path()).constData(), somebody, somebody), 0);
        QCOMPARE(chown(QFile::encodeName(copy).constData(), somebody, somebody), 0);
    }
}

QStringList MemoryImageTest::attempt(const QString& kind) const {
    QStringList command{m_folder.filePath(u"memorysubject"_s), kind};
    if (geteuid() == 0) {
        const QString id = QString::number(somebody);
        command =
            QStringList{u"setpriv"_s, u"--reuid="_s + id, u"--regid="_s + id, u"--clear-groups"_s} + command;
    }
    QProcess process;
    process.setWorkingDirectory(m_folder.path());
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(command.takeFirst(), command);
    const bool ended = process.waitForFinished() && process.exitStatus() == QProcess::NormalExit &&
                       process.exitCode() == EXIT_SUCCESS;
    return ended ? lines(process.readAllStandardOutput()) : QStringList{u"it did not end"_s};
}

void MemoryImageTest::protectedOneShowsNothing() {
    const QStringList all{u"mem"_s, u"environ"_s, u"auxv"_s, u"attach"_s, u"core"_s};
    const QStringList open = attempt(u"open"_s);
    if (open != all) {
        QSKIP(qPrintable(u"This system gives away no more than: "_s + open.join(u' ')));
    }
    const QStringList files = QDir(m_folder.path()).entryList(QDir::Files);
    QCOMPARE(attempt(u"protected"_s), QStringList());
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
    program.setVariable(u"ASAN_OPTIONS"_s, u"disable_coredump=0:detect_leaks=0"_s);
    program.start();
    const auto limit = [&program] {
        QFile file(u"/proc/%1/limits"_s.arg(program.id()));
        return file.open(QIODevice::ReadOnly)
                   ? lines(file.readAll()).filter(u"Max core file size"_s).join(u' ').simplified()
                   : QString();
    };
    QTRY_VERIFY_WITH_TIMEOUT(limit().startsWith(u"Max core file size 0 "_s), 30'000);
    QVERIFY(program.isRunning());
}

QTEST_MAIN(MemoryImageTest)
#include "memoryimage.moc"
