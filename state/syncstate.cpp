// SPDX-License-Identifier: MIT
#include "state/syncstate.h"

#include "state/periodlocks.h"
#include "state/projector.h"

using namespace Qt::StringLiterals;

namespace {

constexpr auto idKey = "id"_L1;
constexpr auto timeEntriesKey = "time_entries"_L1;
constexpr auto statusKey = "status"_L1;
constexpr auto mutationIdKey = "mutation_id"_L1;
constexpr auto workspaceIdKey = "workspace_id"_L1;
constexpr auto userIdKey = "user_id"_L1;

QJsonObject mutationOf(const QJsonObject& item) {
    return item.value("mutation"_L1).toObject();
}

QJsonObject canonicalOf(const QJsonObject& result) {
    return result.value("canonical"_L1).toObject();
}

bool isAccepted(const QJsonObject& result) {
    return result.value(statusKey).toString() == "accepted"_L1;
}

bool isKnownStatus(const QString& status) {
    return status == "accepted"_L1 || status == "conflict"_L1 || status == "rejected"_L1;
}

bool isHead(const QJsonObject& state, const QJsonObject& item) {
    const QJsonArray queue = state.value(documentkey::queue).toArray();
    return !queue.isEmpty() && queue.first() == item;
}

bool isInScope(const QJsonObject& canonical, const QJsonObject& mutation, const QJsonObject& state) {
    return canonical.value(idKey) == mutation.value("entity_id"_L1) &&
           canonical.value(workspaceIdKey) == mutation.value(workspaceIdKey) &&
           canonical.value(userIdKey) == state.value(documentkey::me).toObject().value(idKey);
}

/// Why the result must not be applied; null when it may.
QString refusal(const QJsonObject& state, const QJsonObject& item, const QJsonObject& result) {
    const QJsonObject mutation = mutationOf(item);
    if (!isHead(state, item) || result.value(mutationIdKey) != mutation.value(mutationIdKey)) {
        return u"Sync acknowledgement does not match the retained queue head"_s;
    }
    if (!isKnownStatus(result.value(statusKey).toString())) {
        return u"Unknown acknowledgement status; queue retained"_s;
    }
    const QJsonObject canonical = canonicalOf(result);
    if (!canonical.isEmpty() && !isInScope(canonical, mutation, state)) {
        return u"Canonical entry scope mismatch; queue retained"_s;
    }
    if (canonical.isEmpty() && isAccepted(result)) {
        return u"Accepted mutation has no canonical entry; queue retained"_s;
    }
    return {};
}

QJsonArray acknowledgedQueue(QJsonArray queue, QJsonObject item, const QJsonObject& result) {
    if (isAccepted(result)) {
        queue.removeFirst();
        return queue;
    }
    item.insert(statusKey, result.value(statusKey));
    item.insert("result"_L1, result);
    queue.replace(0, item);
    return queue;
}

QJsonArray withEntry(QJsonArray entries, const QJsonObject& canonical) {
    const QJsonValue id = canonical.value(idKey);
    for (qsizetype i = 0; i < entries.size(); ++i) {
        if (std::as_const(entries).at(i)[idKey] == id) {
            entries.replace(i, canonical);
            return entries;
        }
    }
    entries.append(canonical);
    return entries;
}

bool isRunning(const QJsonObject& entry) {
    return !entry.value("stop_at"_L1).isString() && !entry.value("deleted_at"_L1).isString();
}

void adoptCanonical(QJsonObject& candidate, const QJsonObject& canonical, bool accepted) {
    if (candidate.value(documentkey::workspace) == canonical.value(workspaceIdKey)) {
        QJsonObject snapshot = candidate.value(documentkey::snapshot).toObject();
        snapshot.insert(timeEntriesKey, withEntry(snapshot.value(timeEntriesKey).toArray(), canonical));
        candidate.insert(documentkey::snapshot, snapshot);
    }
    if (accepted && isRunning(canonical)) {
        candidate.insert(documentkey::timer, canonical);
    } else if (candidate.value(documentkey::timer).toObject().value(idKey) == canonical.value(idKey)) {
        candidate.insert(documentkey::timer, QJsonObject{});
    }
}

} // namespace

QJsonObject SyncState::project(const QJsonObject& state) {
    return Projector().project(state).toJson();
}

bool SyncState::acknowledge(QJsonObject& state, const QJsonObject& item, const QJsonObject& result,
                            const PersistState& persist, QString* error) {
    const auto refuse = [error](const QString& reason) {
        if (error) {
            *error = reason;
        }
        return false;
    };
    const QString reason = refusal(state, item, result);
    if (!reason.isNull()) {
        return refuse(reason);
    }

    QJsonObject candidate = state;
    candidate.insert(documentkey::queue,
                     acknowledgedQueue(state.value(documentkey::queue).toArray(), item, result));
    const QJsonObject canonical = canonicalOf(result);
    if (!canonical.isEmpty()) {
        adoptCanonical(candidate, canonical, isAccepted(result));
    }
    if (!persist(candidate)) {
        return refuse(u"Secure local acknowledgement save failed; original queue retained for replay"_s);
    }

    state = candidate;
    if (error) {
        error->clear();
    }
    return true;
}

bool SyncState::isLocked(const QJsonObject& entry, const QJsonArray& periods) {
    return PeriodLocks(periods).of(entry.value(workspaceIdKey), entry.value(userIdKey)).cover(entry);
}
