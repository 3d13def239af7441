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

    void skipLine();
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

void Reader::skipLine() {
    ++m_line;
    ++m_row;
}

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
        throw unusableCsv(u"Line %1 has a quote in a place where none can be."_s.arg(m_line));
    }
}

QList<CsvRecord> Reader::finish() {
    if (csv_fini(&m_parser, addCell, endRecord, this) != 0) {
        throw unusableCsv(
            u"A quote that is opened in the record of line %1 is never closed."_s.arg(m_firstLine));
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
    const auto count = [line](char c) { return std::count(line.begin(), line.end(), c); };
    return std::max({',', ';', '\t'}, [&](char a, char b) { return count(a) < count(b); });
}

/// The separator that a line of its own names, in the way of spreadsheets.
std::optional<char> takeNamedSeparator(QByteArrayView& text) {
    QByteArrayView rest = text;
    const QByteArray line = takeLine(rest).trimmed().toByteArray().toLower().replace('"', "");
    if (line.size() != 5 || !line.startsWith("sep=")) {
        return std::nullopt;
    }
    text = rest;
    return line.back();
}

void dropEmptyEnd(QStringList& cells, qsizetype columns) {
    while (cells.size() > columns && cells.constLast().isEmpty()) {
        cells.removeLast();
    }
}

} // namespace

ApiError unusableCsv(const QString& sentence) {
    return {422, u"invalid_csv"_s, sentence};
}

CsvTable readCsv(QByteArrayView text) {
    constexpr QByteArrayView byteOrderMark("\xef\xbb\xbf");
    if (text.startsWith(byteOrderMark)) {
        text = text.sliced(byteOrderMark.size());
    }
    const auto named = takeNamedSeparator(text);
    Reader reader(named.value_or(separatorOf(text)));
    if (named) {
        reader.skipLine();
    }
    while (!text.isEmpty()) {
        reader.readLine(takeLine(text));
    }
    QList<CsvRecord> records = reader.finish();
    if (records.isEmpty()) {
        throw unusableCsv(u"The file is empty."_s);
    }
    CsvTable table;
    table.header = records.takeFirst().cells;
    dropEmptyEnd(table.header, 0);
    for (CsvRecord& record : records) {
        dropEmptyEnd(record.cells, table.header.size());
    }
    table.records = std::move(records);
    return table;
}

} // namespace devserver
