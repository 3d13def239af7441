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

bool replaceFile(const QString& fileName, const QByteArray& bytes) {
    QSaveFile file(fileName);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit();
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
    // EINVAL: this file system has nothing to write for a folder.
    const bool synced = ::fsync(folder) == 0 || errno == EINVAL;
    ::close(folder);
    return synced;
}
