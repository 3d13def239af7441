// SPDX-License-Identifier: MIT
#include "devserver/entries/rules.h"

#include "devserver/accounts/accounts.h"
#include "devserver/base/time.h"
#include "devserver/entries/entries.h"
#include "devserver/entries/payload.h"
#include "devserver/timesheets/periods.h"

namespace devserver {
namespace {

Verdict conflict(const QString& message) {
    return {Verdict::Status::Conflict, message};
}

Verdict rejected(const QString& message) {
    return {Verdict::Status::Rejected, message};
}

bool isLocked(Connection& connection, const Entry& entry) {
    return isClosed(connection, entry.userId, entry.workspaceId, entry.startAt, entry.stopAt);
}

bool isBookable(Connection& connection, const QString& workspaceId, const QString& projectId) {
    return connection.finds(u"SELECT 1 FROM projects WHERE id = ? AND workspace_id = ? AND archived = 0"_s,
                            {projectId, workspaceId});
}

Entry changed(Entry entry, const Change& change) {
    entry.description = change.description.value_or(entry.description);
    if (change.projectId && *change.projectId != entry.projectId) {
        entry.projectId = *change.projectId;
        entry.taskId = std::nullopt; // a task is its project's
    }
    entry.tagIds = change.tagIds.value_or(entry.tagIds);
    entry.billable = change.billable.value_or(entry.billable);
    entry.startAt = change.startAt.value_or(entry.startAt);
    entry.stopAt = change.stopAt.value_or(entry.stopAt);
    ++entry.version;
    return entry;
}

/// What stands in the way of an entry becoming `after`, whichever operation asks for it.
std::optional<Verdict> obstacle(Connection& connection, const std::optional<Entry>& before,
                                const Entry& after) {
    if (after.stopAt && *after.stopAt < after.startAt) {
        return rejected(u"The entry would end before it starts."_s);
    }
    const bool newProject = !before || before->projectId != after.projectId;
    if (newProject && after.projectId && !isBookable(connection, after.workspaceId, *after.projectId)) {
        return rejected(u"The project does not belong to this workspace or is archived."_s);
    }
    if ((before && isLocked(connection, *before)) || isLocked(connection, after)) {
        return rejected(u"The entry lies in a timesheet period that was submitted or approved."_s);
    }
    if (after.isRunning() && !(before && before->isRunning()) && findRunning(connection, after.userId)) {
        return conflict(u"Another timer is already running."_s);
    }
    return std::nullopt;
}

Verdict createEntry(Connection& connection, const QString& userId, const Mutation& mutation,
                    const Change& change) {
    if (!isId(mutation.entityId)) {
        return rejected(u"The entry's id is not a UUID."_s);
    }
    if (findEntry(connection, mutation.entityId)) {
        return conflict(u"An entry with this id exists already."_s);
    }
    if (mutation.baseVersion != 0) {
        return conflict(u"The entry to build on does not exist."_s);
    }
    Entry blank;
    blank.id = mutation.entityId;
    blank.workspaceId = mutation.workspaceId;
    blank.userId = userId;
    const Entry entry = changed(blank, change);
    if (const auto verdict = obstacle(connection, std::nullopt, entry)) {
        return *verdict;
    }
    insertEntries(connection, {entry});
    noteChange(connection, entry.workspaceId);
    return {};
}

Verdict changeEntry(Connection& connection, const QString& userId, const Mutation& mutation,
                    Operation operation, const Change& change) {
    const auto before = findEntry(connection, mutation.entityId);
    if (!before || before->workspaceId != mutation.workspaceId) {
        return rejected(u"The entry does not exist in this workspace."_s);
    }
    if (before->userId != userId) {
        return rejected(u"The entry belongs to another member of the workspace."_s);
    }
    if (operation != Operation::Restore && before->deletedAt) {
        return rejected(u"The entry was deleted."_s);
    }
    if (before->version != mutation.baseVersion) {
        return conflict(u"The entry was changed elsewhere in the meantime."_s);
    }
    if (operation == Operation::Restore && !before->deletedAt) {
        return rejected(u"The entry is not deleted."_s);
    }
    if (operation == Operation::Stop && before->stopAt) {
        return rejected(u"The timer was stopped already."_s);
    }
    Entry after = changed(*before, change);
    if (operation == Operation::Delete) {
        after.deletedAt = currentInstant();
    }
    if (operation == Operation::Restore) {
        after.deletedAt = std::nullopt;
    }
    if (const auto verdict = obstacle(connection, before, after)) {
        return *verdict;
    }
    updateEntry(connection, after);
    noteChange(connection, after.workspaceId);
    return {};
}

} // namespace

Verdict applyMutation(Connection& connection, const QString& userId, const Mutation& mutation) {
    const auto operation = operationNamed(mutation.operation);
    if (!operation) {
        return rejected(u"This server does not know the operation."_s);
    }
    const auto change = readChange(*operation, mutation.payload);
    if (const auto* problem = std::get_if<QString>(&change)) {
        return rejected(*problem);
    }
    if (!isMember(connection, userId, mutation.workspaceId)) {
        return rejected(u"You are not a member of this workspace."_s);
    }
    if (creates(*operation)) {
        return createEntry(connection, userId, mutation, std::get<Change>(change));
    }
    return changeEntry(connection, userId, mutation, *operation, std::get<Change>(change));
}

} // namespace devserver
