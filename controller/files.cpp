// SPDX-License-Identifier: MIT
#include "controller/files.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

/// Writes it to the disk. EINVAL: this file system has nothing to write for it.
bool isSynced(int handle) {
    return ::fsync(handle) == 0 || errno == EINVAL;
}

} // namespace

bool replaceFile(const QString& fileName, const QByteArray& bytes) {
    QSaveFile file(fileName);
    // What commit() still has to write or to sync can fail without its telling.
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.flush() &&
           isSynced(file.handle()) && file.commit();
}

bool writePendingChanges(const QString& fileName, const QJsonArray& items) {
    const QJsonObject document{
        {u"format"_s, u"timer-native-pending-v1"_s},
        {u"queue"_s, items},
    };
    return replaceFile(fileName, QJsonDocument(document).toJson(QJsonDocument::Indented));
}

bool syncFolderOf(const QString& fileName) {
    const QByteArray path = QFile::encodeName(QFileInfo(fileName).canonicalPath());
    const int folder = ::open(path.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0) {
        return false;
    }
    const bool synced = isSynced(folder);
    ::close(folder);
    return synced;
}
