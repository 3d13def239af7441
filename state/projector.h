// SPDX-License-Identifier: MIT
#pragma once

#include "state/projection.h"

#include <memory>

/// SyncState::project with a memory: it keeps which entries of the last snapshot are
/// shown and which are locked, so that a write costs what the queue costs and not what
/// three years of history cost. As JSON the result is the same, byte for byte.
class Projector {
public:
    Projector();
    ~Projector();
    Projector(const Projector&) = delete;
    Projector& operator=(const Projector&) = delete;

    [[nodiscard]] Projection project(const QJsonObject& state);

private:
    struct Memory;
    std::unique_ptr<Memory> m_memory;
};
