// SPDX-License-Identifier: MIT
#include "devserver/reports/routes.h"

#include "devserver/http/router.h"
#include "devserver/reports/report.h"

namespace devserver {

void addReportRoutes(Router& router) {
    router.post("/v1/workspaces/([^/]+)/reports/([^/]+)/query", Work::Own, queryReport);
}

} // namespace devserver
