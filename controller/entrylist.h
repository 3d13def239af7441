// SPDX-License-Identifier: MIT
#pragma once

#include <QJsonArray>
#include <QString>
#include <QVariantList>

#include <vector>

/// The closed entries as the window lists them, by the text of `start_at`
/// descending. Remembers the rows of the last update, so that only changed
/// entries are converted and an unchanged list stays the same shared list.
class EntryList {
public:
    /// Takes the projected entries, ordered by id.
    void update(const QJsonArray& entries);

    [[nodiscard]] const QVariantList& rows() const { return m_rows; }

private:
    struct Row {
        QString start;
        QVariant map; ///< Invalid for an entry that is not listed: running or deleted.
    };

    [[nodiscard]] static Row makeRow(const QJsonObject& entry);
    void sortRows();

    QJsonArray m_source;
    std::vector<Row> m_converted; ///< One for each element of m_source.
    QVariantList m_rows;
};
