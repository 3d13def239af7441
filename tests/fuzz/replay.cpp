// SPDX-License-Identifier: MIT
//
// replay FOLDER: gives a fuzzer its seeds where no libFuzzer drives it, each whole and cut off in many
// places.
#include "tests/fuzz/fuzz.h"

#include <QDir>
#include <QFile>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

void feed(const QByteArray& input) {
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.constData()),
                           static_cast<std::size_t>(input.size()));
}

} // namespace

int main(int argc, char* argv[]) {
    fuzz::require(argc == 2, "one folder is named");
    constexpr qsizetype cuts = 64;
    const QDir folder(QFile::decodeName(argv[1]));
    const QStringList names = folder.entryList(QDir::Files);
    fuzz::require(!names.isEmpty(), "there are seeds");
    for (const QString& name : names) {
        QFile file(folder.filePath(name));
        fuzz::require(file.open(QIODevice::ReadOnly), "the seed can be read");
        const QByteArray seed = file.readAll();
        const qsizetype step = std::max<qsizetype>(1, seed.size() / cuts);
        for (qsizetype length = 0; length < seed.size(); length += step) {
            feed(seed.first(length));
        }
        feed(seed);
    }
    return 0;
}
