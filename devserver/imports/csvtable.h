// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/base/apierror.h"

#include <QByteArrayView>
#include <QList>
#include <QStringList>
#include <QTimeZone>

#include <optional>

namespace devserver {

/// One record. `row` counts as a spreadsheet does: the first line is row 1, an
/// empty line is a row, a record with quoted line breaks is a single row.
struct CsvRecord {
    int row = 0;
    QStringList cells;
};

/// A CSV text: its first record, and all others. Records whose cells are all
/// empty are left out.
struct CsvTable {
    QStringList header;
    QList<CsvRecord> records;
};

/// The refusal of a file as a whole, 422.
[[nodiscard]] ApiError unusableCsv(const QString& sentence);

/// Reads RFC 4180 text in UTF-8, with or without a byte-order mark, lines ended
/// by CRLF, LF or CR, separated by what a line "sep=;" in front says, or else by
/// the one of comma, semicolon and tab that the first line has most of. Blanks
/// around a cell are dropped, and empty cells behind the last column. Throws
/// ApiError 422 for an empty text and for quotes that are not in order, naming
/// the line.
[[nodiscard]] CsvTable readCsv(QByteArrayView text);

/// Turns the detailed report that this server exports, in either language, into
/// the usual columns: its times into dates and times of day, its titles into
/// English, texts without what kept spreadsheets from running them. Returns the
/// zone that its titles name; nothing, and does nothing, when it is another file.
[[nodiscard]] std::optional<QTimeZone> adaptOwnExport(CsvTable& table);

} // namespace devserver
