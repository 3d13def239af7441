// SPDX-License-Identifier: MIT
#include "tests/vault/vaulthome.h"
#include "vault/vault.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString home = u"https://time.example"_s;

QJsonObject document(const QString& description) {
    return {{u"queue"_s, QJsonArray{description}}};
}

const QJsonObject before = document(u"before"_s);
const QJsonObject after = document(u"after"_s);

QString databaseFile() {
    return VaultHome::databaseFile(home);
}

QString logFile() {
    return databaseFile() + u"-wal"_s;
}

bool empty(const QString& path) {
    return QFile::resize(path, 0);
}

/// What another program would find; null when there is nothing that opens.
QJsonObject stored() {
    return QJsonDocument::fromJson(Vault::unseal(VaultHome::record(home).mid(4), VaultHome::storedKey(home),
                                                 VaultHome::accountAwareContext(home)))
        .object();
}

QByteArray sealed(const QJsonObject& state) {
    return "TKVA" + Vault::seal(QJsonDocument(state).toJson(QJsonDocument::Compact),
                                VaultHome::storedKey(home), VaultHome::accountAwareContext(home));
}

QByteArray contentOf(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// A database file beside the real one that holds this document.
QString otherDatabase(const QJsonObject& state) {
    const QString path = VaultHome::directory() + u"/other"_s;
    QFile::remove(path);
    VaultHome::Connection file(path);
    file.run(u"CREATE TABLE vault (id INTEGER PRIMARY KEY CHECK(id=1), payload BLOB NOT NULL)"_s);
    file.run(u"INSERT INTO vault(id,payload) VALUES(1,?)"_s, {sealed(state)});
    return path;
}

bool removeDatabase() {
    for (const QString& suffix : {QString(), u"-wal"_s, u"-shm"_s}) {
        if (!QFile::remove(databaseFile() + suffix)) {
            return false;
        }
    }
    return true;
}

} // namespace

/// The database file changed under the running program, or gone before it started.
class LostFileTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { VaultHome::nameApplication(); }
    void cleanup();

    void lostFileRefusesOneSave_data();
    void lostFileRefusesOneSave();
    void lostFileIsNoticedWithoutAChange();
    void shortenedFileIsNotWritten();
    void replacedFileIsKeptUntilTheNextUnlock_data();
    void replacedFileIsKeptUntilTheNextUnlock();
    void replacedRowIsKeptUntilTheNextUnlock();
    void unreadableFileMakesWayForWhatIsKnown();
    void fileThatIsPutBackIsUsedAgain();
    void anotherToolsTransactionChangesNothing();
    void sameDocumentIsNotWrittenAgain();
    void sameDocumentIsNotWrittenAgainAfterARestart();
    void missingRecordIsKnown_data();
    void missingRecordIsKnown();
};

void LostFileTest::cleanup() {
    static_cast<void>(VaultHome::deleteKey(home));
    QVERIFY(QDir(VaultHome::directory()).removeRecursively());
}

void LostFileTest::lostFileRefusesOneSave_data() {
    using Loss = bool (*)();
    QTest::addColumn<Loss>("lose");
    QTest::newRow("deleted") << Loss([] { return QFile::remove(databaseFile()); });
    QTest::newRow("deleted with its log") << Loss(removeDatabase);
    QTest::newRow("emptied") << Loss([] { return empty(databaseFile()); });
    QTest::newRow("emptied with its log") << Loss([] { return empty(databaseFile()) && empty(logFile()); });
    QTest::newRow("log deleted") << Loss([] { return QFile::remove(logFile()); });
    QTest::newRow("log emptied") << Loss([] { return empty(logFile()); });
    QTest::newRow("folder deleted") << Loss([] { return QDir(VaultHome::directory()).removeRecursively(); });
    QTest::newRow("replaced by an empty one") << Loss([] {
        QFile file(databaseFile() + u".new"_s);
        return file.open(QIODevice::WriteOnly) && removeDatabase() && file.rename(databaseFile());
    });
}

void LostFileTest::lostFileRefusesOneSave() {
    using Loss = bool (*)();
    QFETCH(Loss, lose);
    {
        Vault vault;
        QCOMPARE(VaultHome::unlock(vault, home), QString());
        QVERIFY(vault.save(before));
        QVERIFY(lose());
        QVERIFY(!vault.save(after));
        QVERIFY(vault.isReady());
        QVERIFY(vault.save(after));
        QCOMPARE(stored(), after);
        QVERIFY(vault.save(before));
        QCOMPARE(vault.load(), before);
        // Still one program at a time.
        Vault second;
        QVERIFY(!VaultHome::unlock(second, home).isEmpty());
    }
    QCOMPARE(stored(), before);
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QCOMPARE(vault.load(), before);
}

void LostFileTest::lostFileIsNoticedWithoutAChange() {
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(vault.save(before));
    QVERIFY(QFile::remove(databaseFile()));
    QVERIFY(!vault.save(before));
    QVERIFY(vault.save(before));
    QCOMPARE(stored(), before);
}

void LostFileTest::shortenedFileIsNotWritten() {
    {
        Vault vault;
        QCOMPARE(VaultHome::unlock(vault, home), QString());
        QVERIFY(vault.save(document(QString(100'000, u'x'))));
    }
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(vault.save(document(QString(100'000, u'y'))));
    QVERIFY(QFile::resize(databaseFile(), 40'000));
    QVERIFY(!vault.save(after));
}

void LostFileTest::replacedFileIsKeptUntilTheNextUnlock_data() {
    QTest::addColumn<bool>("inPlace");
    QTest::newRow("another file") << false;
    QTest::newRow("another content") << true;
}

void LostFileTest::replacedFileIsKeptUntilTheNextUnlock() {
    QFETCH(bool, inPlace);
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(vault.save(before));
    const QJsonObject theirs = document(QString(20'000, u'z'));
    const QByteArray content = contentOf(otherDatabase(theirs));
    QFile file(databaseFile());
    if (inPlace) {
        QVERIFY(QFile::remove(logFile()));
    } else {
        QVERIFY(removeDatabase());
    }
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
    file.close();

    QVERIFY(!vault.save(after));
    if (!inPlace) {
        for (int attempt = 0; attempt < 3; ++attempt) {
            QVERIFY(!vault.save(after));
            QVERIFY(!vault.acceptsWrites());
        }
        QCOMPARE(contentOf(databaseFile()), content);
        QCOMPARE(VaultHome::unlock(vault, home), QString());
        QCOMPARE(vault.load(), theirs);
        QVERIFY(vault.save(after));
        QCOMPARE(stored(), after);
    }
}

void LostFileTest::replacedRowIsKeptUntilTheNextUnlock() {
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(vault.save(before));
    const QByteArray theirs = sealed(document(u"theirs"_s));
    QVERIFY(VaultHome::setRecord(home, theirs));
    for (int attempt = 0; attempt < 3; ++attempt) {
        QVERIFY(!vault.save(after));
        QCOMPARE(VaultHome::record(home), theirs);
    }
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QCOMPARE(vault.load(), document(u"theirs"_s));
    QVERIFY(vault.save(after));
}

void LostFileTest::unreadableFileMakesWayForWhatIsKnown() {
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(vault.save(before));
    // As a tool does that restores files, cut short.
    QVERIFY(removeDatabase());
    const QByteArray garbage(5000, 'g');
    QFile file(databaseFile());
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(garbage) == garbage.size());
    file.close();
    QVERIFY(!vault.save(after));
    QVERIFY(!vault.save(after));
    QVERIFY(vault.recordStuck());
    QVERIFY(vault.setRecordAside());
    QVERIFY(vault.save(after) || vault.save(after));
    QVERIFY(!vault.recordStuck());
    QCOMPARE(stored(), after);
    const QStringList aside = QDir(VaultHome::directory()).entryList({u"*.sqlite.aside-*[0-9]"_s});
    QVERIFY(!aside.isEmpty());
    QCOMPARE(contentOf(VaultHome::directory() + u'/' + aside.first()), garbage);
}

void LostFileTest::fileThatIsPutBackIsUsedAgain() {
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(vault.save(before));
    const QString aside = databaseFile() + u".aside"_s;
    QVERIFY(QFile::rename(databaseFile(), aside));
    QVERIFY(!vault.save(after));
    QVERIFY(QFile::rename(aside, databaseFile()));
    QVERIFY(vault.save(after));
    QCOMPARE(stored(), after);
}

void LostFileTest::anotherToolsTransactionChangesNothing() {
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(vault.save(before));
    VaultHome::Connection tool(databaseFile());
    tool.run(u"CREATE TABLE note (id INTEGER)"_s);
    QVERIFY(vault.save(before));
    QVERIFY(vault.save(after));
    QCOMPARE(stored(), after);
}

void LostFileTest::sameDocumentIsNotWrittenAgain() {
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(vault.save(before));
    const QByteArray record = VaultHome::record(home);
    const QByteArray log = contentOf(logFile());
    // The same words in another object.
    QVERIFY(vault.save(document(u"be"_s + u"fore"_s)));
    QCOMPARE(VaultHome::record(home), record);
    QCOMPARE(contentOf(logFile()), log);
    QVERIFY(vault.save(after));
    QVERIFY(vault.save(before));
    QCOMPARE(stored(), before);
    QVERIFY(VaultHome::record(home) != record);
}

void LostFileTest::sameDocumentIsNotWrittenAgainAfterARestart() {
    {
        Vault vault;
        QCOMPARE(VaultHome::unlock(vault, home), QString());
        QVERIFY(vault.save(before));
    }
    const QByteArray record = VaultHome::record(home);
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QCOMPARE(vault.load(), before);
    QVERIFY(vault.save(before));
    QCOMPARE(VaultHome::record(home), record);
}

void LostFileTest::missingRecordIsKnown_data() {
    QTest::addColumn<bool>("saved");
    QTest::addColumn<QString>("left");
    QTest::addColumn<bool>("missing");
    QTest::newRow("everything is there") << true << u"all"_s << false;
    QTest::newRow("never saved to") << false << u"all"_s << false;
    QTest::newRow("no file") << true << u"nothing"_s << true;
    QTest::newRow("empty file") << true << u"empty file"_s << true;
    QTest::newRow("file without the table") << true << u"no table"_s << true;
}

void LostFileTest::missingRecordIsKnown() {
    QFETCH(bool, saved);
    QFETCH(QString, left);
    QFETCH(bool, missing);
    Vault vault;
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(!vault.recordMissing()); // the first use of a server has nothing to miss
    QVERIFY(!saved || vault.save(before));
    QCOMPARE(VaultHome::unlock(vault, u"http://127.0.0.1:18080"_s), QString());
    if (left == u"nothing") {
        QVERIFY(QFile::remove(databaseFile()));
    } else if (left == u"empty file") {
        QVERIFY(empty(databaseFile()));
    } else if (left == u"no table") {
        VaultHome::Connection(databaseFile()).run(u"DROP TABLE vault"_s);
    }
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QCOMPARE(vault.recordMissing(), missing);
    // Said once: what was made in its place is there the next time.
    QCOMPARE(VaultHome::unlock(vault, home), QString());
    QVERIFY(!vault.recordMissing());
    QCOMPARE(vault.load(), saved && !missing ? before : QJsonObject());
}

QTEST_GUILESS_MAIN(LostFileTest)
#include "lostfile.moc"
