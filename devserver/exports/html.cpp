// SPDX-License-Identifier: MIT
#include "devserver/exports/formats.h"
#include "devserver/exports/table.h"

#include <QCryptographicHash>

namespace devserver {
namespace {

using Kind = ReportTable::Kind;

constexpr qsizetype usualRow = 1024;

// The totals stand at the end only: a browser would print a table's foot on every page.
const char style[] = R"css(
@page { size: A4 portrait; margin: 12mm; }
@page wide { size: A4 landscape; margin: 12mm; }
body { margin: 2rem; color: #1b1b1b; font: 10pt/1.35 Arimo, Arial, "Liberation Sans", sans-serif; }
body.wide { page: wide; font-size: 8pt; }
h1 { margin: 0; font-size: 1.6em; }
p { margin: .3em 0 1.2em; color: #555; }
table { width: 100%; border-collapse: collapse; }
thead { display: table-header-group; }
tfoot { display: table-row-group; font-weight: bold; }
tr { break-inside: avoid; }
th, td { padding: .3em .4em; text-align: start; vertical-align: top; overflow-wrap: anywhere; }
th { border-bottom: 1.5pt solid #1b1b1b; vertical-align: bottom; overflow-wrap: normal; }
td { min-width: 6em; border-bottom: .5pt solid #ccc; white-space: pre-line; }
tfoot td { border-top: 1.5pt solid #1b1b1b; border-bottom: 0; }
th.number, td.number { text-align: right; }
td.number, td.time { min-width: 0; direction: ltr; overflow-wrap: normal; font-variant-numeric: tabular-nums; }
th.time { width: 1%; }
td.time { min-width: 5.6em; text-align: left; }
[dir=rtl] td.time { text-align: right; }
@media print { body { margin: 0; } }
)css";

const char* classOf(Kind kind) {
    switch (kind) {
    case Kind::Text:
        return "";
    case Kind::Day:
    case Kind::Moment:
        return " class=\"time\"";
    default:
        return " class=\"number\"";
    }
}

QByteArray escaped(const QString& text) {
    return text.toHtmlEscaped().toUtf8();
}

// "1234567.50" as "1,234,567.50".
QString grouped(QString amount) {
    for (qsizetype at = amount.indexOf(u'.') - 3; at > 0; at -= 3) {
        amount.insert(at, u',');
    }
    return amount;
}

// A text keeps its own direction beside its neighbours.
void appendCell(QByteArray& html, const QString& text, Kind kind) {
    html += "<td";
    html += classOf(kind);
    html += kind == Kind::Text ? "><bdi>" : ">";
    html += escaped(kind == Kind::Amount ? grouped(text) : text);
    html += kind == Kind::Text ? "</bdi></td>" : "</td>";
}

QByteArray rowOf(const ReportTable& table, const ReportTable::Row& row) {
    QByteArray html = "<tr>";
    html.reserve(usualRow);
    const QStringList texts = table.texts(row);
    for (qsizetype i = 0; i < texts.size(); ++i) {
        appendCell(html, texts[i], table.columns()[i].kind);
    }
    html += "</tr>\n";
    return html;
}

QByteArray headOf(const ReportTable& table) {
    const QByteArray allowed =
        QCryptographicHash::hash(QByteArrayView(style, sizeof style - 1), QCryptographicHash::Sha256)
            .toBase64();
    const QByteArray direction = table.isHebrew() ? "lang=\"he\" dir=\"rtl\"" : "lang=\"en\" dir=\"ltr\"";
    return "<!DOCTYPE html>\n<html " + direction +
           ">\n<head>\n<meta charset=\"utf-8\">\n"
           "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'sha256-" +
           allowed + "'\">\n<title>" +
           escaped(table.field(u"workspace") + QStringLiteral(" – ") + table.title()) + "</title>\n<style>" +
           style + "</style>\n</head>\n";
}

QByteArray titleOf(const ReportTable& table, bool empty) {
    const QString range = table.field(u"from_date") + QStringLiteral(" – ") + table.field(u"to_date");
    QByteArray html = "<h1>" + escaped(table.field(u"workspace")) + "</h1>\n<p>" + escaped(table.title()) +
                      " · <bdi dir=\"ltr\">" + escaped(range) + "</bdi> · <bdi>" +
                      escaped(table.field(u"timezone")) + "</bdi></p>\n";
    if (empty) {
        html += "<p>" +
                escaped(table.word(u"אין רשומות בטווח הזה.", u"There are no entries in this range.")) +
                "</p>\n";
    }
    html += "<table>\n<thead><tr>";
    for (const ReportTable::Column& column : table.columns()) {
        html += "<th scope=\"col\"";
        html += classOf(column.kind);
        html += '>' + escaped(column.title) + "</th>";
    }
    return html + "</tr></thead>\n<tbody>\n";
}

} // namespace

void writeHtml(SnapshotReader& report, ExportFile& to) {
    const ReportTable table(report.header());
    auto row = report.next();
    const bool wide = table.columns().size() > 8;
    to.write(headOf(table) + (wide ? "<body class=\"wide\">\n" : "<body>\n") + titleOf(table, !row));
    for (; row; row = report.next()) {
        to.write(rowOf(table, table.cells(*row)));
    }
    to.write("</tbody>\n<tfoot>\n" + rowOf(table, table.totals()) + "</tfoot>\n</table>\n</body>\n</html>\n");
}

} // namespace devserver
