// SPDX-License-Identifier: MIT
#include "tests/endurance/importfile.h"

#include "tests/controller/mover.h"

#include <QDateTime>
#include <QFile>
#include <QTimeZone>

namespace {

constexpr int rows = 30;

QByteArray history(const QString& label) {
    QByteArray text = Mover::header();
    QDateTime start(QDate(2025, 6, 1), QTime(0, 0), QTimeZone::utc());
    for (int i = 0; i < rows; ++i, start = start.addSecs(3600)) {
        text += label.toUtf8() + '-' + QByteArray::number(i) + ",,,No," +
                start.toString(u"yyyy-MM-dd,HH:mm"_s).toLatin1() + ",0:30:00,\r\n";
    }
    return text;
}

} // namespace

bool writeImport(const QString& fileName, const QString& label) {
    QFile file(fileName);
    const QByteArray text = history(label);
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size() && file.flush();
}
