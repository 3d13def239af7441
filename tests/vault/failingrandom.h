// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

/// As long as one lives, OpenSSL has no more randomness to give than for so many draws.
class FailingRandom {
public:
    explicit FailingRandom(int good = 0);
    ~FailingRandom();
    Q_DISABLE_COPY_MOVE(FailingRandom)

    /// Whether a draw has failed.
    [[nodiscard]] static bool hasFailed();
};
