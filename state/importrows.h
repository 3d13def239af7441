// SPDX-License-Identifier: MIT
#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

/// The preview of an import as rows to look through.
class ImportRows {
public:
    /// One for each record, problem and new name that the server lists, the records and problems in the
    /// file's order, the names behind them: `what`: "entry" (it would be written), "duplicate" (it would be
    /// skipped), "problem" or "name"; `row`: its number in the file, 0 for a name; `title`: the description,
    /// or the name; `place`: "CLIENT / PROJECT / TASK"; `when`: "2026-03-05 09:00–10:30", as clocks in
    /// `zone` show it; `news`: which of its names are new: "client", "project", "client project" or "";
    /// `column`, `message` and `code` of a problem.
    [[nodiscard]] static QJsonArray of(const QJsonObject& preview, const QString& zone);

    /// How many there are by the server's account: {`entry`: records, `problem`: records with problems,
    /// `duplicate`, `name`}, and under `listed` how many of each are among `rows`, with problems counted as
    /// the records that have them.
    [[nodiscard]] static QJsonObject counts(const QJsonObject& preview, const QJsonArray& rows);
};
