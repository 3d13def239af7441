// SPDX-License-Identifier: MIT
#include "tests/support/filesearch.h"

#include <QDirIterator>
#include <QFile>

QStringList filesThatHold(const QString& text, const QString& folder) {
    const QByteArray narrow = text.toUtf8();
    const QByteArray wide(reinterpret_cast<const char*>(text.utf16()), text.size() * 2);
    QStringList found;
    QDirIterator files(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        QFile file(files.next());
        if (!file.open(QIODevice::ReadOnly)) {
            continue; // a socket
        }
        const QByteArray bytes = file.readAll();
        if (bytes.contains(narrow) || bytes.contains(wide)) {
            found.append(file.fileName());
        }
    }
    return found;
}
