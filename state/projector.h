// SPDX-License-Identifier: MIT
#pragma once

#include <QJsonObject>

#include <memory>

/// SyncState::project with a memory: it keeps the projected base entries of the
/// last snapshot, so that a write costs what the queue costs and not what three
/// years of history cost. The result is the same document, byte for byte.
class Projector {
public:
    Projector();
    ~Projector();
    Projector(const Projector&) = delete;
    Projector& operator=(const Projector&) = delete;

    [[nodiscard]] QJsonObject project(const QJsonObject& state);

private:
    struct Memory;
    std::unique_ptr<Memory> m_memory;
};
