// SPDX-License-Identifier: MIT
#pragma once

#include <QJsonArray>
#include <QSet>
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
    using Rows = std::vector<Row>;
    using Order = std::vector<std::size_t>;

    [[nodiscard]] Row makeRow(const QJsonObject& entry);
    [[nodiscard]] QString shared(const QString& text);
    [[nodiscard]] qsizetype findKnown(const QJsonValue& entry, qsizetype from) const;
    [[nodiscard]] static Order merged(const Rows& rows, Order kept, const Order& fresh);

    QSet<QString> m_texts; ///< What thousands of rows repeat: keys and foreign ids.
    QJsonArray m_source;
    Rows m_converted; ///< One for each element of m_source.
    Order m_order;    ///< The listed ones of m_converted as they are shown.
    QVariantList m_rows;
};
