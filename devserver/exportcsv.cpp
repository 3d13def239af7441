// SPDX-License-Identifier: MIT
#include "devserver/reportformat.h"
#include "devserver/reporttable.h"

#include <csv.h>

namespace devserver {
namespace {

void appendField(QByteArray& line, const QString& text) {
    const QByteArray utf8 = text.toUtf8();
    const auto length = static_cast<size_t>(utf8.size());
    const size_t quoted = csv_write(nullptr, 0, utf8.constData(), length);
    const qsizetype at = line.size();
    line.resize(at + static_cast<qsizetype>(quoted));
    csv_write(line.data() + at, quoted, utf8.constData(), length);
}

// Spreadsheets run a cell that looks like a formula, also when it is quoted.
QString harmless(const QString& text) {
    static const QString dangerous = QStringLiteral("=+-@\t\r");
    return !text.isEmpty() && dangerous.contains(text.front()) ? u'\'' + text : text;
}

QByteArray lineOf(const QStringList& fields) {
    QByteArray line;
    for (const QString& field : fields) {
        if (!line.isEmpty()) {
            line += ',';
        }
        appendField(line, harmless(field));
    }
    return line + "\r\n";
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
