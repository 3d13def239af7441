// SPDX-License-Identifier: MIT
#include "devserver/exports/formats.h"

#include "devserver/base/apierror.h"
#include "devserver/http/router.h"

#include <array>
#include <stdexcept>

namespace devserver {
namespace {

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
    const ReportFormat& format = reportFormat(request.parameter("format"));
    if (format.largest > 0 && report.rowCount() > format.largest) {
        throw ApiError{422, u"too_many_rows"_s,
                       u"This report has more rows than a spreadsheet can hold (1,048,576);"
                       " export it as CSV, or report on a shorter time."_s};
    }
    ExportFile file;
    format.write(report, file);
    Answer answer;
    answer.type = format.type;
    answer.file = file.finish();
    answer.headers = {
        {"Content-Disposition", "attachment; filename=\"timer-report." + format.name.toLatin1() + '"'}};
    return answer;
}

} // namespace

void writeJson(SnapshotReader& report, ExportFile& to) {
    QByteArray start = report.header();
    if (start.size() < 3 || !start.endsWith('}')) {
        throw std::runtime_error("the header of the report is not a JSON object");
    }
    start.chop(1);
    to.write(start + ",\"rows\":[");
    QByteArray before = "\n";
    while (const auto row = report.next()) {
        to.write(before + *row);
        before = ",\n";
    }
    to.write("]}\n");
}

void addExportRoutes(Router& router) {
    router.get("/v1/workspaces/([^/]+)/report-snapshots/([^/]+)/export", Work::Read, exportReport);
}

} // namespace devserver
