// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/store/database.h"

#include <QDate>

namespace devserver {

/// Fills a database that holds no work yet with two users, two workspaces and
/// the year of work before `today`; leaves any other database alone. Returns
/// whether the database holds the demo now, of this or an earlier day. The same
/// day always gives the same data. The approved, the submitted and the open
/// period are the three whole weeks before this one; nothing of the current week
/// or later is closed.
[[nodiscard]] bool addDemo(Connection& connection, QDate today);

/// Today where the demo's people live.
[[nodiscard]] QDate currentDemoDay();

} // namespace devserver
