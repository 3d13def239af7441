// SPDX-License-Identifier: MIT
#pragma once

namespace devserver {

class Router;

/// `GET /workspaces/{id}/report-snapshots/{id}/export?format=`.
void addExportRoutes(Router& router);

} // namespace devserver
