// SPDX-License-Identifier: MIT
#include "state/reporttable.h"

#include "state/reportfigures.h"
#include "state/timestamp.h"

#include <QJsonObject>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

/// As many cells as there are columns; what is too much is told in the last one.
QStringList namesOf(const QJsonObject& row, qsizetype columns) {
    QStringList names;
    if (const QJsonValue entry = row[u"entry"]; entry.isObject()) {
        names = {row[u"day"].toString(), entry[u"project_name"].toString(), entry[u"description"].toString()};
    } else {
        for (const auto& label : row[u"labels"].toArray()) {
            names.append(label.toString());
        }
    }
    while (names.size() > columns && names.size() > 1) {
        const QString last = names.takeLast();
        names.last() += u" / "_s + last;
    }
    names.resize(columns);
    return names;
}

/// Of a text in several lines the clipboard's table would make several rows.
QString cellText(const QString& text) {
    QString line = text;
    std::replace_if(
        line.begin(), line.end(), [](QChar c) { return c.category() == QChar::Other_Control; }, u' ');
    return line.startsWith(u'"') ? u'"' + line.replace(u'"', u"\"\""_s) + u'"' : line;
}

QStringList lineOf(const QJsonObject& row, qsizetype names) {
    const QJsonValue totals = row[u"totals"];
    QStringList cells = namesOf(row, names);
    cells.append({
        durationText(totals[u"raw_duration_seconds"].toInteger()),
        durationText(totals[u"rounded_duration_seconds"].toInteger()),
        QString::number(row[u"share"].toInt() / 10.0, 'f', 1),
        row[u"amount_text"].toString(),
        row[u"currency"].toString(),
    });
    return cells;
}

} // namespace

ReportTable::ReportTable(const QStringList& titles, const QJsonArray& rows) : m_lines{titles} {
    const qsizetype names = std::max<qsizetype>(titles.size() - figureColumns, 1);
    for (const auto& row : rows) {
        m_lines.append(lineOf(row.toObject(), names));
    }
    for (QStringList& line : m_lines) {
        std::transform(line.begin(), line.end(), line.begin(), harmless);
    }
}

QString ReportTable::text() const {
    QString text;
    for (QStringList line : m_lines) {
        std::transform(line.begin(), line.end(), line.begin(), cellText);
        text += line.join(u'\t') + u'\n';
    }
    return text;
}

QString ReportTable::html(bool rightToLeft) const {
    QString html = u"<html><head><meta charset=\"utf-8\"></head><body><table dir=\"%1\">"_s.arg(
        rightToLeft ? u"rtl"_s : u"ltr"_s);
    QString cell = u"th"_s;
    for (const QStringList& line : m_lines) {
        html += u"<tr>"_s;
        for (const QString& text : line) {
            html += u'<' + cell + u'>' + text.toHtmlEscaped() + u"</"_s + cell + u'>';
        }
        html += u"</tr>"_s;
        cell = u"td"_s;
    }
    return html + u"</table></body></html>"_s;
}

QString ReportTable::harmless(const QString& text) {
    const auto isPassedOver = [](QChar c) {
        return c.isSpace() || c.category() == QChar::Other_Format || c.category() == QChar::Other_Control;
    };
    const auto first = std::find_if_not(text.begin(), text.end(), isPassedOver);
    const bool isFormula = first != text.end() && u"=+-@＝＋－＠"_s.contains(*first);
    const bool beginsWithControl = !text.isEmpty() && text.front().category() == QChar::Other_Control;
    return isFormula || beginsWithControl ? u'\'' + text : text;
}
