// SPDX-License-Identifier: MIT
#include "vault/vault.h"

#include "vault/sealedblob.h"
#include "vault/wipe.h"

#include <QCryptographicHash>
#include <QFileInfo>
#include <QJsonDocument>
#include <QLoggingCategory>
#include <QStandardPaths>
#include <qt6keychain/keychain.h>

#include <openssl/rand.h>

#include <optional>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

// Answers of the credential store, sizes and outcomes; never a key, a name or what is sealed.
Q_LOGGING_CATEGORY(vaultLog, "timer.vault", QtWarningMsg)

const QByteArray currentPrefix = "TKVA"_ba;
const QString service = u"TimerKelvaro"_s;

// What the parser reads again: one level more, and the record would be lost.
constexpr int deepestNesting = 1024;

QString alreadyOpen() {
    return u"Timer.Kelvaro is already open on this server; offline writes are disabled in this "
           "window."_s;
}

QString storageRefused() {
    return u"KWallet / OS credential storage is locked or unavailable. Online mode remains "
           "available; offline writes are disabled."_s;
}

QString databaseRefused() {
    return u"Local encrypted database unavailable"_s;
}

QString keyRefused() {
    return u"OS secure storage denied the key; no plaintext fallback was used."_s;
}

// The job's own bytes, which are gone once the job is.
QByteArray answer(const QKeychain::Job* job) {
    return static_cast<const QKeychain::ReadPasswordJob*>(job)->binaryData();
}

QByteArray unsharedCopy(const QByteArray& secret) {
    return {secret.constData(), secret.size()};
}

} // namespace

Vault::Vault(QObject* parent) : QObject(parent) {
}

Vault::~Vault() {
    // The credential library writes into a running job until it is finished, so the
    // job must outlive the vault. It deletes itself; its answer reaches nobody.
    for (QKeychain::Job* job : findChildren<QKeychain::Job*>(Qt::FindDirectChildrenOnly)) {
        job->setParent(nullptr);
    }
    m_file.close();
    forgetSecrets();
}

void Vault::unlock(const QString& scope) {
    ++m_generation;
    close();
    m_scope = scope;
    m_context = "timer.desktop.vault.v1\n"_ba + scope.toUtf8();
    // A key on its way into the credential store has to arrive before anybody asks
    // for it: read too early, it would be missing, and a second key written by this
    // unlock could be replaced by the first one after it has sealed a record.
    if (!m_job) {
        begin();
    }
}

bool Vault::isReady() const {
    return m_key.size() == sealingKeySize && m_file.isOpen();
}

bool Vault::acceptsWrites() const {
    return isReady() && m_record == Record::Read && !m_file.isLost();
}

bool Vault::recordLost() const {
    return isReady() && m_record == Record::Read && m_file.isLost();
}

bool Vault::recordMissing() const {
    return m_recordMissing;
}

bool Vault::recordReplaced() const {
    return m_file.isReplaced();
}

bool Vault::recordStuck() const {
    return m_stuck || m_record == Record::Unreadable ||
           (recordLost() && !recordReplaced() && !m_file.markAt(databasePath()));
}

bool Vault::setRecordAside() {
    if (!recordStuck()) {
        return false;
    }
    if (recordLost()) {
        return RecordFile::setAside(databasePath());
    }
    m_file.close();
    m_lock = std::make_shared<DatabaseLock>();
    return m_lock->take(databasePath()) == LockFile::Answer::Taken && RecordFile::setAside(databasePath());
}

void Vault::begin() {
    m_lock = std::make_shared<DatabaseLock>();
    if (m_lock->take(databasePath()) != LockFile::Answer::Held) {
        startReading(&Vault::onKeyRead);
        return;
    }
    const auto answer = [this, generation = m_generation] {
        if (generation == m_generation) {
            refuse(alreadyOpen());
        }
    };
    QMetaObject::invokeMethod(this, answer, Qt::QueuedConnection);
}

void Vault::close() {
    m_file.close();
    m_lock.reset();
    m_record = Record::Unread;
    m_recordMissing = false;
    m_stuck = false;
    forgetSecrets();
}

void Vault::refuse(const QString& message, bool stuck) {
    qCDebug(vaultLog).noquote() << "refused:" << message << "stuck" << stuck;
    close();
    m_stuck = stuck;
    Q_EMIT unavailable(message);
}

void Vault::forgetSecrets() {
    wipe(m_key);
    wipe(m_newKey);
    m_loaded = {};
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
    // The lock is kept for as long as a key may be on its way, whatever is unlocked meanwhile.
    const auto finish = [this, job, completion, generation = m_generation, lock = m_lock]() mutable {
        m_job.clear();
        lock.reset();
        qCDebug(vaultLog) << "credential store answered" << job->error() << "overtaken"
                          << (generation != m_generation);
        if (generation == m_generation) {
            (this->*completion)(job);
        } else {
            begin(); // for the newer unlock, which has waited for this answer
        }
    };
    connect(job, &QKeychain::Job::finished, this, finish);
}

void Vault::onKeyRead(QKeychain::Job* job) {
    if (job->error() == QKeychain::EntryNotFound) {
        createKey();
        return;
    }
    if (job->error() != QKeychain::NoError) {
        refuse(storageRefused());
        return;
    }
    m_key = unsharedCopy(answer(job));
    if (m_key.size() == sealingKeySize && openFile()) {
        // A key that is there already has sealed something, so the file once was there as well.
        m_recordMissing = m_file.wasMissing();
        Q_EMIT ready();
        return;
    }
    refuse(u"Secure storage could not be opened; offline writes are disabled."_s,
           m_key.size() == sealingKeySize && !m_file.markAt(databasePath()));
}

void Vault::createKey() {
    // Two programs that make a key at once would leave one of them with a record that nobody can read.
    if (!m_lock->isInPlace()) {
        refuse(databaseRefused());
        return;
    }
    // A locked store can answer "not found" as well. A new key would then replace
    // the only one that opens the record on disk, so only a server without a record
    // gets a key.
    const std::optional<QByteArray> mark = m_file.markAt(databasePath());
    if (!mark || !mark->isEmpty()) {
        refuse(mark ? storageRefused() : databaseRefused(), true);
        return;
    }
    m_newKey = QByteArray(sealingKeySize, '\0');
    if (RAND_bytes(reinterpret_cast<unsigned char*>(m_newKey.data()), static_cast<int>(sealingKeySize)) !=
        1) {
        refuse(u"Secure key generation failed"_s);
        return;
    }
    startWriting(m_newKey, &Vault::onKeyWritten);
}

void Vault::onKeyWritten(QKeychain::Job* job) {
    if (job->error() != QKeychain::NoError) {
        refuse(keyRefused());
        return;
    }
    // Some stores report a refused write as done. Only what can be read back is
    // stored, and nothing may be sealed under a key that is not.
    startReading(&Vault::onKeyReadBack);
}

void Vault::onKeyReadBack(QKeychain::Job* job) {
    if (job->error() != QKeychain::NoError || answer(job) != m_newKey) {
        refuse(keyRefused());
        return;
    }
    m_key = std::exchange(m_newKey, {});
    if (openFile()) {
        Q_EMIT ready();
        return;
    }
    refuse(databaseRefused());
}

QString Vault::scopeHash() const {
    return QString::fromLatin1(
        QCryptographicHash::hash(m_scope.toUtf8(), QCryptographicHash::Sha256).toHex());
}

QString Vault::databasePath() const {
    const QString path = QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation) + u'/' +
                         scopeHash() + u".sqlite"_s;
    // The log and the lock lie beside the file itself, not beside a link to it.
    const QString target = QFileInfo(path).canonicalFilePath();
    return target.isEmpty() ? path : target;
}

bool Vault::openFile() {
    return m_lock->isInPlace() && m_file.open(databasePath());
}

QByteArray Vault::accountAwareContext() const {
    return m_context + "\naccount-aware-v2"_ba;
}

bool Vault::save(const QJsonObject& state) {
    if (m_record == Record::Unread) {
        static_cast<void>(load()); // what cannot be read is not replaced
    }
    // A file that is only gone is made anew here, and one that holds what it held is opened again.
    if (!isReady() || m_record != Record::Read) {
        return false;
    }
    if (m_lock->take(databasePath()) == LockFile::Answer::Taken && store(state)) {
        return true;
    }
    // Remembered texts of what is not kept, a refused session's token say, would only lie about.
    m_text.clear();
    return false;
}

bool Vault::store(const QJsonObject& state) {
    if (!m_loaded.isEmpty()) {
        // So that saving the same again is known to be nothing new.
        m_text.update(std::exchange(m_loaded, {}));
    }
    if (!m_text.update(state)) {
        return m_file.isIntact(); // the record holds these very words
    }
    if (m_text.nesting() > deepestNesting) {
        return false;
    }
    const qsizetype start = currentPrefix.size();
    QByteArray record;
    record.reserve(start + sealedHeaderSize + m_text.longest());
    record.append(currentPrefix).append(sealedHeaderSize, '\0');
    m_text.appendTo(record);
    const bool sealed = record.size() - start - sealedHeaderSize <= largestReadableText &&
                        sealInPlace(record, start, m_key, accountAwareContext());
    if (!sealed) {
        wipe(record);
    }
    const bool stored = sealed && m_file.write(record);
    qCDebug(vaultLog) << "record of" << record.size() << "bytes sealed" << sealed << "stored" << stored;
    return stored;
}

QByteArray Vault::seal(const QByteArray& plaintext, const QByteArray& key, const QByteArray& aad) {
    QByteArray blob = QByteArray(sealedHeaderSize, '\0') + plaintext;
    if (!sealInPlace(blob, 0, key, aad)) {
        wipe(blob);
    }
    return blob;
}

QByteArray Vault::unseal(const QByteArray& blob, const QByteArray& key, const QByteArray& aad, bool* ok) {
    return openSealed(blob, key, aad, ok);
}

QJsonObject Vault::load(bool* ok) {
    if (ok) {
        *ok = false;
    }
    if (!isReady()) {
        return {};
    }
    m_record = Record::Unreadable;
    const std::optional<QByteArray> record = m_file.read();
    if (!record) {
        return {};
    }
    const std::optional<QJsonObject> state = record->isNull() ? QJsonObject() : opened(*record);
    if (!state) {
        return {};
    }
    m_record = Record::Read;
    if (ok) {
        *ok = true;
    }
    return *state;
}

std::optional<QJsonObject> Vault::opened(const QByteArray& record) {
    const bool current = record.startsWith(currentPrefix);
    const QByteArray blob = current ? record.sliced(currentPrefix.size()) : record;
    bool authentic = false;
    QByteArray text = unseal(blob, m_key, current ? accountAwareContext() : m_context, &authentic);
    if (!authentic) {
        forgetSecrets();
        return std::nullopt;
    }
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(text, &error);
    wipe(text);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        return std::nullopt;
    }
    const QJsonObject state = document.object();
    if (current) {
        m_loaded = state;
    }
    return state;
}
