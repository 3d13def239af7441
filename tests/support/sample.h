// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/scriptedpeer.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

using namespace Qt::StringLiterals;

/// A small account as a scripted peer serves it: the user "user-1" with the
/// workspaces "ws-1" and "ws-2".
namespace sample {

[[nodiscard]] QJsonObject identity();
[[nodiscard]] QJsonObject workspaces();
/// A closed entry of user and workspace one, version 3; a `stop` of null leaves it running.
[[nodiscard]] QJsonObject entry(const QString& id, const QString& start, const QJsonValue& stop);
/// A period of user and workspace one.
[[nodiscard]] QJsonObject period(const QString& status, const QString& start, const QString& end);
[[nodiscard]] QJsonObject snapshot(const QJsonArray& entries = {}, const QJsonArray& periods = {});
/// A snapshot with the one closed entry "e1".
[[nodiscard]] QJsonObject oneEntry();
/// What a connection asks for, in this order.
[[nodiscard]] QStringList connectionLog();
/// `auth` of a signed-in client, with the token "a-token".
[[nodiscard]] QJsonObject session(const QString& user);
/// The durable state of a client that has loaded the snapshot.
[[nodiscard]] QJsonObject durable(const QJsonObject& snapshot, const QJsonArray& queue = {});
/// A queue item; `status` other than "pending" makes it a retained one.
[[nodiscard]] QJsonObject queueItem(const QString& operation, const QString& entity,
                                    const QJsonObject& payload, const QString& status = u"pending"_s);

/// The server's answer to one mutation.
[[nodiscard]] QJsonObject result(const QJsonObject& mutation, const QString& status,
                                 const QJsonObject& canonical = {});
/// The entry that an accepted mutation leaves on the server.
[[nodiscard]] QJsonObject canonical(const QJsonObject& mutation);
[[nodiscard]] PeerReply pushReply(const QJsonArray& results);
/// The one mutation of a push.
[[nodiscard]] QJsonObject pushed(const PeerRequest& request);
/// Accepts whatever is pushed.
[[nodiscard]] PeerReply accept(const PeerRequest& request);

/// Scripts all that a connection asks for, and accepts every push.
void serve(ScriptedPeer& peer, const QJsonObject& snapshot);

} // namespace sample
