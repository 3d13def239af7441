// SPDX-License-Identifier: MIT
#pragma once

#include "controller/controller.h"
#include "tests/support/sample.h"
#include "tests/support/scriptedpeer.h"

#include <QJsonObject>
#include <QString>

#include <memory>

/// A client at a scripted peer that serves the sample account.
class Desk {
public:
    explicit Desk(const QJsonObject& snapshot = sample::snapshot());

    /// Connects and waits until the workspace is loaded.
    [[nodiscard]] bool load();
    /// Ends the program and starts it again, not connected.
    void restart();
    /// From now on nothing is pushed: the identity check stays open.
    void holdPushes();
    /// Takes this as the loaded state with this queue, stored and not yet pushed.
    [[nodiscard]] bool holdQueue(const QJsonArray& queue);
    /// What is in the vault, opened from outside with the stored key.
    [[nodiscard]] QJsonObject stored();

    ScriptedPeer peer;
    std::unique_ptr<Controller> controller;
};
