// SPDX-License-Identifier: MIT
#include "tests/vault/failingrandom.h"
#include "tests/vault/vaulthome.h"
#include "vault/vault.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLibrary>
#include <QSqlQuery>
#include <QTest>

#include <csignal>
#include <sys/resource.h>

using namespace Qt::StringLiterals;

namespace {

const QString home = u"https://time.example"_s;

const QString storageRefused =
    u"KWallet / OS credential storage is locked or unavailable. Online mode remains "
    "available; offline writes are disabled."_s;
const QString databaseRefused = u"Local encrypted database unavailable"_s;
const QString notOpened = u"Secure storage could not be opened; offline writes are disabled."_s;

QJsonObject document(const QString& description) {
    return {{u"auth"_s, QJsonObject{{u"token"_s, u"secret-token"_s}}}, {u"queue"_s, QJsonArray{description}}};
}

// 32 bytes of seal around it make 50 MiB.
constexpr qsizetype longestText = 52'428'768;

QJsonObject documentOfLength(qsizetype length) {
    const auto around = QJsonDocument(document(QString())).toJson(QJsonDocument::Compact).size();
    return document(QString(length - around, u'x'));
}

// Objects and arrays in each other, `levels` of them.
QJsonObject nested(int levels) {
    QJsonValue value = u"[{ no bracket \""_s;
    for (int level = 1; level < levels; ++level) {
        value = level % 2 == 0 ? QJsonValue(QJsonObject{{u"in"_s, value}}) : QJsonValue(QJsonArray{value});
    }
    return {{u"snapshot"_s, value}};
}

const QJsonObject before = document(u"before"_s);
const QJsonObject after = document(u"after"_s);

// Files cannot grow beyond `bytes` while one of these lives: a disk that fills up.
class FullDisk {
public:
    explicit FullDisk(rlim_t bytes) {
        m_handler = std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &m_limit);
        const rlimit small{bytes, m_limit.rlim_max};
        setrlimit(RLIMIT_FSIZE, &small);
    }
    ~FullDisk() {
        setrlimit(RLIMIT_FSIZE, &m_limit);
        std::signal(SIGXFSZ, m_handler);
    }
    Q_DISABLE_COPY_MOVE(FullDisk)

private:
    rlimit m_limit{};
    void (*m_handler)(int);
};

bool write(const QString& path, const QByteArray& content) {
    QFile file(path);
    return QDir().mkpath(QFileInfo(path).path()) && file.open(QIODevice::WriteOnly) &&
           file.write(content) == content.size();
}

// Every file under HOME that holds one of the words.
QStringList filesHolding(const QByteArrayList& words) {
    QStringList found;
    QDirIterator files(QDir::homePath(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        QFile file(files.next());
        if (!file.open(QIODevice::ReadOnly)) {
            continue;
        }
        const QByteArray content = file.readAll();
        for (const QByteArray& word : words) {
            if (content.contains(word)) {
                found.append(file.fileName());
            }
        }
    }
    return found;
}

} // namespace

/// The database file: what it holds, and what is left when it refuses.
class VaultStorageTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { VaultHome::nameApplication(); }
    void cleanup();

    void commitsAreDurable();
    void aFileOfSmallPagesKeepsThem();
    void aWrittenRecordIsNotKeptInMemory();
    void noClearTextReachesAnyFile();
    void refusedStatementKeepsTheRow_data();
    void refusedStatementKeepsTheRow();
    void lockedDatabaseKeepsTheRow();
    void fullDiskKeepsTheRowWhereverItStrikes();
    void withoutRandomnessTheRowStays();
    void documentBeyondTheLimitKeepsTheRow_data();
    void documentBeyondTheLimitKeepsTheRow();
    void longestDocumentIsReadAgain();
    void documentBeyondTheParserKeepsTheRow();
    void fileWithoutARowIsFirstUse_data();
    void fileWithoutARowIsFirstUse();
    void recordWithoutItsKeyIsNotFirstUse();
    void aRecordThatCannotBeReadMakesWayForANewOne_data();
    void aRecordThatCannotBeReadMakesWayForANewOne();
    void aRecordThatCanBeReadIsNotSetAside();
    void fileThatCannotBeInspectedGetsNoKey_data();
    void fileThatCannotBeInspectedGetsNoKey();
    void busyFileGetsNoKey();
    void unusableFileIsReportedWithItsKeyKept_data();
    void unusableFileIsReportedWithItsKeyKept();
    void unusableDirectoryIsReportedOnFirstUse();
};

void VaultStorageTest::cleanup() {
    static_cast<void>(VaultHome::deleteKey(home));
    const QString parent = QFileInfo(VaultHome::directory()).path();
    QVERIFY(QDir(parent).removeRecursively());
}

void VaultStorageTest::commitsAreDurable() {
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    const QStringList names = QSqlDatabase::connectionNames();
    QCOMPARE(names.size(), 1);
    const auto value = [&names](const QString& statement) {
        QSqlQuery query(QSqlDatabase::database(names.first(), false));
        return query.exec(statement) && query.next() ? query.value(0).toString() : QString();
    };
    QCOMPARE(value(u"PRAGMA journal_mode"_s), u"wal"_s);
    QCOMPARE(value(u"PRAGMA synchronous"_s), u"2"_s); // FULL
    QCOMPARE(value(u"PRAGMA page_size"_s), u"65536"_s);
    QCOMPARE(value(u"SELECT sql FROM sqlite_master"_s),
             u"CREATE TABLE vault (id INTEGER PRIMARY KEY CHECK(id=1), payload BLOB NOT NULL)"_s);
}

void VaultStorageTest::aFileOfSmallPagesKeepsThem() {
    {
        Vault vault;
        QCOMPARE(VaultHome::unlock(vault, home), QString());
        QVERIFY(vault.save(before));
    }
    const auto made = [](VaultHome::Connection& database) { return database.run(u"PRAGMA page_size"_s); };
    {
        VaultHome::Connection database(VaultHome::databaseFile(home));
        for (const QString& statement :
             {u"PRAGMA journal_mode=DELETE"_s, u"PRAGMA page_size=4096"_s, u"VACUUM"_s}) {
            database.run(statement);
        }
        QCOMPARE(made(database), QVariantList{4096});
    }
    for (const QJsonObject& state : {before, after}) {
        Vault vault;
        QCOMPARE(VaultHome::unlock(vault, home), QString());
        QCOMPARE(vault.load(), before);
        QVERIFY(vault.save(state));
    }
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QCOMPARE(vault.load(), after);
    VaultHome::Connection database(VaultHome::databaseFile(home));
    QCOMPARE(made(database), QVariantList{4096});
}

void VaultStorageTest::aWrittenRecordIsNotKeptInMemory() {
    const auto used =
        reinterpret_cast<qint64 (*)()>(QLibrary::resolve(u"sqlite3"_s, 0, "sqlite3_memory_used"));
    QVERIFY(used != nullptr);
    constexpr qint64 record = 16 * 1024 * 1024;
    for (const char* const file : {"new", "there already"}) {
        Vault vault;
        QCOMPARE(VaultHome::unlock(vault, home), QString());
        QVERIFY(vault.save(documentOfLength(record)));
        QVERIFY2(used() > 0 && used() < record / 2, file);
        QVERIFY(vault.save(before));
    }
}

void VaultStorageTest::noClearTextReachesAnyFile() {
    const QByteArrayList words{"before", "secret-token", "queue"};
    {
        Vault vault;
        QCOMPARE(VaultHome::unlock(vault, home), QString());
        for (int round = 0; round < 3; ++round) {
            QVERIFY(vault.save(before));
        }
        QVERIFY(QFileInfo::exists(VaultHome::databaseFile(home) + u"-wal"_s));
        QCOMPARE(filesHolding(words), QStringList());
        QCOMPARE(filesHolding({VaultHome::storedKey(home), VaultHome::storedKey(home).toBase64(),
                               VaultHome::storedKey(home).toHex()}),
                 QStringList());
    }
    QCOMPARE(filesHolding(words), QStringList());
    // The search itself finds what is there.
    QVERIFY(write(VaultHome::directory() + u"/note"_s, "a secret-token"));
    QCOMPARE(filesHolding(words).size(), 1);
}

void VaultStorageTest::refusedStatementKeepsTheRow_data() {
    QTest::addColumn<QString>("event");
    QTest::addColumn<bool>("stored");
    QTest::newRow("first insert") << u"INSERT"_s << false;
    QTest::newRow("insert over a row") << u"INSERT"_s << true;
    QTest::newRow("update") << u"UPDATE"_s << true;
}

void VaultStorageTest::refusedStatementKeepsTheRow() {
    QFETCH(QString, event);
    QFETCH(bool, stored);
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    if (stored) {
        QVERIFY(vault.save(before));
    }
    const QByteArray record = VaultHome::record(home);

    VaultHome::Connection second(VaultHome::databaseFile(home));
    second.run(u"CREATE TRIGGER refuse BEFORE %1 ON vault BEGIN SELECT RAISE(ABORT, 'no'); END"_s.arg(event));
    QVERIFY(!vault.save(after));
    QCOMPARE(VaultHome::record(home), record);
    QCOMPARE(vault.load(), stored ? before : QJsonObject());
    QVERIFY(vault.isReady());

    second.run(u"DROP TRIGGER refuse"_s);
    QVERIFY(vault.save(after));
    QCOMPARE(vault.load(), after);
}

void VaultStorageTest::lockedDatabaseKeepsTheRow() {
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(vault.save(before));
    VaultHome::Connection second(VaultHome::databaseFile(home));
    second.run(u"BEGIN EXCLUSIVE"_s);
    QVERIFY(!vault.save(after));
    QCOMPARE(vault.load(), before);
    second.run(u"ROLLBACK"_s);
    QVERIFY(vault.save(after));
    QCOMPARE(vault.load(), after);
}

void VaultStorageTest::fullDiskKeepsTheRowWhereverItStrikes() {
    const QJsonObject large = document(QString(40'000, u'x'));
    int refused = 0;
    bool saved = false;
    for (rlim_t limit = 0; !saved && limit < 1'000'000; limit += 4000) {
        Vault vault;
        QCOMPARE(VaultHome::unlock(vault, home), QString());
        QVERIFY(vault.save(before));
        {
            const FullDisk disk(limit);
            saved = vault.save(large);
        }
        QCOMPARE(vault.load(), saved ? large : before);
        if (!saved) {
            ++refused;
        }
        QVERIFY(vault.save(after));
        QCOMPARE(vault.load(), after);
    }
    QVERIFY(saved);
    QVERIFY(refused > 3);
}

void VaultStorageTest::withoutRandomnessTheRowStays() {
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(vault.save(before));
    {
        const FailingRandom noRandomness;
        QVERIFY(!vault.save(after));
    }
    QCOMPARE(vault.load(), before);
    QVERIFY(vault.save(after));
}

void VaultStorageTest::documentBeyondTheLimitKeepsTheRow_data() {
    QTest::addColumn<qsizetype>("length");
    QTest::newRow("sealed, but not opened again") << longestText + 1;
    QTest::newRow("the longest that is sealed") << qsizetype(52'428'800);
    QTest::newRow("not sealed") << qsizetype(52'428'801);
}

void VaultStorageTest::documentBeyondTheLimitKeepsTheRow() {
    QFETCH(qsizetype, length);
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(vault.save(before));
    QVERIFY(!vault.save(documentOfLength(length)));
    QCOMPARE(vault.load(), before);
    QVERIFY(vault.save(after));
}

void VaultStorageTest::longestDocumentIsReadAgain() {
    const QJsonObject longest = documentOfLength(longestText);
    {
        Vault vault;
        QCOMPARE(VaultHome::unlock(vault, home), QString());
        QVERIFY(vault.save(longest));
    }
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(vault.load() == longest);
}

void VaultStorageTest::documentBeyondTheParserKeepsTheRow() {
    const QJsonObject deepest = nested(1024);
    {
        Vault vault;
        QCOMPARE(VaultHome::unlock(vault, home), QString());
        QVERIFY(vault.save(deepest));
        QVERIFY(!vault.save(nested(1025)));
    }
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    bool ok = false;
    QVERIFY(vault.load(&ok) == deepest);
    QVERIFY(ok);
}

void VaultStorageTest::fileWithoutARowIsFirstUse_data() {
    QTest::addColumn<QString>("statement");
    QTest::newRow("empty file") << QString();
    QTest::newRow("no table") << u"CREATE TABLE another (id INTEGER)"_s;
    QTest::newRow("no row") << u"CREATE TABLE vault (id INTEGER PRIMARY KEY CHECK(id=1), "
                               "payload BLOB NOT NULL)"_s;
}

void VaultStorageTest::fileWithoutARowIsFirstUse() {
    QFETCH(QString, statement);
    QVERIFY(write(VaultHome::databaseFile(home), {}));
    if (!statement.isEmpty()) {
        VaultHome::Connection(VaultHome::databaseFile(home)).run(statement);
    }
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(vault.save(before));
}

void VaultStorageTest::recordWithoutItsKeyIsNotFirstUse() {
    {
        Vault vault;
        QCOMPARE(VaultHome::unlock(vault, home), QString());
        QVERIFY(vault.save(before));
    }
    const QByteArray key = VaultHome::storedKey(home);
    QVERIFY(VaultHome::deleteKey(home));

    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), storageRefused);
    QVERIFY(!vault.isReady());
    QVERIFY(VaultHome::storedKey(home).isNull());

    // What was taken for lost is readable again once the store gives the key.
    QVERIFY(VaultHome::storeKey(home, key));
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QCOMPARE(vault.load(), before);
}

void VaultStorageTest::aRecordThatCannotBeReadMakesWayForANewOne_data() {
    using Damage = bool (*)();
    QTest::addColumn<Damage>("damage");
    QTest::newRow("key gone") << Damage([] { return VaultHome::deleteKey(home); });
    QTest::newRow("another key") << Damage([] { return VaultHome::storeKey(home, QByteArray(32, 'k')); });
    QTest::newRow("no database") << Damage([] {
        return QFile::remove(VaultHome::databaseFile(home)) &&
               write(VaultHome::databaseFile(home), QByteArray(5000, 'g'));
    });
    QTest::newRow("no database, no key") << Damage([] {
        return QFile::remove(VaultHome::databaseFile(home)) &&
               write(VaultHome::databaseFile(home), QByteArray(5000, 'g')) && VaultHome::deleteKey(home);
    });
}

void VaultStorageTest::aRecordThatCannotBeReadMakesWayForANewOne() {
    using Damage = bool (*)();
    QFETCH(const Damage, damage);
    {
        Vault vault;
        QCOMPARE(VaultHome::unlock(vault, home), QString());
        QVERIFY(vault.save(before));
    }
    QVERIFY(damage());
    QFile file(VaultHome::databaseFile(home));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray found = file.readAll();

    Vault vault;
    static_cast<void>(VaultHome::unlock(vault, home));
    static_cast<void>(vault.load());
    QVERIFY(!vault.acceptsWrites());
    QVERIFY(vault.recordStuck());
    QVERIFY(vault.setRecordAside());
    const QStringList aside = QDir(VaultHome::directory()).entryList({u"*.sqlite.aside-*[0-9]"_s});
    QCOMPARE(aside.size(), 1);
    QFile kept(VaultHome::directory() + u'/' + aside.first());
    QVERIFY(kept.open(QIODevice::ReadOnly));
    QCOMPARE(kept.readAll(), found);

    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(!vault.recordStuck());
    QVERIFY(vault.save(after));
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QCOMPARE(vault.load(), after);
}

void VaultStorageTest::aRecordThatCanBeReadIsNotSetAside() {
    Vault vault;
    QVERIFY(!vault.setRecordAside());
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(vault.save(before));
    QVERIFY(!vault.recordStuck());
    QVERIFY(!vault.setRecordAside());
    Vault second;
    static_cast<void>(VaultHome::unlock(second, home)); // which the first one holds
    QVERIFY(!second.isReady());
    QVERIFY(!second.recordStuck());
    QVERIFY(vault.save(after));
    QCOMPARE(vault.load(), after);
}

void VaultStorageTest::fileThatCannotBeInspectedGetsNoKey_data() {
    QTest::addColumn<QString>("kind");
    QTest::newRow("not a database") << u"garbage"_s;
    QTest::newRow("a directory") << u"directory"_s;
    QTest::newRow("a link to nowhere") << u"link"_s;
}

void VaultStorageTest::fileThatCannotBeInspectedGetsNoKey() {
    QFETCH(QString, kind);
    const QString path = VaultHome::databaseFile(home);
    if (kind == u"garbage") {
        QVERIFY(write(path, QByteArray(5000, 'g')));
    } else if (kind == u"directory") {
        QVERIFY(QDir().mkpath(path));
    } else {
        QVERIFY(QDir().mkpath(VaultHome::directory()) && QFile::link(path + u".gone"_s, path));
    }
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), databaseRefused);
    QVERIFY(!vault.isReady());
    QVERIFY(VaultHome::storedKey(home).isNull());
}

void VaultStorageTest::busyFileGetsNoKey() {
    {
        Vault vault;
        QCOMPARE(VaultHome::unlock(vault, home), QString());
        QVERIFY(vault.save(before));
    }
    const QByteArray key = VaultHome::storedKey(home);
    QVERIFY(VaultHome::deleteKey(home));
    VaultHome::Connection second(VaultHome::databaseFile(home));
    second.run(u"PRAGMA locking_mode=EXCLUSIVE"_s);
    second.run(u"BEGIN EXCLUSIVE"_s);
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), databaseRefused);
    QVERIFY(VaultHome::storedKey(home).isNull());
}

void VaultStorageTest::unusableFileIsReportedWithItsKeyKept_data() {
    QTest::addColumn<bool>("folder");
    QTest::newRow("not a database") << false;
    QTest::newRow("a directory") << true;
}

void VaultStorageTest::unusableFileIsReportedWithItsKeyKept() {
    QFETCH(bool, folder);
    const QByteArray key(32, 'k');
    const QString path = VaultHome::databaseFile(home);
    QVERIFY(VaultHome::storeKey(home, key));
    QVERIFY(folder ? QDir().mkpath(path + u"/kept"_s) : write(path, QByteArray(5000, 'g')));
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), notOpened);
    QVERIFY(!vault.isReady());
    QVERIFY(!vault.save(after));
    QCOMPARE(VaultHome::storedKey(home), key);
    QCOMPARE(QFileInfo(path + u"/kept"_s).isDir(), folder);
}

void VaultStorageTest::unusableDirectoryIsReportedOnFirstUse() {
    QVERIFY(write(VaultHome::directory(), "a file where the directory should be"));
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), databaseRefused);
    QVERIFY(!vault.isReady());
    QVERIFY(!vault.save(after));
    // Nothing is sealed under the new key yet; the next unlock can use it.
    QVERIFY(QFile::remove(VaultHome::directory()));
    QCOMPARE(VaultHome::unlock(vault, home), QString());
}

QTEST_GUILESS_MAIN(VaultStorageTest)
#include "storage.moc"
