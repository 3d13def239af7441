// SPDX-License-Identifier: MIT
#include "devserver/imports/routes.h"

#include "devserver/http/router.h"
#include "devserver/imports/apply.h"
#include "devserver/imports/preview.h"

namespace devserver {

void addImportRoutes(Router& router) {
    // 900,000 bytes of CSV, each of which may take six as JSON.
    constexpr qsizetype largestPreview = qsizetype{6} * 1024 * 1024;
    router.post("/v1/workspaces/([^/]*)/imports/csv/preview", Work::Own, previewImport, largestPreview);
    router.post("/v1/imports/([^/]*)/apply", Work::Write, applyImport);
}

} // namespace devserver
