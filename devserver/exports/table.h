// SPDX-License-Identifier: MIT
#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QTimeZone>
#include <QVariant>

namespace devserver {

/// A report as a table for people: columns named in the workspace's language,
/// cells of a type, times of day in the report's zone.
class ReportTable {
public:
    /// What a column's cells hold, unless they are empty: a null QVariant.
    enum class Kind {
        Text,     ///< QString
        Day,      ///< QDate
        Moment,   ///< QDateTime of the report's zone
        Duration, ///< qint64, seconds
        Amount,   ///< QString, "1234.50"
        Count,    ///< qint64
    };
    struct Column {
        QString title;
        Kind kind;
    };
    using Row = QVariantList;

    /// `header` is the snapshot's; throws std::runtime_error when it is damaged.
    explicit ReportTable(const QByteArray& header);

    [[nodiscard]] const QList<Column>& columns() const { return m_columns; }
    /// The cells of a stored row; throws std::runtime_error when it is damaged.
    [[nodiscard]] Row cells(const QByteArray& row) const;
    /// The last row, the totals of all others.
    [[nodiscard]] Row totals() const;
    /// A row as plain text: ISO 8601 dates, "2026-03-05 07:08:09", durations "26:05:09".
    [[nodiscard]] QStringList texts(const Row& row) const;

    [[nodiscard]] bool isHebrew() const { return m_hebrew; }
    /// "Detailed report"
    [[nodiscard]] QString title() const;
    /// A field of the header.
    [[nodiscard]] QString field(QStringView name) const { return m_header.value(name).toString(); }
    /// `hebrew` or `english`, whichever the workspace's language is.
    [[nodiscard]] QString word(const char16_t* hebrew, const char16_t* english) const;

private:
    void add(Kind kind, const char16_t* hebrew, const char16_t* english, const QString& detail = {});
    void addGroup();
    void addEntry();
    void addTotals();
    void appendEntry(Row& row, const QJsonObject& entry) const;
    void appendTotals(Row& row, const QJsonObject& totals) const;
    [[nodiscard]] QVariant moment(const QJsonValue& instant) const;
    [[nodiscard]] bool isDetailed() const { return m_kind == u"detailed"; }

    QJsonObject m_header;
    QString m_kind;
    bool m_hebrew;
    QTimeZone m_zone;
    QList<Column> m_columns;
};

} // namespace devserver
