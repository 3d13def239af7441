// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/store/database.h"

#include <QByteArray>
#include <QString>

namespace devserver {

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
