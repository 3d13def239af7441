// SPDX-License-Identifier: MIT
#pragma once

/// Shows the least that a Material window can be; what main() returns.
[[nodiscard]] int showBareWindow();
