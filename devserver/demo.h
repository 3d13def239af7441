// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/database.h"

#include <QDate>

namespace devserver {

/// Fills a database that holds no work yet with two users, two workspaces and
/// the year of work before `today`, and returns true; leaves any other database
/// alone and returns false. The same day always gives the same data. The
/// approved, the submitted and the open period are the three whole weeks before
/// this one; nothing of the current week or later is closed.
[[nodiscard]] bool addDemo(Connection& connection, QDate today);

/// Today where the demo's people live.
[[nodiscard]] QDate currentDemoDay();

} // namespace devserver
