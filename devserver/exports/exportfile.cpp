// SPDX-License-Identifier: MIT
#include "devserver/exports/exportfile.h"

#include "devserver/base/text.h"
#include "devserver/reports/snapshots.h"

#include <QDir>

#include <fcntl.h>

namespace devserver {

ExportFile::ExportFile()
    : m_file(std::make_shared<QTemporaryFile>(QDir::tempPath() + u"/timer-export.XXXXXX"_s)) {
    requireWritten(m_file->open(), *m_file);
}

void ExportFile::write(const QByteArray& bytes) {
    requireWritten(m_file->write(bytes) == bytes.size(), *m_file);
}

void ExportFile::requireRoom(qint64 bytes) {
    requireWritten(posix_fallocate(m_file->handle(), 0, bytes) == 0, *m_file);
    requireWritten(m_file->resize(0), *m_file);
}

std::string ExportFile::path() const {
    return "/proc/self/fd/" + std::to_string(m_file->handle());
}

std::shared_ptr<QIODevice> ExportFile::finish() {
    requireWritten(m_file->flush(), *m_file);
    return m_file;
}

} // namespace devserver
