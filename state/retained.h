// SPDX-License-Identifier: MIT
#pragma once

#include "state/document.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

/// The change at the head of the queue that the server refused: what there is to
/// know about it, and the ways out that a person has. `persist` is asked to store
/// the whole new document first; only when it agrees is `state` replaced. `error`,
/// when given, gets the sentence for the user on failure and a null string on success.
class Retained {
public:
    /// {`operation`, `status`, `sentence`: the server's or "", `leaving`: how many items remove() would take
    /// with the head, `pending`: the queue's length, `fields`: [{`name`, `recorded`, `server`}]}, or {} when
    /// the server did not refuse the head. Times are read in `zone`, projects by their names. `recorded` is
    /// null where the change does not touch the field, `server` where the server has no value.
    [[nodiscard]] static QJsonObject describe(const QJsonObject& state, const QString& zone);

    /// What leaves the queue with a refused head, in queue order: a creation takes all later changes of its
    /// entry with it, for they could never be accepted. Empty when the server did not refuse the head.
    [[nodiscard]] static QJsonArray leaving(const QJsonArray& queue);

    /// Puts the refused head's change back as a new one that the server has not judged: `mutationId` is its
    /// identity, and it is based on the server's version of the entry where there is one. A creation of what
    /// the server does not have takes the later edits along, so that it can be corrected. A start goes behind
    /// the stop of the server's timer where that waits as well: before it, it would be refused for ever.
    [[nodiscard]] static bool resend(QJsonObject& state, const QString& mutationId,
                                     const PersistState& persist, QString* error = nullptr);

    /// Takes `items`, which are in the queue in this order, out of it. Later changes of the same entries no
    /// longer count on their versions, so that the server judges them by what others wrote.
    [[nodiscard]] static bool remove(QJsonObject& state, const QJsonArray& items, const PersistState& persist,
                                     QString* error = nullptr);
};
