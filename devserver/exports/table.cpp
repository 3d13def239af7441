// SPDX-License-Identifier: MIT
#include "devserver/exports/table.h"

#include "devserver/base/text.h"
#include "devserver/base/time.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <stdexcept>

namespace devserver {
namespace {

QJsonObject objectOf(const QByteArray& text) {
    const QJsonDocument document = QJsonDocument::fromJson(text);
    if (!document.isObject()) {
        throw std::runtime_error("a stored report is not a JSON object");
    }
    return document.object();
}

// An empty cell where the report has null.
QVariant textIn(const QJsonValue& value) {
    return value.isString() ? value.toString() : QVariant();
}

QVariant numberIn(const QJsonValue& value) {
    return value.isDouble() ? QVariant(value.toInteger()) : QVariant();
}

QVariant labelOf(const QString& label, ReportTable::Kind kind) {
    const QDate day = kind == ReportTable::Kind::Day ? QDate::fromString(label, Qt::ISODate) : QDate();
    return day.isValid() ? QVariant(day) : QVariant(label);
}

QVariant namesOf(const QJsonArray& tags) {
    QStringList names;
    for (const auto& tag : tags) {
        names.append(tag.toString());
    }
    return names.join(u", "_s);
}

// Qt's own way to write a date takes longer than all else that is done for a row.
QString momentText(const QDateTime& moment) {
    if (moment.date().year() < 1 || moment.date().year() > 9999) {
        return moment.toString(u"yyyy-MM-dd HH:mm:ss"_s);
    }
    QByteArray text = instantText(moment.toSecsSinceEpoch() + moment.offsetFromUtc()).chopped(1);
    return QString::fromLatin1(text.replace(10, 1, " "));
}

QString shownText(const QVariant& cell, ReportTable::Kind kind) {
    switch (cell.typeId()) {
    case QMetaType::QDate:
        return momentText(cell.toDate().startOfDay(QTimeZone::utc())).chopped(9);
    case QMetaType::QDateTime:
        return momentText(cell.toDateTime());
    case QMetaType::LongLong:
        return kind == ReportTable::Kind::Duration ? durationText(cell.toLongLong()) : cell.toString();
    default:
        return cell.toString();
    }
}

} // namespace

ReportTable::ReportTable(const QByteArray& header)
    : m_header(objectOf(header)), m_kind(field(u"kind")), m_hebrew(field(u"language") == u"he"),
      m_zone(storedZone(field(u"timezone"))) {
    if (isDetailed()) {
        addEntry();
    } else {
        addGroup();
    }
    addTotals();
}

QString ReportTable::word(const char16_t* hebrew, const char16_t* english) const {
    return QString::fromUtf16(m_hebrew ? hebrew : english);
}

QString ReportTable::title() const {
    if (isDetailed()) {
        return word(u"דוח מפורט", u"Detailed report");
    }
    return m_kind == u"weekly" ? word(u"דוח שבועי", u"Weekly report") : word(u"דוח מסכם", u"Summary report");
}

void ReportTable::add(Kind kind, const char16_t* hebrew, const char16_t* english, const QString& detail) {
    const QString name = word(hebrew, english);
    m_columns.append({detail.isEmpty() ? name : name + u" (%1)"_s.arg(detail), kind});
}

void ReportTable::addGroup() {
    const QString group = field(u"group_by");
    if (m_kind == u"weekly" || group == u"week") {
        add(Kind::Day, u"תחילת השבוע", u"Week beginning");
    }
    if (group == u"project") {
        add(Kind::Text, u"פרויקט", u"Project");
    } else if (group == u"client") {
        add(Kind::Text, u"לקוח", u"Client");
    } else if (group == u"task") {
        add(Kind::Text, u"משימה", u"Task");
    } else if (group == u"user") {
        add(Kind::Text, u"משתמש", u"User");
    } else if (group == u"day") {
        add(Kind::Day, u"יום", u"Day");
    }
    add(Kind::Count, u"רשומות", u"Entries");
}

void ReportTable::addEntry() {
    const QString zone = field(u"timezone");
    add(Kind::Moment, u"התחלה", u"Start", zone);
    add(Kind::Moment, u"סיום", u"End", zone);
    add(Kind::Text, u"משתמש", u"User");
    add(Kind::Text, u"לקוח", u"Client");
    add(Kind::Text, u"פרויקט", u"Project");
    add(Kind::Text, u"משימה", u"Task");
    add(Kind::Text, u"תיאור", u"Description");
    add(Kind::Text, u"תגיות", u"Tags");
    add(Kind::Text, u"לחיוב", u"Billable");
}

void ReportTable::addTotals() {
    add(Kind::Duration, u"משך", u"Duration");
    add(Kind::Duration, u"משך מעוגל", u"Rounded duration");
    add(Kind::Duration, u"משך לחיוב", u"Billable duration");
    add(Kind::Amount, u"סכום", u"Amount", field(u"currency"));
}

ReportTable::Row ReportTable::cells(const QByteArray& text) const {
    const QJsonObject row = objectOf(text);
    Row cells;
    cells.reserve(m_columns.size());
    if (isDetailed()) {
        appendEntry(cells, row.value(u"entry").toObject());
    } else {
        const QJsonArray labels = row.value(u"labels").toArray();
        for (qsizetype i = 0; m_columns[i].kind != Kind::Count; ++i) {
            cells.append(labelOf(labels.at(i).toString(), m_columns[i].kind));
        }
    }
    appendTotals(cells, row.value(u"totals").toObject());
    return cells;
}

ReportTable::Row ReportTable::totals() const {
    Row cells{word(u"סה״כ", u"Total")};
    const auto first = std::find_if(m_columns.begin(), m_columns.end(), [](const Column& column) {
        return column.kind == Kind::Count || column.kind == Kind::Duration;
    });
    cells.resize(first - m_columns.begin());
    appendTotals(cells, m_header.value(u"totals").toObject());
    return cells;
}

QStringList ReportTable::texts(const Row& row) const {
    QStringList texts;
    texts.reserve(row.size());
    for (qsizetype i = 0; i < row.size(); ++i) {
        texts.append(shownText(row[i], m_columns[i].kind));
    }
    return texts;
}

void ReportTable::appendEntry(Row& row, const QJsonObject& entry) const {
    row.append(moment(entry.value(u"start_at")));
    row.append(moment(entry.value(u"stop_at")));
    for (const auto* name : {u"user_name", u"client_name", u"project_name", u"task_name", u"description"}) {
        row.append(textIn(entry.value(QStringView(name))));
    }
    row.append(namesOf(entry.value(u"tags").toArray()));
    row.append(entry.value(u"billable").toBool() ? word(u"כן", u"Yes") : word(u"לא", u"No"));
}

void ReportTable::appendTotals(Row& row, const QJsonObject& totals) const {
    if (!isDetailed()) {
        row.append(numberIn(totals.value(u"entry_count")));
    }
    for (const auto* name :
         {u"raw_duration_seconds", u"rounded_duration_seconds", u"billable_duration_seconds"}) {
        row.append(numberIn(totals.value(QStringView(name))));
    }
    row.append(textIn(totals.value(u"amount")));
}

QVariant ReportTable::moment(const QJsonValue& instant) const {
    const QDateTime moment = QDateTime::fromString(instant.toString(), Qt::ISODate);
    return moment.isValid() ? QVariant(moment.toTimeZone(m_zone)) : QVariant();
}

} // namespace devserver
