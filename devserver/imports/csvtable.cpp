// SPDX-License-Identifier: MIT
#include "devserver/imports/csvtable.h"

#include "devserver/base/time.h"

#include <QHash>
#include <QRegularExpression>
#include <QScopeGuard>

#include <algorithm>
#include <stdexcept>

#include <csv.h>

namespace devserver {
namespace {

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

/// What the parser has found; it knows nothing of rows.
struct Found {
    QList<CsvRecord> records;
    CsvRecord current;
    bool inside = false; ///< a record has begun and not ended
};

void addCell(void* cell, size_t size, void* found) {
    const QUtf8StringView text(static_cast<const char*>(cell), static_cast<qsizetype>(size));
    static_cast<Found*>(found)->current.cells += text.toString().trimmed();
}

void endRecord(int /*terminator*/, void* data) {
    auto& found = *static_cast<Found*>(data);
    found.inside = false;
    if (!found.current.cells.join(QString()).isEmpty()) {
        found.records += found.current;
    }
    found.current.cells.clear();
}

// The parser is fed line by line, since it does not tell where it stands; `line` are behind already.
QList<CsvRecord> readRecords(QByteArrayView text, char separator, int line) {
    csv_parser parser{};
    if (csv_init(&parser, CSV_STRICT | CSV_STRICT_FINI) != 0) {
        throw std::runtime_error("the CSV parser cannot be set up");
    }
    const auto freed = qScopeGuard([&parser] { csv_free(&parser); });
    csv_set_delim(&parser, static_cast<unsigned char>(separator));
    Found found;
    int row = line;
    int firstLine = 0;
    while (!text.isEmpty()) {
        const QByteArrayView bytes = takeLine(text);
        ++line;
        if (!found.inside) {
            found.current.row = ++row;
            firstLine = line;
            found.inside = !bytes.trimmed().isEmpty();
        }
        const auto size = static_cast<size_t>(bytes.size());
        if (found.inside && csv_parse(&parser, bytes.data(), size, addCell, endRecord, &found) != size) {
            throw unusableCsv(u"Line %1 has a quote in a place where none can be."_s.arg(line));
        }
    }
    if (csv_fini(&parser, addCell, endRecord, &found) != 0) {
        throw unusableCsv(
            u"A quote that is opened in the record of line %1 is never closed."_s.arg(firstLine));
    }
    return found.records;
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
    QByteArray line = takeLine(rest).toByteArray().toLower();
    line.replace('"', "").replace(' ', "").replace('\r', "").replace('\n', ""); // but a tab may be named
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

// Only times of day and texts need more than another title.
const QHash<QString, QString> englishTitles{{u"משתמש"_s, u"User"_s},        {u"לקוח"_s, u"Client"_s},
                                            {u"פרויקט"_s, u"Project"_s},    {u"משימה"_s, u"Task"_s},
                                            {u"תיאור"_s, u"Description"_s}, {u"תגיות"_s, u"Tags"_s},
                                            {u"לחיוב"_s, u"Billable"_s},    {u"משך"_s, u"Duration"_s}};

void splitMoment(QStringList& cells, qsizetype at) {
    const QString moment = cells.value(at);
    cells.replace(at, moment.section(u' ', 0, 0));
    cells.insert(at + 1, moment.section(u' ', 1));
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
    CsvTable table;
    table.records = readRecords(text, named.value_or(separatorOf(text)), named ? 1 : 0);
    if (table.records.isEmpty()) {
        throw unusableCsv(u"The file is empty."_s);
    }
    table.header = table.records.takeFirst().cells;
    dropEmptyEnd(table.header, 0);
    for (CsvRecord& record : table.records) {
        dropEmptyEnd(record.cells, table.header.size());
    }
    return table;
}

std::optional<QTimeZone> adaptOwnExport(CsvTable& table) {
    static const QRegularExpression times(u"^(?:Start|התחלה) \\(([^)]+)\\)\n(?:End|סיום) \\(\\1\\)\\z"_s);
    const auto match = times.match(table.header.mid(0, 2).join(u'\n'));
    auto zone = zoneNamed(match.captured(1));
    if (!zone) {
        return std::nullopt;
    }
    table.header =
        QStringList{u"Start date"_s, u"Start time"_s, u"End date"_s, u"End time"_s} + table.header.mid(2);
    for (QString& title : table.header) {
        title = englishTitles.value(title, title);
    }
    for (CsvRecord& record : table.records) {
        if (record.cells.size() < 2) {
            continue; // told later
        }
        splitMoment(record.cells, 1);
        splitMoment(record.cells, 0);
        for (QString& cell : record.cells) {
            cell = withoutGuard(cell);
        }
    }
    return zone;
}

} // namespace devserver
