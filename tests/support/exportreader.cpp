// SPDX-License-Identifier: MIT
#include "tests/support/exportreader.h"

#include <QFile>
#include <QJsonDocument>
#include <QProcess>
#include <QTemporaryDir>

QJsonObject readExport(const QString& format, const QByteArray& bytes) {
    const QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("report.") + format.section(u'-', 0, 0)));
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.flush()) {
        return {};
    }
    const QByteArray found = outputOf(QStringLiteral(READ_EXPORT), {format, file.fileName()});
    return QJsonDocument::fromJson(found).object();
}

QByteArray outputOf(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(program, arguments);
    const bool ended = process.waitForFinished(120'000);
    return ended && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0
               ? process.readAllStandardOutput()
               : QByteArray();
}
