// SPDX-License-Identifier: MIT
#include "devserver/imports/rows.h"

#include "devserver/base/json.h"
#include "devserver/base/time.h"

#include <QCryptographicHash>
#include <QHash>
#include <QJsonDocument>
#include <QRegularExpression>

#include <algorithm>
#include <tuple>

namespace devserver {
namespace {

constexpr qsizetype longestName = 255;

std::optional<bool> readTruth(const QString& text) {
    static const QStringList yes{u"yes"_s, u"y"_s, u"true"_s, u"1"_s, u"כן"_s};
    static const QStringList no{u"no"_s, u"n"_s, u"false"_s, u"0"_s, u"לא"_s, QString()};
    const QString word = text.toLower();
    return yes.contains(word) ? std::optional(true) : no.contains(word) ? std::optional(false) : std::nullopt;
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

// Of a clock there, as a file writes it.
QString offsetText(qint64 seconds) {
    return (seconds < 0 ? u'-' : u'+') +
           QTime::fromMSecsSinceStartOfDay(static_cast<int>(std::abs(seconds)) * 1000).toString(u"hh:mm"_s);
}

// What is imported once is known by these very bytes for ever: what only few records
// have is told only of those. `later`: with what is said of the clocks' second pass.
QByteArray identityOf(const ImportRow& row, bool later) {
    JsonWriter json;
    json.beginObject().field("billable", row.billable).field("client", row.client);
    json.field("clock_start", row.clockStart).field("clock_stop", row.clockStop);
    json.field("description", row.description);
    if (later && row.laterStart) {
        json.field("later_start", true);
    }
    if (later && row.laterStop) {
        json.field("later_stop", true);
    }
    json.field("project", row.project).key("tags").beginArray();
    for (const QString& tag : row.tags) {
        json.value(tag);
    }
    return json.endArray().field("task", row.task).endObject().take();
}

QString hashOf(const QByteArray& identity) {
    return QString::fromLatin1(QCryptographicHash::hash(identity, QCryptographicHash::Sha256).toHex());
}

} // namespace

QByteArray contentOf(const ImportRow& row) {
    return identityOf(row, true).chopped(1) + (row.laterAnyway ? ",\"later_anyway\":true" : "") +
           ",\"start_at\":\"" + instantText(row.startAt) + "\",\"stop_at\":\"" + instantText(row.stopAt) +
           "\"}";
}

QJsonObject entryOf(const ImportRow& row) {
    QJsonObject entry = QJsonDocument::fromJson(contentOf(row)).object();
    for (const auto& key :
         {u"clock_start"_s, u"clock_stop"_s, u"later_start"_s, u"later_stop"_s, u"later_anyway"_s}) {
        entry.remove(key);
    }
    return entry;
}

QString fingerprintOf(const ImportRow& row) {
    return hashOf(identityOf(row, !row.laterAnyway));
}

QStringList fingerprintsOf(const ImportRow& row) {
    const QString own = fingerprintOf(row);
    return row.laterAnyway ? QStringList{own, hashOf(identityOf(row, true))} : QStringList{own};
}

ImportRow rowOf(const QByteArray& json, int row) {
    const QJsonObject content = QJsonDocument::fromJson(json).object();
    const auto text = [&content](const QString& key) { return content.value(key).toString(); };
    return {row,
            text(u"description"_s),
            text(u"client"_s),
            text(u"project"_s),
            text(u"task"_s),
            content.value(u"tags"_s).toVariant().toStringList(),
            content.value(u"billable"_s).toBool(),
            parseInstant(text(u"start_at"_s)).value(),
            parseInstant(text(u"stop_at"_s)).value(),
            content.value(u"clock_start"_s).toInteger(),
            content.value(u"clock_stop"_s).toInteger(),
            content.value(u"later_start"_s).toBool(),
            content.value(u"later_stop"_s).toBool(),
            content.value(u"later_anyway"_s).toBool()};
}

/// A record on its way to become a row.
struct RowReader::Reading {
    const RowReader& reader;
    const CsvRecord& record;
    QList<ImportProblem>& problems;
    ImportRow row;

    struct Moment {
        QList<qint64> shown;        ///< when clocks showed it: twice when they were put back
        qint64 clock = 0;           ///< what they show then, as if it were UTC
        std::optional<qint64> told; ///< which of `shown` it is, by an offset behind the time

        [[nodiscard]] QList<qint64> instants() const { return told ? QList{*told} : shown; }
        [[nodiscard]] QStringList offsets() const;
    };
    using Pairs = QList<std::pair<qint64, qint64>>;

    void readNames();
    void readTimes();
    [[nodiscard]] std::optional<Moment> readMoment(Column date, Column time);
    void choose(const Moment& start, const Moment& stop, const std::optional<Length>& length);
    /// The pairs of a start and an end after it, and those of them that are so long.
    [[nodiscard]] static Pairs ordered(const QList<qint64>& starts, const QList<qint64>& stops);
    [[nodiscard]] static Pairs ofLength(const std::optional<Length>& length, Pairs pairs);

    [[nodiscard]] QString cell(Column column) const { return reader.cell(record, column); }
    void report(Column column, const QString& code, const QString& message) {
        problems += {record.row, nameOf(column), message, code};
    }
};

RowReader::RowReader(const CsvTable& table, const QTimeZone& zone) : m_table(table), m_zone(zone) {
    static const QHash<QString, QString> otherNames{{u"stop date"_s, u"end date"_s},
                                                    {u"stop time"_s, u"end time"_s}};
    QStringList header;
    for (const QString& title : table.header) {
        const QString name = title.simplified().toLower();
        header += otherNames.value(name, name);
    }
    for (int i = 0; i < ColumnCount; ++i) {
        const auto column = static_cast<Column>(i);
        const QString name = nameOf(column).toLower();
        m_places[column] = header.indexOf(name);
        if (header.count(name) > 1) {
            throw unusableCsv(u"The file has the column %1 twice."_s.arg(nameOf(column)));
        }
    }
    requireColumns();
    QStringList dates;
    for (const CsvRecord& record : table.records) {
        dates += cell(record, StartDate);
        if (hasEnds()) {
            dates += cell(record, EndDate);
        }
    }
    m_dates = findDateForm(dates);
}

QString RowReader::nameOf(Column column) {
    static const std::array<QString, ColumnCount> names{
        u"User"_s,        u"Email"_s,    u"Client"_s,     u"Project"_s,    u"Task"_s,
        u"Description"_s, u"Billable"_s, u"Start date"_s, u"Start time"_s, u"End date"_s,
        u"End time"_s,    u"Duration"_s, u"Tags"_s};
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
        missing += u"End date with End time, or Duration"_s;
    }
    if (!missing.isEmpty()) {
        throw unusableCsv(u"The first line does not name these columns: %1."_s.arg(missing.join(u"; ")));
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

bool RowReader::isTotal(const CsvRecord& record) const {
    // The whole cell: a record that lacks its start may begin with such a word.
    static const QRegularExpression word(u"^((grand |sub)?(total|sum)s?( time| hours| duration)?"
                                         "|(סה[״\"]כ|סך הכו?ל)( זמן| שעות| משך)?)\\s*:?\\z"_s,
                                         QRegularExpression::CaseInsensitiveOption |
                                             QRegularExpression::UseUnicodePropertiesOption);
    const auto isEmpty = [&](Column column) { return cell(record, column).isEmpty(); };
    const std::array times{StartDate, StartTime, EndDate, EndTime};
    const std::array names{Client, Project, Task, Description};
    return std::all_of(times.begin(), times.end(), isEmpty) &&
           (std::all_of(names.begin(), names.end(), isEmpty) ||
            std::any_of(record.cells.begin(), record.cells.end(),
                        [](const QString& text) { return word.match(text).hasMatch(); }));
}

std::optional<ImportRow> RowReader::read(const CsvRecord& record, QList<ImportProblem>& problems) const {
    if (record.cells.size() != m_table.header.size()) {
        problems += {record.row, QString(),
                     u"The row has %1 values, but there are %2 columns."_s.arg(record.cells.size())
                         .arg(m_table.header.size()),
                     u"cell_count"_s};
        return std::nullopt;
    }
    const qsizetype before = problems.size();
    Reading reading{*this, record, problems, {}};
    reading.row.row = record.row;
    reading.readNames();
    reading.readTimes();
    return problems.size() == before ? std::optional(reading.row) : std::nullopt;
}

void RowReader::Reading::readNames() {
    row.description = cell(Description);
    row.client = cell(Client);
    row.project = cell(Project);
    row.task = cell(Task);
    row.tags = readTags(cell(Tags));
    if (row.description.size() > longestDescription) {
        report(Description, u"too_long"_s,
               u"The text is longer than %1 characters."_s.arg(longestDescription));
    }
    for (const auto& [column, name] :
         {std::pair(Client, row.client), std::pair(Project, row.project), std::pair(Task, row.task)}) {
        if (name.size() > longestName) {
            report(column, u"too_long"_s, u"The name is longer than %1 characters."_s.arg(longestName));
        }
        if (column != Project && !name.isEmpty() && row.project.isEmpty()) {
            report(column, u"project_missing"_s, u"It needs a project, and the row names none."_s);
        }
    }
    const bool tooLong = std::any_of(row.tags.begin(), row.tags.end(),
                                     [](const QString& tag) { return tag.size() > longestName; });
    if (tooLong || row.tags.size() > mostTags) {
        report(Tags, u"tags"_s,
               u"There can be %1 tags of %2 characters each."_s.arg(mostTags).arg(longestName));
    }
    const auto billable = readTruth(cell(Billable));
    if (!billable) {
        report(Billable, u"billable"_s, u"This is neither Yes nor No."_s);
    }
    row.billable = billable.value_or(false);
}

void RowReader::Reading::readTimes() {
    const auto start = readMoment(StartDate, StartTime);
    const bool hasEnd = reader.hasEnds() && !(cell(EndDate).isEmpty() && cell(EndTime).isEmpty());
    std::optional<Moment> stop;
    if (hasEnd) {
        stop = readMoment(EndDate, EndTime);
    }
    const QString text = cell(Duration);
    const auto length = readDuration(text);
    if (!text.isEmpty() && !length) {
        report(Duration, u"duration"_s, u"This is not a duration such as 1:30:00."_s);
    }
    if (!hasEnd && text.isEmpty()) {
        report(reader.hasEnds() ? EndTime : Duration, u"end_missing"_s,
               u"The row has neither an end nor a duration."_s);
    }
    if (!hasEnd && start && length) {
        stop = Moment{{}, start->clock + length->seconds, std::nullopt};
        for (const qint64 instant : start->shown) {
            stop->shown += instant + length->seconds;
        }
    }
    if (start && stop) {
        choose(*start, *stop, length);
    }
}

// Where the clocks were put back, the order and the length may tell which of two moments is meant.
void RowReader::Reading::choose(const Moment& start, const Moment& stop,
                                const std::optional<Length>& length) {
    const Pairs orders = ordered(start.instants(), stop.instants());
    const Pairs fitting = ofLength(length, orders);
    if (fitting.size() > 1) {
        const bool isStart = start.instants().size() > 1;
        report(
            isStart ? StartTime : EndTime, u"clock_twice"_s,
            u"This time was twice in %1, at %2, and nothing in the row tells which of both is meant."_s.arg(
                QString::fromUtf8(reader.m_zone.id()), (isStart ? start : stop).offsets().join(u" and "_s)));
    } else if (orders.isEmpty()) {
        report(EndTime, u"end_before_start"_s, u"The entry would end before it starts."_s);
    } else if (fitting.isEmpty()) {
        QStringList lengths; // that it may have
        for (const auto& [from, to] : orders) {
            lengths += durationText(to - from);
        }
        lengths.removeDuplicates();
        report(Duration, u"duration_differs"_s,
               u"From start to end it is %1."_s.arg(lengths.join(u" or "_s)));
    } else {
        std::tie(row.startAt, row.stopAt) = fitting.constFirst();
        row.clockStart = start.clock;
        row.clockStop = stop.clock;
        // Only where the row would be in doubt without its offsets do they make it another record.
        const bool decide = ofLength(length, ordered(start.shown, stop.shown)).size() > 1;
        row.laterStart = row.startAt != start.shown.constFirst();
        row.laterStop = row.stopAt != stop.shown.constFirst();
        row.laterAnyway = !decide && (row.laterStart || row.laterStop);
        if (row.stopAt > lastInstant) {
            report(Duration, u"too_late"_s, u"The entry would end after the year 9999."_s);
        }
    }
}

RowReader::Reading::Pairs RowReader::Reading::ordered(const QList<qint64>& starts,
                                                      const QList<qint64>& stops) {
    Pairs pairs;
    for (const qint64 from : starts) {
        for (const qint64 to : stops) {
            if (to >= from) {
                pairs += {from, to};
            }
        }
    }
    return pairs;
}

RowReader::Reading::Pairs RowReader::Reading::ofLength(const std::optional<Length>& length, Pairs pairs) {
    pairs.removeIf([&](const auto& pair) {
        return length && std::abs(pair.second - pair.first - length->seconds) > length->give;
    });
    return pairs;
}

QStringList RowReader::Reading::Moment::offsets() const {
    QStringList texts;
    for (const qint64 instant : shown) {
        texts += offsetText(clock - instant);
    }
    return texts;
}

std::optional<RowReader::Reading::Moment> RowReader::Reading::readMoment(Column date, Column time) {
    const auto day = readDate(cell(date), reader.m_dates);
    if (!day) {
        report(date, u"date"_s,
               u"This is not a date in the form %1."_s.arg(devserver::nameOf(reader.m_dates)));
    }
    const auto timeOfDay = readTimeOfDay(cell(time));
    if (!timeOfDay) {
        report(time, u"time"_s, u"This is not a time of day such as 09:30 or 09:30:15."_s);
    }
    if (!day || !timeOfDay) {
        return std::nullopt;
    }
    const QString zone = QString::fromUtf8(reader.m_zone.id());
    Moment moment{instantsOf(*day, timeOfDay->second, reader.m_zone), utcMidnight(*day) + timeOfDay->second,
                  std::nullopt};
    if (moment.shown.isEmpty()) {
        report(time, u"clock_skipped"_s,
               u"This time does not exist in %1: the clocks were put forward over it."_s.arg(zone));
        return std::nullopt;
    }
    if (timeOfDay->offset) {
        moment.told = moment.clock - *timeOfDay->offset;
        if (!moment.shown.contains(*moment.told)) {
            report(time, u"offset"_s,
                   u"In %1 the offset of this time is %2."_s.arg(zone, moment.offsets().join(u" or "_s)));
            return std::nullopt;
        }
    }
    return moment;
}

} // namespace devserver
