// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

/// As long as one lives, OpenSSL has no randomness to give.
class FailingRandom {
public:
    FailingRandom();
    ~FailingRandom();
    Q_DISABLE_COPY_MOVE(FailingRandom)
};
