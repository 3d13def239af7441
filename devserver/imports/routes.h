// SPDX-License-Identifier: MIT
#pragma once

namespace devserver {

class Router;

/// The preview of a CSV, and the steps in which it is written.
void addImportRoutes(Router& router);

} // namespace devserver
