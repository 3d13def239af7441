// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/options.h"

namespace devserver {

/// Prepares the database, listens, prints "Listening on http://HOST:PORT" (or
/// https) and serves until SIGINT or SIGTERM. Before that line it says who can
/// sign in at the demo and how many sessions were ended. Returns the exit code: 0
/// after a signal, 1 with one sentence on the standard error when the server
/// cannot start. A signal while the database is prepared ends the process at
/// once, with 0.
[[nodiscard]] int serve(const Options& options);

} // namespace devserver
