// SPDX-License-Identifier: MIT
#include "devserver/importroutes.h"

#include "devserver/importapply.h"
#include "devserver/importpreview.h"
#include "devserver/router.h"

namespace devserver {

void addImportRoutes(Router& router) {
    // 900,000 bytes of CSV, each of which may take six as JSON.
    constexpr qsizetype largestPreview = qsizetype{6} * 1024 * 1024;
    router.post("/v1/workspaces/([^/]*)/imports/csv/preview", Work::Own, previewImport, largestPreview);
    router.post("/v1/imports/([^/]*)/apply", Work::Write, applyImport);
}

} // namespace devserver
