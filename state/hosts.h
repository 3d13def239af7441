// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// "localhost", 127.0.0.0/8 or ::1. A name is not resolved, and no other way to
/// write such an address counts.
[[nodiscard]] bool isLoopbackHost(const QString& host);

/// A loopback host, or an address of a private network (RFC 1918).
[[nodiscard]] bool isPrivateHost(const QString& host);
