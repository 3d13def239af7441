// SPDX-License-Identifier: MIT
#include "devserver/exports/formats.h"
#include "devserver/exports/table.h"

#include <csv.h>

namespace devserver {
namespace {

constexpr qsizetype usualLine = 512;

void appendField(QByteArray& line, const QString& text) {
    const QByteArray utf8 = text.toUtf8();
    const qsizetype at = line.size();
    line.resize(at + 2 * utf8.size() + 2); // every character a quote
    const size_t length = csv_write(line.data() + at, static_cast<size_t>(line.size() - at), utf8.constData(),
                                    static_cast<size_t>(utf8.size()));
    line.resize(at + static_cast<qsizetype>(length));
}

QByteArray lineOf(const QStringList& fields) {
    QByteArray line;
    line.reserve(usualLine);
    for (const QString& field : fields) {
        if (!line.isEmpty()) {
            line += ',';
        }
        appendField(line, harmless(field));
    }
    line += "\r\n";
    return line;
}

} // namespace

void writeCsv(SnapshotReader& report, ExportFile& to) {
    const ReportTable table(report.header());
    QStringList titles;
    for (const ReportTable::Column& column : table.columns()) {
        titles.append(column.title);
    }
    to.write("\xEF\xBB\xBF" + lineOf(titles));
    while (const auto row = report.next()) {
        to.write(lineOf(table.texts(table.cells(*row))));
    }
}

} // namespace devserver
