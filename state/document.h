// SPDX-License-Identifier: MIT
#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

#include <functional>

/// The keys of the durable document.
namespace documentkey {
using namespace Qt::StringLiterals;
inline constexpr auto auth = "auth"_L1;
inline constexpr auto signedOut = "signed_out"_L1;
inline constexpr auto me = "me"_L1;
inline constexpr auto workspaces = "workspaces"_L1;
inline constexpr auto workspace = "workspace"_L1;
inline constexpr auto snapshot = "snapshot"_L1;
inline constexpr auto timer = "timer"_L1;
inline constexpr auto queue = "queue"_L1;
} // namespace documentkey

/// All that must survive of one server, by its members. A document that was not read
/// or made yet is of no account: everything in it is empty.
struct Document {
    QJsonObject auth; ///< {`user_id`, `session_id`, `token`}, {} without a personal session
    bool signedOut = false;
    QJsonObject me; ///< the identity, with `id` and `timezone`
    QJsonArray workspaces;
    QString workspace;    ///< the id of the chosen one
    QJsonObject snapshot; ///< the server's data of one workspace
    QJsonObject timer;    ///< the server's running entry, {} when none runs
    QJsonArray queue;     ///< what the server does not have yet: {`status`, `mutation`, `result`}

    /// A member that is missing or of the wrong type becomes empty.
    [[nodiscard]] static Document fromJson(const QJsonObject& object);
    /// Exactly the eight keys.
    [[nodiscard]] QJsonObject toJson() const;
};

/// Stores a candidate document securely and says whether it is stored.
using PersistState = std::function<bool(const QJsonObject& candidate)>;
