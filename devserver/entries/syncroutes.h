// SPDX-License-Identifier: MIT
#pragma once

namespace devserver {

class Router;

/// `GET /sync/snapshot`, `GET /me/timer` and `POST /sync/push`.
void addSyncRoutes(Router& router);

} // namespace devserver
