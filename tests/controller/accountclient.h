// SPDX-License-Identifier: MIT
#pragma once

#include "controller/controller.h"
#include "tests/support/scriptedpeer.h"

#include <QJsonObject>
#include <QString>

/// A client of a scripted server that knows a development user, "noa@example.org",
/// and one personal account, "dana@example.org".
struct AccountClient {
    static QString token();
    static QString password();
    static QString loginPath();
    static QString logoutPath();
    static QJsonObject signInReply();
    static QJsonObject personalIdentity();
    static QJsonObject errorReply(const QJsonValue& message);

    ScriptedPeer peer;
    Controller controller;

    AccountClient();

    [[nodiscard]] bool connectAndSettle();
    /// Ends the program and starts it again, not connected.
    void restart();
    [[nodiscard]] bool signIn();
    /// Records a write that the server does not get to see.
    [[nodiscard]] bool queueWork();
    /// Loads a report and an import preview.
    [[nodiscard]] bool lookAround();

    [[nodiscard]] bool showsOldWork() const;
    [[nodiscard]] bool showsNoWork() const;
    /// No request is under way.
    [[nodiscard]] bool isSilent() const;
};
