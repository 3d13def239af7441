// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/accounts/accounts.h"
#include "devserver/timesheets/periods.h"

#include <QByteArray>

// What the timesheet page shows, as JSON. An entry belongs to every period
// that it overlaps, as half-open intervals, and counts there with the seconds
// inside the period; a running one counts as nothing yet.
namespace devserver {

/// The user as in `GET /me`, and their workspaces, the oldest first, each with
/// their periods, the newest first:
/// {"user","workspaces":[{"id","name","periods":[PERIOD]}]}, where PERIOD is
/// {"id","status","from_date","to_date","timezone","version","last_reason","duration_seconds"}.
[[nodiscard]] QByteArray timesheetReply(Connection& connection, const Caller& caller);

/// {"days":[{"date","duration_seconds","entries":[{"id","description","project",
/// "start_local","stop_local","duration_seconds"}]}]}
///
/// Days without an entry are left out. Times are local to the period's zone
/// and name no offset; `stop_local` and `duration_seconds` are null while the
/// entry runs. An entry stands at the day of its start, or, when it began
/// before the period, at the period's first day.
[[nodiscard]] QByteArray periodEntriesReply(Connection& connection, const QString& userId,
                                            const Period& period);

} // namespace devserver
