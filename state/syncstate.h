// SPDX-License-Identifier: MIT
#pragma once

#include "state/document.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

/// The rules that turn the durable state document into what the user sees, and
/// the server's answers into the next durable state. Pure: nothing here reads
/// or writes anything but its arguments.
class SyncState {
public:
    /// The user's view of `state`: {`entries`: array ordered by id, `timer`: the
    /// running entry or {}}. Base entries are the snapshot's entries of the
    /// selected workspace and the signed-in user; every queued mutation is
    /// applied on top in queue order, whatever its status.
    [[nodiscard]] static QJsonObject project(const QJsonObject& state);

    /// Applies the server's one `result` for the pushed queue `item`.
    ///
    /// An accepted item leaves the queue; a conflicting or rejected one stays at
    /// its head with the server's verdict. `persist` is asked to store the whole
    /// new document first: only when it agrees is `state` replaced. On any
    /// refusal `state` is untouched and `error`, when given, says why.
    [[nodiscard]] static bool acknowledge(QJsonObject& state, const QJsonObject& item,
                                          const QJsonObject& result, const PersistState& persist,
                                          QString* error);

    /// Whether a submitted or approved period of the entry's own user and
    /// workspace overlaps the entry. Both are half-open intervals of instants,
    /// so touching ends do not overlap; an entry without a usable end reaches
    /// into every period that ends after its start.
    [[nodiscard]] static bool isLocked(const QJsonObject& entry, const QJsonArray& periods);
};
