// SPDX-License-Identifier: MIT
// Whatever lies where the database should be.
#include "tests/fuzz/fuzz.h"
#include "vault/recordfile.h"

#include <QFile>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::needApplication();
    static const QTemporaryDir folder;
    const QString path = folder.filePath(u"record.sqlite"_s);
    for (const QString& suffix : {QString(), u"-wal"_s, u"-shm"_s, u"-journal"_s}) {
        QFile::remove(path + suffix);
    }
    QFile file(path);
    const QByteArray bytes = fuzz::bytesOf(data, size);
    fuzz::require(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size(), "the file is there");
    file.close();

    RecordFile record;
    static_cast<void>(record.markAt(path));
    if (!record.open(path) || !record.read()) {
        return 0;
    }
    const QByteArray next = "TKVA, and what else a record begins with, and then its text"_ba;
    if (record.write(next)) {
        fuzz::require(record.read() == next && record.isIntact(), "what is written is read");
    }
    return 0;
}
