// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/accounts/accounts.h"

namespace devserver {

class Router;

/// `GET /sync/snapshot`, `GET /me/timer` and `POST /sync/push`.
void addSyncRoutes(Router& router);

/// `GET /sync/snapshot`: {"workspace_id","catalog":{"projects","clients"},
/// "time_entries","timesheet_periods"} of one workspace, all of one moment. Whoever asks must
/// have been found to be a member.
[[nodiscard]] QByteArray snapshotReply(Connection& connection, const QString& workspaceId);

/// `GET /me/timer`: {"timer":ENTRY} or {"timer":null}.
[[nodiscard]] QByteArray timerReply(Connection& connection, const Caller& caller);

} // namespace devserver
