// SPDX-License-Identifier: MIT
#include "devserver/exports/routes.h"

#include "devserver/base/apierror.h"
#include "devserver/exports/formats.h"
#include "devserver/http/router.h"

namespace devserver {
namespace {

void requireFitting(SnapshotReader& report, const ReportFormat& format) {
    if (format.largest > 0 && report.rowCount() > format.largest) {
        throw ApiError{422, QStringLiteral("too_many_rows"),
                       QStringLiteral("This report has more rows than a spreadsheet can hold (1,048,576);"
                                      " export it as CSV, or report on a shorter time.")};
    }
}

Answer exportReport(Request& request) {
    SnapshotReader report(request.connection(), request.caller(), request.part(1), request.part(2));
    const QString name = request.parameter("format");
    const ReportFormat& format = reportFormat(name);
    requireFitting(report, format);
    ExportFile file;
    format.write(report, file);
    Answer answer;
    answer.type = format.type;
    answer.file = file.finish();
    answer.headers = {
        {"Content-Disposition", "attachment; filename=\"timer-report." + format.name.toLatin1() + '"'},
    };
    return answer;
}

} // namespace

void addExportRoutes(Router& router) {
    router.get("/v1/workspaces/([^/]+)/report-snapshots/([^/]+)/export", Work::Read, exportReport);
}

} // namespace devserver
