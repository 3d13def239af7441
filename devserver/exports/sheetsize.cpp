// SPDX-License-Identifier: MIT
#include "devserver/exports/sheetsize.h"

#include <QByteArray>
#include <QIODevice>
#include <QtEndian>

#include <stdexcept>

namespace devserver {
namespace {

constexpr qsizetype endSize = 22;
constexpr qsizetype entrySize = 46; // without the name

template <typename Number>
Number numberAt(const QByteArray& bytes, qsizetype at) {
    return qFromLittleEndian<Number>(bytes.constData() + at);
}

QByteArray readAt(QIODevice& file, qint64 at, qint64 size) {
    QByteArray bytes = at >= 0 && file.seek(at) ? file.read(size) : QByteArray();
    if (bytes.size() != size) {
        throw std::runtime_error("the workbook has no end");
    }
    return bytes;
}

QByteArray directoryOf(QIODevice& file) {
    const QByteArray end = readAt(file, file.size() - endSize, endSize);
    if (!end.startsWith("PK\5\6")) {
        throw std::runtime_error("the workbook has no directory");
    }
    return readAt(file, numberAt<quint32>(end, 16), numberAt<quint32>(end, 12));
}

} // namespace

qint64 sheetSize(QIODevice& workbook) {
    const QByteArray directory = directoryOf(workbook);
    for (qsizetype at = 0; at + entrySize <= directory.size();) {
        const auto nameSize = numberAt<quint16>(directory, at + 28);
        if (directory.mid(at + entrySize, nameSize) == "xl/worksheets/sheet1.xml") {
            return numberAt<quint32>(directory, at + 24);
        }
        at += entrySize + nameSize + numberAt<quint16>(directory, at + 30) +
              numberAt<quint16>(directory, at + 32);
    }
    throw std::runtime_error("the workbook has no sheet");
}

} // namespace devserver
