// SPDX-License-Identifier: MIT
#include "devserver/imports/csvtable.h"

#include <csv.h>

#include <algorithm>
#include <stdexcept>

namespace devserver {
namespace {

/// Feeds the parser line by line, since it does not tell where it stands.
class Reader {
public:
    explicit Reader(char separator) {
        if (csv_init(&m_parser, CSV_STRICT | CSV_STRICT_FINI) != 0) {
            throw std::runtime_error("the CSV parser cannot be set up");
        }
        csv_set_delim(&m_parser, static_cast<unsigned char>(separator));
    }
    ~Reader() { csv_free(&m_parser); }
    Q_DISABLE_COPY_MOVE(Reader)

    void readLine(QByteArrayView line);
    [[nodiscard]] QList<CsvRecord> finish();

private:
    static void addCell(void* cell, size_t size, void* self);
    static void endRecord(int terminator, void* self);

    csv_parser m_parser{};
    QList<CsvRecord> m_records;
    CsvRecord m_current;
    int m_line = 0;
    int m_row = 0;
    int m_firstLine = 0;
    bool m_inside = false;
};

void Reader::readLine(QByteArrayView line) {
    ++m_line;
    if (!m_inside) {
        ++m_row;
        if (line.trimmed().isEmpty()) {
            return;
        }
        m_inside = true;
        m_firstLine = m_line;
    }
    const auto size = static_cast<size_t>(line.size());
    if (csv_parse(&m_parser, line.data(), size, addCell, endRecord, this) != size) {
        throw unusableCsv(QStringLiteral("Line %1 has a quote in a place where none can be.").arg(m_line));
    }
}

QList<CsvRecord> Reader::finish() {
    if (csv_fini(&m_parser, addCell, endRecord, this) != 0) {
        throw unusableCsv(QStringLiteral("A quote that is opened in the record of line %1 is never closed.")
                              .arg(m_firstLine));
    }
    return std::move(m_records);
}

void Reader::addCell(void* cell, size_t size, void* self) {
    const QUtf8StringView text(static_cast<const char*>(cell), static_cast<qsizetype>(size));
    static_cast<Reader*>(self)->m_current.cells += text.toString().trimmed();
}

void Reader::endRecord(int /*terminator*/, void* self) {
    auto& reader = *static_cast<Reader*>(self);
    reader.m_inside = false;
    reader.m_current.row = reader.m_row;
    const QStringList& cells = reader.m_current.cells;
    if (!std::all_of(cells.begin(), cells.end(), [](const QString& cell) { return cell.isEmpty(); })) {
        reader.m_records += reader.m_current;
    }
    reader.m_current.cells.clear();
}

/// Takes the first line off, with what ends it.
QByteArrayView takeLine(QByteArrayView& text) {
    const auto end = std::find_if(text.begin(), text.end(), [](char c) { return c == '\n' || c == '\r'; });
    qsizetype size = end - text.begin();
    if (size < text.size()) {
        size += text.sliced(size).startsWith("\r\n") ? 2 : 1;
    }
    const QByteArrayView line = text.first(size);
    text = text.sliced(size);
    return line;
}

char separatorOf(QByteArrayView text) {
    QByteArrayView line;
    while (!text.isEmpty() && line.trimmed().isEmpty()) {
        line = takeLine(text);
    }
    return std::count(line.begin(), line.end(), ';') > std::count(line.begin(), line.end(), ',') ? ';' : ',';
}

} // namespace

ApiError unusableCsv(const QString& sentence) {
    return {422, QStringLiteral("invalid_csv"), sentence};
}

CsvTable readCsv(QByteArrayView text) {
    constexpr QByteArrayView byteOrderMark("\xef\xbb\xbf");
    if (text.startsWith(byteOrderMark)) {
        text = text.sliced(byteOrderMark.size());
    }
    Reader reader(separatorOf(text));
    while (!text.isEmpty()) {
        reader.readLine(takeLine(text));
    }
    QList<CsvRecord> records = reader.finish();
    if (records.isEmpty()) {
        throw unusableCsv(QStringLiteral("The file is empty."));
    }
    CsvTable table;
    table.header = records.takeFirst().cells;
    table.records = std::move(records);
    return table;
}

} // namespace devserver
