// SPDX-License-Identifier: MIT
#include "devserver/imports/rows.h"

#include "devserver/base/timestamps.h"

#include <QDateTime>
#include <QJsonArray>
#include <QTimeZone>

#include <algorithm>

namespace devserver {
namespace {

constexpr qsizetype longestName = 255;
constexpr qsizetype longestDescription = 100'000;
constexpr qsizetype mostTags = 100;

const QString descriptionKey = QStringLiteral("description");
const QString clientKey = QStringLiteral("client");
const QString projectKey = QStringLiteral("project");
const QString taskKey = QStringLiteral("task");
const QString tagsKey = QStringLiteral("tags");
const QString billableKey = QStringLiteral("billable");
const QString startKey = QStringLiteral("start_at");
const QString stopKey = QStringLiteral("stop_at");
const QString clockStartKey = QStringLiteral("clock_start");
const QString clockStopKey = QStringLiteral("clock_stop");

QString textOf(qint64 instant) {
    return QDateTime::fromSecsSinceEpoch(instant).toUTC().toString(Qt::ISODate);
}

QString durationText(qint64 seconds) {
    return QStringLiteral("%1:%2:%3")
        .arg(seconds / 3600)
        .arg(seconds / 60 % 60, 2, 10, QLatin1Char('0'))
        .arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

std::optional<bool> readTruth(const QString& text) {
    static const QStringList yes{QStringLiteral("yes"), QStringLiteral("true"), QStringLiteral("1"),
                                 QStringLiteral("כן")};
    static const QStringList no{QStringLiteral("no"), QStringLiteral("false"), QStringLiteral("0"),
                                QStringLiteral("לא"), QString()};
    const QString word = text.toLower();
    if (yes.contains(word)) {
        return true;
    }
    return no.contains(word) ? std::optional(false) : std::nullopt;
}

QStringList readTags(const QString& text) {
    QStringList tags;
    const QStringList parts = text.split(u',');
    for (const QString& part : parts) {
        if (const QString tag = part.trimmed(); !tag.isEmpty()) {
            tags += tag;
        }
    }
    std::sort(tags.begin(), tags.end());
    tags.removeDuplicates();
    return tags;
}

} // namespace

QJsonObject contentOf(const ImportRow& row) {
    return {{descriptionKey, row.description},
            {clientKey, row.client},
            {projectKey, row.project},
            {taskKey, row.task},
            {tagsKey, QJsonArray::fromStringList(row.tags)},
            {billableKey, row.billable},
            {startKey, textOf(row.startAt)},
            {stopKey, textOf(row.stopAt)},
            {clockStartKey, row.clockStart},
            {clockStopKey, row.clockStop}};
}

QJsonObject identityOf(const ImportRow& row) {
    QJsonObject identity = contentOf(row);
    identity.remove(startKey);
    identity.remove(stopKey);
    return identity;
}

QJsonObject entryOf(const ImportRow& row) {
    QJsonObject entry = contentOf(row);
    entry.remove(clockStartKey);
    entry.remove(clockStopKey);
    return entry;
}

ImportRow rowOf(const QJsonObject& content, int row) {
    ImportRow result;
    result.row = row;
    result.description = content.value(descriptionKey).toString();
    result.client = content.value(clientKey).toString();
    result.project = content.value(projectKey).toString();
    result.task = content.value(taskKey).toString();
    const QJsonArray tags = content.value(tagsKey).toArray();
    for (const auto& tag : tags) {
        result.tags += tag.toString();
    }
    result.billable = content.value(billableKey).toBool();
    result.startAt = parseInstant(content.value(startKey).toString()).value();
    result.stopAt = parseInstant(content.value(stopKey).toString()).value();
    result.clockStart = content.value(clockStartKey).toInteger();
    result.clockStop = content.value(clockStopKey).toInteger();
    return result;
}

/// A record on its way to become a row.
struct RowReader::Reading {
    const CsvRecord& record;
    QList<ImportProblem>& problems;

    void report(Column column, const QString& message) { problems += {record.row, nameOf(column), message}; }
};

RowReader::RowReader(const CsvTable& table, const QTimeZone& zone)
    : m_table(table), m_zone(QString::fromUtf8(zone.id())), m_clock(zone) {
    QStringList header;
    for (const QString& name : table.header) {
        header += name.simplified().toLower();
    }
    for (int i = 0; i < ColumnCount; ++i) {
        const auto column = static_cast<Column>(i);
        const QString name = nameOf(column).toLower();
        m_places[column] = header.indexOf(name);
        if (header.count(name) > 1) {
            throw unusableCsv(QStringLiteral("The file has the column %1 twice.").arg(nameOf(column)));
        }
    }
    requireColumns();
    QStringList dates;
    for (const CsvRecord& record : table.records) {
        dates += {cell(record, StartDate), cell(record, EndDate)};
    }
    m_dates = findDateForm(dates);
}

QString RowReader::nameOf(Column column) {
    static const std::array<QString, ColumnCount> names{
        QStringLiteral("User"),     QStringLiteral("Email"),      QStringLiteral("Client"),
        QStringLiteral("Project"),  QStringLiteral("Task"),       QStringLiteral("Description"),
        QStringLiteral("Billable"), QStringLiteral("Start date"), QStringLiteral("Start time"),
        QStringLiteral("End date"), QStringLiteral("End time"),   QStringLiteral("Duration"),
        QStringLiteral("Tags")};
    return names[column];
}

void RowReader::requireColumns() const {
    QStringList missing;
    for (const Column column : {StartDate, StartTime}) {
        if (m_places[column] < 0) {
            missing += nameOf(column);
        }
    }
    if (m_places[Duration] < 0 && !hasEnds()) {
        missing += QStringLiteral("End date with End time, or Duration");
    }
    if (!missing.isEmpty()) {
        throw unusableCsv(
            QStringLiteral("The first line does not name these columns: %1.").arg(missing.join(u"; ")));
    }
}

// Empty where the file has no such column.
QString RowReader::cell(const CsvRecord& record, Column column) const {
    return record.cells.value(m_places[column]);
}

QString RowReader::userOf(const CsvRecord& record) const {
    const QString email = cell(record, Email);
    return email.isEmpty() ? cell(record, User) : email;
}

std::optional<ImportRow> RowReader::read(const CsvRecord& record, QList<ImportProblem>& problems) const {
    if (record.cells.size() != m_table.header.size()) {
        problems += {record.row, QString(),
                     QStringLiteral("The row has %1 values, but there are %2 columns.")
                         .arg(record.cells.size())
                         .arg(m_table.header.size())};
        return std::nullopt;
    }
    const qsizetype before = problems.size();
    Reading reading{record, problems};
    ImportRow row;
    row.row = record.row;
    readNames(reading, row);
    readTimes(reading, row);
    return problems.size() == before ? std::optional(row) : std::nullopt;
}

void RowReader::readNames(Reading& reading, ImportRow& row) const {
    row.description = cell(reading.record, Description);
    row.client = cell(reading.record, Client);
    row.project = cell(reading.record, Project);
    row.task = cell(reading.record, Task);
    row.tags = readTags(cell(reading.record, Tags));
    if (row.description.size() > longestDescription) {
        reading.report(Description,
                       QStringLiteral("The text is longer than %1 characters.").arg(longestDescription));
    }
    for (const auto& [column, name] :
         {std::pair(Client, row.client), std::pair(Project, row.project), std::pair(Task, row.task)}) {
        if (name.size() > longestName) {
            reading.report(column, QStringLiteral("The name is longer than %1 characters.").arg(longestName));
        }
        if (column != Project && !name.isEmpty() && row.project.isEmpty()) {
            reading.report(column, QStringLiteral("It needs a project, and the row names none."));
        }
    }
    const bool tooLong = std::any_of(row.tags.begin(), row.tags.end(),
                                     [](const QString& tag) { return tag.size() > longestName; });
    if (tooLong || row.tags.size() > mostTags) {
        reading.report(
            Tags,
            QStringLiteral("There can be %1 tags of %2 characters each.").arg(mostTags).arg(longestName));
    }
    const auto billable = readTruth(cell(reading.record, Billable));
    if (!billable) {
        reading.report(Billable, QStringLiteral("This is neither Yes nor No."));
    }
    row.billable = billable.value_or(false);
}

void RowReader::readTimes(Reading& reading, ImportRow& row) const {
    const auto start = readMoment(reading, StartDate, StartTime);
    const bool hasEnd =
        hasEnds() && !(cell(reading.record, EndDate).isEmpty() && cell(reading.record, EndTime).isEmpty());
    auto stop = hasEnd ? readMoment(reading, EndDate, EndTime) : std::nullopt;
    const QString length = cell(reading.record, Duration);
    const auto duration = readDuration(length);
    if (!length.isEmpty() && !duration) {
        reading.report(Duration, QStringLiteral("This is not a duration such as 1:30:00."));
    }
    if (!hasEnd && length.isEmpty()) {
        reading.report(hasEnds() ? EndTime : Duration,
                       QStringLiteral("The row has neither an end nor a duration."));
    }
    if (!hasEnd && start && duration) {
        stop = Moment{start->instant + *duration, start->clock + *duration};
    }
    if (!start || !stop) {
        return;
    }
    row.startAt = start->instant;
    row.stopAt = stop->instant;
    row.clockStart = start->clock;
    row.clockStop = stop->clock;
    const qint64 elapsed = row.stopAt - row.startAt;
    if (row.stopAt > lastInstant) {
        reading.report(Duration, QStringLiteral("The entry would end after the year 9999."));
    } else if (elapsed < 0) {
        reading.report(EndTime, QStringLiteral("The entry would end before it starts."));
    } else if (duration && std::abs(elapsed - *duration) > 1) {
        reading.report(Duration, QStringLiteral("From start to end it is %1.").arg(durationText(elapsed)));
    }
}

std::optional<RowReader::Moment> RowReader::readMoment(Reading& reading, Column date, Column time) const {
    const auto day = readDate(cell(reading.record, date), m_dates);
    if (!day) {
        reading.report(date,
                       QStringLiteral("This is not a date in the form %1.").arg(devserver::nameOf(m_dates)));
    }
    const auto second = readTimeOfDay(cell(reading.record, time));
    if (!second) {
        reading.report(time, QStringLiteral("This is not a time of day such as 09:30 or 09:30:15."));
    }
    if (!day || !second) {
        return std::nullopt;
    }
    const auto instant = m_clock.instant(*day, *second);
    if (const auto* fault = std::get_if<LocalClock::Fault>(&instant)) {
        reading.report(
            time, *fault == LocalClock::Fault::Skipped
                      ? QStringLiteral("This time does not exist in %1: the clocks were put "
                                       "forward over it.")
                            .arg(m_zone)
                      : QStringLiteral("This time was twice in %1: the clocks were put back.").arg(m_zone));
        return std::nullopt;
    }
    return Moment{std::get<qint64>(instant), day->startOfDay(QTimeZone::utc()).toSecsSinceEpoch() + *second};
}

} // namespace devserver
