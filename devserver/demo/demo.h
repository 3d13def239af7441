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

/// A made-up person. The password is public on purpose.
struct DemoAccount {
    QString email;
    QByteArray password;
};

/// The development user of the demo, and the colleague who shares a workspace.
inline const DemoAccount demoOwner{u"noa@example.com"_s, "noa-in-the-demo"_ba};
inline const DemoAccount demoColleague{u"dan@example.com"_s, "dan-in-the-demo"_ba};

/// Lets the demo's people sign in, unless they can already. Not to be called in a transaction.
void giveDemoPasswords(Connection& connection);

/// Who can sign in with which password, one line each.
[[nodiscard]] QByteArray demoAccountLines();

} // namespace devserver
