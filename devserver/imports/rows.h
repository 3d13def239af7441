// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/imports/csvtable.h"
#include "devserver/imports/dates.h"

#include <QJsonObject>

#include <array>

namespace devserver {

/// One record of an import, in words: what it refers to is found by its name.
/// Empty names mean none.
struct ImportRow {
    int row = 0; ///< where it stands in the file, as CsvRecord counts
    QString description;
    QString client;
    QString project;
    QString task;
    QStringList tags; ///< sorted, each once
    bool billable = false;
    qint64 startAt = 0;
    qint64 stopAt = 0;
    qint64 clockStart = 0; ///< what the file says of the start, as if it were UTC
    qint64 clockStop = 0;  ///< of the end likewise; without one, `clockStart` and the duration
    /// Whether this is not when clocks first showed it.
    bool laterStart = false;
    bool laterStop = false;
    bool laterAnyway = false; ///< and the row says so without an offset too
};

/// Why a row cannot be imported. `column` is empty when it is the whole row's fault.
struct ImportProblem {
    int row = 0;
    QString column;
    QString message;
    QString code; ///< what kind of problem it is, for programs
};

/// Everything of the row but its place in the file, as a JSON object.
[[nodiscard]] QByteArray contentOf(const ImportRow& row);
/// The record as it would be written: its content with instants alone.
[[nodiscard]] QJsonObject entryOf(const ImportRow& row);
[[nodiscard]] ImportRow rowOf(const QByteArray& content, int row);

/// Of the record as the file has it, hexadecimal: neither its row nor the time
/// zone in which it is read make it another one.
[[nodiscard]] QString fingerprintOf(const ImportRow& row);
/// That, and the one that it has where only an offset says which pass is meant, if that is another.
[[nodiscard]] QStringList fingerprintsOf(const ImportRow& row);

/// Reads the records of a detailed CSV. Its columns, in any order, whatever
/// their case: Client, Project, Task, Description, Billable, Start date, Start
/// time, End date, End time, Duration, Tags; an end may be called a stop. A start
/// is needed, and an end or a duration; all others are optional, and further
/// columns are ignored. An end takes both of its columns: one without the other
/// is such a further column.
class RowReader {
public:
    /// Throws ApiError 422 when columns are missing or named twice, and when the
    /// dates have no common form. `table` must outlive the reader.
    RowReader(const CsvTable& table, const QTimeZone& zone);

    /// The row, or nothing when there is a problem; each is appended to `problems`.
    [[nodiscard]] std::optional<ImportRow> read(const CsvRecord& record,
                                                QList<ImportProblem>& problems) const;

    /// Whether the record adds others up: it has no time, and names nothing or itself a total.
    [[nodiscard]] bool isTotal(const CsvRecord& record) const;

    /// Whom the record belonged to: the e-mail address, or else the name.
    [[nodiscard]] QString userOf(const CsvRecord& record) const;

private:
    enum Column {
        User,
        Email,
        Client,
        Project,
        Task,
        Description,
        Billable,
        StartDate,
        StartTime,
        EndDate,
        EndTime,
        Duration,
        Tags,
        ColumnCount
    };
    struct Reading;

    static QString nameOf(Column column);
    void requireColumns() const;
    [[nodiscard]] QString cell(const CsvRecord& record, Column column) const;
    [[nodiscard]] bool hasEnds() const { return m_places[EndDate] >= 0 && m_places[EndTime] >= 0; }

    const CsvTable& m_table;
    QTimeZone m_zone;
    std::array<qsizetype, ColumnCount> m_places{};
    DateForm m_dates = DateForm::YearFirst;
};

} // namespace devserver
