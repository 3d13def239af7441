// SPDX-License-Identifier: MIT
#include "entrymodel.h"

#include "state/projectcolors.h"
#include "state/searchtext.h"
#include "state/timestamp.h"

#include <QElapsedTimer>

#include <algorithm>
#include <array>
#include <numeric>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

/// A quarter of a frame: the rest is for drawing it.
constexpr qint64 sliceNs = 4'000'000;
constexpr int rowsPerLook = 64;

constexpr QStringView idKey = u"id";
constexpr QStringView projectKey = u"project_id";

QString textOf(const QJsonObject& entry, QStringView key) {
    return entry.value(key).toString();
}

QString idOf(const ProjectedEntry& row) {
    return textOf(row.entry, idKey);
}

/// With the offset as such: a time in a zone may forget which of two equal times it was.
QDateTime shownIn(const QTimeZone& zone, const QDateTime& time) {
    return time.isValid() ? time.toOffsetFromUtc(zone.offsetFromUtc(time)) : QDateTime();
}

/// "+03:00"
QString offsetText(const QDateTime& time) {
    constexpr int lengthWithoutOffset = 19;
    return time.toString(Qt::ISODate).mid(lengthWithoutOffset);
}

qint64 secondsOf(const DaySums::Entry& entry) {
    return entry.seconds;
}

} // namespace

EntryModel::EntryModel(QObject* parent) : QAbstractListModel(parent), m_days(QTimeZone::utc()) {
    connect(&m_search, &QTimer::timeout, this, &EntryModel::search);
    m_search.setInterval(0);
}

void EntryModel::setController(Controller* controller) {
    if (m_controller == controller) {
        return;
    }
    m_controller = controller;
    connect(controller, &Controller::changed, this, &EntryModel::follow);
    connect(controller, &Controller::changed, this, &EntryModel::readEntries);
    connect(controller, &Controller::tick, this, &EntryModel::readTotals);
    readEntries();
    follow();
    Q_EMIT controllerChanged();
}

/// What the entries are read by: the zone, the projects' names, and what a week is.
void EntryModel::follow() {
    if (m_zone != m_controller->timezone()) {
        m_zone = m_controller->timezone();
        m_days = LocalDays(zoneNamed(m_zone));
        std::fill(m_read.begin(), m_read.end(), false);
        readRows();
        if (rowCount() > 0) {
            Q_EMIT dataChanged(index(0), index(rowCount() - 1), {TimesRole});
        }
    }
    readCatalog();
    readWeekday();
    readTotals();
}

void EntryModel::readCatalog() {
    const QVariantList catalog = m_controller->projects();
    if (catalog == m_catalog) {
        return;
    }
    m_catalog = catalog;
    m_projects.clear();
    for (const QVariant& project : catalog) {
        QVariantMap map = project.toMap();
        QVariant& color = map[u"color"_s];
        color = ProjectColors::read(color.toString());
        m_projects.insert(map.value(u"id"_s).toString(), map);
    }
    std::fill(m_texts.begin(), m_texts.end(), QString());
    if (rowCount() > 0) {
        Q_EMIT dataChanged(index(0), index(rowCount() - 1), {ProjectRole});
    }
    if (!m_needle.isEmpty()) {
        startSearch();
    }
}

/// All entries follow the controller's, and what is shown follows them while nothing is looked for.
void EntryModel::readEntries() {
    const ProjectedEntries& entries = m_controller->entryRows();
    if (entries.constData() == m_all.entries.constData() && entries.size() == m_all.entries.size()) {
        return; // still the same shared list
    }
    const RowDiff diff = RowDiff::between(m_all.entries, entries, idOf);
    std::for_each(diff.removed.begin(), diff.removed.end(), [&](const RowSpan& span) { remove(span); });
    std::for_each(diff.inserted.begin(), diff.inserted.end(),
                  [&](const RowSpan& span) { insert(span, entries); });
    const ProjectedEntries before = std::exchange(m_all.entries, entries);
    for (qsizetype row = 0; row < entries.size(); ++row) {
        if (before[row] != entries[row]) {
            m_read[static_cast<std::size_t>(row)] = false;
        }
    }
    readRows();
}

void EntryModel::Rows::remove(const RowSpan& span) {
    entries.remove(span.from, span.count);
    sums.erase(sums.begin() + span.from, sums.begin() + span.from + span.count);
}

void EntryModel::Rows::insert(const RowSpan& span, const ProjectedEntries& from) {
    entries.insert(span.from, span.count, {});
    std::copy_n(from.cbegin() + span.from, span.count, entries.begin() + span.from);
    sums.insert(sums.begin() + span.from, static_cast<std::size_t>(span.count), {});
}

void EntryModel::remove(const RowSpan& span) {
    if (!finding()) {
        beginRemoveRows({}, span.from, span.from + span.count - 1);
    }
    m_all.remove(span);
    m_read.erase(m_read.begin() + span.from, m_read.begin() + span.from + span.count);
    m_texts.erase(m_texts.begin() + span.from, m_texts.begin() + span.from + span.count);
    if (!finding()) {
        endRemoveRows();
    }
}

void EntryModel::insert(const RowSpan& span, const ProjectedEntries& entries) {
    if (!finding()) {
        beginInsertRows({}, span.from, span.from + span.count - 1);
    }
    const auto count = static_cast<std::size_t>(span.count);
    m_all.insert(span, entries);
    m_read.insert(m_read.begin() + span.from, count, false);
    m_texts.insert(m_texts.begin() + span.from, count, QString());
    if (!finding()) {
        endInsertRows();
    }
}

void EntryModel::readRows() {
    const auto unread = std::find(m_read.begin(), m_read.end(), false);
    auto last = unread;
    for (auto row = unread; row != m_read.end(); row = std::find(row + 1, m_read.end(), false)) {
        read(static_cast<int>(row - m_read.begin()));
        last = row;
    }
    m_today = {};
    readTotals();
    if (!finding()) {
        readHeadings();
        if (unread != m_read.end()) {
            Q_EMIT dataChanged(index(static_cast<int>(unread - m_read.begin())),
                               index(static_cast<int>(last - m_read.begin())));
        }
        Q_EMIT listed();
    }
    if (!m_needle.isEmpty()) {
        startSearch();
    }
}

void EntryModel::read(int row) {
    const auto place = static_cast<std::size_t>(row);
    const QJsonObject& entry = std::as_const(m_all.entries)[row].entry;
    const QDateTime start = stamp(entry.value(u"start_at"));
    const qint64 instant = start.toMSecsSinceEpoch();
    m_all.sums[place] = {start.isValid() ? m_days.of(instant) : QDate(),
                         entry.value(u"duration_seconds").toInteger(), instant};
    m_texts[place].clear();
    m_read[place] = true;
}

// Looking for something

void EntryModel::setWanted(const QString& wanted) {
    if (m_wanted == wanted) {
        return;
    }
    m_wanted = wanted;
    m_needle = searchText(wanted);
    startSearch();
    Q_EMIT wantedChanged();
}

void EntryModel::startSearch() {
    m_search.stop();
    m_finds = {};
    m_searched = 0;
    if (!m_needle.isEmpty()) {
        m_search.start();
    } else if (finding()) {
        show({});
    }
}

bool EntryModel::search() {
    QElapsedTimer spent;
    spent.start();
    const int all = static_cast<int>(m_all.entries.size());
    while (m_searched < all) {
        if (m_searched % rowsPerLook == 0 && spent.nsecsElapsed() > sliceNs) {
            return true;
        }
        if (searchedText(m_searched).contains(m_needle)) {
            m_finds.entries.append(std::as_const(m_all.entries)[m_searched]);
            m_finds.sums.push_back(m_all.sums[static_cast<std::size_t>(m_searched)]);
        }
        ++m_searched;
    }
    m_search.stop();
    show(std::exchange(m_finds, {}));
    return false;
}

const QString& EntryModel::searchedText(int row) {
    QString& text = m_texts[static_cast<std::size_t>(row)];
    if (text.isNull()) {
        const QJsonObject& entry = std::as_const(m_all.entries)[row].entry;
        const QVariantMap project = m_projects.value(textOf(entry, projectKey));
        text = searchText(QStringList{textOf(entry, u"description"), project.value(u"name"_s).toString(),
                                      project.value(u"client_name"_s).toString()});
    }
    return text;
}

void EntryModel::show(Rows rows) {
    const bool isOther = m_foundFor != m_needle;
    if (isOther) {
        turnTo(std::move(rows));
    } else {
        update(std::move(rows));
    }
    m_headings = DaySums::headings(shown().sums);
    if (const int count = rowCount(); count > 0) {
        Q_EMIT dataChanged(index(0), index(count - 1));
    }
    Q_EMIT listed();
    if (isOther) {
        Q_EMIT replaced();
    }
}

/// Other rows in the same places: what is on the screen is filled anew, and nothing is made or moved.
void EntryModel::turnTo(Rows rows) {
    const int before = rowCount();
    const int after = static_cast<int>(m_needle.isEmpty() ? m_all.entries.size() : rows.entries.size());
    const auto adopt = [&] {
        m_found = std::move(rows);
        m_foundFor = m_needle;
    };
    if (after < before) {
        beginRemoveRows({}, after, before - 1);
        adopt();
        endRemoveRows();
    } else if (after > before) {
        beginInsertRows({}, before, after - 1);
        adopt();
        endInsertRows();
    } else {
        adopt();
    }
}

/// What the same search finds by now: who is at one of the entries stays there.
void EntryModel::update(Rows rows) {
    const RowDiff diff = RowDiff::between(m_found.entries, rows.entries, idOf);
    for (const RowSpan& span : diff.removed) {
        beginRemoveRows({}, span.from, span.from + span.count - 1);
        m_found.remove(span);
        endRemoveRows();
    }
    for (const RowSpan& span : diff.inserted) {
        beginInsertRows({}, span.from, span.from + span.count - 1);
        m_found.insert(span, rows.entries);
        endInsertRows();
    }
    m_found = std::move(rows);
}

// What is shown

void EntryModel::readHeadings() {
    const auto before = std::exchange(m_headings, DaySums::headings(shown().sums));
    const auto [old, fresh] =
        std::mismatch(before.begin(), before.end(), m_headings.begin(), m_headings.end());
    const auto rowOf = [](const auto& heading, const auto& headings, int none) {
        return heading == headings.end() ? none : static_cast<int>(heading->row);
    };
    const int rows = rowCount();
    const int first = std::min(rowOf(old, before, rows), rowOf(fresh, m_headings, rows));
    if (first < rows) {
        Q_EMIT dataChanged(index(first), index(rows - 1), {DayRole, DaySumRole});
    }
}

int EntryModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(shown().entries.size());
}

QVariant EntryModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) {
        return {};
    }
    const ProjectedEntry& row = shown().entries[index.row()];
    const auto place = static_cast<std::size_t>(index.row());
    const auto heading = std::lower_bound(m_headings.begin(), m_headings.end(), place,
                                          [](const auto& left, std::size_t at) { return left.row < at; });
    const bool isFirst = heading != m_headings.end() && heading->row == place;
    switch (role) {
    case RowRole:
        return EntryList::map(row);
    case IdRole:
        return idOf(row);
    case DayRole:
        return isFirst ? shown().sums[place].day.toString(Qt::ISODate) : QString();
    case DaySumRole:
        return isFirst ? durationText(heading->seconds) : QString();
    case TimesRole:
        return times(row.entry);
    case ProjectRole:
        return m_projects.value(textOf(row.entry, projectKey));
    default:
        return {};
    }
}

QHash<int, QByteArray> EntryModel::roleNames() const {
    return {{RowRole, "row"},       {IdRole, "id"},       {DayRole, "day"},
            {DaySumRole, "daySum"}, {TimesRole, "times"}, {ProjectRole, "project"}};
}

QString EntryModel::times(const QJsonObject& entry) const {
    const QDateTime start = shownIn(m_days.zone(), stamp(entry.value(u"start_at")));
    const QDateTime stop = shownIn(m_days.zone(), stamp(entry.value(u"stop_at")));
    if (!start.isValid() || !stop.isValid()) {
        return {};
    }
    // Over a change of the clocks the end can look earlier than the start.
    const bool twoOffsets = start.offsetFromUtc() != stop.offsetFromUtc();
    const auto text = [twoOffsets](const QDateTime& time) {
        const QString offset = twoOffsets ? u" (%1)"_s.arg(offsetText(time)) : QString();
        return time.toString(u"HH:mm") + offset;
    };
    const qint64 days = start.date().daysTo(stop.date());
    const QString later = days > 0 ? u" +%1"_s.arg(days) : QString();
    return text(start) + u'–' + text(stop) + later;
}

int EntryModel::indexOf(const QString& id) const {
    const ProjectedEntries& entries = shown().entries;
    const auto found = std::find_if(entries.cbegin(), entries.cend(),
                                    [&id](const ProjectedEntry& row) { return idOf(row) == id; });
    return found == entries.cend() ? -1 : static_cast<int>(found - entries.cbegin());
}

QString EntryModel::inZone(const QString& text) const {
    const QDateTime time = shownIn(m_days.zone(), stamp(text));
    return time.isValid() ? time.toString(Qt::ISODate) : text;
}

QString EntryModel::sum() const {
    const auto& sums = shown().sums;
    return durationText(std::transform_reduce(sums.begin(), sums.end(), qint64{0}, std::plus(), secondsOf));
}

// Today and this week

DaySums::Totals EntryModel::totals() {
    DaySums::Totals totals = m_closed;
    const QVariantMap timer = m_controller ? m_controller->timer() : QVariantMap();
    const QDateTime start = stamp(timer.value(u"start_at"_s).toString());
    if (!start.isValid() || timer.value(u"workspace_id"_s).toString() != m_controller->workspace() ||
        m_controller->timerListed()) {
        return totals;
    }
    const std::array running{DaySums::Entry{
        m_days.of(start.toMSecsSinceEpoch()),
        start.secsTo(QDateTime::currentDateTimeUtc()),
        start.toMSecsSinceEpoch(),
    }};
    const DaySums::Totals more = DaySums::totals(running, m_today, m_weekday, m_days.zone());
    return {totals.today + more.today, totals.week + more.week};
}

void EntryModel::readWeekday() {
    const int weekday = m_controller->weekday();
    if (m_weekday != weekday) {
        m_weekday = weekday;
        m_today = {};
    }
}

void EntryModel::readTotals() {
    const QDate today = m_days.of(QDateTime::currentMSecsSinceEpoch());
    if (today != m_today) {
        m_today = today;
        m_closed = DaySums::totals(m_all.sums, today, m_weekday, m_days.zone());
    }
    const DaySums::Totals now = totals();
    if (now.today != m_told.today || now.week != m_told.week) {
        m_told = now;
        Q_EMIT totalsChanged();
    }
}

QString EntryModel::today() const {
    return durationText(m_told.today);
}

QString EntryModel::week() const {
    return durationText(m_told.week);
}
