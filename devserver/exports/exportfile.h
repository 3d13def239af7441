// SPDX-License-Identifier: MIT
#pragma once

#include <QTemporaryFile>

#include <memory>
#include <string>

namespace devserver {

/// Where an export is written before the first byte of it is sent, so that one
/// that fails in the middle is answered with an error and not cut off. It lies
/// in TMPDIR and ends with its last user. There it has no name, or a random one
/// on a file system that knows no nameless files (O_TMPFILE).
/// Every failure throws std::runtime_error.
class ExportFile {
public:
    ExportFile();

    void write(const QByteArray& bytes);

    /// Makes sure that there is room for so much beside what is written already elsewhere.
    void requireRoom(qint64 bytes);

    /// A path under which a library can write the file by itself.
    [[nodiscard]] std::string path() const;

    /// The complete file.
    [[nodiscard]] std::shared_ptr<QIODevice> finish();

private:
    std::shared_ptr<QTemporaryFile> m_file;
};

} // namespace devserver
