// SPDX-License-Identifier: MIT
#pragma once

namespace devserver {

class Router;

/// `POST /workspaces/ID/reports/KIND/query`.
void addReportRoutes(Router& router);

} // namespace devserver
