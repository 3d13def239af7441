// SPDX-License-Identifier: MIT
#include "vault/vault.h"

#include "vault/sealedblob.h"
#include "vault/wipe.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QSqlQuery>
#include <QStandardPaths>
#include <QUuid>
#include <qt6keychain/keychain.h>

#include <openssl/rand.h>

#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

namespace {

const QByteArray currentPrefix = QByteArrayLiteral("TKVA");
const QString driver = QStringLiteral("QSQLITE");
const QString service = QStringLiteral("TimerKelvaro");

// Another instance holds the lock for one commit. The window must not stand
// still for the driver's five seconds when somebody else holds it for longer.
const QString busyTimeout = QStringLiteral("QSQLITE_BUSY_TIMEOUT=1000");

QString storageRefused() {
    return QStringLiteral("KWallet / OS credential storage is locked or unavailable. Online mode remains "
                          "available; offline writes are disabled.");
}

QString databaseRefused() {
    return QStringLiteral("Local encrypted database unavailable");
}

QString keyRefused() {
    return QStringLiteral("OS secure storage denied the key; no plaintext fallback was used.");
}

// The job's own bytes, which are gone once the job is.
QByteArray answer(const QKeychain::Job* job) {
    return static_cast<const QKeychain::ReadPasswordJob*>(job)->binaryData();
}

QByteArray unsharedCopy(const QByteArray& secret) {
    return {secret.constData(), secret.size()};
}

// True or false as the statement's one value says; nothing when it cannot be asked.
std::optional<bool> ask(const QSqlDatabase& database, const QString& statement) {
    QSqlQuery query(database);
    query.setForwardOnly(true);
    if (!query.exec(statement) || !query.next()) {
        return std::nullopt;
    }
    return query.value(0).toBool();
}

} // namespace

Vault::Vault(QObject* parent) : QObject(parent), m_connection(QUuid::createUuid().toString()) {
}

Vault::~Vault() {
    // The credential library writes into a running job until it is finished, so the
    // job must outlive the vault. It deletes itself; its answer reaches nobody.
    for (QKeychain::Job* job : findChildren<QKeychain::Job*>(Qt::FindDirectChildrenOnly)) {
        job->setParent(nullptr);
    }
    m_database.close();
    m_database = {};
    QSqlDatabase::removeDatabase(m_connection);
    forgetSecrets();
}

void Vault::unlock(const QString& scope) {
    ++m_generation;
    m_database.close();
    forgetSecrets();
    m_scope = scope;
    m_context = QByteArrayLiteral("timer.desktop.vault.v1\n") + scope.toUtf8();
    // A key on its way into the credential store has to arrive before anybody asks
    // for it: read too early, it would be missing, and a second key written by this
    // unlock could be replaced by the first one after it has sealed a record.
    if (!m_job) {
        startReading(&Vault::onKeyRead);
    }
}

bool Vault::isReady() const {
    return m_key.size() == sealingKeySize && m_database.isOpen();
}

void Vault::forgetSecrets() {
    wipe(m_key);
    wipe(m_newKey);
    m_text.clear();
}

void Vault::startReading(Completion completion) {
    auto* const job = new QKeychain::ReadPasswordJob(service, this);
    expect(job, completion);
    // After the completion, and also when there is no vault left to hear of it.
    connect(job, &QKeychain::Job::finished, job, [job] {
        QByteArray secret = answer(job);
        wipe(secret);
    });
    job->start();
}

void Vault::startWriting(const QByteArray& key, Completion completion) {
    auto* const job = new QKeychain::WritePasswordJob(service, this);
    const QByteArray outgoing = unsharedCopy(key);
    job->setBinaryData(outgoing);
    expect(job, completion);
    // Not before: the library may hold the job back behind another one.
    connect(job, &QKeychain::Job::finished, job, [secret = outgoing]() mutable { wipe(secret); });
    job->start();
}

void Vault::expect(QKeychain::Job* job, Completion completion) {
    m_job = job;
    job->setKey(scopeHash());
    job->setInsecureFallback(false);
    connect(job, &QKeychain::Job::finished, this, [this, job, completion, generation = m_generation] {
        m_job.clear();
        if (generation == m_generation) {
            (this->*completion)(job);
        } else {
            startReading(&Vault::onKeyRead); // for the newer unlock, which has waited for this answer
        }
    });
}

void Vault::onKeyRead(QKeychain::Job* job) {
    if (job->error() == QKeychain::EntryNotFound) {
        createKey();
        return;
    }
    if (job->error() != QKeychain::NoError) {
        Q_EMIT unavailable(storageRefused());
        return;
    }
    m_key = unsharedCopy(answer(job));
    if (m_key.size() == sealingKeySize && openDatabase()) {
        Q_EMIT ready();
        return;
    }
    wipe(m_key);
    Q_EMIT unavailable(QStringLiteral("Secure storage could not be opened; offline writes are disabled."));
}

void Vault::createKey() {
    // A locked store can answer "not found" as well. A new key would then replace
    // the only one that opens the record on disk, so only a server without a record
    // gets a key.
    const Record record = recordOnDisk();
    if (record != Record::Absent) {
        Q_EMIT unavailable(record == Record::Present ? storageRefused() : databaseRefused());
        return;
    }
    m_newKey = QByteArray(sealingKeySize, '\0');
    if (RAND_bytes(reinterpret_cast<unsigned char*>(m_newKey.data()), static_cast<int>(sealingKeySize)) !=
        1) {
        wipe(m_newKey);
        Q_EMIT unavailable(QStringLiteral("Secure key generation failed"));
        return;
    }
    startWriting(m_newKey, &Vault::onKeyWritten);
}

void Vault::onKeyWritten(QKeychain::Job* job) {
    if (job->error() != QKeychain::NoError) {
        wipe(m_newKey);
        Q_EMIT unavailable(keyRefused());
        return;
    }
    // Some stores report a refused write as done. Only what can be read back is
    // stored, and nothing may be sealed under a key that is not.
    startReading(&Vault::onKeyReadBack);
}

void Vault::onKeyReadBack(QKeychain::Job* job) {
    if (job->error() != QKeychain::NoError || answer(job) != m_newKey) {
        wipe(m_newKey);
        Q_EMIT unavailable(keyRefused());
        return;
    }
    m_key = std::exchange(m_newKey, {});
    if (openDatabase()) {
        Q_EMIT ready();
        return;
    }
    wipe(m_key);
    Q_EMIT unavailable(databaseRefused());
}

QString Vault::scopeHash() const {
    return QString::fromLatin1(
        QCryptographicHash::hash(m_scope.toUtf8(), QCryptographicHash::Sha256).toHex());
}

QString Vault::databasePath() const {
    return QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation) + u'/' + scopeHash() +
           QStringLiteral(".sqlite");
}

Vault::Record Vault::recordOnDisk() const {
    const QString path = databasePath();
    std::error_code error;
    const auto file = std::filesystem::symlink_status(QFileInfo(path).filesystemFilePath(), error);
    if (file.type() == std::filesystem::file_type::not_found) {
        return Record::Absent;
    }

    const QString connection = m_connection + QStringLiteral(" inspection");
    std::optional<bool> present;
    {
        QSqlDatabase database = QSqlDatabase::addDatabase(driver, connection);
        database.setConnectOptions(QStringLiteral("QSQLITE_OPEN_READONLY;") + busyTimeout);
        database.setDatabaseName(path);
        if (database.open()) {
            present = ask(database,
                          QStringLiteral("SELECT EXISTS(SELECT 1 FROM sqlite_master WHERE name='vault')"));
            if (present.value_or(false)) {
                present = ask(database, QStringLiteral("SELECT EXISTS(SELECT 1 FROM vault WHERE id=1)"));
            }
        }
    }
    QSqlDatabase::removeDatabase(connection);
    if (!present) {
        return Record::Unknown;
    }
    return *present ? Record::Present : Record::Absent;
}

bool Vault::openDatabase() {
    m_database.close();
    const QString path = databasePath();
    if (!QDir().mkpath(QFileInfo(path).absolutePath())) {
        return false;
    }
    if (!m_database.isValid()) {
        m_database = QSqlDatabase::addDatabase(driver, m_connection);
    }
    m_database.setConnectOptions(busyTimeout);
    m_database.setDatabaseName(path);
    if (!m_database.open()) {
        return false;
    }
    // Best effort: file systems without permissions exist, and the content is sealed.
    QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    QSqlQuery query(m_database);
    return query.exec(QStringLiteral("PRAGMA journal_mode=WAL")) &&
           query.exec(QStringLiteral("PRAGMA synchronous=FULL")) &&
           query.exec(QStringLiteral("CREATE TABLE IF NOT EXISTS vault (id INTEGER PRIMARY KEY CHECK(id=1), "
                                     "payload BLOB NOT NULL)"));
}

QByteArray Vault::accountAwareContext() const {
    return m_context + QByteArrayLiteral("\naccount-aware-v2");
}

bool Vault::save(const QJsonObject& state) {
    if (!isReady()) {
        return false;
    }
    QByteArray text = m_text.of(state);
    QByteArray record = currentPrefix;
    const bool sealed = appendSealed(record, text, m_key, accountAwareContext());
    wipe(text);
    if (sealed && write(record)) {
        return true;
    }
    // Remembered texts of what is not kept, a refused session's token say, would only lie about.
    m_text.clear();
    return false;
}

bool Vault::write(const QByteArray& record) {
    if (!m_database.transaction()) {
        return false;
    }
    QSqlQuery query(m_database);
    const bool prepared =
        query.prepare(QStringLiteral("INSERT INTO vault(id,payload) VALUES(1,?) ON CONFLICT(id) "
                                     "DO UPDATE SET payload=excluded.payload"));
    query.addBindValue(record);
    if (prepared && query.exec() && m_database.commit()) {
        return true;
    }
    query.finish();
    m_database.rollback();
    return false;
}

QJsonObject Vault::load(bool* ok) {
    if (ok) {
        *ok = false;
    }
    if (!isReady()) {
        return {};
    }
    QSqlQuery query(m_database);
    query.setForwardOnly(true);
    if (!query.exec(QStringLiteral("SELECT payload FROM vault WHERE id=1"))) {
        return {};
    }
    if (!query.next()) {
        if (ok) {
            *ok = true;
        }
        return {};
    }
    QByteArray blob = query.value(0).toByteArray();
    const bool current = blob.startsWith(currentPrefix);
    if (current) {
        blob.remove(0, currentPrefix.size());
    }
    bool authentic = false;
    QByteArray text = unseal(blob, m_key, current ? accountAwareContext() : m_context, &authentic);
    if (!authentic) {
        forgetSecrets();
        return {};
    }
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(text, &error);
    wipe(text);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        return {};
    }
    if (ok) {
        *ok = true;
    }
    return document.object();
}
