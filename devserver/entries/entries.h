// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/store/database.h"

#include <QStringList>

namespace devserver {

class JsonWriter;

/// The colours that projects are given in turn.
[[nodiscard]] const QStringList& projectColors();

/// One row of `time_entries`. Without `stopAt` it is running.
struct Entry {
    QString id;
    QString workspaceId;
    QString userId;
    QString description;
    std::optional<QString> projectId;
    std::optional<QString> taskId; ///< of the project
    QByteArray tagIds = "[]";      ///< a compact JSON array of strings
    bool billable = false;
    qint64 startAt = 0;
    std::optional<qint64> stopAt;
    std::optional<qint64> deletedAt;
    qint64 version = 0;

    [[nodiscard]] bool isRunning() const { return !stopAt && !deletedAt; }
};

/// Text that is not an id finds nothing.
[[nodiscard]] std::optional<Entry> findEntry(Connection& connection, const QString& id);

/// The user's running timer, in whatever workspace.
[[nodiscard]] std::optional<Entry> findRunning(Connection& connection, const QString& userId);

/// Calls `use` with each entry that `rest` selects, from its WHERE on.
void eachEntry(Connection& connection, const QString& rest, const QVariantList& values,
               const std::function<void(const Entry&)>& use);

void insertEntries(Connection& connection, const QList<Entry>& entries);
void updateEntry(Connection& connection, const Entry& entry);

/// The fields of the entry that clients read; `duration_seconds` is null while it runs.
void writeFields(JsonWriter& json, const Entry& entry);

/// Every member's entries of a workspace, deleted ones too, as a JSON array in
/// the order of their start.
void writeEntries(JsonWriter& json, Connection& connection, const QString& workspaceId);

} // namespace devserver
