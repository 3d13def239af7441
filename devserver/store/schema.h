// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/store/database.h"

namespace devserver {

/// The user that a request without a token belongs to, and their first workspace.
inline const QString developmentUser = u"5f0c7a52-6c1b-4d0e-9a37-1f4be2d8c001"_s;
inline const QString developmentWorkspace = u"8d3e1b94-27aa-4c58-8e61-90b7c5d4a001"_s;

/// Brings the tables up to date, from nothing or from any earlier version of
/// this program. An empty database gets the development user and a workspace,
/// so that a client can connect.
void migrate(Connection& connection);

} // namespace devserver
