// SPDX-License-Identifier: MIT
#include "devserver/reportroutes.h"

#include "devserver/report.h"
#include "devserver/router.h"

namespace devserver {

void addReportRoutes(Router& router) {
    router.post("/v1/workspaces/([^/]+)/reports/([^/]+)/query", Work::Own, queryReport);
}

} // namespace devserver
