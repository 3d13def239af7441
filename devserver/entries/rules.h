// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/store/database.h"

#include <QJsonObject>
#include <QString>

namespace devserver {

/// One recorded write of a client, as it was sent. `operation` is "entry.create",
/// "timer.start", "entry.update", "timer.stop", "entry.delete" or "entry.restore".
struct Mutation {
    QString id;
    QString workspaceId;
    QString entityId;
    qint64 baseVersion = 0;
    QString operation;
    QJsonObject payload;
    QString problem;     ///< why the record can never be applied, as one sentence; else empty
    QString fingerprint; ///< of the whole record, whatever the order of its keys
};

/// The server's decision. A conflict means that the client's picture of the
/// entry or the timer is out of date; a rejection that the write can never be
/// taken. `message` is empty when the mutation was accepted.
struct Verdict {
    QString status = u"accepted"_s; ///< or "conflict" or "rejected"
    QString message;
};

/// Decides on a mutation and, when it is accepted, writes the entry with its
/// version raised by one (1 for a new entry). Runs inside the caller's write
/// transaction.
///
/// Conflict: `base_version` is not the entry's version (0 for a new one), the
/// new entry's id exists, or the entry would be a second running timer.
/// Rejected: a problem of the record, an unknown operation, a payload that cannot
/// be used, a workspace that the user is not a member of, an entry that is
/// missing, someone else's or deleted (for a restore: not deleted), a project of
/// another workspace or archived, an end before the start, and a submitted or
/// approved period that overlaps the entry as it was or as it would be. Periods
/// and entries are half-open intervals; a running entry has no end.
[[nodiscard]] Verdict applyMutation(Connection& connection, const QString& userId, const Mutation& mutation);

} // namespace devserver
