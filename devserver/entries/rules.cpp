// SPDX-License-Identifier: MIT
#include "devserver/entries/rules.h"

#include "devserver/accounts/accounts.h"
#include "devserver/base/time.h"
#include "devserver/entries/entries.h"
#include "devserver/timesheets/periods.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <array>
#include <variant>

namespace devserver {
namespace {

/// What a mutation sets; a field that its payload does not hold stays as it is.
struct Change {
    std::optional<QString> description;
    std::optional<std::optional<QString>> projectId;
    std::optional<QByteArray> tagIds; ///< a compact JSON array
    std::optional<bool> billable;
    std::optional<qint64> startAt;
    std::optional<std::optional<qint64>> stopAt;
};

/// Each operation has its own set of fields; any other field is refused, so that
/// nothing that was sent is dropped unseen.
struct Operation {
    QString name;
    QStringList fields;
    QStringList required;
};

/// Nothing where this server does not know it.
const Operation* operationNamed(const QString& name) {
    static const QStringList all{u"description"_s, u"project_id"_s, u"tag_ids"_s,
                                 u"billable"_s,    u"start_at"_s,   u"stop_at"_s};
    static const std::array<Operation, 6> operations{{
        {u"entry.create"_s, all, {u"start_at"_s, u"stop_at"_s}},
        {u"timer.start"_s, all.first(5), {u"start_at"_s}},
        {u"entry.update"_s, all, {}},
        {u"timer.stop"_s, {u"stop_at"_s}, {u"stop_at"_s}},
        {u"entry.delete"_s, {}, {}},
        {u"entry.restore"_s, {}, {}},
    }};
    const auto* found = std::find_if(operations.begin(), operations.end(),
                                     [&name](const Operation& known) { return known.name == name; });
    return found == operations.end() ? nullptr : found;
}

QString mustBe(const QString& field, const QString& what) {
    return u"The field %1 must be %2."_s.arg(field, what);
}

// Takes a field over; the sentence that refuses its value, or an empty one.
QString readField(const QString& name, const QJsonValue& value, Change& change) {
    const QString text = value.toString();
    if (name == u"description") {
        change.description = text;
        return !value.isString() || !isStorableText(text) ? mustBe(name, u"text"_s)
               : text.size() > longestDescription
                   ? u"The description is longer than %1 characters."_s.arg(longestDescription)
                   : QString();
    }
    if (name == u"project_id") {
        change.projectId = value.isNull() ? std::nullopt : std::optional(text);
        return value.isNull() || isId(text) ? QString() : mustBe(name, u"a project's id or null"_s);
    }
    if (name == u"tag_ids") {
        const QJsonArray tags = value.toArray();
        change.tagIds = QJsonDocument(tags).toJson(QJsonDocument::Compact);
        const bool ids =
            std::all_of(tags.begin(), tags.end(), [](const QJsonValue& tag) { return isId(tag.toString()); });
        return value.isArray() && ids && tags.size() <= mostTags
                   ? QString()
                   : mustBe(name, u"a list of at most %1 tag ids"_s.arg(mostTags));
    }
    if (name == u"billable") {
        change.billable = value.toBool();
        return value.isBool() ? QString() : mustBe(name, u"true or false"_s);
    }
    const auto instant = parseInstant(text);
    if (name == u"start_at") {
        change.startAt = instant;
    } else {
        change.stopAt = instant;
    }
    return instant ? QString() : mustBe(name, u"an ISO 8601 time with an offset"_s);
}

/// Either the change, or one sentence that says why the payload cannot be used.
std::variant<Change, QString> readChange(const Operation& operation, const QJsonObject& payload) {
    for (const QString& required : operation.required) {
        if (!payload.contains(required)) {
            return u"The field %1 is missing."_s.arg(required);
        }
    }
    if (operation.name == u"entry.update" && payload.isEmpty()) {
        return u"The update names no field to change."_s;
    }
    Change change;
    for (auto field = payload.begin(); field != payload.end(); ++field) {
        if (!operation.fields.contains(field.key())) {
            return u"The payload has a field that this operation does not take."_s;
        }
        if (const QString problem = readField(field.key(), field.value(), change); !problem.isEmpty()) {
            return problem;
        }
    }
    return change;
}

Verdict conflict(const QString& message) {
    return {u"conflict"_s, message};
}

Verdict rejected(const QString& message) {
    return {u"rejected"_s, message};
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
                    const Change& change) {
    const auto before = findEntry(connection, mutation.entityId);
    if (!before || before->workspaceId != mutation.workspaceId) {
        return rejected(u"The entry does not exist in this workspace."_s);
    }
    if (before->userId != userId) {
        return rejected(u"The entry belongs to another member of the workspace."_s);
    }
    const bool restores = mutation.operation == u"entry.restore";
    if (!restores && before->deletedAt) {
        return rejected(u"The entry was deleted."_s);
    }
    if (before->version != mutation.baseVersion) {
        return conflict(u"The entry was changed elsewhere in the meantime."_s);
    }
    if (restores && !before->deletedAt) {
        return rejected(u"The entry is not deleted."_s);
    }
    if (mutation.operation == u"timer.stop" && before->stopAt) {
        return rejected(u"The timer was stopped already."_s);
    }
    Entry after = changed(*before, change);
    if (restores) {
        after.deletedAt = std::nullopt;
    } else if (mutation.operation == u"entry.delete") {
        after.deletedAt = currentInstant();
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
    if (!mutation.problem.isEmpty()) {
        return rejected(mutation.problem);
    }
    const Operation* operation = operationNamed(mutation.operation);
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
    // What makes an entry has to say when it starts.
    const bool creates = operation->required.contains(u"start_at"_s);
    return creates ? createEntry(connection, userId, mutation, std::get<Change>(change))
                   : changeEntry(connection, userId, mutation, std::get<Change>(change));
}

} // namespace devserver
