// SPDX-License-Identifier: MIT
#pragma once

namespace devserver {

class Router;
class SignIn;

/// The timesheet page at `/` with its files, and the JSON under `/web/` that
/// it reads and sends. `tls`: the page is
/// served over https. `signIn` must outlive the router.
void addWebRoutes(Router& router, SignIn& signIn, bool tls);

} // namespace devserver
