// SPDX-License-Identifier: MIT
#include "devserver/base/time.h"
#include "devserver/exports/formats.h"
#include "devserver/exports/table.h"

#include <QDateTime>
#include <QDir>
#include <QRegularExpression>

#include <fcntl.h>
#include <xlsxwriter.h>

#include <algorithm>
#include <memory>
#include <new>
#include <stdexcept>

namespace devserver {
namespace {

using Kind = ReportTable::Kind;

constexpr qsizetype longestText = 32767; // UTF-16 units in one cell
constexpr uint8_t a4 = 9;

void require(lxw_error error) {
    if (error != LXW_NO_ERROR) {
        throw std::runtime_error(std::string("the workbook: ") + lxw_strerror(error));
    }
}

// What a cell cannot hold is replaced, so that one odd text does not cost the
// whole workbook. "_x0041_" is how a workbook writes the character of that number.
std::string cellText(QString text) {
    const auto isImpossible = [](QChar c) { return (c < u' ' && !u"\t\n"_s.contains(c)) || c >= u'\uFFFE'; };
    static const QRegularExpression escape(u"_(?=x[0-9A-Fa-f]{4}_)"_s);
    text.replace(u"\r\n"_s, u"\n"_s);
    std::replace_if(text.begin(), text.end(), isImpossible, u'\uFFFD');
    if (text.contains(u"_x"_s)) {
        text.replace(escape, u"_x005F_"_s);
    }
    if (text.size() > longestText) {
        text.truncate(longestText - 1 - (text[longestText - 2].isHighSurrogate() ? 1 : 0));
        text += u'…';
    }
    return text.toStdString();
}

/// How the cells of a kind are written.
struct Style {
    const char* numberFormat;
    double width;
};

Style styleOf(Kind kind) {
    switch (kind) {
    case Kind::Text:
        return {"@", 26};
    case Kind::Day:
        return {"yyyy-mm-dd", 14};
    case Kind::Moment:
        return {"yyyy-mm-dd hh:mm:ss", 20};
    case Kind::Duration:
        return {"[h]:mm:ss", 14};
    case Kind::Amount:
        return {"#,##0.00", 14};
    case Kind::Count:
        break;
    }
    return {"#,##0", 14};
}

/// The workbook while it is written. The library keeps one row in memory.
class Workbook {
public:
    Workbook(QTemporaryFile& file, const ReportTable& table, qint64 createdAt);

    void append(const ReportTable::Row& row) { append(row, m_formats); }
    /// Writes the totals and the end of the file.
    void finish();

private:
    void describe(qint64 createdAt);
    void layOut();
    void append(const ReportTable::Row& row, const QHash<Kind, lxw_format*>& formats);
    [[nodiscard]] lxw_format* addFormat(Kind kind, bool bold);
    [[nodiscard]] lxw_error writeCell(lxw_col_t column, const QVariant& cell, Kind kind, lxw_format* format);
    [[nodiscard]] lxw_error writeMoment(lxw_col_t column, QDate date, QTime time, lxw_format* format);

    QTemporaryFile& m_file;
    const ReportTable& m_table;
    QByteArray m_folder = QFile::encodeName(QDir::tempPath()); // the library keeps the address
    std::unique_ptr<lxw_workbook, decltype(&workbook_close)> m_book{nullptr, workbook_close};
    lxw_worksheet* m_sheet = nullptr;
    // One for all columns of a kind: the library takes long to find out that two are the same, in each cell.
    QHash<Kind, lxw_format*> m_formats;
    QHash<Kind, lxw_format*> m_boldFormats;
    lxw_row_t m_row = 0;
    qint64 m_bytes = 65536; ///< no sheet of these rows is larger
};

Workbook::Workbook(QTemporaryFile& file, const ReportTable& table, qint64 createdAt)
    : m_file(file), m_table(table) {
    lxw_workbook_options options{};
    options.constant_memory = LXW_TRUE;
    options.tmpdir = m_folder.data();
    const std::string path = "/proc/self/fd/" + std::to_string(file.handle());
    m_book.reset(workbook_new_opt(path.c_str(), &options));
    const std::string name = table.title().toStdString();
    m_sheet = m_book ? workbook_add_worksheet(m_book.get(), name.c_str()) : nullptr;
    if (!m_sheet) {
        throw std::runtime_error("the workbook cannot be made");
    }
    for (const ReportTable::Column& column : table.columns()) {
        if (!m_formats.contains(column.kind)) {
            m_formats.insert(column.kind, addFormat(column.kind, false));
            m_boldFormats.insert(column.kind, addFormat(column.kind, true));
        }
    }
    describe(createdAt);
    layOut();
}

// The time is the report's own: the same report gives the same bytes again.
void Workbook::describe(qint64 createdAt) {
    std::string title = u"%1: %2, %3 – %4"_s
                            .arg(m_table.field(u"workspace"), m_table.title(), m_table.field(u"from_date"),
                                 m_table.field(u"to_date"))
                            .toStdString();
    lxw_doc_properties properties{};
    properties.title = title.data();
    properties.created = static_cast<time_t>(createdAt);
    require(workbook_set_properties(m_book.get(), &properties));
}

void Workbook::layOut() {
    if (m_table.isHebrew()) {
        worksheet_right_to_left(m_sheet);
    }
    worksheet_freeze_panes(m_sheet, 1, 0);
    worksheet_set_landscape(m_sheet);
    worksheet_set_paper(m_sheet, a4);
    worksheet_fit_to_pages(m_sheet, 1, 0);
    require(worksheet_repeat_rows(m_sheet, 0, 0));
    lxw_format* titles = addFormat(Kind::Text, true);
    format_set_bottom(titles, LXW_BORDER_THIN);
    const auto& columns = m_table.columns();
    for (qsizetype i = 0; i < columns.size(); ++i) {
        const auto at = static_cast<lxw_col_t>(i);
        require(worksheet_set_column(m_sheet, at, at, styleOf(columns[i].kind).width, nullptr));
        require(writeCell(at, columns[i].title, Kind::Text, titles));
    }
    ++m_row;
}

void Workbook::append(const ReportTable::Row& row, const QHash<Kind, lxw_format*>& formats) {
    for (qsizetype i = 0; i < row.size(); ++i) {
        const Kind kind = m_table.columns()[i].kind;
        require(writeCell(static_cast<lxw_col_t>(i), row[i], kind, formats[kind]));
    }
    m_bytes += 128 * (row.size() + 1); // what stands around each cell, and around the row
    ++m_row;
}

// The library writes the rows to one file and the sheet, with the rows in it, to
// the next, and does not look whether the second could be written.
void Workbook::finish() {
    append(m_table.totals(), m_boldFormats);
    requireWritten(posix_fallocate(m_file.handle(), 0, m_bytes) == 0 && m_file.resize(0), m_file);
    require(workbook_close(m_book.release()));
}

lxw_format* Workbook::addFormat(Kind kind, bool bold) {
    lxw_format* format = workbook_add_format(m_book.get());
    if (!format) {
        throw std::bad_alloc();
    }
    format_set_num_format(format, styleOf(kind).numberFormat);
    format_set_align(format, LXW_ALIGN_VERTICAL_TOP);
    if (kind == Kind::Text) {
        format_set_text_wrap(format);
    }
    if (bold) {
        format_set_bold(format);
    }
    return format;
}

// Every text is written as a text, whatever it looks like.
lxw_error Workbook::writeCell(lxw_col_t column, const QVariant& cell, Kind kind, lxw_format* format) {
    switch (cell.isNull() ? QMetaType::UnknownType : cell.typeId()) {
    case QMetaType::UnknownType:
        return LXW_NO_ERROR;
    case QMetaType::LongLong: {
        const double number = cell.toDouble();
        return worksheet_write_number(
            m_sheet, m_row, column, kind == Kind::Duration ? number / double(secondsPerDay) : number, format);
    }
    case QMetaType::QDate:
        return writeMoment(column, cell.toDate(), QTime(0, 0), format);
    case QMetaType::QDateTime:
        return writeMoment(column, cell.toDate(), cell.toTime(), format);
    default:
        break;
    }
    if (kind == Kind::Amount) {
        return worksheet_write_number(m_sheet, m_row, column, cell.toDouble(), format);
    }
    const std::string text = cellText(cell.toString());
    m_bytes += 6 * static_cast<qint64>(text.size()); // "&quot;"
    return worksheet_write_string(m_sheet, m_row, column, text.c_str(), format);
}

// A workbook's calendar begins in 1900 and ends with the year 9999.
lxw_error Workbook::writeMoment(lxw_col_t column, QDate date, QTime time, lxw_format* format) {
    if (date.year() < 1900 || date.year() > 9999) {
        const QString text = date.toString(u"yyyy-MM-dd "_s) + time.toString(Qt::ISODate);
        return worksheet_write_string(m_sheet, m_row, column, text.toStdString().c_str(), format);
    }
    lxw_datetime moment{date.year(), date.month(),  date.day(),
                        time.hour(), time.minute(), double(time.second())};
    return worksheet_write_datetime(m_sheet, m_row, column, &moment, format);
}

} // namespace

void writeXlsx(SnapshotReader& report, QTemporaryFile& to) {
    const ReportTable table(report.header());
    Workbook workbook(to, table, report.createdAt());
    report.each([&](const QByteArray& row) { workbook.append(table.cells(row)); });
    workbook.finish();
}

} // namespace devserver
