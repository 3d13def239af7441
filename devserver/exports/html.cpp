// SPDX-License-Identifier: MIT
#include "devserver/exports/formats.h"
#include "devserver/exports/table.h"

#include <QCryptographicHash>
#include <QFile>

#include <stdexcept>

namespace devserver {
namespace {

using Kind = ReportTable::Kind;

constexpr qsizetype usualRow = 1024;

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

// Which report it is, for the head of the page and of each sheet of paper.
QString headingOf(const ReportTable& table) {
    return u"%1 · %2 · \u2066%3 – %4\u2069 · %5"_s.arg(table.field(u"workspace"), table.title(),
                                                       table.field(u"from_date"), table.field(u"to_date"),
                                                       table.field(u"timezone"));
}

// As CSS writes a text: nothing in it can end the string or the style sheet.
QByteArray cssText(const QString& text) {
    QString escaped;
    for (const QChar c : text) {
        escaped += u"\"\\<>&\n\r\f"_s.contains(c) ? u"\\%1 "_s.arg(c.unicode(), 0, 16) : QString(c);
    }
    return escaped.toUtf8();
}

QByteArray styleOf(const ReportTable& table) {
    QFile file(u":/exports/print.css"_s);
    if (!file.open(QIODevice::ReadOnly)) {
        throw std::logic_error("the style sheet was not built in");
    }
    return file.readAll().replace("{heading}", cssText(headingOf(table)));
}

QByteArray headOf(const ReportTable& table) {
    const QByteArray style = styleOf(table);
    const QByteArray allowed = QCryptographicHash::hash(style, QCryptographicHash::Sha256).toBase64();
    const QByteArray direction = table.isHebrew() ? "lang=\"he\" dir=\"rtl\"" : "lang=\"en\" dir=\"ltr\"";
    return "<!DOCTYPE html>\n<html " + direction +
           ">\n<head>\n<meta charset=\"utf-8\">\n"
           "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'sha256-" +
           allowed + "'\">\n<title>" + escaped(table.field(u"workspace") + u" – "_s + table.title()) +
           "</title>\n<style>" + style + "</style>\n</head>\n";
}

QByteArray paragraphOf(const QString& text) {
    return "<p>" + escaped(text) + "</p>\n";
}

QByteArray titleOf(const ReportTable& table, bool empty) {
    const QString range = table.field(u"from_date") + u" – "_s + table.field(u"to_date");
    QByteArray html = "<h1>" + escaped(table.field(u"workspace")) + "</h1>\n<p>" + escaped(table.title()) +
                      " · <bdi dir=\"ltr\">" + escaped(range) + "</bdi> · <bdi>" +
                      escaped(table.field(u"timezone")) + "</bdi></p>\n";
    if (empty) {
        html += paragraphOf(table.word(u"אין רשומות בטווח הזה.", u"There are no entries in this range."));
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

void writeHtml(SnapshotReader& report, QTemporaryFile& to) {
    const ReportTable table(report.header());
    const bool wide = table.columns().size() > 8;
    write(to, headOf(table) + (wide ? "<body class=\"wide\">\n" : "<body>\n") +
                  titleOf(table, report.rowCount() == 0));
    report.each([&](const QByteArray& row) { write(to, rowOf(table, table.cells(row))); });
    write(to, "</tbody>\n<tfoot>\n" + rowOf(table, table.totals()) + "</tfoot>\n</table>\n");
    if (table.totals().constLast().isNull()) {
        write(to, paragraphOf(table.word(u"הסכום ריק במקום שבו לרשומה לחיוב אין תעריף שעתי.",
                                         u"An amount is empty where a billable entry has no hourly rate.")));
    }
    write(to, "</body>\n</html>\n");
}

} // namespace devserver
