// SPDX-License-Identifier: MIT
#include "tests/vault/vaulthome.h"
#include "vault/databaselock.h"
#include "vault/vault.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString home = u"https://time.example"_s;
const QString other = u"http://127.0.0.1:18080"_s;
const QString alreadyOpen =
    u"Timer.Kelvaro is already open on this server; offline writes are disabled in this window."_s;

QJsonObject document(const QString& description) {
    return {{u"queue"_s, QJsonArray{description}}};
}

QString lockFile(const QString& scope) {
    return VaultHome::directory() + u'/' + VaultHome::hashOf(scope) + u".lock"_s;
}

/// Another program that unlocks the same server, in this home or another one.
class Holder {
public:
    explicit Holder(const QString& homeFolder = QDir::homePath(), const QString& session = {}) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"HOME"_s, homeFolder);
        environment.insert(u"XDG_DATA_HOME"_s, homeFolder + u"/.local/share"_s);
        if (!session.isEmpty()) {
            environment.insert(u"XDG_RUNTIME_DIR"_s, session);
        }
        m_program.setProcessEnvironment(environment);
        m_program.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_program.start(QCoreApplication::applicationDirPath() + u"/vault-holder"_s, {home});
    }
    ~Holder() { end(); }
    Q_DISABLE_COPY_MOVE(Holder)

    QString answer() {
        const bool answered = QTest::qWaitFor([this] { return m_program.canReadLine(); }, 20000);
        return answered ? QString::fromUtf8(m_program.readLine()).trimmed() : u"no answer"_s;
    }

    QString save(const QByteArray& description) {
        m_program.write(description + '\n');
        return answer();
    }

    void kill() {
        m_program.kill();
        m_program.waitForFinished();
    }

    void end() {
        m_program.closeWriteChannel();
        m_program.waitForFinished();
    }

private:
    QProcess m_program;
};

} // namespace

/// One program at a time has a server's store: two would save over each other.
class OneProgramTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { VaultHome::nameApplication(); }
    void cleanup();

    void secondProgramIsRefusedUntilTheFirstEnds();
    void killedProgramHoldsNobodyUp();
    void alternatingWritesOfTwoProgramsLoseNothing();
    void heldStoreGetsNoKey();
    void changeOfServerGivesTheStoreUp();
    void refusedUnlockGivesTheStoreUp();
    void linkedHomeIsTheSameStore();
    void copiedHomeIsHeldWhileTheCredentialStoreIsShared_data();
    void copiedHomeIsHeldWhileTheCredentialStoreIsShared();
    void copiedLockHoldsNobodyUp();
    void deletedLockIsTakenAgain();
    void deletedLockThatSomebodyElseTookStopsTheWrites();
    void childProgramsDoNotKeepTheStore();
    void lockGoesWithTheVault();
};

void OneProgramTest::cleanup() {
    for (const QString& scope : {home, other}) {
        static_cast<void>(VaultHome::deleteKey(scope));
    }
    QVERIFY(QDir(VaultHome::directory()).removeRecursively());
}

void OneProgramTest::secondProgramIsRefusedUntilTheFirstEnds() {
    Holder first;
    QCOMPARE(first.answer(), u"ready"_s);
    QCOMPARE(first.save("first"), u"saved"_s);
    const QByteArray record = VaultHome::record(home);

    Vault second;
    for (int attempt = 0; attempt < 2; ++attempt) {
        QCOMPARE(VaultHome::unlock(second, home), alreadyOpen);
        QVERIFY(!second.isReady());
        QVERIFY(!second.acceptsWrites());
        QVERIFY(!second.save(document(u"second"_s)));
        bool ok = true;
        QVERIFY(second.load(&ok).isEmpty());
        QVERIFY(!ok);
    }
    QCOMPARE(VaultHome::record(home), record);
    QCOMPARE(first.save("still first"), u"saved"_s);

    first.end();
    QCOMPARE(VaultHome::unlock(second, home), QString());
    QCOMPARE(second.load(), document(u"still first"_s));
    QVERIFY(second.save(document(u"second"_s)));
}

void OneProgramTest::killedProgramHoldsNobodyUp() {
    Holder first;
    QCOMPARE(first.answer(), u"ready"_s);
    QCOMPARE(first.save("first"), u"saved"_s);
    first.kill();
    QVERIFY(QFileInfo::exists(lockFile(home)));
    Vault second;
    QCOMPARE(VaultHome::unlock(second, home), QString());
    QCOMPARE(second.load(), document(u"first"_s));
}

void OneProgramTest::alternatingWritesOfTwoProgramsLoseNothing() {
    for (int round = 0; round < 10; ++round) {
        Holder first;
        QCOMPARE(first.answer(), u"ready"_s);
        Holder second;
        QCOMPARE(second.answer(), alreadyOpen);
        for (int write = 0; write < 10; ++write) {
            QCOMPARE(first.save("first " + QByteArray::number(write)), u"saved"_s);
            QCOMPARE(second.save("second"), u"refused"_s);
        }
        first.kill();
        Vault reader;
        QCOMPARE(VaultHome::unlock(reader, home), QString());
        QCOMPARE(reader.load(), document(u"first 9"_s));
    }
}

void OneProgramTest::heldStoreGetsNoKey() {
    DatabaseLock somebody;
    QCOMPARE(somebody.take(VaultHome::databaseFile(home)), LockFile::Answer::Taken);
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), alreadyOpen);
    QVERIFY(VaultHome::storedKey(home).isNull());
    QCOMPARE(QDir(VaultHome::directory()).entryList(QDir::Files),
             QStringList(QFileInfo(lockFile(home)).fileName()));
    // The key of another server is nobody's business here.
    QCOMPARE(VaultHome::unlock(vault, other), QString());
}

void OneProgramTest::changeOfServerGivesTheStoreUp() {
    Vault first;
    Vault second;
    QCOMPARE(VaultHome::unlock(first, home), QString());
    QCOMPARE(VaultHome::unlock(second, home), alreadyOpen);
    QCOMPARE(VaultHome::unlock(first, other), QString());
    QCOMPARE(VaultHome::unlock(second, home), QString());
    QCOMPARE(VaultHome::unlock(first, home), alreadyOpen);
    QVERIFY(second.save(document(u"second"_s)));
}

void OneProgramTest::refusedUnlockGivesTheStoreUp() {
    QVERIFY(VaultHome::storeKey(home, QByteArray(16, 'k')));
    Vault first;
    QVERIFY(!VaultHome::unlock(first, home).isEmpty());
    QVERIFY(VaultHome::storeKey(home, QByteArray(32, 'k')));
    Vault second;
    QCOMPARE(VaultHome::unlock(second, home), QString());
}

void OneProgramTest::linkedHomeIsTheSameStore() {
    const QTemporaryDir folder;
    const QString link = folder.filePath(u"home"_s);
    QVERIFY(QFile::link(QDir::homePath(), link));
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    // A login session of its own, so that the lock beside the database has to do.
    Holder program(link, folder.path());
    QCOMPARE(program.answer(), alreadyOpen);
    QCOMPARE(program.save("linked"), u"refused"_s);
    QVERIFY(VaultHome::record(home).isNull());
}

void OneProgramTest::copiedHomeIsHeldWhileTheCredentialStoreIsShared_data() {
    QTest::addColumn<bool>("copied");
    QTest::newRow("a copy") << true;
    QTest::newRow("an empty home") << false;
}

void OneProgramTest::copiedHomeIsHeldWhileTheCredentialStoreIsShared() {
    QFETCH(bool, copied);
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(vault.save(document(u"mine"_s)));
    const QByteArray key = VaultHome::storedKey(home);
    const QTemporaryDir copy;
    const QString data = copy.filePath(u".local/share/Kelvaro/TimerKelvaro"_s);
    QVERIFY(QDir().mkpath(data));
    if (copied) {
        for (const QFileInfo& file : QDir(VaultHome::directory()).entryInfoList(QDir::Files)) {
            QVERIFY(QFile::copy(file.filePath(), data + u'/' + file.fileName()));
        }
    }
    const QStringList before = QDir(data).entryList(QDir::Files);
    // Without its key in the store, the other home would make one of its own.
    QVERIFY(VaultHome::deleteKey(home));
    Holder program(copy.path());
    QCOMPARE(program.answer(), alreadyOpen);
    QCOMPARE(program.save("theirs"), u"refused"_s);
    QCOMPARE(QDir(data).entryList(QDir::Files), before);
    QVERIFY(VaultHome::storedKey(home).isNull());
    QVERIFY(VaultHome::storeKey(home, key));
    QVERIFY(vault.save(document(u"mine still"_s)));
}

void OneProgramTest::copiedLockHoldsNobodyUp() {
    QVERIFY(QDir().mkpath(VaultHome::directory()));
    QFile left(lockFile(home));
    QVERIFY(left.open(QIODevice::WriteOnly) && left.write("1\ntimer-kelvaro\nhost\n") > 0);
    left.close();
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(vault.save(document(u"mine"_s)));
}

void OneProgramTest::deletedLockIsTakenAgain() {
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(QFile::remove(lockFile(home)));
    QVERIFY(vault.save(document(u"mine"_s)));
    const QTemporaryDir session;
    Holder program(QDir::homePath(), session.path());
    QCOMPARE(program.answer(), alreadyOpen);
}

void OneProgramTest::deletedLockThatSomebodyElseTookStopsTheWrites() {
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(vault.save(document(u"mine"_s)));
    QVERIFY(QFile::remove(lockFile(home)));
    const QTemporaryDir session;
    {
        Holder program(QDir::homePath(), session.path());
        QCOMPARE(program.answer(), u"ready"_s);
        const QByteArray record = VaultHome::record(home);
        QVERIFY(!vault.save(document(u"over it"_s)));
        QCOMPARE(VaultHome::record(home), record);
    }
    QVERIFY(vault.save(document(u"alone again"_s)));
}

void OneProgramTest::childProgramsDoNotKeepTheStore() {
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QProcess child;
    child.start(u"ls"_s, {u"-l"_s, u"/proc/self/fd"_s});
    QVERIFY(child.waitForFinished());
    const QByteArray open = child.readAll();
    QVERIFY(open.contains("pipe:"));
    QVERIFY2(!open.contains(".lock"), open.constData());
}

void OneProgramTest::lockGoesWithTheVault() {
    {
        Vault vault;
        QCOMPARE(VaultHome::unlock(vault, home), QString());
        QVERIFY(QFileInfo::exists(lockFile(home)));
    }
    QCOMPARE(QDir(VaultHome::directory()).entryList(QDir::Files),
             QStringList(QFileInfo(VaultHome::databaseFile(home)).fileName()));
}

QTEST_GUILESS_MAIN(OneProgramTest)
#include "oneprogram.moc"
