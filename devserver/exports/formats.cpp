// SPDX-License-Identifier: MIT
#include "devserver/exports/formats.h"

#include "devserver/base/apierror.h"
#include "devserver/exports/table.h"
#include "devserver/http/router.h"

#include <QDir>

#include <array>
#include <stdexcept>

#include <csv.h>

namespace devserver {
namespace {

constexpr qsizetype usualLine = 512;
constexpr qint64 largestSheet = 1048576 - 2; // beside the header and the totals

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

/// RFC 4180 in UTF-8 with a byte-order mark, each text `harmless`.
void writeCsv(SnapshotReader& report, QTemporaryFile& to) {
    const ReportTable table(report.header());
    QStringList titles;
    for (const ReportTable::Column& column : table.columns()) {
        titles.append(column.title);
    }
    write(to, "\xEF\xBB\xBF" + lineOf(titles));
    report.each([&](const QByteArray& row) { write(to, lineOf(table.texts(table.cells(row)))); });
}

/// The header, and in "rows" every row as it was stored.
void writeJson(SnapshotReader& report, QTemporaryFile& to) {
    QByteArray start = report.header();
    if (start.size() < 3 || !start.endsWith('}')) {
        throw std::runtime_error("the header of the report is not a JSON object");
    }
    start.chop(1);
    write(to, start + ",\"rows\":[");
    QByteArray before = "\n";
    report.each([&](const QByteArray& row) {
        write(to, before + row);
        before = ",\n";
    });
    write(to, "]}\n");
}

/// One form that a report can be exported in.
struct ReportFormat {
    QString name;    ///< "csv", "xlsx", "json", "html"; also the file's suffix
    QByteArray type; ///< for the Content-Type header
    qint64 largest;  ///< how many rows it can hold; 0: any number
    void (*write)(SnapshotReader& report, QTemporaryFile& to);
};

const ReportFormat& reportFormat(const QString& name) {
    static const std::array<ReportFormat, 4> formats{{
        {u"csv"_s, "text/csv; charset=utf-8; header=present", 0, writeCsv},
        {u"xlsx"_s, "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet", largestSheet,
         writeXlsx},
        {u"json"_s, "application/json", 0, writeJson},
        {u"html"_s, "text/html; charset=utf-8", 0, writeHtml},
    }};
    for (const ReportFormat& format : formats) {
        if (format.name == name) {
            return format;
        }
    }
    throw ApiError{422, u"unknown_format"_s, u"The format must be csv, xlsx, json or html."_s};
}

Answer exportReport(Request& request) {
    SnapshotReader report(request.connection(), request.caller(), request.part(1), request.part(2));
    const QString name = request.parameter("format");
    const ReportFormat& format = reportFormat(name);
    if (format.largest > 0 && report.rowCount() > format.largest) {
        throw ApiError{422, u"too_many_rows"_s,
                       u"This report has more rows than a spreadsheet can hold (1,048,576);"
                       " export it as CSV, or report on a shorter time."_s};
    }
    // Written before the first byte of it is sent, so that an export that fails in the middle is
    // answered with an error and not cut off.
    const auto file = std::make_shared<QTemporaryFile>(QDir::tempPath() + u"/timer-export.XXXXXX"_s);
    requireWritten(file->open(), *file);
    format.write(report, *file);
    requireWritten(file->flush(), *file);
    Answer answer;
    answer.type = format.type;
    answer.file = file;
    answer.headers = {
        {"Content-Disposition", "attachment; filename=\"timer-report." + format.name.toLatin1() + '"'}};
    return answer;
}

} // namespace

void write(QTemporaryFile& file, const QByteArray& bytes) {
    requireWritten(file.write(bytes) == bytes.size(), file);
}

void addExportRoutes(Router& router) {
    router.get("/v1/workspaces/([^/]+)/report-snapshots/([^/]+)/export", reads(exportReport));
}

} // namespace devserver
