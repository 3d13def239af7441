// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/imports/rows.h"
#include "devserver/store/database.h"

#include <QSet>

namespace devserver {

/// What a user imports from: rows are told apart within it.
struct ImportSource {
    QString workspaceId;
    QString userId;
    QString name; ///< the source namespace
};

/// A file that was judged. Its records, written and skipped alike, are walked
/// from 0 to `total`; with `invalid` rows none is kept, and none can be walked.
struct StagedImport {
    QString id;
    ImportSource source;
    QString checksum; ///< of the records, hexadecimal
    int total = 0;
    int invalid = 0;
    int written = 0;
    int checkpoint = 0; ///< how many records are dealt with

    [[nodiscard]] bool isComplete() const { return checkpoint == total; }
};

/// {"id","checksum","state","checkpoint","total","has_more","invalid","written","skipped"}
[[nodiscard]] QJsonObject progressOf(const StagedImport& import);

/// The fingerprints of everything imported from this source.
[[nodiscard]] QSet<QString> importedFrom(Connection& connection, const ImportSource& source);

/// Notes that these records are imported; returns those that had not been, each once.
[[nodiscard]] QList<ImportRow> noteImported(Connection& connection, const ImportSource& source,
                                            const QList<ImportRow>& rows);

/// Stores the import with its records. Other imports of the same user that were
/// staged more than a day ago are forgotten unless they were completed with
/// something in them; of those that were, the replies to earlier steps are.
void stage(Connection& connection, const StagedImport& import, const QList<ImportRow>& rows);

/// The user's own import; text that is not an id finds nothing.
[[nodiscard]] std::optional<StagedImport> findImport(Connection& connection, const QString& userId,
                                                     const QString& id);

/// The next records behind the checkpoint.
[[nodiscard]] QList<ImportRow> nextRows(Connection& connection, const StagedImport& import, int limit);

/// Stores checkpoint and count; the records of a complete import are dropped.
void saveProgress(Connection& connection, const StagedImport& import);

/// The answer to an earlier request under this key; empty when it is a new one.
[[nodiscard]] QByteArray earlierReply(Connection& connection, const StagedImport& import,
                                      const QString& idempotencyKey);
void keepReply(Connection& connection, const StagedImport& import, const QString& idempotencyKey,
               const QByteArray& reply);

} // namespace devserver
