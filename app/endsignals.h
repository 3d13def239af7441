// SPDX-License-Identifier: MIT
#pragma once

/// From now on SIGTERM, SIGINT and SIGHUP (the end of a desktop session, Ctrl+C, a closed terminal) end the
/// application as its own "Quit" does, so that what waits is recorded. The second of a kind ends it at once.
/// Once for each application.
void quitOnSignals();
