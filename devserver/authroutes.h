// SPDX-License-Identifier: MIT
#pragma once

namespace devserver {

class Router;
class SignIn;

/// `POST /auth/login` and `POST /auth/logout`. `signIn` must outlive the router.
void addAuthRoutes(Router& router, SignIn& signIn);

} // namespace devserver
