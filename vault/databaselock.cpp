// SPDX-License-Identifier: MIT
#include "vault/databaselock.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

#include <cerrno>
#include <sys/file.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

// Empty without a folder of the session: the lock beside the database has to do then.
QString entryLock(const QString& name) {
    const QString session = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    return session.isEmpty() ? QString() : session + u"/TimerKelvaro-"_s + name;
}

} // namespace

LockFile::~LockFile() {
    release();
}

LockFile::Answer LockFile::take(const QString& path) {
    // The former holder removes the file on leaving: then the lock just taken is nobody's.
    for (int attempt = 0; attempt < 10; ++attempt) {
        release();
        m_file.setFileName(path);
        if (!m_file.open(QIODevice::ReadWrite, QFileDevice::ReadOwner | QFileDevice::WriteOwner)) {
            return Answer::Refused;
        }
        if (flock(m_file.handle(), LOCK_EX | LOCK_NB) != 0) {
            const bool held = errno == EWOULDBLOCK;
            m_file.close();
            return held ? Answer::Held : Answer::Refused;
        }
        if (isInPlace()) {
            return Answer::Taken;
        }
    }
    return Answer::Refused;
}

bool LockFile::isInPlace() const {
    struct stat held {};
    struct stat named {};
    return m_file.isOpen() && fstat(m_file.handle(), &held) == 0 &&
           stat(QFile::encodeName(m_file.fileName()).constData(), &named) == 0 &&
           held.st_dev == named.st_dev && held.st_ino == named.st_ino;
}

void LockFile::release() {
    // The name goes while the lock is still held: whoever takes the next one makes it anew.
    if (isInPlace()) {
        QFile::remove(m_file.fileName());
    }
    m_file.close();
}

DatabaseLock::~DatabaseLock() {
    m_beside.release();
    if (!m_folder.isEmpty()) {
        QDir().rmdir(m_folder);
    }
}

LockFile::Answer DatabaseLock::take(const QString& database) {
    const QFileInfo file(database);
    const QString name = file.completeBaseName() + u".lock"_s;
    const QString entry = entryLock(name);
    if (!entry.isEmpty() && !m_entry.isInPlace() && m_entry.take(entry) == LockFile::Answer::Held) {
        return LockFile::Answer::Held;
    }
    if (m_beside.isInPlace()) {
        return LockFile::Answer::Taken;
    }
    m_folder = file.absolutePath();
    QDir().mkpath(m_folder);
    return m_beside.take(m_folder + u'/' + name);
}

bool DatabaseLock::isInPlace() const {
    return m_beside.isInPlace();
}
