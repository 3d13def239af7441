// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/accounts/accounts.h"

namespace devserver {

class Router;

/// `GET /sync/snapshot`, `GET /me/timer` and `POST /sync/push`.
void addSyncRoutes(Router& router);

/// `GET /sync/snapshot`: {"workspace_id","catalog":{"projects","clients"},
/// "time_entries","timesheet_periods"} of one workspace, all of one moment.
/// Throws ApiError 404 unless the caller is a member.
[[nodiscard]] QByteArray snapshotReply(Connection& connection, const Caller& caller,
                                       const QString& workspaceId);

/// `GET /me/timer`: {"timer":ENTRY} or {"timer":null}.
[[nodiscard]] QByteArray timerReply(Connection& connection, const Caller& caller);

} // namespace devserver
