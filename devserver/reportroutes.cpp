// SPDX-License-Identifier: MIT
#include "devserver/reportroutes.h"

#include "devserver/apierror.h"
#include "devserver/report.h"
#include "devserver/router.h"

namespace devserver {

void addReportRoutes(Router& router) {
    router.post("/v1/workspaces/([^/]+)/reports/([^/]+)/query", Work::Write, [](Request& request) {
        const QString workspace = request.part(1);
        if (!isMember(request.connection(), request.caller().userId, workspace)) {
            throw ApiError{404, QStringLiteral("not_found"),
                           QStringLiteral("This workspace does not exist or is not yours to see.")};
        }
        const ReportQuery query = readReportQuery(request.part(2), request.json());
        return reportReply(request.connection(), request.caller().userId, workspace, query);
    });
}

} // namespace devserver
