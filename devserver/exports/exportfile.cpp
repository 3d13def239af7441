// SPDX-License-Identifier: MIT
#include "devserver/exports/exportfile.h"

#include <QDir>

#include <stdexcept>

namespace devserver {
namespace {

void require(bool done, const QTemporaryFile& file) {
    if (!done) {
        throw std::runtime_error("the temporary file in " + QDir::tempPath().toStdString() + ": " +
                                 file.errorString().toStdString());
    }
}

} // namespace

ExportFile::ExportFile()
    : m_file(std::make_shared<QTemporaryFile>(QDir::tempPath() + QStringLiteral("/timer-export.XXXXXX"))) {
    require(m_file->open(), *m_file);
}

void ExportFile::write(const QByteArray& bytes) {
    require(m_file->write(bytes) == bytes.size(), *m_file);
}

std::string ExportFile::path() const {
    return "/proc/self/fd/" + std::to_string(m_file->handle());
}

std::shared_ptr<QIODevice> ExportFile::finish() {
    require(m_file->flush(), *m_file);
    return m_file;
}

} // namespace devserver
