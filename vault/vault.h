// SPDX-License-Identifier: MIT
#pragma once

#include "vault/databaselock.h"
#include "vault/documenttext.h"
#include "vault/recordfile.h"

#include <QByteArray>
#include <QJsonObject>
#include <QObject>
#include <QPointer>
#include <QString>

#include <memory>
#include <optional>

namespace QKeychain {
class Job;
}

/// The only store for private data: one sealed row per server in SQLite, its
/// 32-byte key in the credential store of the operating system. There is no
/// plaintext fallback: when the credential store refuses, nothing is stored.
class Vault : public QObject {
    Q_OBJECT

public:
    explicit Vault(QObject* parent = nullptr);
    ~Vault() override;

    /// Starts to unlock the store of one server; `scope` is its base address as
    /// the controller keeps it. Answers with ready() or unavailable(), unless a
    /// newer unlock() overtakes this one. One program at a time has a server's store.
    void unlock(const QString& scope);

    /// The key is in memory and the database is open.
    [[nodiscard]] bool isReady() const;

    /// Ready, and what the store holds has been read or written by this vault: nothing is
    /// saved over a record that cannot be read, or that somebody else put there.
    [[nodiscard]] bool acceptsWrites() const;

    /// What the store holds was read or written by this vault, but its file went away since: the next save
    /// makes it anew.
    [[nodiscard]] bool recordLost() const;

    /// There was a key at the last unlock, but no database that it could belong to.
    [[nodiscard]] bool recordMissing() const;

    /// The last save found somebody else's record in the place of what was read or written.
    [[nodiscard]] bool recordReplaced() const;

    /// Its file is there and keeps everything from being stored, for good as far as can be told: its record
    /// cannot be read, or there is no key for it, or it is no database.
    [[nodiscard]] bool recordStuck() const;

    /// Gives that file another name, so that the next unlock() begins anew, or the next save() makes it anew
    /// where this vault has read its record before. False when nothing is stuck, or the file cannot be
    /// renamed.
    [[nodiscard]] bool setRecordAside();

    /// Seals and commits the whole document, unless the record holds the same already.
    /// False means that the previous row stands, or that somebody else took the file
    /// away; what load() could not read again is refused as well.
    [[nodiscard]] bool save(const QJsonObject& state);

    /// The stored document. `ok`, when given, is true with an empty object when
    /// nothing is stored yet, and false when the store is unusable or the record
    /// does not authenticate or parse. A record that does not authenticate locks
    /// the vault until the next unlock(), so that nothing overwrites it.
    [[nodiscard]] QJsonObject load(bool* ok = nullptr);

    /// Seals with AES-256-GCM (NIST SP 800-38D): "TKV1", 12 bytes of nonce, 16 of
    /// tag, ciphertext. Empty on failure: key not 32 bytes, more than 50 MiB, or
    /// no randomness.
    [[nodiscard]] static QByteArray seal(const QByteArray& plaintext, const QByteArray& key,
                                         const QByteArray& aad);

    /// Opens what seal() made. An empty plaintext is legitimate: only `ok` tells
    /// success from failure.
    [[nodiscard]] static QByteArray unseal(const QByteArray& blob, const QByteArray& key,
                                           const QByteArray& aad, bool* ok = nullptr);

Q_SIGNALS:
    void ready();
    /// The vault will not become usable for this scope; `message` is for the user.
    void unavailable(const QString& message);

private:
    enum class Record { Unread, Read, Unreadable };
    using Completion = void (Vault::*)(QKeychain::Job*);

    void begin();
    void close();
    void refuse(const QString& message, bool stuck = false);
    void forgetSecrets();
    void startReading(Completion completion);
    void startWriting(const QByteArray& key, Completion completion);
    void expect(QKeychain::Job* job, Completion completion);

    void onKeyRead(QKeychain::Job* job);
    void createKey();
    void onKeyWritten(QKeychain::Job* job);
    void onKeyReadBack(QKeychain::Job* job);

    [[nodiscard]] QString scopeHash() const;
    [[nodiscard]] QString databasePath() const;
    [[nodiscard]] bool openFile();
    [[nodiscard]] QByteArray accountAwareContext() const;
    [[nodiscard]] bool store(const QJsonObject& state);
    [[nodiscard]] std::optional<QJsonObject> opened(const QByteArray& record);

    QByteArray m_key;
    QByteArray m_context; // what every record of this scope is bound to
    quint64 m_generation = 0;
    QString m_scope;
    std::shared_ptr<DatabaseLock> m_lock; // outlives the file that it is for
    RecordFile m_file;
    Record m_record = Record::Unread;
    bool m_recordMissing = false;
    bool m_stuck = false; // as the last unlock found it

    QByteArray m_newKey; // made, but not yet read back from the credential store
    QPointer<QKeychain::Job> m_job;
    QJsonObject m_loaded; // whose text is made only for the first save: the window waits for what was read
    DocumentText m_text;
};
