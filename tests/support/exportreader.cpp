// SPDX-License-Identifier: MIT
#include "tests/support/exportreader.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

QString textOf(const QJsonValue& cell) {
    return cell.isObject() ? cell[u"value"].toString() : cell.toString();
}

/// A number; of a duration the seconds, which a workbook has and "26:03:04" means.
qint64 numberOf(const QJsonValue& cell) {
    if (cell.isObject()) {
        return cell[u"value"].toInteger();
    }
    const QStringList parts = cell.toString().split(u':');
    return parts.size() == 3
               ? parts[0].toLongLong() * 3600 + parts[1].toLongLong() * 60 + parts[2].toLongLong()
               : cell.toString().toLongLong();
}

/// -1 when no column is called so.
qsizetype columnOf(const QJsonArray& titles, const QString& name) {
    const auto found = std::find_if(titles.begin(), titles.end(),
                                    [&name](const QJsonValue& title) { return textOf(title) == name; });
    return found == titles.end() ? -1 : found - titles.begin();
}

ExportSums sumsOfJson(const QJsonObject& report) {
    ExportSums sums;
    const QJsonArray rows = report[u"rows"].toArray();
    for (const auto& row : rows) {
        sums.seconds += row[u"totals"][u"raw_duration_seconds"].toInteger();
        sums.entries += row[u"totals"][u"entry_count"].toInteger();
    }
    sums.rows = rows.size();
    sums.totalSeconds = report[u"totals"][u"raw_duration_seconds"].toInteger();
    sums.totalEntries = report[u"totals"][u"entry_count"].toInteger();
    return sums;
}

ExportSums sumsOfTable(QJsonArray rows, bool hasTotals) {
    ExportSums sums;
    const QJsonArray titles = rows.isEmpty() ? QJsonArray() : rows.takeAt(0).toArray();
    const qsizetype duration = columnOf(titles, u"משך"_s);
    const qsizetype entries = columnOf(titles, u"רשומות"_s);
    if (hasTotals && !rows.isEmpty()) {
        const QJsonArray totals = rows.takeAt(rows.size() - 1).toArray();
        sums.totalSeconds = numberOf(totals[duration]);
        sums.totalEntries = entries < 0 ? -1 : numberOf(totals[entries]);
    }
    for (const auto& row : std::as_const(rows)) {
        sums.seconds += numberOf(row[duration]);
        sums.entries += entries < 0 ? 1 : numberOf(row[entries]);
    }
    sums.rows = rows.size();
    return sums;
}

} // namespace

QJsonObject readExport(const QString& format, const QByteArray& bytes) {
    const QTemporaryDir folder;
    QFile file(folder.filePath(u"report."_s + format.section(u'-', 0, 0)));
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.flush()) {
        return {};
    }
    const QByteArray found = outputOf(QStringLiteral(READ_EXPORT), {format, file.fileName()});
    return QJsonDocument::fromJson(found).object();
}

ExportSums exportSums(const QString& format, const QByteArray& bytes) {
    const QJsonObject report = readExport(format, bytes);
    return format == u"json" ? sumsOfJson(report) : sumsOfTable(report[u"rows"].toArray(), format != u"csv");
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
