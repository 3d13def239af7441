// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

namespace devserver {

class Request;
class Router;
class SignIn;

/// The user whose `email` and `password` the request's body holds; the body is
/// wiped. Throws ApiError 422 for fields of another type, and as
/// `SignIn::userOf`. Not to be called in a transaction.
[[nodiscard]] QString userSigningIn(Request& request, SignIn& signIn);

/// `POST /auth/login` and `POST /auth/logout`. `signIn` must outlive the router.
void addAuthRoutes(Router& router, SignIn& signIn);

} // namespace devserver
