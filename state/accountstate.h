// SPDX-License-Identifier: MIT
#pragma once

#include "state/document.h"

#include <QJsonObject>
#include <QString>

/// The rules of an account change: whether it is allowed, and what the durable
/// state document becomes. `persist` is asked to store the whole new document
/// first; only when it agrees is `state` replaced. `error`, when given, gets the
/// sentence for the user on failure and a null string on success.
class AccountState {
public:
    /// Whether personal credentials may be sent to `server`: HTTPS, or HTTP to loopback.
    [[nodiscard]] static bool transportAllowed(const QString& server);

    /// Turns the server's sign-in `reply` {`session_token`, `session`: {`id`, `user_id`}}
    /// into a signed-in document. Nothing of the previous account is carried over.
    [[nodiscard]] static bool login(QJsonObject& state, const QJsonObject& reply, const PersistState& persist,
                                    QString* error = nullptr);

    /// Puts a new session of the same account into `auth` and leaves all else as it is, the waiting work
    /// above all. `auth.user_id` keeps its letter case: it is what the server's identity is compared with.
    [[nodiscard]] static bool renew(QJsonObject& state, const QJsonObject& reply, const PersistState& persist,
                                    QString* error = nullptr);

    /// Ends the session on this device and wipes all that belonged to the account.
    [[nodiscard]] static bool logout(QJsonObject& state, const PersistState& persist,
                                     QString* error = nullptr);
};
