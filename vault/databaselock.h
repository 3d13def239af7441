// SPDX-License-Identifier: MIT
#pragma once

#include <QFile>
#include <QString>

/// A file that one program at a time can hold. The kernel's lock ends with the
/// program, however it ends; what the file holds means nothing, so a copy of it
/// or one that a crash left behind holds nobody up.
class LockFile {
public:
    enum class Answer {
        Taken,
        Held,    ///< by somebody else
        Refused, ///< by the file system
    };

    LockFile() = default;
    ~LockFile();
    Q_DISABLE_COPY_MOVE(LockFile)

    [[nodiscard]] Answer take(const QString& path);
    /// Held, and under its name still the file that everybody else would ask for.
    [[nodiscard]] bool isInPlace() const;
    void release();

private:
    QFile m_file;
};

/// The right of one program to a server's database and key.
///
/// The lock beside the database follows the folder through every link to it. A
/// copied home has a database and a lock of its own, but the same entry in the
/// same credential store: two first uses at once would each make a key, and the
/// record sealed under the replaced one could never be read again. So the name
/// of the entry is locked as well, in the folder of the login session, which all
/// programs share that share a credential store.
class DatabaseLock {
public:
    DatabaseLock() = default;
    /// Leaves no folder behind that would hold nothing.
    ~DatabaseLock();
    Q_DISABLE_COPY_MOVE(DatabaseLock)

    /// Takes both, or again what is no longer in place.
    [[nodiscard]] LockFile::Answer take(const QString& database);
    [[nodiscard]] bool isInPlace() const;

private:
    LockFile m_beside;
    LockFile m_entry;
    QString m_folder;
};
